#include "services/sim/picture/Sharpening.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace sim::picture {
namespace {

constexpr double kMost = 3;        // of a detail, what is added
constexpr double kCore = 2;        // of 255: smaller differences are noise as often as detail
constexpr double kOvershoot = 24;  // of 255, beside an edge, at the greatest amount

}  // namespace

void sharpen(cv::Mat& plane, double amount)
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

    int added[511];
    for (int i = 0; i < 511; i++)
    {
        const double detail = i - 255;
        const double cored =
            std::copysign(std::max(std::abs(detail) - kCore * std::exp(-detail * detail / 32), 0.0), detail);
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
