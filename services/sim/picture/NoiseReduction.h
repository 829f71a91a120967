#pragma once

#include "services/sim/picture/Planes.h"

#include <vector>

namespace sim::picture {

// 0 when switched off, to 1. gain: of the sensor, in decibels; the automatic does more against the noise it brings.
double spatialStrength(const View& view, double gain);
double temporalStrength(const View& view, double gain);

// Three dimensions: what rests is averaged over frames, what moves is not. Reentrant.
class TemporalNoiseReduction
{
public:
    void reduce(Planes& planes, double strength);

private:
    void begin(const Planes& planes);
    cv::Mat motionIn(const Planes& planes);
    cv::Mat stepsFor(const cv::Mat& motion, double strength);

    Planes kept_;

    // Of a small picture.
    Planes keptSmall_;
    cv::Mat age_;                   // CV_32F: frames since something moved
    std::vector<double> noise_[3];  // of each plane, by brightness
};

// Two dimensions, over a plane of eight bits: neighbours that are alike are averaged, edges stay.
void reduceInBrightness(cv::Mat& plane, double strength);
void reduceInColour(cv::Mat& plane, double strength);

}  // namespace sim::picture
