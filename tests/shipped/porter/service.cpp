// The smallest image-adjust service that keeps every promise, or all but the one in PORT_BREAKS: three parameters, one of
// them sensor-dependent.

#include <SensorKeys.h>
#include <ia_ioctrl.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <mutex>

namespace {

#ifndef PORT_BREAKS
#define PORT_BREAKS Promise::none
#endif

enum class Promise
{
    none,
    refusal,     // a refused set leaves the old value
    correction,  // what was corrected once stays as it is
};

constexpr Promise kBroken = PORT_BREAKS;
constexpr int kRefused = -1;
constexpr int kHighest = 100;         // of brightness and saturation, from 0
constexpr int kGammas[] = {0, 2, 5};  // what the sensor can do

std::mutex mutex;
std::map<u32, int> values = {{IA_CMD_BRIGHTNESS, 50}, {IA_CMD_SATURATION, 50}, {IA_CMD_GAMMA, 0}};  // guarded by mutex

int nearest(u32 cmd, int value)
{
    if (cmd != IA_CMD_GAMMA)
    {
        return std::clamp(value, 0, kHighest);
    }
    const auto found = std::find(std::begin(kGammas), std::end(kGammas), value);
    return found == std::end(kGammas) ? kGammas[0] : value;
}

// The second gamma and the first take turns.
int nextGamma(int value)
{
    return value == kGammas[0] ? kGammas[1] : kGammas[0];
}

int listDynamicCommands(ia_dynamic_params_cmds_st& list)
{
    list.cmd_cnt = 1;
    list.cmd_list[0] = IA_CMD_GAMMA;
    return 0;
}

int listGammas(ia_dynamic_params_attr_st& allowed)
{
    allowed.default_value = kGammas[0];
    allowed.items_cnt = static_cast<int>(std::size(kGammas));
    std::copy(std::begin(kGammas), std::end(kGammas), allowed.item);
    return 0;
}

int setWord(u32 cmd, int value)
{
    if (nearest(cmd, value) != value)
    {
        if (kBroken == Promise::refusal)
        {
            values[cmd] = nearest(cmd, value);
        }
        return kRefused;
    }
    values[cmd] = value;
    return 0;
}

}  // namespace

extern "C" int ia_ioctrl(ia_cmd_e cmd, int opt, void* data)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET && opt == IA_CMD_OPT_GET && data != nullptr)
    {
        return listDynamicCommands(*static_cast<ia_dynamic_params_cmds_st*>(data));
    }
    if (data == nullptr || values.count(cmd) == 0)
    {
        return kRefused;
    }
    int& word = *static_cast<int*>(data);
    switch (opt)
    {
    case IA_CMD_OPT_SET:
        return setWord(cmd, word);
    case IA_CMD_OPT_GET:
        word = values[cmd];
        return 0;
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return cmd == IA_CMD_GAMMA ? listGammas(*static_cast<ia_dynamic_params_attr_st*>(data)) : kRefused;
    case IA_CMD_OPT_CORRECT_PARAM:
        word = kBroken == Promise::correction && cmd == IA_CMD_GAMMA ? nextGamma(word) : nearest(cmd, word);
        return 0;
    default:
        return kRefused;
    }
}
