#pragma once

#include <opencv2/core.hpp>

#include "services/sim/picture/WhiteBalance.h"

namespace sim::picture {

constexpr int kWhite = 8192;  // of a working plane: full scale of one exposure

// The working picture: brightness, and colour at half the size. CV_16S. Values follow a curve like the eye's, so that
// noise is about as strong in dark parts as in light ones; brightness may be greater than kWhite.
struct Planes
{
    cv::Mat y;
    cv::Mat cb;
    cv::Mat cr;

    cv::Mat* begin() { return &y; }
    cv::Mat* end() { return &cr + 1; }
};

// The curve: light, 1 for white, to the value of a plane, 1 for white; and back.
double encode(double light);
double decode(double value);

// From the sensor's linear picture. Reentrant.
class Developing
{
public:
    // clip: the greatest value of the picture; there every colour is white.
    void develop(const cv::Mat& linear, int clip, const ColourGains& gains, Planes& out);

private:
    void prepare(int clip, const ColourGains& gains);

    cv::Mat curve_;                   // by linear value
    std::vector<short> channels_[3];  // blue, green, red: the curve with the gain
};

// As if the picture had been taken from where it would have been without the shake: moved back by as much, and cut where
// nothing was seen. strength: 0 to 1, the part of the shake that is undone.
void steady(Planes& planes, const cv::Point2d& shake, double strength);

}  // namespace sim::picture
