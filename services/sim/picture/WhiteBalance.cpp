#include "services/sim/picture/WhiteBalance.h"

#include "services/sim/picture/Processing.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace sim::picture {
namespace {

// Choices of IA_CMD_WB_MODE.
enum Mode : int
{
    kAutomatic = 0,
    kManual = 1,
    kIndoor = 2,
    kOutdoor = 3,
    kTracking = 4,
    kFluorescent = 5,
    kSodium = 6,
    kOnePush = 7,
};

constexpr int kNeutral = 128;  // of the manual gains
constexpr double kStepsPerOctave = 64;

constexpr double kSlow = 0.08;  // of the way a frame: nobody sees the automatic at work
constexpr double kFast = 0.3;

// Where the light's colour is looked for.
constexpr int kAcross = 80;
constexpr int kDown = 45;
constexpr int kPatch = 4;             // pixels in each direction that are averaged: the noise goes
constexpr double kBrightest = 0.9;    // of the clipping value
constexpr double kDarkest = 0.004;    // of full scale
constexpr double kGreyWithin = 0.35;  // octaves that a grey thing's colour is away from the light's
constexpr int kRounds = 5;
constexpr double kCloser = 0.8;
constexpr double kLeastShare = 0.02;  // of all patches must be grey, else there is nothing to go by
constexpr std::size_t kLeastPatches = 50;

}  // namespace

ColourGains WhiteBalance::update(const cv::Mat& linear, int clip, const View& view)
{
    // Tints of the lights that the presets are for, blue and red.
    constexpr Tint kDaylight{0, 0};
    constexpr Tint kBulb{-1.4, 0.85};
    constexpr Tint kTube{-0.7, 0.25};
    constexpr Tint kSodiumLamp{-2.6, 1.3};
    // What the automatic takes for light and not for a coloured thing.
    constexpr Range kOutdoors{{-1.0, -0.35}, {0.5, 0.6}};
    constexpr Range kIndoors{{-1.8, -0.3}, {0.3, 1.2}};
    constexpr Range kAnything{{-3.0, -1.5}, {1.5, 2.0}};

    const int mode = view.values.get(IA_CMD_WB_MODE);
    const bool begins = mode != mode_;
    mode_ = mode;
    switch (mode)
    {
    case kManual:
        return {std::exp2((view.values.get(IA_CMD_B_GAIN) - kNeutral) / kStepsPerOctave), 1,
                std::exp2((view.values.get(IA_CMD_R_GAIN) - kNeutral) / kStepsPerOctave)};
    case kIndoor:
        return gainsFor(kBulb);
    case kOutdoor:
        return gainsFor(kDaylight);
    case kFluorescent:
        return gainsFor(kTube);
    case kSodium:
        return gainsFor(kSodiumLamp);
    case kOnePush:
        if (begins)
        {
            follow(linear, clip, kAnything, 1);
        }
        break;
    case kTracking:
        follow(linear, clip, kAnything, kFast);
        break;
    default:
        follow(linear, clip, view.values.get(IA_CMD_IN_OUT_SIDE) == 0 ? kIndoors : kOutdoors, kSlow);
        break;
    }
    return gainsFor(light_.value_or(kDaylight));
}

void WhiteBalance::follow(const cv::Mat& linear, int clip, const Range& range, double pace)
{
    const std::optional<Tint> seen = lightOf(linear, clip, range);
    if (!seen)
    {
        return;
    }
    const Tint from = light_.value_or(*seen);
    light_ = Tint{from.blue + pace * (seen->blue - from.blue), from.red + pace * (seen->red - from.red)};
}

// The colours of patches all over the picture, without those too dark or too bright to have one.
std::vector<WhiteBalance::Tint> WhiteBalance::tintsOf(const cv::Mat& linear, int clip)
{
    std::vector<Tint> tints;
    tints.reserve(kAcross * kDown);
    const int across = std::min(kAcross, linear.cols / kPatch);
    const int down = std::min(kDown, linear.rows / kPatch);
    for (int i = 0; i < across * down; i++)
    {
        const cv::Rect patch((linear.cols - kPatch) * (i % across) / across,
                             (linear.rows - kPatch) * (i / across) / down, kPatch, kPatch);
        int sum[3] = {};
        int greatest = 0;
        for (int row = 0; row < kPatch; row++)
        {
            const ushort* const pixels = linear.ptr<ushort>(patch.y + row) + 3 * patch.x;
            for (int k = 0; k < 3 * kPatch; k++)
            {
                sum[k % 3] += pixels[k];
                greatest = std::max<int>(greatest, pixels[k]);
            }
        }
        if (greatest < kBrightest * clip && sum[1] > kDarkest * kFullScale * kPatch * kPatch)
        {
            const double green = std::log2(sum[1]);
            tints.push_back({std::log2(sum[0] + 1) - green, std::log2(sum[2] + 1) - green});
        }
    }
    return tints;
}

// The light is the one of those that exist under which most of the picture is grey; what is grey then tells its exact
// colour.
std::optional<WhiteBalance::Tint> WhiteBalance::lightOf(const cv::Mat& linear, int clip, const Range& range)
{
    const std::vector<Tint> tints = tintsOf(linear, clip);
    if (tints.size() < kLeastPatches)
    {
        return std::nullopt;
    }

    // From deep shade over daylight to a sodium lamp.
    constexpr Tint kLights[] = {{0.4, -0.3},  {0, 0},       {-0.35, 0.2}, {-0.7, 0.4},
                                {-1.05, 0.6}, {-1.4, 0.85}, {-2, 1.1},    {-2.6, 1.3}};
    constexpr double kPreference = 0.02;  // of two equally good ones daylight
    struct Vote
    {
        double weight = 0;
        Tint sum;
    };
    const auto vote = [&tints](const Tint& light, double within) {
        Vote result;
        for (const Tint& tint : tints)
        {
            const double distance = std::hypot(tint.blue - light.blue, tint.red - light.red) / within;
            const double weight = distance < 1 ? 1 - distance * distance : 0;
            result.weight += weight;
            result.sum.blue += weight * tint.blue;
            result.sum.red += weight * tint.red;
        }
        return result;
    };
    Vote best;
    double most = 0;
    for (const Tint& light : kLights)
    {
        const Vote here = vote(light, kGreyWithin);
        const double weight = here.weight * (1 - kPreference * std::abs(light.blue));
        if (weight > most)
        {
            best = here;
            most = weight;
        }
    }
    // Closer and closer: what is only nearly grey, a sky perhaps, must not count.
    double within = kGreyWithin;
    for (int round = 0; round < kRounds && best.weight > 0; round++)
    {
        within *= kCloser;
        best = vote({best.sum.blue / best.weight, best.sum.red / best.weight}, within);
    }
    if (best.weight < kLeastShare * tints.size())
    {
        return std::nullopt;
    }
    return Tint{std::clamp(best.sum.blue / best.weight, range.least.blue, range.greatest.blue),
                std::clamp(best.sum.red / best.weight, range.least.red, range.greatest.red)};
}

ColourGains WhiteBalance::gainsFor(const Tint& light)
{
    return {std::exp2(-light.blue), 1, std::exp2(-light.red)};
}

}  // namespace sim::picture
