#include "services/linux/picture/Module.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

namespace devices::picture {
namespace {

constexpr int kQuality = 80;

using Plane = std::vector<unsigned char>;
using Shades = std::array<unsigned char, 256>;

// From the range of television to that of JPEG.
Shades widened(int dark, int range, int middle)
{
    Shades shades;
    for (int value = 0; value < 256; ++value)
    {
        const int twice = 2 * (value - dark) * 255 / range;
        shades[static_cast<std::size_t>(value)] =
            static_cast<unsigned char>(std::clamp(middle + (twice + (twice < 0 ? -1 : 1)) / 2, 0, 255));
    }
    return shades;
}

Shades unchanged()
{
    Shades shades;
    for (std::size_t value = 0; value < shades.size(); ++value)
    {
        shades[value] = static_cast<unsigned char>(value);
    }
    return shades;
}

// Every step-th byte from the first one on.
void spread(const unsigned char* from, std::size_t step, const Shades& shades, unsigned char* to, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
    {
        to[i] = shades[from[i * step]];
    }
}

class TurboEncoder : public Encoder
{
public:
    TurboEncoder() : handle_(tjInitCompress())
    {
        if (handle_ == nullptr)
        {
            throw std::runtime_error(std::string("no JPEG encoder: ") + tjGetErrorStr());
        }
    }
    ~TurboEncoder() override { tjDestroy(handle_); }
    TurboEncoder(const TurboEncoder&) = delete;
    TurboEncoder& operator=(const TurboEncoder&) = delete;

    std::string encode(const RawPicture& picture) override
    {
        const auto width = static_cast<std::size_t>(picture.width);
        const auto height = static_cast<std::size_t>(picture.height);
        if (picture.layout == Layout::grey)
        {
            const unsigned char* const planes[] = {picture.bytes, nullptr, nullptr};
            const int strides[] = {static_cast<int>(picture.stride), 0, 0};
            return compress(picture, planes, strides, TJSAMP_GRAY);
        }
        const bool isPlanar = picture.layout == Layout::nv12;
        const std::size_t colourLines = isPlanar ? height / 2 : height;
        y_.resize(width * height);
        u_.resize(width / 2 * colourLines);
        v_.resize(u_.size());
        const Shades& bright = picture.isFullRange ? same_ : brightness_;
        const Shades& coloured = picture.isFullRange ? same_ : colour_;
        const std::size_t yStep = isPlanar ? 1 : 2;
        const std::size_t colourStep = isPlanar ? 2 : 4;
        const unsigned char* const y = picture.bytes + (picture.layout == Layout::uyvy ? 1 : 0);
        const unsigned char* const colour = picture.bytes + (isPlanar                         ? picture.stride * height
                                                             : picture.layout == Layout::uyvy ? 0
                                                                                              : 1);
        for (std::size_t line = 0; line < height; ++line)
        {
            spread(y + line * picture.stride, yStep, bright, &y_[line * width], width);
        }
        for (std::size_t line = 0; line < colourLines; ++line)
        {
            const unsigned char* const from = colour + line * picture.stride;
            spread(from, colourStep, coloured, &u_[line * width / 2], width / 2);
            spread(from + colourStep / 2, colourStep, coloured, &v_[line * width / 2], width / 2);
        }
        const unsigned char* const planes[] = {y_.data(), u_.data(), v_.data()};
        return compress(picture, planes, nullptr, isPlanar ? TJSAMP_420 : TJSAMP_422);
    }

private:
    std::string compress(const RawPicture& picture, const unsigned char* const* planes, const int* strides,
                         int sampling)
    {
        unsigned long size = tjBufSize(picture.width, picture.height, sampling);
        std::string jpeg(size, '\0');
        auto* out = reinterpret_cast<unsigned char*>(&jpeg[0]);
        if (tjCompressFromYUVPlanes(handle_, const_cast<const unsigned char**>(planes), picture.width, strides,
                                    picture.height, sampling, &out, &size, kQuality, TJFLAG_NOREALLOC) != 0)
        {
            throw std::runtime_error(std::string("a picture could not be encoded: ") + tjGetErrorStr2(handle_));
        }
        jpeg.resize(size);
        jpeg.shrink_to_fit();
        return jpeg;
    }

    const tjhandle handle_;
    const Shades same_ = unchanged();
    const Shades brightness_ = widened(16, 219, 0);
    const Shades colour_ = widened(128, 224, 128);
    Plane y_, u_, v_;
};

}  // namespace
}  // namespace devices::picture

extern "C" __attribute__((visibility("default"))) devices::picture::Encoder* sensorlinuxOpenEncoder()
{
    return new devices::picture::TurboEncoder();
}
