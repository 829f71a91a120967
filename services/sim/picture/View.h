#pragma once

#include <functional>
#include <map>

#include "services/sim/Lens.h"
#include "services/sim/Service.h"

// What the simulated picture sees of the simulated camera.
namespace sim::picture {

// All of one moment.
struct View
{
    Values values;  // every command that is a single word
    LensState lens = {};
    double distance = 0;      // metres to the object that the lens should focus on
    double lux = 0;           // on the scene
    double secondsOfDay = 0;  // camera's local time
    bool night = false;       // the infrared cut filter is away, the picture is monochrome
    Infrared lamps = {};      // per cent
    int haze = Weather().haze;
    int wind = Weather().wind;
};

// Looks at the camera. Thread-safe.
using Look = std::function<View()>;

}  // namespace sim::picture
