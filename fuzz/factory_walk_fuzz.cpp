#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "SensorFile.h"
#include "fuzz/Require.h"
#include "fuzz/ScriptedService.h"
#include "fuzz/TextParts.h"
#include "fuzz/XmlTree.h"

// The factory values that a style describes.
// Input: records that are there already %% the service's answers %% the style.

namespace {

constexpr u32 kCapacity = 100;
constexpr KeyVal kUntouched = {0xA5A5A5A5, 0x5A5A5A5A};

using Records = std::vector<KeyVal>;

// Parents first, in document order.
void collect(const TiXmlElement* element, Records& records)
{
    if (element == nullptr)
    {
        return;
    }
    const char* const id = element->Attribute("id");
    const char* const value = element->Attribute("value");
    if (id != nullptr && value != nullptr)
    {
        records.push_back({static_cast<u32>(fuzz::decimalOf(id)), static_cast<u32>(fuzz::decimalOf(value))});
    }
    for (const TiXmlElement* child = element->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement())
    {
        collect(child, records);
    }
}

// Just the room that callers give, none of it used.
std::unique_ptr<KeyVal[]> freshRoom()
{
    std::unique_ptr<KeyVal[]> room(new KeyVal[kCapacity]);
    std::fill(room.get(), room.get() + kCapacity, kUntouched);
    return room;
}

// The first records of the room are untouched, expected ones follow as far as there is room, the rest is untouched.
void requireFilled(const KeyVal* room, u32 count, u32 start, const Records& expected)
{
    const u32 end = std::min(kCapacity, start + static_cast<u32>(expected.size()));
    FUZZ_REQUIRE(count == end);
    for (u32 i = 0; i < kCapacity; ++i)
    {
        const KeyVal& wanted = i >= start && i < end ? expected[i - start] : kUntouched;
        FUZZ_REQUIRE(room[i].key == wanted.key && room[i].value == wanted.value);
    }
}

void requireWalk(TiXmlElement* root, const Records& expected, u32 start)
{
    const std::unique_ptr<KeyVal[]> room = freshRoom();
    u32 count = start;
    FUZZ_REQUIRE(style2KeyVal(root, room.get(), &count) == 0);
    requireFilled(room.get(), count, start, expected);
}

void requireFactory(const std::string& style, const Records& expected)
{
    const std::unique_ptr<KeyVal[]> room = freshRoom();
    u32 count = 77;
    FUZZ_REQUIRE(getFctData(fuzz::tight(style).get(), room.get(), &count) == SNS_SUCCESS);
    requireFilled(room.get(), count, 0, expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 3);
    std::string_view head = parts[0];
    const std::string style = parts[2].c_str();
    const fuzz::ScriptedService service(parts[1], fuzz::ScriptedService::Mood::consistent);
    std::string rewritten;
    getDnaStyle(fuzz::tight(style).get(), rewritten);
    TiXmlDocument document;
    if (!fuzz::parse(rewritten, document))
    {
        document.Clear();
    }
    Records expected;
    collect(document.RootElement(), expected);
    requireFactory(style, expected);
    requireWalk(document.RootElement(), expected,
                static_cast<u32>(std::clamp<int>(fuzz::takeNumber(head, 0), 0, kCapacity)));
    return 0;
}
