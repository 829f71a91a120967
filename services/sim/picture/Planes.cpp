#include "services/sim/picture/Planes.h"

#include <opencv2/imgproc.hpp>

#include "services/sim/picture/Processing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace sim::picture {
namespace {

// A straight beginning keeps noise in the dark from being lifted without end.
constexpr double kToe = 0.018;
constexpr double kToeSlope = 4.5;
constexpr double kPower = 0.45;
constexpr double kScale = 1.099;

constexpr int kGreatest = 32767;
constexpr double kShoulder = 0.8;  // of the clipping value: from here on a channel goes towards white

constexpr double kMargin = 0.03;  // of width and height, on each side: as far as shake can be undone

// Weights of the channels in the brightness, and what colour differences are scaled by, of 65536 and 4 x 65536.
constexpr int kBlue = 7471;
constexpr int kGreen = 38470;
constexpr int kRed = 19595;
constexpr int kBlueDifference = 36963;
constexpr int kRedDifference = 46727;

}  // namespace

double encode(double light)
{
    return light < kToe ? kToeSlope * light : kScale * std::pow(light, kPower) - (kScale - 1);
}

double decode(double value)
{
    return value < kToeSlope * kToe ? value / kToeSlope : std::pow((value + kScale - 1) / kScale, 1 / kPower);
}

void Developing::prepare(int clip, const ColourGains& gains)
{
    constexpr int kCurveSize = 65536;
    if (curve_.empty())
    {
        curve_.create(1, kCurveSize, CV_32F);
        for (int i = 0; i < kCurveSize; i++)
        {
            curve_.at<float>(i) = static_cast<float>(kWhite * encode(i / double(kFullScale)));
        }
    }
    const float* const curve = curve_.ptr<float>();
    const double gainOf[] = {gains.blue, gains.green, gains.red};
    const double shoulder = kShoulder * clip;
    for (int c = 0; c < 3; c++)
    {
        channels_[c].resize(kCurveSize);
        for (int i = 0; i < kCurveSize; i++)
        {
            double light = std::min(i, clip) * gainOf[c];
            if (gainOf[c] < 1 && i > shoulder)
            {
                const double part = std::min(1.0, (i - shoulder) / (clip - shoulder));
                light += part * part * (clip - gainOf[c] * clip);
            }
            const double at = std::min(light, std::min<double>(clip, kCurveSize - 2));
            const int below = static_cast<int>(at);
            const double value = curve[below] + (at - below) * (curve[below + 1] - curve[below]);
            channels_[c][i] = static_cast<short>(std::min<double>(value, kGreatest));
        }
    }
}

void Developing::develop(const cv::Mat& linear, int clip, const ColourGains& gains, Planes& out)
{
    CV_Assert(linear.type() == CV_16UC3 && linear.rows % 2 == 0 && linear.cols % 2 == 0);
    prepare(clip, gains);
    out.y.create(linear.size(), CV_16S);
    out.cb.create(linear.size() / 2, CV_16S);
    out.cr.create(linear.size() / 2, CV_16S);
    const short* const blue = channels_[0].data();
    const short* const green = channels_[1].data();
    const short* const red = channels_[2].data();
    for (int row = 0; row < linear.rows; row += 2)
    {
        const ushort* const in[] = {linear.ptr<ushort>(row), linear.ptr<ushort>(row + 1)};
        short* const y[] = {out.y.ptr<short>(row), out.y.ptr<short>(row + 1)};
        short* const cb = out.cb.ptr<short>(row / 2);
        short* const cr = out.cr.ptr<short>(row / 2);
        for (int column = 0; column < linear.cols; column += 2)
        {
            int blues = 0;
            int reds = 0;
            int sum = 0;
            for (int i = 0; i < 4; i++)
            {
                const ushort* const pixel = in[i / 2] + 3 * (column + i % 2);
                const int b = blue[pixel[0]];
                const int r = red[pixel[2]];
                const int bright = (kBlue * b + kGreen * green[pixel[1]] + kRed * r + 32768) >> 16;
                y[i / 2][column + i % 2] = static_cast<short>(bright);
                blues += b;
                reds += r;
                sum += bright;
            }
            cb[column / 2] = static_cast<short>((std::int64_t(kBlueDifference) * (blues - sum)) >> 18);
            cr[column / 2] = static_cast<short>((std::int64_t(kRedDifference) * (reds - sum)) >> 18);
        }
    }
}

void steady(Planes& planes, const cv::Point2d& shake, double strength)
{
    const cv::Size size = planes.y.size();
    const double right = std::clamp(strength * shake.x, -kMargin * size.width, kMargin * size.width);
    const double down = std::clamp(strength * shake.y, -kMargin * size.height, kMargin * size.height);
    // What is left is made as large as the picture was. By whole pixels, as what rests must come to the same place.
    const cv::Point corner(cvRound(kMargin * size.width + right), cvRound(kMargin * size.height + down));
    const cv::Size part(cvFloor((1 - 2 * kMargin) * size.width), cvFloor((1 - 2 * kMargin) * size.height));
    for (cv::Mat& plane : planes)
    {
        const int scale = size.width / plane.cols;
        cv::Mat moved;
        cv::resize(plane(cv::Rect(corner / scale, part / scale)), moved, plane.size(), 0, 0, cv::INTER_LINEAR);
        plane = moved;
    }
}

}  // namespace sim::picture
