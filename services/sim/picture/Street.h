#pragma once

#include "services/sim/picture/Layers.h"

namespace sim::picture {

// Draws what never moves: sky, ground, houses, lamp posts, charts, and the car parked where the lens looks.
void drawStreet(Layers& layers, const Projection& projection);

// Where a street lamp shines from.
std::vector<Point> streetLamps();

}  // namespace sim::picture
