#include "fuzz/Session.h"

#include <algorithm>
#include <map>

#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

namespace fuzz {
namespace {

constexpr std::size_t kCallsMax = 64;

using Call = void (*)(Session& session, std::string_view words);

const std::map<char, Call> kCalls = {
    {'t', [](Session& s, std::string_view w) { s.applyText(w, true); }},    // pair text, remembered
    {'T', [](Session& s, std::string_view w) { s.applyText(w, false); }},   // pair text, sent only
    {'p', [](Session& s, std::string_view w) { s.applyOne(w, true); }},     // key value
    {'P', [](Session& s, std::string_view w) { s.applyOne(w, false); }},    // key value
    {'a', [](Session& s, std::string_view w) { s.applyArray(w, true); }},   // key value key value ...
    {'A', [](Session& s, std::string_view w) { s.applyArray(w, false); }},  // key value key value ...
    {'G', [](Session& s, std::string_view w) { s.getAll(w); }},
    {'g', [](Session& s, std::string_view w) { s.getSome(w); }},              // key list
    {'k', [](Session& s, std::string_view w) { s.getOne(w); }},               // key
    {'x', [](Session& s, std::string_view w) { s.checkSensor(w); }},          // key list
    {'s', [](Session& s, std::string_view w) { s.chooseScheme(w); }},         // scheme
    {'m', [](Session& s, std::string_view w) { s.chooseMode(w); }},           // mode
    {'w', [](Session& s, std::string_view w) { s.switchScheme(w, false); }},  // scheme, what differs
    {'W', [](Session& s, std::string_view w) { s.switchScheme(w, true); }},   // scheme, all of it
    {'l', [](Session& s, std::string_view w) { s.switchDayNight(w); }},       // scheme
    {'r', [](Session& s, std::string_view w) { s.restoreOne(w); }},           // key
    {'e', [](Session& s, std::string_view w) { s.restoreAeMode(w); }},
    {'L', [](Session& s, std::string_view w) { s.reload(w); }},
    {'F', [](Session& s, std::string_view w) { s.factoryReset(w); }},
    {'y', [](Session& s, std::string_view w) { s.restart(w); }},
    {'f', [](Session& s, std::string_view w) { s.flush(w); }},
    {'c', [](Session& s, std::string_view w) { s.setClock(w); }},       // hour minute
    {'n', [](Session& s, std::string_view w) { s.turns(w); }},          // turns of the thread
    {'u', [](Session& s, std::string_view w) { s.readDocuments(w); }},  // language
    {'z', [](Session& s, std::string_view w) { s.driveLens(w); }},      // value
    {'i', [](Session& s, std::string_view w) { s.scriptService(w); }},  // answers, "|" between them
    {'R', [](Session& s, std::string_view w) { s.setRefusals(w); }},    // threads, commands, video status
    {'v', [](Session& s, std::string_view w) { s.setDebugLevel(w); }},  // level
    {'d', [](Session& s, std::string_view w) { s.damageFile(w); }},     // file, deed, bytes
};

}  // namespace

void Session::run(std::string_view calls)
{
    for (std::size_t i = 0; i < kCallsMax && !calls.empty() && camera_.isUp(); ++i)
    {
        std::string_view line = takeUpTo(calls, "\n");
        const auto call = line.empty() ? kCalls.end() : kCalls.find(line[0]);
        if (call == kCalls.end())
        {
            continue;
        }
        line.remove_prefix(std::min<std::size_t>(line.size(), line.size() > 1 && line[1] == ' ' ? 2 : 1));
        const Disk before = diskNow();
        mayWriteConfiguration_ = false;
        timesSetBefore_ = service_.timesSet();
        timesRefusedBefore_ = service_.timesRefused();
        call->second(*this, line);
        FUZZ_REQUIRE(mayWriteConfiguration_ || diskNow() == before);
        if (camera_.isUp())
        {
            camera_.requireSound();
        }
    }
}

void Session::requireNothingSent()
{
    FUZZ_REQUIRE(service_.timesSet() == timesSetBefore_);
}

void Session::requireNothingChanged(const Memory& before)
{
    const Memory after = camera_.memory();
    FUZZ_REQUIRE(after.current == before.current && after.mode == before.mode);
    FUZZ_REQUIRE(after.schemes == before.schemes);
}

void Session::requireOnlyCurrentChanged(const Memory& before)
{
    const Memory after = camera_.memory();
    FUZZ_REQUIRE(after.mode == before.mode);
    FUZZ_REQUIRE(after.schemes.size() == before.schemes.size());
    for (std::size_t i = 0; i < before.schemes.size(); ++i)
    {
        const bool mayChange = static_cast<int>(i) == before.current || static_cast<int>(i) == after.current;
        FUZZ_REQUIRE(mayChange || after.schemes[i] == before.schemes[i]);
        FUZZ_REQUIRE(std::equal(after.schemes[i].begin(), after.schemes[i].end(), before.schemes[i].begin(),
                                before.schemes[i].end(),
                                [](const KeyVal& left, const KeyVal& right) { return left.key == right.key; }));
    }
}

const KeyVal* firstWith(const std::vector<KeyVal>& records, u32 key)
{
    const auto found = std::find_if(records.begin(), records.end(), [key](const KeyVal& r) { return r.key == key; });
    return found == records.end() ? nullptr : &*found;
}

bool isHeld(const KeyVal& record, const Memory& memory, int scheme)
{
    const KeyVal* const held = static_cast<u32>(scheme) < memory.schemes.size()
                                   ? firstWith(memory.schemes[static_cast<std::size_t>(scheme)], record.key)
                                   : nullptr;
    return held != nullptr && held->value == record.value;
}

bool areHeld(const std::vector<KeyVal>& records, const Memory& memory, int scheme)
{
    return std::all_of(records.begin(), records.end(),
                       [&](const KeyVal& record) { return isHeld(record, memory, scheme); });
}

}  // namespace fuzz
