#include "services/sim/picture/Optics.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <opencv2/imgproc.hpp>

namespace sim::picture {
namespace {

// Zoom positions of the optical magnifications 1 to 16, as a lens of this kind has them.
constexpr int kZoomPositions[] = {16384, 24576, 27264, 28672, 29056, 29440, 29728, 30016,
                                  30208, 30400, 30560, 30720, 30912, 31104, 31232, 31424};
constexpr double kDigitalMost = 4;

constexpr double kFrameWidth = 1280;    // what pixels below are meant for
constexpr double kShakePixels = 1.2;    // at 1x
constexpr double kShakeMost = 9;        // however long the lens
constexpr double kBlurPerStep = 0.012;  // pixels for each motor step out of focus, at 1x and F1.6
constexpr double kBlurMost = 26;
constexpr double kWidestStop = 1.6;
constexpr double kBellMost = 2.5;  // pixels
constexpr double kSharp = 0.15;    // pixels; less is not seen

}  // namespace

int Optics::margin(cv::Size frame)
{
    return static_cast<int>(std::ceil(2.2 * kShakeMost * frame.width / kFrameWidth)) + 1;
}

double Optics::opticalZoom(int position)
{
    for (std::size_t i = 1; i < std::size(kZoomPositions); ++i)
    {
        if (position < kZoomPositions[i])
        {
            const double missing = double(kZoomPositions[i] - position) / (kZoomPositions[i] - kZoomPositions[i - 1]);
            return std::max(1.0, static_cast<double>(i) + 1 - missing);
        }
    }
    return std::size(kZoomPositions);
}

double Optics::digitalZoom(int position)
{
    const double beyond = position - Lens::kOpticalTele;
    return 1 + (kDigitalMost - 1) * std::max(0.0, beyond / (greatestOf(IA_CMD_MZ_POSITION) - Lens::kOpticalTele));
}

Framing Optics::framing(const View& view, cv::Size frame)
{
    const double scale = frame.width / kFrameWidth;
    return {opticalZoom(view.lens.zoom),
            {static_cast<int>(std::lround(view.values.get(IA_CMD_CAP_OFF_ADJ_H_CUR) * scale)),
             static_cast<int>(std::lround(view.values.get(IA_CMD_CAP_OFF_ADJ_V_CUR) * scale))}};
}

cv::Point2d Optics::shake(const View& view, cv::Size frame, double seconds)
{
    const double zoom = opticalZoom(view.lens.zoom);
    const double most = std::min(kShakeMost, kShakePixels * zoom) * frame.width / kFrameWidth;
    const auto wave = [seconds](double a, double b, double c) {
        return 0.5 * std::sin(a * seconds) + 0.3 * std::sin(b * seconds + 1) + 0.2 * std::sin(c * seconds + 2);
    };
    return {most * wave(7.1, 16.3, 41), 0.7 * most * wave(8.3, 19.7, 37)};
}

double Optics::blur(const View& view, double stop, cv::Size frame)
{
    const double zoom = opticalZoom(view.lens.zoom);
    const double off = std::abs(view.lens.focus - view.lens.inFocus) * kBlurPerStep * std::sqrt(zoom);
    return std::min(kBlurMost, off * kWidestStop / stop) * frame.width / kFrameWidth;
}

// A bell for little; else two boxes one after the other, which take as long however wide they are.
void Optics::soften(const cv::Mat& picture, double spread)
{
    if (spread < kBellMost)
    {
        const int side = 2 * static_cast<int>(std::ceil(1.5 * spread)) + 1;
        cv::GaussianBlur(picture, blurred_, {side, side}, 0.6 * spread);
        return;
    }
    const int both = static_cast<int>(std::lround(1.4 * spread));
    const int first = 2 * (both / 2) + 1, second = 2 * (both - both / 2) + 1;
    cv::blur(picture, blurred_, {first, first}, {-1, -1}, cv::BORDER_REFLECT_101);
    cv::blur(blurred_, blurred_, {second, second}, {-1, -1}, cv::BORDER_REFLECT_101);
}

cv::Mat Optics::draw(const cv::Mat& street, const View& view, double stop, cv::Point2d shake)
{
    const int aside = margin(frame_);
    const cv::Rect window(
        {aside - static_cast<int>(std::lround(shake.x)), aside - static_cast<int>(std::lround(shake.y))}, frame_);
    const double digital = digitalZoom(view.lens.zoom);
    const double spread = blur(view, stop, frame_);
    cv::Mat picture = street(window);
    if (spread > kSharp)
    {
        soften(picture, spread);
        picture = blurred_;
    }
    if (digital > 1)
    {
        const cv::Size part(static_cast<int>(std::lround(frame_.width / digital)),
                            static_cast<int>(std::lround(frame_.height / digital)));
        const cv::Rect middle({(frame_.width - part.width) / 2, (frame_.height - part.height) / 2}, part);
        cv::Mat enlarged;
        cv::resize(picture(middle), enlarged, frame_, 0, 0, cv::INTER_LINEAR);
        return enlarged;
    }
    return picture;
}

}  // namespace sim::picture
