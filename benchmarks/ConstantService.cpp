#include "benchmarks/ConstantService.h"

#include <algorithm>
#include <cstring>

#include "app/Service.h"
#include "services/CommandNames.h"
#include "tests/support/ServiceDouble.h"

namespace bench {
namespace {

ia_dynamic_params_cmds_st g_commands;
ia_dynamic_params_attr_st g_attributes[kDynamicCmdsMax];
thread_local std::vector<ServiceCall>* t_recorder = nullptr;

// Null for a command that is not dynamic.
const ia_dynamic_params_attr_st* findAttributes(u32 cmd)
{
    const ia_cmd_e* end = g_commands.cmd_list + g_commands.cmd_cnt;
    const ia_cmd_e* found = std::find(static_cast<const ia_cmd_e*>(g_commands.cmd_list), end, cmd);
    return found == end ? nullptr : &g_attributes[found - g_commands.cmd_list];
}

void record(u32 cmd, int opt, const void* data)
{
    const bool isOnlyFilled = opt == IA_CMD_OPT_GET || opt == IA_CMD_OPT_GET_PARAM_RNAGE;
    ServiceCall call{cmd, opt, std::vector<u32>(isOnlyFilled ? 0 : services::wordsToSet(cmd))};
    if (!call.words.empty())
    {
        std::memcpy(call.words.data(), data, call.words.size() * sizeof(u32));
    }
    t_recorder->push_back(std::move(call));
}

class ConstantService final : public support::ServiceDouble
{
public:
    int call(ia_cmd_e cmd, int opt, void* data) override
    {
        if (t_recorder != nullptr)
        {
            record(cmd, opt, data);
        }
        if (opt == IA_CMD_OPT_GET && cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET)
        {
            std::memcpy(data, &g_commands, sizeof g_commands);
        }
        else if (opt == IA_CMD_OPT_GET)
        {
            *static_cast<u32*>(data) = 0;
        }
        else if (opt == IA_CMD_OPT_GET_PARAM_RNAGE)
        {
            if (const ia_dynamic_params_attr_st* found = findAttributes(cmd))
            {
                std::memcpy(data, found, sizeof *found);
            }
        }
        return SNS_SUCCESS;
    }

private:
    const support::InForce inForce_{*this};
} g_service;

}  // namespace

bool operator==(const ServiceCall& left, const ServiceCall& right)
{
    return left.cmd == right.cmd && left.opt == right.opt && left.words == right.words;
}

void answerAsModule(int moduleId)
{
    services::Journal& module = app::service();
    services::setServiceInForce(&g_service);  // asking for the camera's own has put that in force
    module.setModule(moduleId);
    module.call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &g_commands);
    for (int i = 0; i < g_commands.cmd_cnt; ++i)
    {
        module.call(g_commands.cmd_list[i], IA_CMD_OPT_GET_PARAM_RNAGE, &g_attributes[i]);
    }
}

void answerWithoutDynamicCommands()
{
    g_commands = {};
}

const ia_dynamic_params_cmds_st& dynamicCommands()
{
    return g_commands;
}

ia_dynamic_params_attr_st allowedValues(u32 cmd)
{
    const ia_dynamic_params_attr_st* found = findAttributes(cmd);
    return found == nullptr ? ia_dynamic_params_attr_st{} : *found;
}

RecordedCalls::RecordedCalls()
{
    t_recorder = &calls_;
}

RecordedCalls::~RecordedCalls()
{
    t_recorder = nullptr;
}

}  // namespace bench
