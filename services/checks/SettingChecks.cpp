#include <algorithm>
#include <array>
#include <climits>
#include <map>
#include <optional>
#include <thread>

#include "SensorKeys.h"
#include "services/checks/Commands.h"
#include "services/checks/Parts.h"

namespace portcheck {
namespace {

using Words = std::array<u32, 4>;
using GuardedWords = Guarded<sizeof(Words)>;

constexpr u32 kThresholds[] = {IA_CMD_DTN_THR, IA_CMD_NTD_THR};
constexpr u32 kTimes[] = {IA_CMD_DTN_H, IA_CMD_DTN_M, IA_CMD_NTD_H, IA_CMD_NTD_M};
constexpr int kBeyondAllLimits[] = {INT_MAX, INT_MIN, -1};
constexpr u32 kManualFocus = 1;  // the modes in which steps are accepted, and the service does not move by itself
constexpr u32 kManualExposure = 3;
constexpr std::chrono::milliseconds kPause{20};  // long enough to see a motor move
constexpr std::chrono::seconds kWayBack{60};     // a lens goes from end to end in less
constexpr int kRoundsAtRest = 25;                // a motor has begun to move by then

// The commands whose values are the fields of a command's record, in their order.
std::vector<u32> fieldsOf(const Command& command)
{
    switch (command.data)
    {
    case Data::thresholds:
        return {std::begin(kThresholds), std::end(kThresholds)};
    case Data::times:
        return {std::begin(kTimes), std::end(kTimes)};
    default:
        return {command.cmd};
    }
}

// The value of one field, which is the first word of the answer, or the whole record. False if it cannot be read.
bool readField(Watch& watch, const std::vector<u32>& fields, std::size_t field, u32& value)
{
    constexpr u32 kUntouched = 0xA5A5A5A5;
    GuardedWords answer;
    answer.set(Words{0, kUntouched, kUntouched, kUntouched});
    if (ask(watch, fields[field], IA_CMD_OPT_GET, answer.data()) != 0)
    {
        return false;
    }
    const auto words = answer.get<Words>();
    value = words[words[1] == kUntouched ? 0 : field];
    return true;
}

int setWords(Watch& watch, const Command& command, const Words& words, Findings& findings)
{
    // Behind the record of this command lies the guard.
    GuardedWord word;
    Guarded<sizeof(dn_thr_st)> thresholds;
    Guarded<sizeof(dn_time_st)> times;
    word.set(words[0]);
    thresholds.set(dn_thr_st{words[0], words[1]});
    times.set(words);
    void* const data = command.data == Data::word         ? word.data()
                       : command.data == Data::thresholds ? thresholds.data()
                                                          : times.data();
    const int status = ask(watch, command.cmd, IA_CMD_OPT_SET, data);
    if (!word.isIntact() || !thresholds.isIntact() || !times.isIntact())
    {
        findings.add(describe(command.cmd, IA_CMD_OPT_SET) + " wrote there");
    }
    return status;
}

// A parameter and what was in force when the checks began.
struct Found
{
    const Command* command;
    Words words;
};

// Constant once it was read.
struct State
{
    std::vector<Found> found;
    std::vector<std::string> unreadable;    // they could not be put back, so they are not set
    std::optional<Found> focusAfterSwitch;  // what would move the lens without --lens; nothing when it is off already
    u32 focusMode = kManualFocus;
    u32 exposeMode = kManualExposure;
};

bool readWords(Watch& watch, const Command& command, Words& words)
{
    const std::vector<u32> fields = fieldsOf(command);
    words = {};
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        if (!readField(watch, fields, i, words[i]))
        {
            return false;
        }
    }
    return true;
}

std::string readState(Watch& watch, bool withLens, State& state)
{
    for (const Command& command : commands())
    {
        Words words;
        if (command.movesLens && !withLens)
        {
            if (command.cmd == IA_CMD_DN_AF_MODE && readWords(watch, command, words) && words[0] != 0)
            {
                state.focusAfterSwitch = Found{&command, words};
            }
            continue;
        }
        if (!readWords(watch, command, words))
        {
            state.unreadable.push_back(command.name);
            continue;
        }
        state.found.push_back({&command, words});
        if (command.cmd == IA_CMD_AUTO_FOCUS_MODE)
        {
            state.focusMode = words[0];
        }
        if (command.cmd == IA_CMD_EXPOSE_MODE)
        {
            state.exposeMode = words[0];
        }
    }
    return state.found.empty() ? "none can" : "";
}

std::string switchFocusOff(Watch& watch, const State& state)
{
    Findings overwritten;  // told when it is put back
    const Command& command = *state.focusAfterSwitch->command;
    const int status = setWords(watch, command, Words{}, overwritten);
    return status == 0 ? "" : describe(command.cmd, IA_CMD_OPT_SET) + " is refused with " + std::to_string(status);
}

std::string checkSameAgain(Watch& watch, const State& state)
{
    Findings findings;
    for (const Found& found : state.found)
    {
        setWords(watch, *found.command, found.words, findings);
    }
    return findings.text();
}

std::string checkFactory(Watch& watch, const State& state, const std::vector<KeyVal>& factory)
{
    std::map<u32, u32> values;  // by command
    for (const KeyVal& record : factory)
    {
        if (const Command* const command = commandOfKey(record.key))
        {
            values[command->cmd] = record.value;
        }
    }
    Findings findings;
    for (const KeyVal& record : factory)
    {
        const Command* const command = commandOfKey(record.key);
        const bool isToBeSet = std::any_of(state.found.begin(), state.found.end(),
                                           [&](const Found& found) { return found.command == command; });
        if (!isToBeSet)
        {
            continue;
        }
        Words words{};
        const std::vector<u32> fields = fieldsOf(*command);
        std::transform(fields.begin(), fields.end(), words.begin(), [&](u32 cmd) { return values[cmd]; });
        const int status = setWords(watch, *command, words, findings);
        if (status != 0)
        {
            findings.add(std::string(command->name) + " = " + std::to_string(static_cast<int>(record.value)) +
                         " is refused with " + std::to_string(status));
        }
    }
    return findings.text();
}

// A motor may be on its way, a measured value changes by itself.
bool isMoving(Watch& watch, const Command& command)
{
    Words before{};
    Words after{};
    const bool first = readWords(watch, command, before);
    std::this_thread::sleep_for(kPause);
    return !first || !readWords(watch, command, after) || before != after;
}

// Sets one field of the record to a value that no parameter can have.
void tryRefusal(Watch& watch, const Command& command, std::size_t field, int value, Findings& findings)
{
    Words before{};
    Words after{};
    readWords(watch, command, before);
    Words words = before;
    words[field] = static_cast<u32>(value);
    const int status = setWords(watch, command, words, findings);
    readWords(watch, command, after);
    if (status != 0 && after != before && !isMoving(watch, command))
    {
        std::size_t changed = 0;
        while (after[changed] == before[changed])
        {
            ++changed;
        }
        findings.add(std::string(command.name) + " refused " + std::to_string(value) + " and went from " +
                     std::to_string(static_cast<int>(before[changed])) + " to " +
                     std::to_string(static_cast<int>(after[changed])));
    }
    if (after != before)
    {
        setWords(watch, command, before, findings);
    }
}

std::string checkRefusals(Watch& watch, const State& state)
{
    Findings findings;
    for (const Found& found : state.found)
    {
        for (std::size_t field = 0; field < found.command->words(); ++field)
        {
            for (const int value : kBeyondAllLimits)
            {
                tryRefusal(watch, *found.command, field, value, findings);
            }
        }
    }
    return findings.text();
}

std::string checkSetUnknown(Watch& watch)
{
    Findings findings;
    for (const u32 cmd : kUnknownCommands)
    {
        GuardedWords data;
        if (ask(watch, cmd, IA_CMD_OPT_SET, data.data()) == 0)
        {
            findings.add(describe(cmd, IA_CMD_OPT_SET) + " is a success");
        }
    }
    return findings.text();
}

std::string checkSetNull(Watch& watch, const State& state)
{
    Findings findings;
    for (const Found& found : state.found)
    {
        if (ask(watch, found.command->cmd, IA_CMD_OPT_SET, nullptr) == 0)
        {
            findings.add(describe(found.command->cmd, IA_CMD_OPT_SET) + " without data is a success");
        }
    }
    return findings.text();
}

// Where the service moves by itself, nobody knows what it would have done meanwhile.
bool movesByItself(const State& state, const Command& command)
{
    switch (command.cmd)
    {
    case IA_CMD_MF_POSITION:
        return state.focusMode != kManualFocus;
    case IA_CMD_IRIS_POSITION:
    case IA_CMD_IRIS_SIZE:
        return state.exposeMode != kManualExposure;
    default:
        return false;
    }
}

// Sets what differs and is not on its way.
std::string putBackOnce(Watch& watch, const State& state, bool& isAnythingMoving)
{
    Findings findings;
    isAnythingMoving = false;
    for (const Found& found : state.found)
    {
        Words words{};
        if (!readWords(watch, *found.command, words) || words == found.words)
        {
            continue;
        }
        if (!movesByItself(state, *found.command))
        {
            findings.add(std::string(found.command->name) + " could not be put back");
        }
        if (isMoving(watch, *found.command))
        {
            isAnythingMoving = true;
            continue;
        }
        setWords(watch, *found.command, found.words, findings);
    }
    return findings.text();
}

// Parameters limit each other, so one round alone may not do; motors need their time.
std::string putBack(Watch& watch, const State& state)
{
    const auto end = std::chrono::steady_clock::now() + kWayBack;
    std::string different;
    int roundsAtRest = 0;
    do
    {
        bool isAnythingMoving = false;
        different = putBackOnce(watch, state, isAnythingMoving);
        roundsAtRest = isAnythingMoving ? 0 : roundsAtRest + 1;
    }
    while (!different.empty() && roundsAtRest < kRoundsAtRest && std::chrono::steady_clock::now() < end);
    return different;
}

// The focus last: day and night are then as they were.
std::string putAllBack(Watch& watch, const State& state)
{
    const std::string different = putBack(watch, state);
    if (!state.focusAfterSwitch)
    {
        return different;
    }
    Findings findings;
    if (!different.empty())
    {
        findings.add(different);
    }
    const Found& found = *state.focusAfterSwitch;
    if (setWords(watch, *found.command, found.words, findings) != 0)
    {
        findings.add(std::string(found.command->name) + " could not be put back");
    }
    return findings.text();
}

constexpr char kReadable[] = "parameters can be read, so that they can be put back";
constexpr char kFocusOff[] = "focusing after a change of day and night can be switched off";
constexpr char kSameAgain[] = "a set writes nothing behind its record";
constexpr char kFactory[] = "every factory value is accepted";
constexpr char kRefusal[] = "a refused set leaves the old value in force";
constexpr char kNull[] = "a set without data is refused";
constexpr char kUnknown[] = "a set of an unknown command is refused";
constexpr char kPutBack[] = "what was in force is in force again";

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
    {
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

}  // namespace

void checkSetting(Report& report, const Options& options, const Factory& factory)
{
    report.goOn("image-adjust service, set");
    if (!options.set)
    {
        for (const char* expected : {kReadable, kSameAgain, kFactory, kRefusal, kNull, kUnknown, kPutBack})
        {
            report.leaveOut(expected, "not told to, --set");
        }
        return;
    }
    const auto state = std::make_shared<State>();
    const bool withLens = options.lens;
    if (!report.check(kReadable, [=](Watch& watch) { return readState(watch, withLens, *state); }))
    {
        return;
    }
    if (!state->unreadable.empty())
    {
        report.leaveOut("parameters that cannot be read are set too",
                        "they could not be put back, " + joined(state->unreadable));
    }
    if (!withLens)
    {
        report.leaveOut("zoom, focus and iris are set too", "not told to, --lens");
    }
    if (state->focusAfterSwitch &&
        !report.check(kFocusOff, [=](Watch& watch) { return switchFocusOff(watch, *state); }))
    {
        return;
    }
    report.check(kSameAgain, [=](Watch& watch) { return checkSameAgain(watch, *state); });
    if (factory != nullptr)
    {
        report.check(kFactory, [=](Watch& watch) { return checkFactory(watch, *state, *factory); });
    }
    else
    {
        report.leaveOut(kFactory, "no documents were read");
    }
    report.check(kRefusal, [=](Watch& watch) { return checkRefusals(watch, *state); });
    report.check(kNull, [=](Watch& watch) { return checkSetNull(watch, *state); });
    report.check(kUnknown, checkSetUnknown);
    report.check(kPutBack, [=](Watch& watch) { return putAllBack(watch, *state); });
}

}  // namespace portcheck
