#include "services/sim/picture/Encoder.h"

#include <stdexcept>

#include <turbojpeg.h>

namespace sim::picture {
namespace {

constexpr int kQuality = 80;
constexpr int kSampling = TJSAMP_420;

}  // namespace

void Encoder::Close::operator()(void* handle) const
{
    tjDestroy(handle);
}

Encoder::Encoder() : handle_(tjInitCompress())
{
    if (!handle_)
    {
        throw std::runtime_error(std::string("no JPEG encoder: ") + tjGetErrorStr());
    }
}

std::string Encoder::encode(const cv::Mat& picture)
{
    unsigned long size = tjBufSize(picture.cols, picture.rows, kSampling);
    std::string jpeg(size, '\0');
    auto* out = reinterpret_cast<unsigned char*>(&jpeg[0]);
    if (tjCompress2(handle_.get(), picture.data, picture.cols, static_cast<int>(picture.step), picture.rows, TJPF_BGR,
                    &out, &size, kSampling, kQuality, TJFLAG_NOREALLOC) != 0)
    {
        throw std::runtime_error(std::string("a frame could not be encoded: ") + tjGetErrorStr2(handle_.get()));
    }
    jpeg.resize(size);
    jpeg.shrink_to_fit();
    return jpeg;
}

}  // namespace sim::picture
