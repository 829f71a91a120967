#include "services/linux/Parameters.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <iterator>

#include "services/ParameterFacts.h"
#include "services/linux/ControlIds.h"
#include "services/linux/Service.h"

namespace devices {
namespace {

using services::AllowedValues;
using services::Kind;
using services::Parameter;

constexpr u32 kLamps[] = {kLampNear, kLampMedium, kLampFar};
constexpr u32 kColours[] = {V4L2_CID_SATURATION, V4L2_CID_COLOR_KILLER, V4L2_CID_COLORFX};

struct StepRow
{
    ia_cmd_e cmd;
    Step step;
};

// A stop of the iris is an eighth of its way. A greater word of the focus is nearer.
constexpr StepRow kSteps[] = {
    {IA_CMD_IRIS_UP, {IA_CMD_IRIS_POSITION, 12}},   {IA_CMD_IRIS_DOWN, {IA_CMD_IRIS_POSITION, -12}},
    {IA_CMD_FOCUS_NEAR, {IA_CMD_MF_POSITION, 200}}, {IA_CMD_FOCUS_FAR, {IA_CMD_MF_POSITION, -200}},
    {IA_CMD_ZOOM_IN, {IA_CMD_MZ_POSITION, 376}},    {IA_CMD_ZOOM_OUT, {IA_CMD_MZ_POSITION, -376}},
};

// What a camera has beyond the rows of the table.
struct Equipment
{
    bool hasLight;
    bool hasLamps;
    bool hasNight;  // something is other by night
};

Equipment equipmentOf(const std::vector<Control>& controls, const Board& board)
{
    const auto has = [&](u32 id) {
        const Control* const control = findControl(controls, id);
        return control != nullptr && control->isSettable;
    };
    const bool hasLight = !board.light.empty();
    const bool hasLamps = std::any_of(std::begin(kLamps), std::end(kLamps), has);
    const bool hasColour = std::any_of(std::begin(kColours), std::end(kColours), has);
    return {hasLight, hasLamps, hasLight || hasLamps || hasColour || has(kFilter)};
}

AllowedValues allOf(const Parameter& parameter)
{
    AllowedValues allowed{parameter.minimum, parameter.maximum, parameter.step, parameter.defaultValue, {}};
    for (int i = 0; i < parameter.choiceCount; ++i)
    {
        allowed.items.push_back(parameter.choices[i].value);
    }
    return allowed;
}

AllowedValues without(AllowedValues allowed, int item, int defaultValue)
{
    allowed.items.erase(std::remove(allowed.items.begin(), allowed.items.end(), item), allowed.items.end());
    allowed.minimum = allowed.items.front();
    allowed.maximum = allowed.items.back();
    allowed.defaultValue = defaultValue;
    return allowed;
}

bool isOfLamps(ia_cmd_e cmd)
{
    return cmd == IA_CMD_IR_SWITCH || (cmd >= IA_CMD_IR_MODE && cmd <= IA_CMD_IR_MANUAL_STRG_FAR);
}

// Of the commands that are no row's.
std::optional<AllowedValues> allowedByEquipment(const Parameter& parameter, const ControlTable& table,
                                                const Equipment& equipment)
{
    const auto when = [&](bool has) { return has ? std::optional<AllowedValues>(allOf(parameter)) : std::nullopt; };
    switch (parameter.cmd)
    {
    case IA_CMD_DN_STATE:
    case IA_CMD_PTZ_RUN_STATE:
        return allOf(parameter);
    case IA_CMD_DN_MODE:
        if (equipment.hasNight && !equipment.hasLight)
        {
            return without(allOf(parameter), services::kByLight, services::kAlwaysDay);
        }
        return when(equipment.hasNight);
    case IA_CMD_DTN_H:
    case IA_CMD_DTN_M:
    case IA_CMD_NTD_H:
    case IA_CMD_NTD_M:
        return when(equipment.hasNight);
    case IA_CMD_DELAY:
    case IA_CMD_DTN_THR:
    case IA_CMD_NTD_THR:
        return when(equipment.hasLight);
    case IA_CMD_IR_MODE:
        if (!equipment.hasLamps)
        {
            return std::nullopt;
        }
        return without(allOf(parameter), services::kByZoom, parameter.defaultValue);
    case IA_CMD_LENS_RESET:
        return when(table.allowed(IA_CMD_MF_POSITION) || table.allowed(IA_CMD_MZ_POSITION));
    default:
    {
        const Step step = stepOf(parameter.cmd);
        return when(step.size != 0 && table.allowed(step.position).has_value());
    }
    }
}

std::optional<AllowedValues> allowedOf(const Parameter& parameter, const ControlTable& table,
                                       const Equipment& equipment)
{
    std::optional<AllowedValues> allowed = table.allowed(parameter.cmd);
    if (!allowed || parameter.cmd == IA_CMD_DN_STATE)
    {
        return allowedByEquipment(parameter, table, equipment);
    }
    if (isOfLamps(parameter.cmd))
    {
        allowed->defaultValue = parameter.defaultValue;  // a lamp's own is dark
    }
    if (parameter.kind == Kind::action)
    {
        return allOf(parameter);
    }
    return allowed;
}

std::map<int, std::string> labelsFor(const Parameter& parameter, const AllowedValues& allowed)
{
    std::map<int, std::string> labels;
    for (const int item : allowed.items)
    {
        const std::string known = services::choiceLabel(parameter, item);
        const std::string unit = parameter.cmd == IA_CMD_SENSOR_FPS ? " fps" : "";
        labels[item] = known.empty() ? std::to_string(item) + unit : known;
    }
    return labels;
}

}  // namespace

std::vector<Control> controlsFor(const Description& description, const Board& board)
{
    std::vector<Control> controls = description.controls;
    const std::int64_t other =
        board.mains == 60 ? V4L2_CID_POWER_LINE_FREQUENCY_50HZ : V4L2_CID_POWER_LINE_FREQUENCY_60HZ;
    const std::int64_t ours =
        board.mains == 60 ? V4L2_CID_POWER_LINE_FREQUENCY_60HZ : V4L2_CID_POWER_LINE_FREQUENCY_50HZ;
    for (Control& control : controls)
    {
        if (control.id == V4L2_CID_POWER_LINE_FREQUENCY && control.items.count(ours) != 0 &&
            control.items.erase(other) != 0 && control.defaultValue == other)
        {
            control.defaultValue = ours;
        }
    }
    return controls;
}

Step stepOf(ia_cmd_e cmd)
{
    const auto* const found =
        std::find_if(std::begin(kSteps), std::end(kSteps), [cmd](const StepRow& row) { return row.cmd == cmd; });
    return found == std::end(kSteps) ? Step() : found->step;
}

std::optional<ia_cmd_e> twinOf(ia_cmd_e cmd)
{
    return cmd == IA_CMD_IRIS_POSITION ? std::optional<ia_cmd_e>(IA_CMD_IRIS_SIZE)
           : cmd == IA_CMD_IRIS_SIZE   ? std::optional<ia_cmd_e>(IA_CMD_IRIS_POSITION)
                                       : std::nullopt;
}

namespace {

// That of the controls' values where they say it.
int firstWord(const ControlTable& table, const Values& values, ia_cmd_e cmd, const AllowedValues& allowed)
{
    // Whether lamps are lit at this moment says nothing about what they shall do.
    const std::optional<int> word = isOfLamps(cmd) ? std::nullopt : table.word(cmd, values);
    return word ? allowed.nearest(*word) : allowed.defaultValue;
}

}  // namespace

std::vector<services::ParameterState> statesOf(const Description& description, const Board& board)
{
    const ControlTable table(controlsFor(description, board));
    const Equipment equipment = equipmentOf(description.controls, board);
    std::vector<services::ParameterState> states;
    for (const Parameter& parameter : services::parameters())
    {
        const std::optional<AllowedValues> allowed =
            parameter.kind == Kind::record ? std::nullopt : allowedOf(parameter, table, equipment);
        if (!allowed)
        {
            continue;
        }
        // Where a device has no such steps, a choice is a number.
        const bool isRange = parameter.kind == Kind::choice && allowed->items.empty();
        states.push_back({parameter.cmd, parameter.name, parameter.unit, isRange ? Kind::range : parameter.kind,
                          *allowed, labelsFor(parameter, *allowed),
                          firstWord(table, description.values, parameter.cmd, *allowed)});
    }
    return states;
}

// The iris has one control and so one word to keep: of two saved ones, one would undo the other.
bool isListed(ia_cmd_e cmd)
{
    return cmd != IA_CMD_IRIS_SIZE && cmd != IA_CMD_PTZ_RUN_STATE;
}

std::vector<services::ParameterState> parametersOf(const Description& description, const Board& board)
{
    std::vector<services::ParameterState> states = statesOf(description, board);
    const auto end = std::remove_if(states.begin(), states.end(),
                                    [](const services::ParameterState& state) { return !isListed(state.cmd); });
    states.erase(end, states.end());
    return states;
}

}  // namespace devices
