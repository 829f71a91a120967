#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "SensorKeyVal.h"
#include "fuzz/Require.h"
#include "fuzz/ScriptedService.h"
#include "fuzz/TextParts.h"
#include "keyval/KeyValText.h"

// Pair text to records, back to text, and corrected by the service.
// Input: the text %% the service's answers.

namespace {

using Records = std::vector<KeyVal>;

bool areEqual(const KeyVal& left, const KeyVal& right)
{
    return left.key == right.key && left.value == right.value;
}

std::string textOf(const Records& records)
{
    std::string text;
    keyval_st2str(text, records.data(), static_cast<u32>(records.size()));
    return text;
}

// Exactly as much room as the text may need, so that a record too many is noticed.
Records recordsOf(const std::string& text)
{
    Records records(static_cast<std::size_t>(std::count(text.begin(), text.end(), ')')));
    const std::unique_ptr<KeyVal[]> room(new KeyVal[records.size()]);
    u32 count = 0;
    keyval_str2st(text, room.get(), count);
    FUZZ_REQUIRE(count <= records.size());
    records.assign(room.get(), room.get() + count);
    return records;
}

// scanf leaves open what it makes of numbers beyond 32 bits.
bool hasLongNumber(const std::string& text)
{
    std::size_t digits = 0;
    return std::any_of(text.begin(), text.end(), [&digits](unsigned char c) {
        digits = std::isdigit(c) != 0 ? digits + 1 : 0;
        return digits > 9;
    });
}

// The definition, taken at its word.
Records recordsByDefinition(const std::string& text)
{
    Records records;
    int key = 0;
    int value = 0;
    for (std::size_t position = 0; position < text.size();)
    {
        const std::size_t open = text.find('(', position);
        const std::size_t close = text.find(')', position);
        if (open == std::string::npos || open + 1 == text.size() || close == std::string::npos)
        {
            break;
        }
        const u32 length = static_cast<u32>(close) - static_cast<u32>(open) + 1;
        std::sscanf(text.substr(open, length).c_str(), "(%d,%d)", &key, &value);
        records.push_back({static_cast<u32>(key), static_cast<u32>(value)});
        position = close + 1;
    }
    return records;
}

void requireEqual(const Records& left, const Records& right)
{
    FUZZ_REQUIRE(left.size() == right.size());
    FUZZ_REQUIRE(std::equal(left.begin(), left.end(), right.begin(), areEqual));
}

void requireBound(const std::string& text, const Records& all, std::size_t capacity)
{
    const std::unique_ptr<KeyVal[]> room(new KeyVal[capacity]);
    u32 count = 0;
    keyvalFromText(text, room.get(), static_cast<u32>(capacity), count);
    requireEqual(Records(room.get(), room.get() + count),
                 Records(all.begin(), all.begin() + static_cast<long>(std::min(all.size(), capacity))));
}

void requireAppends(const Records& records)
{
    std::string text = "before";
    keyval_st2str(text, records.data(), static_cast<u32>(records.size()));
    FUZZ_REQUIRE(text == "before" + textOf(records));
}

void requireCorrection(const Records& records, const std::string& script)
{
    fuzz::ScriptedService service(script, fuzz::ScriptedService::Mood::fickle);
    std::set<u32> asked;
    service.watch([&asked](u32 cmd, int opt, const void*) {
        if (opt == IA_CMD_OPT_CORRECT_PARAM)
        {
            asked.insert(cmd);
        }
        else
        {
            FUZZ_REQUIRE(cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET && opt == IA_CMD_OPT_GET);
        }
    });
    Records corrected = records;
    FUZZ_REQUIRE(keyval_correct(corrected.data(), static_cast<u32>(corrected.size())) == SNS_SUCCESS);
    FUZZ_REQUIRE(asked.size() <= kDynamicCmdsMax);
    std::set<u32> seen;
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        const bool isFirst = seen.insert(records[i].key).second;
        FUZZ_REQUIRE(corrected[i].key == records[i].key);
        FUZZ_REQUIRE(corrected[i].value == records[i].value || (isFirst && asked.count(records[i].key) == 1));
    }
    FUZZ_REQUIRE(std::includes(seen.begin(), seen.end(), asked.begin(), asked.end()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 2);
    const std::string& text = parts[0];
    const Records records = recordsOf(text);
    if (!hasLongNumber(text))
    {
        requireEqual(records, recordsByDefinition(text));
    }
    requireEqual(recordsOf(textOf(records)), records);
    requireBound(text, records, records.size() / 2);
    requireBound(text, records, records.size() + 1);
    requireAppends(records);
    requireCorrection(records, parts[1]);
    return 0;
}
