#pragma once

#include "services/sim/picture/View.h"

#include <opencv2/core.hpp>

namespace sim::picture {

// How a frame is taken.
struct Setting
{
    double shutter = 0.02;  // seconds
    double gain = 0;        // decibels
    double stop = 2.8;      // f-number
    double passes = 1;      // the part of the light that the iris lets through at that stop; 0 when it is closed
};

// Chooses how the next frame is taken, from the one before. Reentrant.
class Exposure
{
public:
    // How many full scales a picture with so many exposures holds.
    static double range(const View& view);

    // For the next frame. linear: CV_16UC3 of the last one, 0..kFullScale and beyond; empty before the first.
    const Setting& next(const View& view, const cv::Mat& linear, double seconds);

    // How far the wanted brightness is from what was measured last, in stops.
    double error() const { return error_; }

private:
    double measured(const View& view, const cv::Mat& linear) const;
    void divide(const View& view);

    double stops_ = -9;  // of light wanted: the logarithm of what shutter, gain and iris give together
    double iris_ = 0;    // stops that the automatic iris has closed
    double time_ = 0;
    double error_ = 0;
    Setting setting_;
};

// f-number of the iris' motor position, and what it lets through of that.
Setting irisAt(double position);

double shutterSeconds(int choice);

}  // namespace sim::picture
