#include "services/sim/picture/Exposure.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <opencv2/imgproc.hpp>

#include "services/sim/picture/Processing.h"

namespace sim::picture {
namespace {

constexpr double kShutters[] = {1 / 3.0,    1 / 6.0,    1 / 12.0,   1 / 15.0,    1 / 25.0,   1 / 30.0,   1 / 50.0,
                                1 / 60.0,   1 / 100.0,  1 / 120.0,  1 / 150.0,   1 / 180.0,  1 / 200.0,  1 / 240.0,
                                1 / 250.0,  1 / 300.0,  1 / 500.0,  1 / 750.0,   1 / 1000.0, 1 / 1500.0, 1 / 2000.0,
                                1 / 3000.0, 1 / 4000.0, 1 / 5000.0, 1 / 10000.0, 1 / 20000.0};
constexpr double kShortest = 1 / 20000.0;
constexpr double kMains = 1 / 100.0;  // indoors light flickers by the mains: no shorter shutter, and whole periods
constexpr double kDecibelsPerChoice = 3;
constexpr double kDecibelsPerStop = 6.0206;

constexpr double kStops[] = {1.6, 2.0, 2.8, 4.0, 5.6, 8.0, 11, 16};  // of the iris, from open on
constexpr double kStepsPerStop = 12;                                 // of its motor

constexpr double kWanted = 0.26;  // of full scale, as the mean
constexpr double kStopsPerSecond = 15;
constexpr double kDeadStops = 0.06;    // an error that is left alone
constexpr double kLeast = 1e-4;        // of full scale, for the logarithm
constexpr double kIrisClosesMost = 6;  // stops

enum Area
{
    kWhole,
    kCentre,
    kTop,
    kBottom,
    kLeftSide,
    kRightSide,
};

cv::Rect areaOf(int area, cv::Size size)
{
    const int width = size.width, height = size.height;
    switch (area)
    {
    case kCentre:
        return {width / 3, height / 3, width / 3, height / 3};
    case kTop:
        return {0, 0, width, height / 3};
    case kBottom:
        return {0, height - height / 3, width, height / 3};
    case kLeftSide:
        return {0, 0, width / 3, height};
    case kRightSide:
        return {width - width / 3, 0, width / 3, height};
    default:
        return {0, 0, width, height};
    }
}

double decibels(int choice)
{
    return choice * kDecibelsPerChoice;
}

// Stops of light at a setting; 0 at a second, 0 dB and F1.
double stopsOf(const Setting& setting)
{
    return std::log2(setting.shutter) + setting.gain / kDecibelsPerStop - 2 * std::log2(setting.stop);
}

}  // namespace

double shutterSeconds(int choice)
{
    return kShutters[std::clamp(choice, 0, static_cast<int>(std::size(kShutters)) - 1)];
}

Setting irisAt(double position)
{
    Setting setting;
    const double last = std::size(kStops) - 1;
    const double closed = std::clamp(last + 1 - position / kStepsPerStop, 0.0, last + 1);
    const double place = std::min(closed, last);
    const auto below = static_cast<std::size_t>(std::floor(place));
    const std::size_t above = std::min(below + 1, std::size(kStops) - 1);
    setting.stop = kStops[below] * std::pow(kStops[above] / kStops[below], place - static_cast<double>(below));
    setting.passes = std::min(1.0, last + 1 - closed);
    return setting;
}

double Exposure::range(const View& view)
{
    switch (view.values.get(IA_CMD_WDR_MODE))
    {
    case 2:
        return 4;
    case 3:
        return 16;
    default:
        return 1;
    }
}

double Exposure::measured(const View& view, const cv::Mat& linear) const
{
    cv::Mat small, grey;
    cv::resize(linear, small, {160, 90}, 0, 0, cv::INTER_NEAREST);
    cv::cvtColor(small, grey, cv::COLOR_BGR2GRAY);
    grey.convertTo(grey, CV_32F, 1.0 / kFullScale);
    cv::min(grey, 1.5, grey);
    const auto mean = [&grey](int area) { return cv::mean(grey(areaOf(area, grey.size())))[0]; };
    double level = mean(view.values.get(IA_CMD_METER_AREA));
    if (view.values.get(IA_CMD_BLC_SWITCH) != 0)
    {
        // The areas of the backlight compensation begin with the centre.
        const double part = view.values.get(IA_CMD_BLC_STRG) / 100.0;
        const double area = mean(kCentre + view.values.get(IA_CMD_BLC_MODE));
        level = std::exp((1 - part) * std::log(std::max(level, kLeast)) + part * std::log(std::max(area, kLeast)));
    }
    if (view.values.get(IA_CMD_HLC_SWITCH) != 0)
    {
        // The brightest places count more, so that they keep their drawing.
        cv::Mat sorted;
        cv::sort(grey.reshape(1, 1), sorted, cv::SORT_EVERY_ROW + cv::SORT_DESCENDING);
        const double bright = cv::mean(sorted.colRange(0, sorted.cols / 50))[0];
        const double part = view.values.get(IA_CMD_HLC_STRG) / 100.0;
        level += part * std::max(0.0, 0.45 * bright - level);
    }
    return level;
}

// Shares the wanted light out among iris, shutter and gain.
void Exposure::divide(const View& view)
{
    const auto value = [&view](u32 cmd) { return view.values.get(cmd); };
    const int mode = value(IA_CMD_EXPOSE_MODE);
    setting_ = irisAt(view.lens.iris);

    const bool fixedShutter = mode == kShutterPriority || mode == kManualExposure;
    const bool fixedGain = mode == kGainPriority || mode == kManualExposure;
    const double longest = shutterSeconds(value(fixedShutter ? IA_CMD_FIX_SHUTTER : IA_CMD_MAX_SHUTTER));
    double shortest = fixedShutter ? longest : std::min(longest, kShortest);
    const bool indoors = value(IA_CMD_IN_OUT_SIDE) == 0;
    if (indoors && !fixedShutter)
    {
        shortest = std::min(longest, kMains);
    }
    const double most = decibels(value(fixedGain ? IA_CMD_FIX_GAIN : IA_CMD_MAX_GAIN));
    const double least = fixedGain ? most : 0;

    // What the iris' widest opening leaves to do. In bright light it closes, as far as it has come.
    const bool closes = value(IA_CMD_IRIS_SWITCH) != 0 && mode != kIrisPriority && mode != kManualExposure;
    iris_ = closes ? iris_ : 0;
    setting_.stop = std::min(kStops[std::size(kStops) - 1], setting_.stop * std::exp2(iris_ / 2));

    double left = stops_ + 2 * std::log2(setting_.stop) - least / kDecibelsPerStop;
    setting_.shutter = std::clamp(std::exp2(left), shortest, longest);
    if (indoors && !fixedShutter && setting_.shutter > kMains)
    {
        setting_.shutter = std::min(longest, std::floor(setting_.shutter / kMains) * kMains);
    }
    left -= std::log2(setting_.shutter);
    setting_.gain = std::clamp(least + left * kDecibelsPerStop, least, most);
}

const Setting& Exposure::next(const View& view, const cv::Mat& linear, double seconds)
{
    const double passed = std::clamp(seconds - time_, 0.0, 0.2);
    time_ = seconds;
    if (!linear.empty())
    {
        // From what the last frame was really taken with, so that limits do not wind it up.
        error_ = std::log2(kWanted / std::max(measured(view, linear), kLeast));
        if (std::fabs(error_) > kDeadStops)
        {
            const double most = std::max(0.1, kStopsPerSecond * passed);
            stops_ = stopsOf(setting_) + std::clamp(error_ * 0.5, -most, most);
        }
    }
    divide(view);

    // The automatic iris follows at its own speed: it closes when shutter and gain are at their least.
    const double excess = stopsOf(setting_) - stops_;
    const double most = (0.3 + view.values.get(IA_CMD_IRIS_SPEED) / 100.0 * 5) * passed;
    if (excess > kDeadStops)
    {
        iris_ = std::min(kIrisClosesMost, iris_ + std::min(excess, most));
    }
    else if (iris_ > 0 && (setting_.gain > 0 || setting_.shutter > 2 * kShortest))
    {
        iris_ = std::max(0.0, iris_ - most);
    }
    return setting_;
}

}  // namespace sim::picture
