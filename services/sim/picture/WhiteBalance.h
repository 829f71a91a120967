#pragma once

#include <opencv2/core.hpp>

#include "services/sim/picture/View.h"

#include <optional>
#include <vector>

namespace sim::picture {

// What the channels are multiplied by.
struct ColourGains
{
    double blue = 1;
    double green = 1;
    double red = 1;
};

// Finds the light's colour and takes it away. Keeps what was found from frame to frame. Reentrant.
class WhiteBalance
{
public:
    // linear: CV_16UC3, whose values end at clip.
    ColourGains update(const cv::Mat& linear, int clip, const View& view);

private:
    // The colour of a light, in octaves against green.
    struct Tint
    {
        double blue = 0;
        double red = 0;
    };
    struct Range
    {
        Tint least;
        Tint greatest;
    };

    void follow(const cv::Mat& linear, int clip, const Range& range, double pace);
    static std::vector<Tint> tintsOf(const cv::Mat& linear, int clip);
    static std::optional<Tint> lightOf(const cv::Mat& linear, int clip, const Range& range);
    static ColourGains gainsFor(const Tint& light);

    std::optional<Tint> light_;  // as followed or pushed
    int mode_ = -1;              // of the frame before
};

}  // namespace sim::picture
