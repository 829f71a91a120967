#include "services/sim/picture/Charts.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

namespace sim::picture {
namespace {

const cv::Scalar kBlack(16, 16, 16);
const cv::Scalar kWhite(235, 235, 235);

// Text that fills a rectangle's height and stands in its middle.
void write(cv::Mat& image, const std::string& text, cv::Rect area, const cv::Scalar& colour, int thickness)
{
    int baseline = 0;
    const cv::Size unit = cv::getTextSize(text, cv::FONT_HERSHEY_DUPLEX, 1, thickness, &baseline);
    const double scale = std::min(double(area.width) / unit.width, double(area.height) / unit.height);
    const cv::Point start(area.x + static_cast<int>((area.width - unit.width * scale) / 2),
                          area.y + static_cast<int>((area.height + unit.height * scale) / 2));
    cv::putText(image, text, start, cv::FONT_HERSHEY_DUPLEX, scale, colour, thickness, cv::LINE_AA);
}

}  // namespace

cv::Mat colourChart()
{
    // Reflectances in linear light: blue, green, red.
    constexpr std::uint8_t kPatches[][3] = {
        {14, 21, 45},    {56, 75, 141},   {86, 49, 29},  {13, 38, 26},  {110, 56, 60}, {104, 132, 31},
        {10, 53, 178},   {97, 26, 19},    {33, 22, 137}, {36, 11, 27},  {13, 128, 87}, {8, 92, 195},
        {73, 12, 7},     {17, 77, 15},    {11, 9, 109},  {6, 146, 213}, {78, 21, 126}, {95, 61, 5},
        {230, 230, 230}, {150, 150, 150}, {92, 92, 92},  {49, 49, 49},  {23, 23, 23},  {8, 8, 8},
    };
    constexpr int kSide = 80, kGap = 10;
    cv::Mat chart(4 * (kSide + kGap) + kGap, 6 * (kSide + kGap) + kGap, CV_8UC3, kBlack);
    for (int i = 0; i < 24; ++i)
    {
        const cv::Rect patch(kGap + i % 6 * (kSide + kGap), kGap + i / 6 * (kSide + kGap), kSide, kSide);
        chart(patch) = cv::Scalar(kPatches[i][0], kPatches[i][1], kPatches[i][2]);
    }
    return chart;
}

cv::Mat resolutionChart()
{
    cv::Mat chart(400, 600, CV_8UC3, kWhite);
    int x = 20;
    for (int width = 16; width >= 1; width = width * 3 / 4)
    {
        for (int pair = 0; pair < 4; ++pair, x += 2 * width)
        {
            cv::rectangle(chart, {x, 20, width, 160}, kBlack, cv::FILLED);
        }
        x += 12;
    }
    const cv::Point middle(300, 290);
    for (int spoke = 0; spoke < 36; spoke += 2)
    {
        cv::ellipse(chart, middle, {95, 95}, 0, spoke * 10, spoke * 10 + 10, kBlack, cv::FILLED, cv::LINE_AA);
    }
    for (int line = 0; line < 10; ++line)
    {
        cv::rectangle(chart, {20, 210 + line * 18, 150, 18 - line}, line % 2 == 0 ? kBlack : kWhite, cv::FILLED);
        const int grey = 235 - line * 24;
        cv::rectangle(chart, {430, 210 + line * 18, 150, 18}, cv::Scalar::all(grey), cv::FILLED);
    }
    return chart;
}

cv::Mat numberPlate(const std::string& text)
{
    cv::Mat plate(112, 520, CV_8UC3, kWhite);
    cv::rectangle(plate, {2, 2, 516, 108}, kBlack, 5);
    cv::rectangle(plate, {5, 5, 46, 102}, cv::Scalar(120, 30, 5), cv::FILLED);
    write(plate, text, {66, 22, 440, 68}, kBlack, 7);
    return plate;
}

cv::Mat shopSign()
{
    cv::Mat sign(80, 640, CV_8UC3, cv::Scalar(60, 40, 20));
    write(sign, "BAKERY  CAFE", {40, 16, 560, 48}, cv::Scalar(120, 200, 230), 5);
    return sign;
}

cv::Mat shopWindow()
{
    cv::Mat window(240, 640, CV_8UC3, cv::Scalar(70, 110, 140));
    cv::RNG random(3);
    for (int shelf = 0; shelf < 4; ++shelf)
    {
        const int y = 40 + shelf * 52;
        for (int x = 8; x < 630; x += 18)
        {
            const cv::Scalar colour(random.uniform(10, 120), random.uniform(40, 190), random.uniform(60, 230));
            const int height = random.uniform(14, 38);
            cv::rectangle(window, {x, y + 44 - height, 14, height}, colour, cv::FILLED);
        }
        cv::rectangle(window, {0, y + 44, 640, 5}, cv::Scalar(30, 50, 70), cv::FILLED);
    }
    for (int x = 0; x < 640; x += 160)
    {
        cv::rectangle(window, {x, 0, 8, 240}, cv::Scalar(25, 25, 25), cv::FILLED);
    }
    return window;
}

}  // namespace sim::picture
