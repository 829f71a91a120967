#pragma once

#include "services/sim/picture/Exposure.h"

namespace sim::picture {

// Turns light into numbers, with the noise of light and of the sensor. Reentrant.
class Sensor
{
public:
    Sensor();

    // light: CV_32FC3 in lux. CV_16UC3, up to range times kFullScale. seconds: between two frames.
    const cv::Mat& expose(const cv::Mat& light, const Setting& setting, double range, double seconds);

private:
    const cv::Mat& gather(const cv::Mat& light, double shutter, double seconds);

    cv::Mat tile_;  // CV_16S: normal noise
    cv::RNG random_{42};
    cv::Mat gathered_;  // CV_32FC3: light of a shutter longer than a frame
    cv::Mat linear_;
};

}  // namespace sim::picture
