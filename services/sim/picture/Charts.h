#pragma once

#include <opencv2/core.hpp>

#include <string>

// Flat pictures that stand in the street, CV_8UC3.
namespace sim::picture {

// Six by four patches; the last row is grey from white to black.
cv::Mat colourChart();
// Line pairs that get finer, and a star.
cv::Mat resolutionChart();
cv::Mat numberPlate(const std::string& text);
cv::Mat shopSign();
cv::Mat shopWindow();

}  // namespace sim::picture
