#pragma once

#include <cstddef>

#include "ia_ioctrl.h"
#include "services/ImageService.h"

// What every service knows about each command, as data: one row a command, the only place that says a parameter's name,
// unit, kind, range, default and labels. A service may allow less. Rows are constant; everything here is Reentrant.
namespace services {

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
    int defaultValue;       // power-on value unless the device has its own
    const Choice* choices;  // null unless kind is choice; ascending. The union of what devices allow
    int choiceCount;
    unsigned options;
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

// In the order of a page.
Rows<Parameter> parameters();

// Null when there is no such row.
const Parameter* findParameter(u32 cmd);

// contract: in documents this value of the shutter commands 49 and 50 stands for what the service prefers. It is
// never an allowed value; corrected, it becomes the default.
constexpr int kShutterPreferred = 100;

// What a correction (option 3) makes of the value.
int correct(ia_cmd_e cmd, const AllowedValues& allowed, int value);
// As the record of option 2.
ia_dynamic_params_attr_st describe(const AllowedValues& allowed);

// Metres of a value of the nearest focus distance.
double nearLimitMetres(int value);

// The label of a choice value; "" when the row has none for it.
const char* choiceLabel(const Parameter& parameter, int value);
// All of them, by value; of a row that is no choice, none.
std::map<int, std::string> labelsOf(const Parameter& parameter);

}  // namespace services
