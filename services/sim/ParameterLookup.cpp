#include "services/sim/ParameterTable.h"

#include <algorithm>

// Questions that the rows of ParameterTable.cpp answer.
namespace sim {

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

}  // namespace sim
