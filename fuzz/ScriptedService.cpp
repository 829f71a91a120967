#include "fuzz/ScriptedService.h"

#include <algorithm>
#include <cstring>

#include "fuzz/Require.h"
#include "fuzz/TextParts.h"
#include "services/CommandNames.h"

namespace fuzz {
namespace {

// Reads all that a service may read, so that a record that is too small is noticed.
void readWhole(u32 cmd, const void* data)
{
    std::vector<u32> words(services::wordsToSet(cmd));
    std::memcpy(words.data(), data, words.size() * sizeof(u32));
    volatile u32 last = words.back();
    static_cast<void>(last);
}

void writeCommands(std::string_view line, ia_dynamic_params_cmds_st& record)
{
    record.cmd_cnt = takeNumber(line, record.cmd_cnt);
    for (ia_cmd_e& cmd : record.cmd_list)
    {
        const int number = takeNumber(line, static_cast<int>(cmd));
        std::memcpy(&cmd, &number, sizeof cmd);  // a service is free to list a number that is none of the names
    }
}

void writeAllowed(std::string_view line, ia_dynamic_params_attr_st& record)
{
    record.default_value = takeNumber(line, record.default_value);
    record.items_cnt = takeNumber(line, record.items_cnt);
    for (int& item : record.item)
    {
        item = takeNumber(line, item);
    }
}

void writeVersion(std::string_view line, char* text)
{
    std::memcpy(text, line.data(), std::min<std::size_t>(line.size(), kCameraVersionSize));
}

void writeWord(std::string_view line, void* word)
{
    int number = 0;
    std::memcpy(&number, word, sizeof number);
    number = takeNumber(line, number);
    std::memcpy(word, &number, sizeof number);
}

void answer(std::string_view line, u32 cmd, int opt, void* data)
{
    if (opt == IA_CMD_OPT_GET_PARAM_RNAGE)
    {
        writeAllowed(line, *static_cast<ia_dynamic_params_attr_st*>(data));
    }
    else if (opt == IA_CMD_OPT_GET && cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET)
    {
        writeCommands(line, *static_cast<ia_dynamic_params_cmds_st*>(data));
    }
    else if (opt == IA_CMD_OPT_GET && cmd == IA_CMD_CAMERA_VERSION)
    {
        writeVersion(line, static_cast<char*>(data));
    }
    else if (opt == IA_CMD_OPT_GET && cmd == IA_CMD_SENSOR_CHECK)
    {
        writeWord(line, &static_cast<ia_sensor_check_st*>(data)->result);
    }
    else if (opt != IA_CMD_OPT_SET)
    {
        writeWord(line, data);
    }
}

}  // namespace

ScriptedService::ScriptedService(std::string script, Mood mood) : mood_(mood)
{
    continueWith(std::move(script));
}

void ScriptedService::continueWith(std::string script)
{
    script_ = std::move(script);
    rest_ = script_;
}

std::string_view ScriptedService::lineFor(u32 cmd, int opt)
{
    if (mood_ == Mood::fickle || opt == IA_CMD_OPT_SET)
    {
        return takeUpTo(rest_, "\n");
    }
    const auto found = given_.find({cmd, opt});
    return found != given_.end() ? found->second
                                 : given_.emplace(std::pair(cmd, opt), takeUpTo(rest_, "\n")).first->second;
}

int ScriptedService::call(ia_cmd_e cmd, int opt, void* data)
{
    FUZZ_REQUIRE(data != nullptr);
    if (watcher_)
    {
        watcher_(cmd, opt, data);
    }
    if (opt == IA_CMD_OPT_SET)
    {
        readWhole(cmd, data);
        ++timesSet_;
    }
    std::string_view line = lineFor(cmd, opt);
    const int status = takeNumber(line, SNS_SUCCESS);
    timesRefused_ += opt == IA_CMD_OPT_SET && status != SNS_SUCCESS ? 1 : 0;
    answer(line, cmd, opt, data);
    return status;
}

}  // namespace fuzz
