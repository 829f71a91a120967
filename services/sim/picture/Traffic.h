#pragma once

#include <map>
#include <vector>

#include "services/sim/picture/Vehicle.h"

namespace sim::picture {

// A light that dazzles.
struct Flare
{
    Point street;
    cv::Vec3f colour;  // blue, green, red
    float lux;         // in the middle
    float metres;      // from the middle to where little is left
};

struct Moment
{
    double seconds;  // since any fixed one
    bool dark;       // lamps are lit
    double wind;     // 0 to 1, a storm
};

// What moves in the street: vehicles, people, and trees in the wind. Where each of them is depends on the moment alone.
// Reentrant.
class Traffic
{
public:
    // Adds what it touched.
    void draw(Layers& layers, const Projection& projection, const Moment& moment, std::vector<cv::Rect>& touched);

    // Of the last drawing.
    const std::vector<Flare>& flares() const { return flares_; }

private:
    void addVehicles(double seconds, bool dark);
    void lightRoad(Layers& layers, const Projection& projection, const Vehicle& vehicle,
                   std::vector<cv::Rect>& touched) const;
    const cv::Mat& plate(int number);

    std::vector<Vehicle> vehicles_;  // the farthest first
    std::vector<Flare> flares_;
    std::map<int, cv::Mat> plates_;
};

}  // namespace sim::picture
