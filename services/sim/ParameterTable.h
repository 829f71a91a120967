#pragma once

#include "ia_ioctrl.h"
#include "services/CommandNames.h"
#include "services/ImageService.h"

#include <cstddef>
#include <vector>

// What the simulated service knows about each command, as data: one row a command, the only place that says
// a parameter's name, unit, range, default and allowed values. Rows are constant; everything here is Reentrant.
namespace sim {

using namespace services;

struct Choice
{
    int value;          // the "index" of the choice item in style documents
    const char* label;  // English
};

// Values of choices that mean something to the service itself; the labels are in the table.
enum ExposureMode : int
{
    kAutomaticExposure = 0,
    kShutterPriority = 1,
    kIrisPriority = 2,
    kManualExposure = 3,
    kGainPriority = 4,
};

enum FocusMode : int
{
    kAutomaticFocus = 0,
    kManualFocus = 1,
    kFocusAfterZoom = 2,
};

enum DayNightMode : int
{
    kByLight = 0,
    kAlwaysDay = 1,
    kAlwaysNight = 2,
    kByTime = 3,
};

enum InfraredMode : int
{
    kByLightLevel = 0,
    kByZoom = 1,
    kByHand = 2,
};

enum OffsetDirection : int
{
    kNoDirection = 0,
    kLeft = 1,
    kRight = 2,
    kUp = 3,
    kDown = 4,
};

// Bits of Parameter::options, 1 << IA_CMD_OPT_*.
enum : unsigned
{
    kMaySet = 1u << IA_CMD_OPT_SET,
    kMayGet = 1u << IA_CMD_OPT_GET,
    kMayDescribe = 1u << IA_CMD_OPT_GET_PARAM_RNAGE,
    kMayCorrect = 1u << IA_CMD_OPT_CORRECT_PARAM,
    kMayAskStatus = 1u << IA_CMD_OPT_GET_EXEC_STATUS,
    kAllOptions = kMaySet | kMayGet | kMayDescribe | kMayCorrect | kMayAskStatus,
};

struct Parameter
{
    ia_cmd_e cmd;
    const char* name;  // English
    const char* unit;  // "" for numbers without one and for choices
    Kind kind;
    int minimum;
    int maximum;
    int step;
    int defaultValue;       // power-on value unless the sensor module has its own
    const Choice* choices;  // null unless kind is choice; ascending. The union of what the modules allow
    int choiceCount;
    unsigned options;
};

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

// A constant array that can be walked with a range-based for.
template <typename Row>
struct Rows
{
    const Row* first;
    std::size_t count;

    const Row* begin() const { return first; }
    const Row* end() const { return first + count; }
    std::size_t size() const { return count; }
};

Rows<Parameter> parameters();
Rows<SensorModule> sensorModules();

// Null when there is no such row.
const Parameter* findParameter(u32 cmd);
const SensorModule* findModule(int id);

// The module's own values for a command; null when the row's values hold.
const ModuleValues* ownValues(const SensorModule& module, u32 cmd);

// What one module allows for one command.
AllowedValues allowedValues(const Parameter& parameter, const SensorModule& module);

// The commands whose allowed values depend on the module, in the module's order. The library looks up the
// key with the same number, so a command whose key differs (the sensor's frame rate) is never among them.
std::vector<ia_cmd_e> dynamicCommands(const SensorModule& module);

// contract: in documents this value of the shutter commands 49 and 50 stands for what the service prefers. It is
// never an allowed value; corrected, it becomes the default.
constexpr int kShutterPreferred = 100;

// Metres of a value of the nearest focus distance.
double nearLimitMetres(int value);

// The label of a choice value; "" when the row has none for it.
const char* choiceLabel(const Parameter& parameter, int value);

}  // namespace sim
