#include <string>
#include <vector>

#include "KSFile.h"
#include "SensorDebug.h"
#include "fuzz/CameraTree.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

// The marker file that sets debug level and assertion switch, and the lines of any file.
// Input: the file's bytes.

namespace {

using fuzz::kDebugMarkerFile;

// By definition: what "\n" ends, and what is left behind the last one; "\r" before it does not count.
std::vector<std::string> linesOf(const std::string& bytes)
{
    std::vector<std::string> lines;
    std::string_view rest = bytes;
    while (!rest.empty())
    {
        const bool isEnded = rest.find('\n') != std::string_view::npos;
        std::string line(fuzz::takeUpTo(rest, "\n"));
        if (isEnded && !line.empty() && line.back() == '\r')
        {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

int numberIn(const std::vector<std::string>& lines, std::size_t index, int missing)
{
    return index < lines.size() && !lines[index].empty() ? fuzz::decimalOf(lines[index]) : missing;
}

// Line by line up to some line, then the rest as bytes.
void requireLines(const std::string& bytes, const std::vector<std::string>& lines)
{
    KSFile file;
    FUZZ_REQUIRE(file.open(kDebugMarkerFile, KSFile::modeRead));
    FUZZ_REQUIRE(file.getLength() == static_cast<INT64>(bytes.size()));
    std::string line;
    for (std::size_t i = 0; i < lines.size() / 2; ++i)
    {
        FUZZ_REQUIRE(file.ReadOneLine(line) && line == lines[i]);
    }
    std::string rest(bytes.size(), '\0');
    const int got = file.read(rest.data(), static_cast<unsigned int>(rest.size()));
    FUZZ_REQUIRE(got >= 0);
    rest.resize(static_cast<std::size_t>(got));
    FUZZ_REQUIRE(bytes.compare(bytes.size() - rest.size(), std::string::npos, rest) == 0);
    const std::vector<std::string> left = linesOf(rest);
    FUZZ_REQUIRE(left == std::vector<std::string>(lines.begin() + static_cast<long>(lines.size() / 2), lines.end()));
    FUZZ_REQUIRE(!file.ReadOneLine(line) && line.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool isReady = (fuzz::emptyCamera(), true);
    static_cast<void>(isReady);
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string> lines = linesOf(bytes);
    fuzz::writeFile(kDebugMarkerFile, bytes);
    updateDebugLevel();
    FUZZ_REQUIRE(g_nDebugLevel == numberIn(lines, 0, 1));
    FUZZ_REQUIRE(g_bEnAssert == (numberIn(lines, 1, 0) != 0));
    requireLines(bytes, lines);
    return 0;
}
