#pragma once

#include "SensorTypes.h"

namespace devices {

// Controls that no driver numbers. Those of drivers lie below.
enum : u32
{
    kFrameRate = 0x10000001,   // frames in a second
    kLampNear = 0x10000002,    // 0 to the lamp's own greatest brightness
    kLampMedium = 0x10000003,  // "
    kLampFar = 0x10000004,     // "
    kFilter = 0x10000005,      // 1: the filter that keeps infrared light out is in the light's way
};

}  // namespace devices
