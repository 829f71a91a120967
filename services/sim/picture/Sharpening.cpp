#include "services/sim/picture/Sharpening.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace sim::picture {
namespace {

constexpr double kMost = 3;  // of a detail, what is added

// Of 255. Smaller differences are noise as often as detail.
constexpr double kCore = 1.5;
constexpr double kCoreOfDecibel = 0.15;

constexpr double kOvershoot = 24;  // of 255, beside an edge, at the greatest amount

}  // namespace

void sharpen(cv::Mat& plane, double amount, double gain)
{
    if (amount <= 0)
    {
        return;
    }
    cv::Mat soft;
    cv::GaussianBlur(plane, soft, {5, 5}, 1.1);
    cv::Mat least;
    cv::Mat greatest;
    cv::erode(plane, least, cv::Mat());
    cv::dilate(plane, greatest, cv::Mat());

    const double core = kCore + kCoreOfDecibel * gain;
    int added[511];
    for (int i = 0; i < 511; i++)
    {
        const double detail = i - 255;
        const double shape = detail / core / 2.5;
        const double cored = detail * (1 - std::exp(-shape * shape));
        added[i] = cvRound(kMost * amount * cored);
    }
    const int overshoot = cvRound(kOvershoot * amount * amount);
    for (int row = 0; row < plane.rows; row++)
    {
        uchar* const pixel = plane.ptr<uchar>(row);
        const uchar* const around = soft.ptr<uchar>(row);
        const uchar* const low = least.ptr<uchar>(row);
        const uchar* const high = greatest.ptr<uchar>(row);
        for (int column = 0; column < plane.cols; column++)
        {
            const int value = pixel[column] + added[pixel[column] - around[column] + 255];
            pixel[column] =
                cv::saturate_cast<uchar>(std::clamp(value, low[column] - overshoot, high[column] + overshoot));
        }
    }
}

}  // namespace sim::picture
