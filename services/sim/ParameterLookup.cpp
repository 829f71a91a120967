#include "services/sim/ParameterTable.h"

#include <algorithm>
#include <cstdint>

// Questions that the rows of ParameterTable.cpp answer.
namespace sim {
namespace {

std::int64_t distance(int a, int b)
{
    const std::int64_t difference = static_cast<std::int64_t>(a) - b;
    return difference < 0 ? -difference : difference;
}

}  // namespace

const Parameter* findParameter(u32 cmd)
{
    for (const Parameter& row : parameters())
    {
        if (row.cmd == cmd)
        {
            return &row;
        }
    }
    return nullptr;
}

const SensorModule* findModule(int id)
{
    for (const SensorModule& module : sensorModules())
    {
        if (module.id == id)
        {
            return &module;
        }
    }
    return nullptr;
}

const ModuleValues* ownValues(const SensorModule& module, u32 cmd)
{
    const ModuleValues* end = module.own + module.ownCount;
    const ModuleValues* found = std::find_if(module.own, end, [cmd](const ModuleValues& v) { return v.cmd == cmd; });
    return found == end ? nullptr : found;
}

AllowedValues allowedValues(const Parameter& parameter, const SensorModule& module)
{
    AllowedValues allowed{parameter.minimum, parameter.maximum, parameter.step, parameter.defaultValue, {}};
    if (const ModuleValues* own = ownValues(module, parameter.cmd))
    {
        allowed.items.assign(own->values, own->values + own->count);
        allowed.defaultValue = own->defaultValue;
    }
    else
    {
        for (int i = 0; i < parameter.choiceCount; ++i)
        {
            allowed.items.push_back(parameter.choices[i].value);
        }
    }
    if (!allowed.items.empty())
    {
        allowed.minimum = allowed.items.front();
        allowed.maximum = allowed.items.back();
    }
    return allowed;
}

bool AllowedValues::contains(int value) const
{
    if (!items.empty())
    {
        return std::binary_search(items.begin(), items.end(), value);
    }
    return value >= minimum && value <= maximum && (value - minimum) % step == 0;
}

int AllowedValues::nearest(int value) const
{
    if (items.empty())
    {
        const int clamped = std::clamp(value, minimum, maximum);
        const int above = (clamped - minimum) % step;
        const bool up = above * 2 > step && clamped - above + step <= maximum;
        return clamped - above + (up ? step : 0);
    }
    return *std::min_element(items.begin(), items.end(),
                             [value](int a, int b) { return distance(a, value) < distance(b, value); });
}

std::vector<ia_cmd_e> dynamicCommands(const SensorModule& module)
{
    std::vector<ia_cmd_e> commands;
    for (int i = 0; i < module.ownCount; ++i)
    {
        if (keyOfCommand(module.own[i].cmd) == module.own[i].cmd)
        {
            commands.push_back(module.own[i].cmd);
        }
    }
    return commands;
}

const char* choiceLabel(const Parameter& parameter, int value)
{
    for (int i = 0; i < parameter.choiceCount; ++i)
    {
        if (parameter.choices[i].value == value)
        {
            return parameter.choices[i].label;
        }
    }
    return "";
}

const char* commandName(u32 cmd)
{
    switch (cmd)
    {
#define SNS_KEY(name, key, ia, number, handler) \
    case number:                                \
        return #ia;
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
    case IA_CMD_DN_STATE:
        return "IA_CMD_DN_STATE";
    case IA_CMD_PTZ_RUN_STATE:
        return "IA_CMD_PTZ_RUN_STATE";
    case IA_CMD_AF_STATISTIC:
        return "IA_CMD_AF_STATISTIC";
    case IA_CMD_WDR_BRACKET:
        return "IA_CMD_WDR_BRACKET";
    case IA_CMD_CAMERA_VERSION:
        return "IA_CMD_CAMERA_VERSION";
    case IA_CMD_SENSOR_CHECK:
        return "IA_CMD_SENSOR_CHECK";
    case IA_CMD_DYNAMIC_PARAMS_CMDS_GET:
        return "IA_CMD_DYNAMIC_PARAMS_CMDS_GET";
    default:
        return "unknown";
    }
}

const char* optionName(int opt)
{
    switch (opt)
    {
    case IA_CMD_OPT_SET:
        return "IA_CMD_OPT_SET";
    case IA_CMD_OPT_GET:
        return "IA_CMD_OPT_GET";
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return "IA_CMD_OPT_GET_PARAM_RNAGE";
    case IA_CMD_OPT_CORRECT_PARAM:
        return "IA_CMD_OPT_CORRECT_PARAM";
    case IA_CMD_OPT_GET_EXEC_STATUS:
        return "IA_CMD_OPT_GET_EXEC_STATUS";
    default:
        return "unknown";
    }
}

u32 keyOfCommand(u32 cmd)
{
    switch (cmd)
    {
#define SNS_KEY(name, key, ia, number, handler) \
    case number:                                \
        return key;
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
    default:
        return 0;
    }
}

}  // namespace sim
