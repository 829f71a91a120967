#include "services/sim/picture/Sensor.h"

#include <algorithm>
#include <cmath>

#include "services/sim/picture/Processing.h"

namespace sim::picture {
namespace {

// A white surface in 250 / kSpeed lux fills the scale in a second at F1 and 0 dB.
constexpr double kSpeed = 400;
constexpr double kLuxSeconds = 250;

constexpr double kFullWell = 9000;                   // electrons at full scale and 0 dB
constexpr double kReadNoise = 2.2;                   // electrons
constexpr int kNoiseOne = 4096;                      // its deviation in the tile
constexpr int kTile = 1 << 20;                       // noise values; rows begin anywhere in it
constexpr std::uint32_t kNoiseStride = 2654435761u;  // scatters where the rows begin

}  // namespace

Sensor::Sensor()
{
    tile_.create(1, kTile, CV_16S);
    cv::RNG random(1);
    random.fill(tile_, cv::RNG::NORMAL, 0, kNoiseOne);
}

// A shutter longer than a frame: the light of several frames comes together.
const cv::Mat& Sensor::gather(const cv::Mat& light, double shutter, double seconds)
{
    if (shutter <= seconds * 1.01)
    {
        gathered_.release();
        return light;
    }
    if (gathered_.size() != light.size())
    {
        light.copyTo(gathered_);
        return gathered_;
    }
    cv::addWeighted(light, seconds / shutter, gathered_, 1 - seconds / shutter, 0, gathered_);
    return gathered_;
}

const cv::Mat& Sensor::expose(const cv::Mat& light, const Setting& setting, double range, double seconds)
{
    const double amplified = std::pow(10, setting.gain / 20);
    const double counts = kFullScale / kFullWell * amplified;  // an electron
    const auto scale = static_cast<float>(kFullScale * kSpeed / kLuxSeconds * setting.shutter * amplified *
                                          setting.passes / (setting.stop * setting.stop));
    const auto most = static_cast<float>(std::min(65535.0, range * kFullScale));
    // The deviation of the noise is the root of signal times slope plus base.
    const auto slope = static_cast<float>(counts / (kNoiseOne * double(kNoiseOne)));
    const auto base = static_cast<float>(counts * counts * kReadNoise * kReadNoise / (kNoiseOne * double(kNoiseOne)));
    const cv::Mat& source = gather(light, setting.shutter, seconds);
    linear_.create(light.size(), CV_16UC3);
    const std::int16_t* const noise = tile_.ptr<std::int16_t>();
    const int count = linear_.cols * 3;
    const auto begin = static_cast<std::uint32_t>(random_.next());
    cv::parallel_for_({0, linear_.rows}, [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y)
        {
            const float* const in = source.ptr<float>(y);
            std::uint16_t* const out = linear_.ptr<std::uint16_t>(y);
            const std::uint32_t place = begin + static_cast<std::uint32_t>(y) * kNoiseStride;
            const std::int16_t* const own = noise + place % static_cast<std::uint32_t>(kTile - count);
            for (int i = 0; i < count; ++i)
            {
                const float signal = std::min(in[i] * scale, most);
                const float value = signal + own[i] * std::sqrt(signal * slope + base);
                out[i] = static_cast<std::uint16_t>(static_cast<int>(std::min(std::max(value, 0.0f), most)));
            }
        }
    });
    return linear_;
}

}  // namespace sim::picture
