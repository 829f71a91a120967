#pragma once

#include "services/sim/picture/Layers.h"

namespace sim::picture {

struct Tree
{
    float x, y, height, crown;  // metres
    int clusters;               // of leaves
};

// The farthest first. They are drawn as they move.
const std::vector<Tree>& trees();

// Draws what never moves: sky, ground, houses, lamp posts, charts, and the car parked where the lens looks.
void drawStreet(Layers& layers, const Projection& projection);

// Where a street lamp shines from.
std::vector<Point> streetLamps();

}  // namespace sim::picture
