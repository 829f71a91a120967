#include "services/sim/picture/NoiseReduction.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace sim::picture {
namespace {

constexpr int kLevels = 10;

constexpr double kWithoutGain = 0.2;  // of what the automatic level allows
constexpr double kFullGain = 36;      // decibels, from where on it is all of it

constexpr double kMostKept = 0.93;  // of the frame before, where nothing moves

// Motion is looked for in a picture that is smaller by this: its noise is as much smaller.
constexpr int kSmall = 4;
constexpr int kShades = 8;               // kinds of brightness whose noise is told apart
constexpr int kLeastOfShade = 64;        // pixels, to tell the noise by
constexpr double kQuartile = 0.3186;     // of the standard deviation: a quarter of all noise is below it
constexpr double kLeastNoise = 3;        // of kWhite: what the curves' rounding makes
constexpr double kClipped = 0.97;        // of kWhite, from where on there is no noise
constexpr double kNoisy = 40;            // of kWhite: a night's noise
constexpr double kLeastSoftness = 0.02;  // that is worth the time
constexpr double kRise = 0.05;           // of the way a frame: motion everywhere must not pass for noise
constexpr double kStill = 2.5;           // of the noise: below it nothing moves
constexpr double kMoves = 5;             // and from here on it does

double strengthOf(const View& view, u32 manual, u32 automaticLevel, u32 manualLevel, double gain)
{
    if (view.values.get(manual) != 0)
    {
        return view.values.get(manualLevel) / double(kLevels);
    }
    const double part = kWithoutGain + (1 - kWithoutGain) * std::clamp(gain / kFullGain, 0.0, 1.0);
    return part * view.values.get(automaticLevel) / kLevels;
}

int shadeOf(int brightness)
{
    return std::clamp(brightness * kShades / kWhite, 0, kShades - 1);
}

// kept goes towards the new plane. steps: how far, of 255, and moving: where it is softened before; both CV_8U, as large.
void blend(const cv::Mat& plane, const cv::Mat& soft, const cv::Mat& moving, const cv::Mat& steps, cv::Mat& kept)
{
    for (int row = 0; row < plane.rows; row++)
    {
        const short* const fresh = plane.ptr<short>(row);
        const short* const smooth = soft.ptr<short>(row);
        const uchar* const moves = moving.ptr<uchar>(row);
        const uchar* const step = steps.ptr<uchar>(row);
        short* const old = kept.ptr<short>(row);
        for (int column = 0; column < plane.cols; column++)
        {
            const int value = fresh[column] + (((smooth[column] - fresh[column]) * moves[column]) >> 8);
            old[column] = static_cast<short>(old[column] + (((value - old[column]) * (step[column] + 1) + 128) >> 8));
        }
    }
}

// Noise is what differs in most places; where something moves the difference is greater. brightness: of the small picture.
void learnNoise(const cv::Mat& brightness, const cv::Mat& difference, std::vector<double>& noise)
{
    std::vector<short> of[kShades];
    for (int row = 0; row < brightness.rows; row += 2)  // half of the picture tells it as well
    {
        const short* const bright = brightness.ptr<short>(row);
        const short* const differs = difference.ptr<short>(row);
        for (int column = 0; column < brightness.cols; column++)
        {
            if (bright[column] < kClipped * kWhite)
            {
                of[shadeOf(bright[column])].push_back(differs[column]);
            }
        }
    }
    const bool first = noise.empty();
    noise.resize(kShades, kLeastNoise);
    double lighter = kLeastNoise;
    for (int shade = kShades - 1; shade >= 0; shade--)
    {
        std::vector<short>& differences = of[shade];
        double seen = lighter;  // where there is too little of a shade
        if (differences.size() >= kLeastOfShade)
        {
            const auto quarter = differences.begin() + static_cast<std::ptrdiff_t>(differences.size() / 4);
            std::nth_element(differences.begin(), quarter, differences.end());
            seen = std::max(*quarter / kQuartile, kLeastNoise);
        }
        lighter = seen;
        noise[shade] = first || seen < noise[shade] ? seen : noise[shade] + kRise * (seen - noise[shade]);
    }
}

// All planes of one size.
Planes smallOf(const Planes& planes)
{
    const cv::Size size = planes.y.size() / kSmall;
    Planes result;
    cv::resize(planes.y, result.y, size, 0, 0, cv::INTER_AREA);
    cv::resize(planes.cb, result.cb, size, 0, 0, cv::INTER_AREA);
    cv::resize(planes.cr, result.cr, size, 0, 0, cv::INTER_AREA);
    return result;
}

}  // namespace

double spatialStrength(const View& view, double gain)
{
    return view.values.get(IA_CMD_2D_NR_SWITCH) == 0
               ? 0
               : strengthOf(view, IA_CMD_2D_NR_MODE, IA_CMD_2D_NR_STRG_A, IA_CMD_2D_NR_STRG_M, gain);
}

double temporalStrength(const View& view, double gain)
{
    return view.values.get(IA_CMD_3D_NR_SWITCH) == 0
               ? 0
               : strengthOf(view, IA_CMD_3D_NR_MODE, IA_CMD_3D_NR_STRG_A, IA_CMD_3D_NR_STRG_M, gain);
}

void TemporalNoiseReduction::begin(const Planes& planes)
{
    kept_ = {planes.y.clone(), planes.cb.clone(), planes.cr.clone()};
    keptSmall_ = smallOf(planes);
    age_ = cv::Mat::ones(keptSmall_.y.size(), CV_32F);
    for (std::vector<double>& noise : noise_)
    {
        noise.clear();
    }
}

void TemporalNoiseReduction::reduce(Planes& planes, double strength)
{
    if (strength <= 0)
    {
        kept_ = {};
        return;
    }
    if (kept_.y.size() != planes.y.size())
    {
        begin(planes);
        return;
    }
    const cv::Mat motion = motionIn(planes);

    const cv::Mat step = stepsFor(motion, strength);
    // What moves cannot be averaged over time. The more noise there is, the more it is over its neighbours.
    const double mean = std::accumulate(noise_[0].begin(), noise_[0].end(), 0.0) / kShades;
    const double softness = strength * std::clamp(mean / kNoisy, 0.0, 1.0);
    cv::Mat steps;
    cv::Mat moving;
    cv::Mat soft;
    for (int i = 0; i < 3; i++)
    {
        const cv::Mat& plane = planes.begin()[i];
        if (moving.size() != plane.size())
        {
            cv::resize(step, steps, plane.size(), 0, 0, cv::INTER_LINEAR);
            cv::resize(motion * softness, moving, plane.size(), 0, 0, cv::INTER_LINEAR);
        }
        if (softness > kLeastSoftness)
        {
            cv::medianBlur(plane, soft, 3);
        }
        else
        {
            soft = plane;
        }
        blend(plane, soft, moving, steps, kept_.begin()[i]);
        kept_.begin()[i].copyTo(planes.begin()[i]);
    }
    keptSmall_ = smallOf(kept_);
}

// CV_8U, small: 255 where something moves.
cv::Mat TemporalNoiseReduction::motionIn(const Planes& planes)
{
    Planes small = smallOf(planes);
    cv::Mat found = cv::Mat::zeros(small.y.size(), CV_8U);
    for (int i = 0; i < 3; i++)
    {
        cv::Mat difference = small.begin()[i] - keptSmall_.begin()[i];
        cv::blur(difference, difference, {3, 3});
        difference = cv::abs(difference);
        learnNoise(small.y, difference, noise_[i]);
        for (int row = 0; row < found.rows; row++)
        {
            const short* const bright = small.y.ptr<short>(row);
            const short* const differs = difference.ptr<short>(row);
            uchar* const moves = found.ptr<uchar>(row);
            for (int column = 0; column < found.cols; column++)
            {
                const double noises = differs[column] / noise_[i][shadeOf(bright[column])];
                moves[column] =
                    std::max(moves[column], cv::saturate_cast<uchar>(255 * (noises - kStill) / (kMoves - kStill)));
            }
        }
    }
    cv::dilate(found, found, cv::Mat());
    return found;
}

// CV_8U, small: how far of 255 to go towards the new picture. Where nothing moves all frames count alike, until there are
// as many as the strength allows.
cv::Mat TemporalNoiseReduction::stepsFor(const cv::Mat& motion, double strength)
{
    const double least = 1 - kMostKept * std::sqrt(strength);
    cv::Mat steps(motion.size(), CV_8U);
    for (int row = 0; row < steps.rows; row++)
    {
        for (int column = 0; column < steps.cols; column++)
        {
            const float moves = motion.at<uchar>(row, column) / 255.0f;
            float& age = age_.at<float>(row, column);
            age = std::min((1 - moves) * age + 1, 255.0f);
            const double still = std::max(least, 1.0 / age);
            steps.at<uchar>(row, column) = cv::saturate_cast<uchar>(255 * (still + moves * (1 - still)));
        }
    }
    return steps;
}

void reduceInBrightness(cv::Mat& plane, double strength)
{
    constexpr double kAlike = 50;  // of 255, at full strength
    cv::Mat smooth;
    cv::bilateralFilter(plane, smooth, 5, kAlike * std::sqrt(strength), 0.8 + std::sqrt(strength));
    plane = smooth;
}

void reduceInColour(cv::Mat& plane, double strength)
{
    constexpr double kAlike = 60;
    cv::Mat smooth;
    cv::bilateralFilter(plane, smooth, 5, kAlike * std::sqrt(strength), 1 + std::sqrt(strength));
    plane = smooth;
}

}  // namespace sim::picture
