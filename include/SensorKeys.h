#pragma once

#include "SensorTypes.h"

/// Key numbers of all parameters (table: SensorKeys.def).
enum sensor_key_e : u32
{
#define SNS_KEY(name, key, ia, cmd, handler) name = key,
#define SNS_STORED_KEY(name, key) name = key,
#include "SensorKeys.def"
};
