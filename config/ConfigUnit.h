#pragma once

#include "SensorTypes.h"

// What the folders of the library share about the configuration. Includable by controller/ and above.
namespace config {

// Names under which this folder's files report, whatever they are called themselves.
constexpr char kSensorFile[] = "SensorFile";
constexpr char kSensor[] = "sensor";

// Parameters that a style may describe: records in every array that is handed to getFctData, and in the
// controller's scratch array. The key-command map has 87 rows.
constexpr u32 kKeyValCapacity = 100;

}  // namespace config
