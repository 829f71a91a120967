#include "services/checks/Commands.h"

#include <algorithm>

#include "SensorKeys.h"

namespace portcheck {
namespace {

Data dataOf(u32 cmd)
{
    switch (cmd)
    {
    case IA_CMD_DTN_THR:
    case IA_CMD_NTD_THR:
        return Data::thresholds;
    case IA_CMD_DTN_H:
    case IA_CMD_DTN_M:
    case IA_CMD_NTD_H:
    case IA_CMD_NTD_M:
        return Data::times;
    default:
        return Data::word;
    }
}

// Zoom, focus and iris; a change of the exposure mode moves the iris, one of day and night may focus.
bool movesLens(u32 cmd)
{
    const bool isIris = cmd >= IA_CMD_IRIS_SWITCH && cmd <= IA_CMD_IRIS_SIZE;
    const bool isFocusOrZoom = cmd >= IA_CMD_AUTO_FOCUS_MODE && cmd <= IA_CMD_LENS_RESET;
    return isIris || isFocusOrZoom || cmd == IA_CMD_EXPOSE_MODE || cmd == IA_CMD_DN_AF_MODE;
}

}  // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> rows = {
#define SNS_KEY(name, key, ia, cmd, handler) {key, ia, #ia, dataOf(cmd), movesLens(cmd)},
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
    };
    return rows;
}

const Command* commandOfKey(u32 key)
{
    const auto found =
        std::find_if(commands().begin(), commands().end(), [&](const Command& row) { return row.key == key; });
    return found == commands().end() ? nullptr : &*found;
}

std::string nameOf(u32 cmd)
{
    switch (cmd)
    {
    case IA_CMD_DN_STATE:
        return "IA_CMD_DN_STATE";
    case IA_CMD_AF_STATISTIC:
        return "IA_CMD_AF_STATISTIC";
    case IA_CMD_CAMERA_VERSION:
        return "IA_CMD_CAMERA_VERSION";
    case IA_CMD_DYNAMIC_PARAMS_CMDS_GET:
        return "IA_CMD_DYNAMIC_PARAMS_CMDS_GET";
    default:
        break;
    }
    const auto found =
        std::find_if(commands().begin(), commands().end(), [&](const Command& row) { return row.cmd == cmd; });
    return found == commands().end() ? "command " + std::to_string(cmd) : found->name;
}

std::string describe(u32 cmd, int opt)
{
    static const char* const names[] = {"a set", "a get", "the allowed values", "the correction",
                                        "the execution status"};
    return std::string(names[opt]) + " of " + nameOf(cmd);
}

int ask(Watch& watch, u32 cmd, int opt, void* data)
{
    const Step step(watch, describe(cmd, opt));
    return ia_ioctrl(static_cast<ia_cmd_e>(cmd), opt, data);
}

bool correct(Watch& watch, u32 cmd, int& value)
{
    GuardedWord word;
    word.set(value);
    if (ask(watch, cmd, IA_CMD_OPT_CORRECT_PARAM, word.data()) != 0)
    {
        return false;
    }
    value = word.get<int>();
    return true;
}

std::vector<ia_cmd_e> dynamicCommands(Watch& watch)
{
    GuardedList answer;
    if (ask(watch, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, answer.data()) != 0)
    {
        return {};
    }
    const auto list = answer.get<ia_dynamic_params_cmds_st>();
    return {list.cmd_list, list.cmd_list + std::clamp<int>(list.cmd_cnt, 0, kDynamicCmdsMax)};
}

std::vector<int> itemsOf(const ia_dynamic_params_attr_st& allowed)
{
    return {allowed.item, allowed.item + std::clamp<int>(allowed.items_cnt, 0, kDynamicItemsMax)};
}

}  // namespace portcheck
