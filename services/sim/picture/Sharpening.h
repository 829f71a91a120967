#pragma once

#include <opencv2/core.hpp>

namespace sim::picture {

// Makes the edges of a plane of eight bits steeper; what lies beside an edge becomes hardly lighter or darker than it was.
// amount: 0 (none) to 1. gain: of the sensor, in decibels; the noise it brings is not sharpened.
void sharpen(cv::Mat& plane, double amount, double gain);

}  // namespace sim::picture
