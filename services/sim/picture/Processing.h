#pragma once

#include <opencv2/core.hpp>

#include "services/sim/picture/View.h"

#include <functional>
#include <memory>
#include <utility>

namespace sim::picture {

constexpr int kFullScale = 4095;  // of the linear picture: one exposure of the sensor ends here

// What the sensor delivers for one frame.
struct Shot
{
    cv::Mat linear;         // CV_16UC3, blue, green, red; even width and height. White under daylight is grey in it
    bool night = false;     // monochrome
    double gain = 0;        // decibels
    cv::Point2d shake;      // pixels that the picture lies too far to the right and too low, for the hand shook
    int clip = kFullScale;  // the greatest value; more than kFullScale where several exposures make the picture
};

// Makes of what the sensor delivers what a viewer sees. Keeps from frame to frame what noise reduction and white balance
// need. Reentrant.
class Processing
{
public:
    Processing();
    ~Processing();

    // CV_8UC3, blue, green, red; upright in corridor view. Shares no memory with what is kept.
    cv::Mat process(const Shot& shot, const View& view);

    // Called with the name of each stage when it has ended.
    using Watch = std::function<void(const char* stage)>;
    void setWatch(Watch watch) { watch_ = std::move(watch); }

private:
    struct Stages;

    void ended(const char* stage) const;

    std::unique_ptr<Stages> stages_;
    Watch watch_;
};

}  // namespace sim::picture
