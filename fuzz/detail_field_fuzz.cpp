#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "SensorFile.h"
#include "fuzz/DetailField.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"
#include "fuzz/XmlTree.h"

// Fields of a module detail text.
// Input: the name looked for %% the detail text.

namespace {

void requireText(const std::string& detail, const std::string& name, bool isThere, const std::string& expected)
{
    const std::unique_ptr<char[]> value(new char[expected.size() + 1]());
    const int result = getDetailFieldToStr(fuzz::tight(detail).get(), fuzz::tight(name).get(), value.get());
    FUZZ_REQUIRE(result == (isThere ? 0 : -1));
    FUZZ_REQUIRE(std::memcmp(value.get(), expected.c_str(), expected.size() + 1) == 0);
}

void requireNumber(const std::string& detail, const std::string& name, bool isThere, const std::string& expected)
{
    constexpr u32 kUntouched = 0xA5A5A5A5;
    u32 value = kUntouched;
    const int result = getDetailFieldTou32(fuzz::tight(detail).get(), fuzz::tight(name).get(), &value);
    FUZZ_REQUIRE(result == (isThere ? 0 : -1));
    FUZZ_REQUIRE(value == (isThere ? static_cast<u32>(fuzz::decimalOf(expected)) : kUntouched));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 2);
    const std::string name = parts[0].c_str();  // up to the first NUL
    const std::string detail = parts[1].c_str();
    std::string expected;
    const bool isThere = fuzz::fieldByDefinition(detail, name, expected);
    requireText(detail, name, isThere, expected);
    requireNumber(detail, name, isThere, expected);
    return 0;
}
