#include "services/sim/picture/ToneMapping.h"

#include <opencv2/imgproc.hpp>

#include "services/sim/picture/Processing.h"

#include <algorithm>
#include <cmath>

namespace sim::picture {
namespace {

constexpr double kPercent = 100;

// ---- from place to place -------------------------------------------------------------------------------------

constexpr int kSmall = 8;       // how much smaller the picture is in which light and dark places are told apart
constexpr double kNear = 0.06;  // of the width: what is a place
constexpr double kEdge = 0.07;  // of white, as a deviation: an edge between two places, not a texture
constexpr double kFine = 0.02;  // the same, where the gains of places become those of pixels

constexpr float kColourFollows = 0.75f;  // of the gain: with all of it the colours of dark places would be gaudy
constexpr double kMostLift = 0.8;        // of dark places, as a power

constexpr int kWideDynamicOff = 0;
constexpr int kDefogOff = 0;
constexpr int kDefogOn = 1;  // not only where there is haze

cv::Mat box(const cv::Mat& plane, int radius)
{
    cv::Mat result;
    cv::boxFilter(plane, result, -1, {2 * radius + 1, 2 * radius + 1}, {-1, -1}, true, cv::BORDER_REFLECT);
    return result;
}

// The values as a straight line of the guide's, slope and offset changing slowly from place to place: so values follow
// the guide's edges, and no others.
struct Fit
{
    Fit(const cv::Mat& guide, const cv::Mat& values, int radius, double edge)
    {
        const cv::Mat mean = box(guide, radius);
        const cv::Mat meanValue = box(values, radius);
        const cv::Mat variance = box(guide.mul(guide), radius) - mean.mul(mean);
        const cv::Mat together = box(guide.mul(values), radius) - mean.mul(meanValue);
        const cv::Mat raw = together / (variance + edge * edge);
        slope = box(raw, radius);
        offset = box(meanValue - raw.mul(mean), radius);
    }

    cv::Mat slope;
    cv::Mat offset;
};

double smoothStep(double from, double to, double value)
{
    const double part = std::clamp((value - from) / (to - from), 0.0, 1.0);
    return part * part * (3 - 2 * part);
}

// How light a place becomes. reach: the lightest place there can be.
double wideDynamic(double light, double strength, double reach)
{
    // Dark places are lifted, the darker the more; the middle stays.
    constexpr double kMiddleGrey = 0.5;
    constexpr double kNoLess = 0.03;  // almost black is mostly noise
    const double lifted =
        light * std::pow(std::max((kMiddleGrey + kNoLess) / (light + kNoLess), 1.0), kMostLift * strength);
    // Places above white come below it, the more of the range beneath is given to them the stronger.
    const double knee = 0.85 - 0.25 * strength;
    if (reach <= 1 || lifted <= knee)
    {
        return lifted;
    }
    const double beyond = (lifted - knee) / (1 - knee);
    const double most = (reach - knee) / (1 - knee);
    return knee + (1 - knee) * beyond * (1 + beyond / (most * most)) / (1 + beyond);
}

// What a place is multiplied by: the closer to white it is, the less is left of it.
double maskHighlights(double light, double strength)
{
    return 1 - 0.75 * strength * smoothStep(0.75, 1.0, light);
}

constexpr double kMostVeil = 0.8;  // a little is left, or distance is lost

struct Haze
{
    cv::Mat veil;      // the light that it adds at each place, 1 for white; empty without defog
    double light = 1;  // how light it is where nothing else is seen
};

Haze hazeOf(const Planes& planes, const cv::Mat& small, const View& view)
{
    const int mode = view.values.get(IA_CMD_DEFLG_SWITCH);
    if (mode == kDefogOff)
    {
        return {};
    }
    // Somewhere in each place there is something dark or of strong colour: what is light and grey even there is haze.
    cv::Mat colour;
    cv::max(cv::Mat(cv::abs(planes.cb)), cv::Mat(cv::abs(planes.cr)), colour);
    cv::resize(colour, colour, small.size(), 0, 0, cv::INTER_AREA);
    colour.convertTo(colour, CV_32F, 1.0 / kWhite);
    cv::Mat haze = small - 1.4 * colour;
    cv::max(haze, 0.0, haze);
    const int radius = std::max(1, cvRound(kNear * small.cols / 2));
    cv::erode(haze, haze, cv::getStructuringElement(cv::MORPH_RECT, {2 * radius + 1, 2 * radius + 1}));
    haze = box(box(haze, 3 * radius), 3 * radius);  // no edge that is seen
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(haze, mean, deviation);
    double strength = view.values.get(IA_CMD_DEFLG_STRG) / kPercent;
    if (mode != kDefogOn)
    {
        strength *= smoothStep(0.1, 0.35, mean[0]);  // by itself: only where there is haze
    }
    return {kMostVeil * (1 - std::pow(1 - strength, 1.5)) * haze, std::clamp(mean[0] + deviation[0] + 0.1, 0.6, 1.0)};
}

// What the brightness of each place is multiplied by, once the haze is off. light: of the places.
cv::Mat gainsOf(const cv::Mat& light, const Haze& haze, int clip, const View& view)
{
    const bool wide = view.values.get(IA_CMD_WDR_MODE) != kWideDynamicOff;
    const double strength = view.values.get(IA_CMD_WDR_STRG) / kPercent;
    const bool masks = view.values.get(IA_CMD_HLC_SWITCH) != 0;
    const double masking = masks ? view.values.get(IA_CMD_HLC_STRG) / kPercent : 0;
    const double reach = encode(double(clip) / kFullScale);
    constexpr double kBlack = 1e-3;
    cv::Mat gains(light.size(), CV_32F);
    for (int row = 0; row < gains.rows; row++)
    {
        for (int column = 0; column < gains.cols; column++)
        {
            const double before = std::max<double>(light.at<float>(row, column), kBlack);
            const double veil = haze.veil.empty() ? 0 : haze.veil.at<float>(row, column);
            const double clear = std::max(before - veil, kBlack);
            // What is left of the range behind the haze becomes the whole again.
            double after = clear / std::max(1 - veil / haze.light, 0.2);
            if (wide)
            {
                after = wideDynamic(after, strength, reach);
            }
            gains.at<float>(row, column) = static_cast<float>(after * maskHighlights(before, masking) / clear);
        }
    }
    return gains;
}

// Multiplies the planes by slope x brightness + offset, after the haze is taken from the brightness.
void multiply(Planes& planes, const Fit& gain, const cv::Mat& haze)
{
    cv::Mat slope;
    cv::Mat offset;
    cv::Mat veil;
    cv::resize(gain.slope, slope, planes.y.size(), 0, 0, cv::INTER_LINEAR);
    cv::resize(gain.offset, offset, planes.y.size(), 0, 0, cv::INTER_LINEAR);
    if (!haze.empty())
    {
        cv::resize(haze, veil, planes.y.size(), 0, 0, cv::INTER_LINEAR);
    }
    std::vector<float> gains(planes.y.cols);
    for (int row = 0; row < planes.y.rows; row++)
    {
        short* const y = planes.y.ptr<short>(row);
        const float* const slopes = slope.ptr<float>(row);
        const float* const offsets = offset.ptr<float>(row);
        for (int column = 0; column < planes.y.cols; column++)
        {
            gains[column] = std::max(slopes[column] * y[column] + offsets[column], 0.05f);
        }
        if (!haze.empty())
        {
            const float* const veils = veil.ptr<float>(row);
            for (int column = 0; column < planes.y.cols; column++)
            {
                y[column] = static_cast<short>(std::max(y[column] - veils[column] * kWhite, 0.0f));
            }
        }
        for (int column = 0; column < planes.y.cols; column++)
        {
            y[column] = static_cast<short>(std::min(y[column] * gains[column], 32767.0f));
        }
        if (row % 2 == 0)
        {
            short* const cb = planes.cb.ptr<short>(row / 2);
            short* const cr = planes.cr.ptr<short>(row / 2);
            for (int column = 0; column < planes.cb.cols; column++)
            {
                const float factor = 1 + kColourFollows * (gains[2 * column] - 1);
                cb[column] = cv::saturate_cast<short>(cb[column] * factor);
                cr[column] = cv::saturate_cast<short>(cr[column] * factor);
            }
        }
    }
}

}  // namespace

void mapTones(Planes& planes, int clip, const View& view)
{
    if (view.values.get(IA_CMD_WDR_MODE) == kWideDynamicOff && view.values.get(IA_CMD_HLC_SWITCH) == 0 &&
        view.values.get(IA_CMD_DEFLG_SWITCH) == kDefogOff)
    {
        return;
    }
    cv::Mat small;
    cv::resize(planes.y, small, planes.y.size() / kSmall, 0, 0, cv::INTER_AREA);
    small.convertTo(small, CV_32F, 1.0 / kWhite);
    const Haze haze = hazeOf(planes, small, view);
    const int radius = std::max(1, cvRound(kNear * small.cols / 2));

    const Fit places(small, small, radius, kEdge);
    const cv::Mat light = places.slope.mul(small) + places.offset;
    const cv::Mat gain = gainsOf(light, haze, clip, view);
    Fit full(small, gain, std::max(1, radius / 2), kFine);
    full.slope /= kWhite;
    multiply(planes, full, haze.veil);
}

// ---- everywhere ----------------------------------------------------------------------------------------------

namespace {

enum Gamma : int
{
    kStandard = 0,
    kPower45 = 1,
    kPower55 = 2,
    kPower65 = 3,
    kSoft = 4,
    kStrong = 5,
};

constexpr int kCurveSize = 32768;
constexpr int kMiddle = 50;  // of the settings that have one

// light: 1 for white.
double gammaCurve(int gamma, double light)
{
    light = std::min(light, 1.0);
    const double standard = encode(light);
    switch (gamma)
    {
    case kPower45:
        return std::pow(light, 0.45);
    case kPower55:
        return std::pow(light, 0.55);
    case kPower65:
        return std::pow(light, 0.65);
    case kSoft:
        return 0.04 + 0.92 * (standard + 0.25 * standard * (1 - standard) * (1 - 2 * standard));
    case kStrong:
        return standard - 0.7 * standard * (1 - standard) * (1 - 2 * standard);
    default:
        return standard;
    }
}

double contrastCurve(int contrast, double value)
{
    const double centred = 2 * value - 1;
    if (contrast <= kMiddle)
    {
        return 0.5 + 0.5 * centred * (0.3 + 0.7 * contrast / kMiddle);
    }
    const double steepness = 2.2 * (contrast - kMiddle) / kMiddle;
    return 0.5 + 0.5 * std::tanh(steepness * centred) / std::tanh(steepness);
}

}  // namespace

void ToneCurve::prepare(const Setting& setting)
{
    if (setting == made_)
    {
        return;
    }
    made_ = setting;
    brightness_.resize(kCurveSize);
    colour_.resize(kCurveSize);
    const double lighter = 0.3 * (setting.brightness - kMiddle) / kMiddle;
    for (int i = 0; i < kCurveSize; i++)
    {
        const double before = double(i) / kWhite;
        const double curved = gammaCurve(setting.gamma, decode(before));
        const double after = std::clamp(contrastCurve(setting.contrast, curved) + lighter, 0.0, 1.0);
        brightness_[i] = cv::saturate_cast<uchar>(16 + 219 * after);
        // Colour keeps its share, but for the darkest, whose colour is noise.
        const double share = std::max(contrastCurve(setting.contrast, curved), 0.0) / std::max(before, 0.05);
        colour_[i] = static_cast<float>(224.0 / kWhite * std::min(share, 2.0));
    }
}

void ToneCurve::apply(const Planes& planes, double colour, const View& view, cv::Mat& y, cv::Mat& cb, cv::Mat& cr)
{
    prepare({view.values.get(IA_CMD_GAMMA), view.values.get(IA_CMD_BRIGHTNESS), view.values.get(IA_CMD_CONTRAST)});
    const auto saturation = static_cast<float>(colour * view.values.get(IA_CMD_SATURATION) / kMiddle);
    y.create(planes.y.size(), CV_8U);
    cb.create(planes.cb.size(), CV_8U);
    cr.create(planes.cr.size(), CV_8U);
    const uchar* const curve = brightness_.data();
    for (int row = 0; row < y.rows; row++)
    {
        const short* const from = planes.y.ptr<short>(row);
        uchar* const to = y.ptr<uchar>(row);
        for (int column = 0; column < y.cols; column++)
        {
            to[column] = curve[std::max<int>(from[column], 0)];
        }
    }
    for (int row = 0; row < cb.rows; row++)
    {
        const short* const bright = planes.y.ptr<short>(2 * row);
        const short* const blues = planes.cb.ptr<short>(row);
        const short* const reds = planes.cr.ptr<short>(row);
        uchar* const blue = cb.ptr<uchar>(row);
        uchar* const red = cr.ptr<uchar>(row);
        for (int column = 0; column < cb.cols; column++)
        {
            const float factor = saturation * colour_[std::max<int>(bright[2 * column], 0)];
            blue[column] = cv::saturate_cast<uchar>(128.5f + factor * blues[column]);
            red[column] = cv::saturate_cast<uchar>(128.5f + factor * reds[column]);
        }
    }
}

}  // namespace sim::picture
