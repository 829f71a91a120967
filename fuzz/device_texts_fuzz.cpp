#include <cmath>
#include <stdexcept>
#include <string>

#include "fuzz/Require.h"
#include "fuzz/TextParts.h"
#include "services/linux/Board.h"
#include "services/linux/Identity.h"
#include "services/linux/NumberFile.h"

// What stands in the kernel's files of a device, and what somebody writes down of a board.
// Input: a text %% another one.

namespace {

// As a board's text, read and written again; empty when it is none.
std::string rewritten(const std::string& text)
{
    try
    {
        return textOf(devices::parseBoard(text));
    }
    catch (const std::runtime_error& error)
    {
        for (const char* character = error.what(); *character != '\0'; ++character)
        {
            FUZZ_REQUIRE(static_cast<unsigned char>(*character) >= ' ');
        }
        return "";
    }
}

void requireName(const std::string& text)
{
    const std::string name = devices::safeName(text);
    FUZZ_REQUIRE(name.size() <= 32);
    FUZZ_REQUIRE(name.empty() == text.empty());
    FUZZ_REQUIRE(name.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._-") ==
                 std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 2);
    for (const std::string& text : parts)
    {
        const std::string board = rewritten(text);
        FUZZ_REQUIRE(board.empty() || rewritten(board) == board);
        const std::optional<double> number = devices::parseNumber(text);
        FUZZ_REQUIRE(!number || std::isfinite(*number));
        requireName(text);
    }
    FUZZ_REQUIRE((parts[0] == parts[1]) == (devices::safeName(parts[0]) == devices::safeName(parts[1])));
    return 0;
}
