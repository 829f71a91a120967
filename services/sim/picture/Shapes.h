#pragma once

#include "services/sim/picture/Layers.h"

// Flat pieces of the street: each goes from its lesser to its greater coordinates.
namespace sim::picture {

using Corners = std::vector<Point>;

// On the ground or on a roof.
inline Corners level(float x0, float x1, float y0, float y1, float z)
{
    return {{x0, y1, z}, {x1, y1, z}, {x1, y0, z}, {x0, y0, z}};
}

// Across the street; its image reads from left to right.
inline Corners across(float y, float x0, float x1, float z0, float z1)
{
    return {{x0, y, z1}, {x1, y, z1}, {x1, y, z0}, {x0, y, z0}};
}

// Along the street.
inline Corners along(float x, float y0, float y1, float z0, float z1)
{
    return {{x, y0, z1}, {x, y1, z1}, {x, y1, z0}, {x, y0, z0}};
}

// A disc that faces the camera, or, flat = true, the side of the street.
Corners disc(Point middle, float radius, bool sideways = false);

}  // namespace sim::picture
