#include "fuzz/Session.h"

#include <algorithm>
#include <filesystem>

#include "SensorFlags.h"
#include "SensorKeys.h"
#include "fuzz/HostStandIns.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

namespace fs = std::filesystem;

namespace fuzz {
namespace {

u32 timeAt(const std::vector<KeyVal>& scheme, std::size_t hourRecord)
{
    return scheme.size() < 5 ? 0 : scheme[hourRecord].value * 100 + scheme[hourRecord + 1].value;
}

// The scheme whose window holds, or -1.
int scheduledScheme(const Memory& memory, u32 now)
{
    for (u32 i = 0; i < memory.scheduled(); ++i)
    {
        const std::vector<KeyVal>& scheme = memory.schemes[i];
        if (scheme.size() >= 5 && scheme[0].value != 0 && timeAt(scheme, 1) <= now && now < timeAt(scheme, 3))
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int windowCode(const std::vector<KeyVal>& scheme)
{
    const u32 start = timeAt(scheme, 1);
    const u32 end = timeAt(scheme, 3);
    return start > 2400 ? 505 : end > 2400 ? 506 : start >= end ? 507 : 0;
}

// Times are the controller's own, keys that act once are left out of a switch, and wide dynamic range may be hidden.
bool isSentBySwitch(u32 key)
{
    const keycmd* const map = g_pKeyCmdMap;
    const keycmd* const row = std::find_if(map, map + g_nKeyCmdNum, [key](const keycmd& r) { return r.key == key; });
    const bool isSchedule = key >= KEY_SCHEME_ENABLE && key <= KEY_SCHEME_END_MIN;
    const bool actsOnce = row != map + g_nKeyCmdNum && row->handler == &ISensorController::doIaCmd_User;
    return !isSchedule && !actsOnce && (key != KEY_WDR_MODE || getshowWDRFalg());
}

}  // namespace

// ---- schemes and modes -------------------------------------------------------------------------------------

void Session::chooseScheme(std::string_view words)
{
    const int scheme = takeNumber(words, 0);
    const Memory before = camera_.memory();
    FUZZ_REQUIRE(controller().setParamScheme(scheme));
    requireOnlyCurrentChanged(before);
    int chosen = 0;
    FUZZ_REQUIRE(controller().getParamScheme(chosen) && chosen == scheme);
    requireSwitchSent(before, false);
}

void Session::chooseMode(std::string_view words)
{
    const int mode = takeNumber(words, 0);
    Memory before = camera_.memory();
    FUZZ_REQUIRE(controller().setParamMode(mode));
    int chosen = 0;
    FUZZ_REQUIRE(controller().getParamMode(chosen) && chosen == mode);
    requireNothingSent();
    before.mode = mode;
    requireNothingChanged(before);
}

void Session::switchScheme(std::string_view words, bool isFull)
{
    const int scheme = takeNumber(words, 0);
    const Memory before = camera_.memory();
    FUZZ_REQUIRE(controller().switch_to(scheme, isFull) == SNS_SUCCESS);
    FUZZ_REQUIRE(camera_.memory().current == scheme);
    requireOnlyCurrentChanged(before);
    requireSwitchSent(before, isFull);
}

// Of the new scheme all that can be sent is sent, or what differs from the scheme before, up to the first refusal.
void Session::requireSwitchSent(const Memory& before, bool isFull)
{
    const int current = camera_.memory().current;
    if (static_cast<u32>(current) >= before.schemes.size())
    {
        requireNothingSent();
        return;
    }
    const std::vector<KeyVal>& records = before.schemes[static_cast<std::size_t>(current)];
    const auto wanted =
        static_cast<std::size_t>(std::count_if(records.begin(), records.end(), [&before, isFull](const KeyVal& record) {
            return isSentBySwitch(record.key) && (isFull || !isHeld(record, before, before.current));
        }));
    // A scheme that follows itself changes while it is compared, if a key comes twice in it.
    if (!isFull && current == before.current && wanted > 0)
    {
        return;
    }
    const std::size_t sent = service_.timesSet() - timesSetBefore_;
    const bool isRefused = service_.timesRefused() != timesRefusedBefore_ || camera_.video().status != 0;
    FUZZ_REQUIRE(isRefused ? sent <= wanted : sent == wanted);
}

void Session::switchDayNight(std::string_view words)
{
    const int scheme = takeNumber(words, 0);
    Memory before = camera_.memory();
    FUZZ_REQUIRE(controller().LPR_switch_to(scheme) == SNS_SUCCESS);
    before.current = scheme;
    requireNothingChanged(before);
}

u32 Session::now() const
{
    const std::tm time = camera_.clock().localTime();
    return static_cast<u32>(time.tm_hour * 100 + time.tm_min);
}

void Session::setClock(std::string_view words)
{
    const int hour = std::clamp(takeNumber(words, 0), 0, 23);
    camera_.clock().setTimeOfDay(hour, std::clamp(takeNumber(words, 0), 0, 59));
}

void Session::turns(std::string_view words)
{
    for (int i = std::clamp(takeNumber(words, 1), 1, 3); i > 0; --i)
    {
        turn();
    }
}

void Session::turn()
{
    const Memory before = camera_.memory();
    timesSetBefore_ = service_.timesSet();
    timesRefusedBefore_ = service_.timesRefused();
    turnOfThread();
    requireOnlyCurrentChanged(before);
    if (threadRuns() && before.mode != 0)
    {
        requireTurned(before);
    }
    else
    {
        requireNothingChanged(before);
        requireNothingSent();
    }
}

// The clock decides, or else day and night, or else the default scheme.
void Session::requireTurned(const Memory& before)
{
    const int current = camera_.memory().current;
    const int scheduled = scheduledScheme(before, now());
    if (scheduled >= 0)
    {
        FUZZ_REQUIRE(current == scheduled);
    }
    else if (camera_.isLpr())
    {
        FUZZ_REQUIRE(current == 0 || current == 1);
    }
    else
    {
        FUZZ_REQUIRE(current == static_cast<int>(before.scheduled()));
    }
    if (!camera_.isLpr() && current == before.current)
    {
        requireNothingSent();
    }
    if (!camera_.isLpr())
    {
        requireSwitchSent(before, false);
    }
}

// ---- restoring, saving, resetting --------------------------------------------------------------------------

void Session::restoreOne(std::string_view words)
{
    const int key = takeNumber(words, 16);
    const Memory before = camera_.memory();
    const int result = controller().restore(key);
    const bool isHeld = before.hasCurrent() && firstWith(before.schemes[static_cast<std::size_t>(before.current)],
                                                         static_cast<u32>(key)) != nullptr;
    const int refused = static_cast<int>(0u - static_cast<u32>(key));
    FUZZ_REQUIRE(isHeld ? result == 0 || result == refused : result == -1);
    requireNothingChanged(before);
}

void Session::restoreAeMode(std::string_view)
{
    const Memory before = camera_.memory();
    controller().restoreAeMode();
    requireNothingChanged(before);
}

void Session::reload(std::string_view)
{
    const Memory before = camera_.memory();
    const bool isDone = controller().resetToLastParameters();
    requireOnlyCurrentChanged(before);
    if (static_cast<u32>(before.current) >= before.scheduled())
    {
        FUZZ_REQUIRE(isDone);
        requireNothingChanged(before);
        requireNothingSent();
        return;
    }
    std::vector<KeyVal> saved = recordsOnDisk(schemeFile(before.current));
    const std::size_t count = before.schemes[0].size();
    // Behind the end of a short file stands what was there by chance.
    if (saved.size() >= count)
    {
        saved.resize(count);
        if (areHeld(saved, before, before.current))
        {
            requireNothingSent();
        }
        requireStored(saved, isDone && firstWith(saved, 0) == nullptr, before);
    }
}

void Session::flush(std::string_view)
{
    mayWriteConfiguration_ = true;
    const Memory before = camera_.memory();
    const Disk disk = diskNow();
    const int result = controller().flush();
    requireNothingSent();
    requireNothingChanged(before);
    if (static_cast<u32>(before.current) >= before.scheduled())
    {
        FUZZ_REQUIRE(result == 0 && diskNow() == disk);
        return;
    }
    const std::vector<KeyVal>& current = before.schemes[static_cast<std::size_t>(before.current)];
    FUZZ_REQUIRE(result == windowCode(current));
    const std::string file = schemeFile(before.current);
    if (result != 0 || !fs::is_directory(kConfigFolder) || fs::is_directory(file))
    {
        FUZZ_REQUIRE(diskNow() == disk);
        return;
    }
    FUZZ_REQUIRE(readFile(file) ==
                 std::string(reinterpret_cast<const char*>(current.data()), current.size() * sizeof(KeyVal)));
    // What a power cut left beside the file is gone; a folder there is nobody's left-over.
    const std::string name = fs::path(file).filename();
    Disk others = disk;
    others[name] = diskNow()[name];
    if (!fs::is_directory(file + ".new"))
    {
        others.erase(name + ".new");
    }
    FUZZ_REQUIRE(diskNow() == others);
}

void Session::factoryReset(std::string_view)
{
    mayWriteConfiguration_ = true;
    camera_.factoryReset();
    if (!camera_.isUp())
    {
        // Callers that waited for the reset meanwhile find a camera without schemes.
        std::string text;
        int value = 0;
        FUZZ_REQUIRE(controller().getAllParameters(text) && text.empty());
        controller().getParameter(34, value);
        FUZZ_REQUIRE(controller().flush() == 0);
        FUZZ_REQUIRE(controller().getUICommonFile(0).empty());
        return;
    }
}

void Session::restart(std::string_view)
{
    mayWriteConfiguration_ = true;
    camera_.bringDown();
    camera_.bringUp();
}

}  // namespace fuzz
