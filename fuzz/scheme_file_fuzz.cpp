#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "SensorFile.h"
#include "fuzz/CameraTree.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

// Scheme and version files, whole or damaged, and places where they cannot be written.
// Input: records, length, obstacle (0 none, 1 a folder in the file's place, 2 no folder to write in, 3 what a crash
// left), the upper half of the length %% the file's bytes.

namespace {

using fuzz::kConfigFolder;
using fuzz::kVersionFile;

const std::string kFile = fuzz::schemeFile(0);
constexpr int kRecordsMax = 200;
constexpr int kLengthMax = 8192;

enum class Obstacle
{
    none,
    folderInPlace,
    noFolder,
    leftover,
};

namespace fs = std::filesystem;

void emptyFolder()
{
    fs::remove_all(kConfigFolder);
    fs::create_directories(kConfigFolder);
}

// A scheme unlike any other, in a block of just its size.
std::unique_ptr<KeyVal[]> scheme(std::size_t count)
{
    std::unique_ptr<KeyVal[]> records(new KeyVal[count]);
    for (std::size_t i = 0; i < count; ++i)
    {
        records[i] = {static_cast<u32>(8000 + i), static_cast<u32>(0xC0FFEE00 + i)};
    }
    return records;
}

std::string bytesOf(const KeyVal* records, std::size_t count)
{
    return {reinterpret_cast<const char*>(records), count * sizeof(KeyVal)};
}

// What the file lacks stays as it was.
void requireRead(const std::string& bytes, std::size_t count)
{
    fuzz::writeFile(kFile, bytes);
    const std::unique_ptr<KeyVal[]> records = scheme(count);
    std::string expected = bytesOf(records.get(), count);
    expected.replace(0, std::min(bytes.size(), expected.size()), bytes, 0, expected.size());
    std::string name = kFile;
    FUZZ_REQUIRE(keyValFromFile(name.data(), records.get(), static_cast<u32>(count)) == SNS_SUCCESS);
    FUZZ_REQUIRE(bytesOf(records.get(), count) == expected);
}

void putInTheWay(Obstacle obstacle)
{
    emptyFolder();
    if (obstacle == Obstacle::folderInPlace)
    {
        fs::create_directories(kFile + "/inside");
    }
    if (obstacle == Obstacle::noFolder)
    {
        fs::remove_all(kConfigFolder);
    }
    if (obstacle == Obstacle::leftover)
    {
        fuzz::writeFile(kFile + ".new", "torn");
        fuzz::writeFile(kFile + ".new3", "torn");
        fuzz::writeFile(kFile, "old");
    }
}

std::size_t filesInFolder()
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(kConfigFolder), fs::directory_iterator()));
}

void requireWritten(std::size_t count, Obstacle obstacle)
{
    putInTheWay(obstacle);
    const std::unique_ptr<KeyVal[]> records = scheme(count);
    const std::string before = bytesOf(records.get(), count);
    std::string name = kFile;
    FUZZ_REQUIRE(keyValToFile(name.data(), records.get(), static_cast<u32>(count)) == SNS_SUCCESS);
    FUZZ_REQUIRE(bytesOf(records.get(), count) == before);
    FUZZ_REQUIRE(fs::exists(kConfigFolder) == (obstacle != Obstacle::noFolder));
    if (obstacle == Obstacle::none || obstacle == Obstacle::leftover)
    {
        FUZZ_REQUIRE(fuzz::readFile(kFile) == before);
    }
    FUZZ_REQUIRE(obstacle == Obstacle::noFolder || filesInFolder() == 1);
    FUZZ_REQUIRE(obstacle != Obstacle::folderInPlace || fs::exists(kFile + "/inside"));
}

void requireVersion(const std::string& bytes, int number)
{
    constexpr u32 kUntouched = 0xA5A5A5A5;
    fuzz::writeFile(kVersionFile, bytes);
    u32 version = kUntouched;
    const bool isWhole = bytes.size() >= sizeof version;
    FUZZ_REQUIRE(getVersion(&version) == (isWhole ? 0 : -1));
    u32 expected = kUntouched;
    std::memcpy(&expected, bytes.data(), isWhole ? sizeof expected : 0);
    FUZZ_REQUIRE(version == expected);
    FUZZ_REQUIRE(setVersion(static_cast<u32>(number)) == 0);
    FUZZ_REQUIRE(fs::file_size(kVersionFile) == sizeof version);
    FUZZ_REQUIRE(getVersion(&version) == 0 && version == static_cast<u32>(number));
}

// length may be anything, negative included: all that counts of it are its low 32 bits, and only a short length agrees
// with them. The buffer is as large as they say, where a file can be.
void requireWholeFile(const std::string& bytes, INT64 length)
{
    const u32 low = static_cast<u32>(length);
    const bool isTried = length >= 0 && low <= INT_MAX;
    fuzz::writeFile(kFile, bytes);
    FUZZ_REQUIRE(getFileLen(kFile.c_str()) == static_cast<INT64>(bytes.size()));
    const std::size_t room = isTried ? low : 0;
    const std::unique_ptr<char[]> data(new char[room]());
    const bool isThere = isTried && room <= bytes.size();
    FUZZ_REQUIRE(loadFromFile(kFile.c_str(), data.get(), length) == (isThere && length == low ? length : -1));
    FUZZ_REQUIRE(!isThere || bytes.compare(0, room, data.get(), room) == 0);
    std::string name = kFile;
    FUZZ_REQUIRE(saveToFile(name.data(), data.get(), length) == (isTried ? static_cast<int>(low) : -1));
    FUZZ_REQUIRE(fuzz::readFile(kFile) == (isTried ? std::string(data.get(), room) : bytes));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 2);
    std::string_view head = parts[0];
    const std::size_t count = static_cast<std::size_t>(std::clamp(fuzz::takeNumber(head, 3), 0, kRecordsMax));
    const int length = std::min(fuzz::takeNumber(head, 4), kLengthMax);
    const auto obstacle = static_cast<Obstacle>(std::clamp(fuzz::takeNumber(head, 0), 0, 3));
    const INT64 upperHalf = std::max(fuzz::takeNumber(head, 0), -1);
    emptyFolder();
    requireRead(parts[1], count);
    requireVersion(parts[1], length);
    requireWholeFile(parts[1], upperHalf * (1LL << 32) + length);
    requireWritten(count, obstacle);
    return 0;
}
