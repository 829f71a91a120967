#pragma once

#include "services/sim/picture/Layers.h"

namespace sim::picture {

enum class Body
{
    saloon,
    van,
    lorry,
};

struct Vehicle
{
    Body body = Body::saloon;
    cv::Vec3f colour;
    cv::Mat plate;
    float x = 0;          // of its middle
    float y = 0;          // of its nearer end
    bool coming = false;  // its nearer end is the front
    int lamps = 0;        // head or rear lamps' glow, 0 to 255
    float passed = 0;     // metres that the wheels have rolled
};

// What it touched.
cv::Rect drawVehicle(Layers& layers, const Projection& projection, const Vehicle& vehicle);

// Between the lamps of the nearer end.
constexpr float kLampsApart = 1.3f;
constexpr float kLampsHigh = 0.68f;

}  // namespace sim::picture
