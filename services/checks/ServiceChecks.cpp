#include <algorithm>
#include <climits>
#include <set>
#include <thread>

#include "services/checks/Commands.h"
#include "services/checks/Parts.h"

namespace portcheck {
namespace {

constexpr int kCallers = 4;
constexpr int kRounds = 100;

std::string number(long long value)
{
    return std::to_string(value);
}

std::string checkList(Watch& watch)
{
    GuardedList answer;
    const int status = ask(watch, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, answer.data());
    if (status != 0)
    {
        return "it is refused with " + number(status);
    }
    const auto list = answer.get<ia_dynamic_params_cmds_st>();
    if (list.cmd_cnt < 0 || list.cmd_cnt > kDynamicCmdsMax)
    {
        return "cmd_cnt is " + number(list.cmd_cnt);
    }
    Findings findings;
    for (const ia_cmd_e cmd : dynamicCommands(watch))
    {
        const Command* const row = commandOfKey(cmd);
        if (row == nullptr || row->cmd != cmd)
        {
            findings.add(nameOf(cmd) + " is no command whose key has the same number");
        }
    }
    return findings.text();
}

std::string judgeAllowed(u32 cmd, int status, const ia_dynamic_params_attr_st& allowed)
{
    if (status != 0)
    {
        return describe(cmd, IA_CMD_OPT_GET_PARAM_RNAGE) + " came with status " + number(status);
    }
    if (allowed.items_cnt < 1 || allowed.items_cnt > kDynamicItemsMax)
    {
        return nameOf(cmd) + " has items_cnt " + number(allowed.items_cnt);
    }
    const std::vector<int> items = itemsOf(allowed);
    return std::count(items.begin(), items.end(), allowed.default_value) != 0
               ? ""
               : nameOf(cmd) + " prefers " + number(allowed.default_value) + ", which it does not list";
}

std::string checkAllowed(Watch& watch)
{
    Findings findings;
    for (const ia_cmd_e cmd : dynamicCommands(watch))
    {
        GuardedAllowed answer;
        const int status = ask(watch, cmd, IA_CMD_OPT_GET_PARAM_RNAGE, answer.data());
        const std::string finding = judgeAllowed(cmd, status, answer.get<ia_dynamic_params_attr_st>());
        if (!finding.empty())
        {
            findings.add(finding);
        }
    }
    return findings.text();
}

// What is corrected: the listed values and what lies beside and beyond them.
std::set<int> valuesToCorrect(const std::vector<int>& items)
{
    std::set<int> values = {INT_MIN, -1, 0, 1, 100, INT_MAX};
    for (const int item : items)
    {
        values.insert(item);
        values.insert(item == INT_MAX ? item : item + 1);
    }
    return values;
}

void judgeCorrection(Watch& watch, u32 cmd, const std::vector<int>& items, int value, Findings& findings)
{
    const auto isListed = [&](int wanted) { return std::count(items.begin(), items.end(), wanted) != 0; };
    const std::string came = nameOf(cmd) + ": " + number(value);
    int first = value;
    if (!correct(watch, cmd, first))
    {
        findings.add(came + " is refused");
        return;
    }
    int second = first;
    correct(watch, cmd, second);
    if (second != first)
    {
        findings.add(came + " becomes " + number(first) + ", and that becomes " + number(second));
    }
    else if (!items.empty() && !isListed(first))
    {
        findings.add(came + " becomes " + number(first) + ", which is not listed");
    }
    else if (isListed(value) && first != value)
    {
        findings.add(came + " is listed and becomes " + number(first));
    }
}

std::string checkCorrection(Watch& watch)
{
    Findings findings;
    for (const ia_cmd_e cmd : dynamicCommands(watch))
    {
        GuardedAllowed answer;
        ask(watch, cmd, IA_CMD_OPT_GET_PARAM_RNAGE, answer.data());
        const std::vector<int> items = itemsOf(answer.get<ia_dynamic_params_attr_st>());
        for (const int value : valuesToCorrect(items))
        {
            judgeCorrection(watch, cmd, items, value, findings);
        }
    }
    return findings.text();
}

// Asks for one record, which must be all that is written.
template <std::size_t Size>
void askGuarded(Watch& watch, u32 cmd, int opt, Findings& findings)
{
    Guarded<Size> answer;
    ask(watch, cmd, opt, answer.data());
    if (!answer.isIntact())
    {
        findings.add("of " + describe(cmd, opt) + " more than " + number(Size) + " bytes came");
    }
}

void getGuarded(Watch& watch, const Command& command, Findings& findings)
{
    switch (command.data)
    {
    case Data::word:
        return askGuarded<sizeof(u32)>(watch, command.cmd, IA_CMD_OPT_GET, findings);
    case Data::thresholds:
        return askGuarded<sizeof(dn_thr_st)>(watch, command.cmd, IA_CMD_OPT_GET, findings);
    default:
        return askGuarded<sizeof(dn_time_st)>(watch, command.cmd, IA_CMD_OPT_GET, findings);
    }
}

std::string checkSizes(Watch& watch)
{
    Findings findings;
    for (const Command& command : commands())
    {
        getGuarded(watch, command, findings);
        askGuarded<sizeof(ia_dynamic_params_attr_st)>(watch, command.cmd, IA_CMD_OPT_GET_PARAM_RNAGE, findings);
        askGuarded<sizeof(u32)>(watch, command.cmd, IA_CMD_OPT_CORRECT_PARAM, findings);
        askGuarded<sizeof(u32)>(watch, command.cmd, IA_CMD_OPT_GET_EXEC_STATUS, findings);
    }
    for (const u32 cmd : {IA_CMD_DN_STATE, IA_CMD_AF_STATISTIC})
    {
        askGuarded<sizeof(u32)>(watch, cmd, IA_CMD_OPT_GET, findings);
    }
    askGuarded<kCameraVersionSize>(watch, IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, findings);
    askGuarded<sizeof(ia_dynamic_params_cmds_st)>(watch, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, findings);
    return findings.text();
}

std::string checkVersion(Watch& watch)
{
    struct Text
    {
        char bytes[kCameraVersionSize];
    };
    GuardedVersion answer;
    const int status = ask(watch, IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, answer.data());
    const Text text = answer.get<Text>();
    const bool ends = std::count(std::begin(text.bytes), std::end(text.bytes), '\0') != 0;
    return status != 0 || ends ? "" : "50 bytes without a terminator";
}

std::string checkNull(Watch& watch)
{
    Findings findings;
    for (const Command& command : commands())
    {
        for (int opt = IA_CMD_OPT_GET; opt <= IA_CMD_OPT_GET_EXEC_STATUS; ++opt)
        {
            if (ask(watch, command.cmd, opt, nullptr) == 0)
            {
                findings.add(describe(command.cmd, opt) + " without data is a success");
            }
        }
    }
    return findings.text();
}

std::string checkUnknown(Watch& watch)
{
    Findings findings;
    for (const u32 cmd : kUnknownCommands)
    {
        for (int opt = IA_CMD_OPT_GET; opt <= IA_CMD_OPT_GET_EXEC_STATUS; ++opt)
        {
            GuardedAllowed data;
            if (ask(watch, cmd, opt, data.data()) == 0)
            {
                findings.add(describe(cmd, opt) + " is a success");
            }
        }
    }
    return findings.text();
}

// One answer, byte for byte, so that answers can be compared.
template <std::size_t Size>
std::string answerOf(Watch& watch, u32 cmd, int opt)
{
    Guarded<Size> answer;
    const int status = ask(watch, cmd, opt, answer.data());
    return number(status) + std::string(static_cast<const char*>(answer.data()), Size);
}

std::vector<std::string> answers(Watch& watch, const std::vector<ia_cmd_e>& dynamic)
{
    std::vector<std::string> all;
    all.push_back(answerOf<kCameraVersionSize>(watch, IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET));
    all.push_back(answerOf<sizeof(ia_dynamic_params_cmds_st)>(watch, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET));
    for (const ia_cmd_e cmd : dynamic)
    {
        all.push_back(answerOf<sizeof(ia_dynamic_params_attr_st)>(watch, cmd, IA_CMD_OPT_GET_PARAM_RNAGE));
    }
    return all;
}

std::string checkTogether(Watch& watch)
{
    const std::vector<ia_cmd_e> dynamic = dynamicCommands(watch);
    const std::vector<std::string> alone = answers(watch, dynamic);
    int others[kCallers] = {};
    std::vector<std::thread> callers;
    for (int& other : others)
    {
        callers.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round)
            {
                other += answers(watch, dynamic) == alone ? 0 : 1;
            }
        });
    }
    int different = 0;
    for (int i = 0; i < kCallers; ++i)
    {
        callers[i].join();
        different += others[i];
    }
    return different == 0 ? "" : number(different) + " of " + number(kCallers * kRounds) + " rounds differ";
}

}  // namespace

void checkService(Report& report)
{
    report.begin("image-adjust service, asked");
    report.check("the list of sensor-dependent commands holds at most 16, each with the number of its key", checkList);
    report.check("of a sensor-dependent command 1 to 64 values are listed, the preferred one among them", checkAllowed);
    report.check("a correction gives a listed value, leaves listed ones alone, and gives its own answer again",
                 checkCorrection);
    report.check("no answer is longer than its record", checkSizes);
    report.check("the version is a text of at most 49 characters", checkVersion);
    report.check("a call without data is refused", checkNull);
    report.check("an unknown command is refused", checkUnknown);
    report.check("several threads at once get the same answers as one alone", checkTogether);
}

}  // namespace portcheck
