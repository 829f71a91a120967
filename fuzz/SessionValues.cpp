#include "fuzz/Session.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <stdexcept>

#include "SensorFlags.h"
#include "SensorKeyVal.h"
#include "SensorKeys.h"
#include "config/XmlCheck.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

namespace fuzz {
namespace {

constexpr std::size_t kRecordsMax = 64;

std::vector<KeyVal> recordsIn(std::string_view& words)
{
    std::vector<KeyVal> records;
    while (records.size() < kRecordsMax && words.find_first_of("0123456789") != std::string_view::npos)
    {
        const u32 key = static_cast<u32>(takeNumber(words, 0));
        records.push_back({key, static_cast<u32>(takeNumber(words, 0))});
        const std::size_t next = words.find_first_of("-+0123456789");
        words.remove_prefix(std::min(next, words.size()));
    }
    return records;
}

}  // namespace

// ---- applying ----------------------------------------------------------------------------------------------

void Session::requireApplied(const std::vector<KeyVal>& list, bool isCached, int result, const Memory& before)
{
    const Memory after = camera_.memory();
    FUZZ_REQUIRE(after.current == before.current);
    FUZZ_REQUIRE(result == 0 || std::any_of(list.begin(), list.end(), [result](const KeyVal& record) {
                     return static_cast<int>(0u - record.key) == result;
                 }));
    if (isCached && areHeld(list, before, before.current))
    {
        requireNothingSent();
    }
    if (!isCached || static_cast<u32>(before.current) >= before.scheduled())
    {
        requireNothingChanged(before);
        return;
    }
    // Minus the key is the answer to a refusal, so that of key 0 looks like success.
    requireStored(list, result == 0 && firstWith(list, 0) == nullptr, before);
}

// No value is lost: what changed was asked for, and what was applied whole is all there.
void Session::requireStored(const std::vector<KeyVal>& list, bool isWhole, const Memory& before)
{
    const Memory after = camera_.memory();
    requireOnlyCurrentChanged(before);
    const std::vector<KeyVal>& old = before.schemes[static_cast<std::size_t>(before.current)];
    const std::vector<KeyVal>& current = after.schemes[static_cast<std::size_t>(after.current)];
    for (std::size_t i = 0; i < current.size(); ++i)
    {
        const bool isAskedFor = std::any_of(list.begin(), list.end(), [&](const KeyVal& record) {
            return record.key == current[i].key && (record.value == current[i].value || record.key == KEY_WDR_MODE);
        });
        FUZZ_REQUIRE(current[i].value == old[i].value || isAskedFor);
    }
    std::set<u32> seen;
    for (auto record = list.rbegin(); isWhole && record != list.rend(); ++record)
    {
        const KeyVal* const stored = firstWith(current, record->key);
        const bool isLast = seen.insert(record->key).second;
        FUZZ_REQUIRE(!isLast || stored == nullptr || record->key == KEY_WDR_MODE || stored->value == record->value);
    }
}

void Session::applyText(std::string_view words, bool isCached)
{
    const std::string text(words);
    std::vector<KeyVal> list(static_cast<std::size_t>(std::count(text.begin(), text.end(), ')')));
    u32 count = 0;
    keyval_str2st(text, list.data(), count);
    const Memory before = camera_.memory();
    list.resize(std::min<std::size_t>(count, before.schemes[0].size()));
    const int result = controller().setParameters(text, isCached);
    requireApplied(list, isCached, result, before);
}

void Session::applyOne(std::string_view words, bool isCached)
{
    const int key = takeNumber(words, 34);
    const int value = takeNumber(words, 0);
    const Memory before = camera_.memory();
    const int result = controller().setParameter(key, value, isCached);
    requireApplied({{static_cast<u32>(key), static_cast<u32>(value)}}, isCached, result, before);
}

void Session::applyArray(std::string_view words, bool isCached)
{
    const std::vector<KeyVal> list = recordsIn(words);
    std::vector<KeyVal> given = list;
    const Memory before = camera_.memory();
    const int result = controller().setParameters(given.data(), static_cast<u32>(given.size()), isCached);
    requireApplied(list, isCached, result, before);
    for (std::size_t i = 0; i < list.size(); ++i)
    {
        FUZZ_REQUIRE(given[i].key == list[i].key);
        FUZZ_REQUIRE(given[i].value == list[i].value || (given[i].key == KEY_WDR_MODE && !getshowWDRFalg()));
    }
}

// ---- reading -----------------------------------------------------------------------------------------------

void Session::getAll(std::string_view)
{
    const Memory before = camera_.memory();
    std::string text = "before";
    FUZZ_REQUIRE(controller().getAllParameters(text));
    requireNothingSent();
    requireOnlyCurrentChanged(before);
    const Memory after = camera_.memory();
    std::string expected = "before";
    if (after.hasCurrent())
    {
        const std::vector<KeyVal>& current = after.schemes[static_cast<std::size_t>(after.current)];
        keyval_st2str(expected, current.data(), static_cast<u32>(current.size()));
    }
    FUZZ_REQUIRE(text == expected);
}

void Session::getSome(std::string_view text)
{
    const Memory before = camera_.memory();
    std::string pairs = "before";
    const bool isList = controller().getParameters(std::string(text), pairs);
    FUZZ_REQUIRE(isList || pairs == "before");
    FUZZ_REQUIRE(!isList ||
                 std::count(pairs.begin(), pairs.end(), '(') <= 1 + std::count(text.begin(), text.end(), ','));
    requireNothingSent();
    requireNothingChanged(before);
}

void Session::getOne(std::string_view words)
{
    const int key = takeNumber(words, 34);
    const Memory before = camera_.memory();
    int value = 0;
    const bool isRead = controller().getParameter(key, value);
    requireNothingSent();
    requireNothingChanged(before);
    if (before.hasCurrent())
    {
        const std::vector<KeyVal>& current = before.schemes[static_cast<std::size_t>(before.current)];
        const KeyVal* const stored = firstWith(current, static_cast<u32>(key));
        FUZZ_REQUIRE(stored == nullptr || (isRead && static_cast<u32>(value) == stored->value));
    }
}

void Session::checkSensor(std::string_view words)
{
    const Memory before = camera_.memory();
    std::string text(words);
    try
    {
        controller().SensorCheck(text);
    }
    catch (const std::out_of_range&)
    {
        FUZZ_REQUIRE(std::count(words.begin(), words.end(), ',') < 2);
    }
    requireNothingChanged(before);
}

void Session::readDocuments(std::string_view words)
{
    const int language = takeNumber(words, 0);
    const Memory before = camera_.memory();
    const std::string style = controller().getUIStyleFile();
    FUZZ_REQUIRE(config::isSafeXml(style) && std::strlen(style.c_str()) == style.size());
    FUZZ_REQUIRE(controller().getUICommonFile(language) == "<Common/>");
    FUZZ_REQUIRE(controller().getUILanguageFile(language) == "<Language/>");
    requireNothingSent();
    requireNothingChanged(before);
}

}  // namespace fuzz
