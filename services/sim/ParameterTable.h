#pragma once

#include "ia_ioctrl.h"
#include "services/CommandNames.h"
#include "services/ParameterFacts.h"

#include <vector>

// What each sensor module of the simulated service allows of the commands, as data. Rows are constant; everything here
// is Reentrant.
namespace sim {

using namespace services;

// The values of one choice that a sensor module allows, a subset of the row's.
struct ModuleValues
{
    ia_cmd_e cmd;
    int defaultValue;
    int count;
    int values[kDynamicItemsMax];  // ascending
};

struct SensorModule
{
    int id;
    const char* name;
    const char* version;  // at most kCameraVersionSize - 1 bytes
    const ModuleValues* own;
    int ownCount;
};

Rows<SensorModule> sensorModules();

// Null when there is no such row.
const SensorModule* findModule(int id);

// The module's own values for a command; null when the row's values hold.
const ModuleValues* ownValues(const SensorModule& module, u32 cmd);

// What one module allows for one command.
AllowedValues allowedValues(const Parameter& parameter, const SensorModule& module);

// The commands whose allowed values depend on the module, in the module's order. The library looks up the
// key with the same number, so a command whose key differs (the sensor's frame rate) is never among them.
std::vector<ia_cmd_e> dynamicCommands(const SensorModule& module);

}  // namespace sim
