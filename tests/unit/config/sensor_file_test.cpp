#include "SensorFile.h"

#include "tests/support/CapturedOutput.h"
#include "tests/unit/config/DiskFailure.h"
#include "tests/unit/config/ExpectedReports.h"
#include "tests/unit/platform/FileSizeLimit.h"

#include <gmock/gmock.h>
#include <sys/mman.h>

#include <climits>
#include <cstring>
#include <string>

using namespace support;
using testing::ElementsAre;

namespace {

constexpr char kSaveSize[] = "file_len == (nSize=file.write(data, file_len))";

class SensorFileTest : public PrivateTreeTest
{
protected:
    static std::string scheme() { return schemeFile(0); }

    static int save(std::string fileName, std::string bytes, INT64 length)
    {
        return saveToFile(fileName.data(), bytes.data(), length);
    }
};

using FileLength = SensorFileTest;

TEST_F(FileLength, IsTheNumberOfBytes)
{
    writeFile(scheme(), std::string("12\0004567", 7));
    EXPECT_EQ("", outputOf([] { EXPECT_EQ(7, getFileLen(scheme().c_str())); }));
}

TEST_F(FileLength, MissingFileIsReportedWithoutLineEndAndGivesZero)
{
    const std::string output = outputOf([] { EXPECT_EQ(0, getFileLen(kNoFolder)); });
    expectReports(kFiles, output, {{"getFileLen", kOpenRead, "file_name(/mnt/mtd/nowhere/file)", "19"}});
}

class LoadFromFile : public SensorFileTest
{
protected:
    std::string m_strBuffer = "........";
};

TEST_F(LoadFromFile, GivesTheBytesAskedForAndNoTerminator)
{
    writeFile(scheme(), "abcdef");
    EXPECT_EQ("", outputOf([this] { EXPECT_EQ(4, loadFromFile(scheme().c_str(), m_strBuffer.data(), 4)); }));
    EXPECT_EQ("abcd....", m_strBuffer);
}

TEST_F(LoadFromFile, FileShorterThanAskedFailsInSilence)
{
    writeFile(scheme(), "abc");
    EXPECT_EQ("", outputOf([this] { EXPECT_EQ(-1, loadFromFile(scheme().c_str(), m_strBuffer.data(), 4)); }));
}

TEST_F(LoadFromFile, MissingFileFailsInSilence)
{
    EXPECT_EQ("", outputOf([this] { EXPECT_EQ(-1, loadFromFile(kNoFolder, m_strBuffer.data(), 4)); }));
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_F(LoadFromFile, NothingOfAnEmptyFileSucceedsWithZero)
{
    writeFile(scheme(), "");
    EXPECT_EQ(0, loadFromFile(scheme().c_str(), m_strBuffer.data(), 0));
}

TEST_F(LoadFromFile, ImpossibleLengthsFailWithoutTouchingTheBuffer)
{
    writeFile(scheme(), "abcdef");
    for (const INT64 length : {-1LL, -4LL, 1LL << 31, 0xFFFFFFFFLL, (1LL << 32) + 0xFFFFFFFFLL, -(1LL << 62)})
    {
        EXPECT_EQ(-1, loadFromFile(scheme().c_str(), m_strBuffer.data(), length)) << length;
    }
    EXPECT_EQ("........", m_strBuffer);
}

TEST_F(LoadFromFile, LengthBeyondThirtyTwoBitsReadsItsLowBitsAndFails)
{
    writeFile(scheme(), "abcdef");
    EXPECT_EQ(-1, loadFromFile(scheme().c_str(), m_strBuffer.data(), (1LL << 32) + 4));
    EXPECT_EQ("abcd....", m_strBuffer);
    EXPECT_EQ(-1, loadFromFile(scheme().c_str(), m_strBuffer.data(), 1LL << 32));
}

TEST_F(LoadFromFile, LongestPossibleLengthReadsWhatThereIsAndFails)
{
    // As much room as is said: a kernel may look at all of it. Untouched pages take no memory.
    void* const room =
        mmap(nullptr, INT_MAX, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(MAP_FAILED, room);
    char* const text = static_cast<char*>(room);
    std::memset(text, '.', 8);
    writeFile(scheme(), "abc");
    EXPECT_EQ(-1, loadFromFile(scheme().c_str(), text, INT_MAX));
    EXPECT_EQ("abc.....", std::string(text, 8));
    munmap(room, INT_MAX);
}

TEST_F(LoadFromFile, TracesThePathFromLevelSixOn)
{
    writeFile(scheme(), "abcdef");
    const auto load = [this] { loadFromFile(scheme().c_str(), m_strBuffer.data(), 4); };
    setDebug(5);
    EXPECT_EQ("", outputOf(load));
    setDebug(6);
    EXPECT_EQ(traced("dbg", kFiles, "loadFromFile", "open file:" + scheme() + "\n", "27"), outputOf(load));
}

TEST_F(LoadFromFile, TracesThePathOfAMissingFileAndOfAnImpossibleLengthToo)
{
    setDebug(6);
    const std::string expected = traced("dbg", kFiles, "loadFromFile", "open file:/mnt/mtd/nowhere/file\n", "27");
    EXPECT_EQ(expected, outputOf([this] { loadFromFile(kNoFolder, m_strBuffer.data(), 4); }));
    EXPECT_EQ(expected, outputOf([this] { loadFromFile(kNoFolder, m_strBuffer.data(), -4); }));
}

using SaveToFile = SensorFileTest;

TEST_F(SaveToFile, EveryLengthIsTriedButANegativeOne)
{
    const auto reportsFor = [](INT64 length) {
        return timesSaid(outputOf([length] { EXPECT_EQ(-1, save(kNoFolder, "", length)); }), "fun:saveToFile");
    };
    // Nothing is read of the data while there is no file.
    for (const INT64 length : {static_cast<INT64>(INT_MAX), 1LL << 31, 1LL << 32, LLONG_MAX})
    {
        EXPECT_EQ(2, reportsFor(length)) << length;
    }
    EXPECT_EQ(1, reportsFor(-1));
    EXPECT_EQ(1, reportsFor(LLONG_MIN));
}

TEST_F(SaveToFile, ReplacesTheWholeFile)
{
    writeFile(scheme(), "something longer");
    EXPECT_EQ("", outputOf([] { EXPECT_EQ(3, save(scheme(), "abc", 3)); }));
    EXPECT_EQ("abc", readFile(scheme()));
    EXPECT_THAT(filesIn(kConfigFolder), ElementsAre("sensor0.cfg"));
}

TEST_F(SaveToFile, NothingMakesAnEmptyFile)
{
    EXPECT_EQ("", outputOf([] { EXPECT_EQ(0, save(scheme(), "", 0)); }));
    EXPECT_EQ("", readFile(scheme()));
}

TEST_F(SaveToFile, FileThatCannotBeOpenedIsReportedTwice)
{
    const std::string output = outputOf([] { EXPECT_EQ(-1, save(kNoFolder, "abc", 3)); });
    expectReports(kFiles, output,
                  {{"saveToFile", kOpenReplace, "file_name(/mnt/mtd/nowhere/file)\n", "40"},
                   {"saveToFile", kSaveSize, "file_len(3)\n", "41"}});
}

TEST_F(SaveToFile, NegativeLengthIsReportedAndWritesNothing)
{
    writeFile(scheme(), "old");
    for (const int length : {-1, -3})
    {
        removeFile(kErrorLogFile);
        const std::string output = outputOf([length] { EXPECT_EQ(-1, save(scheme(), "abc", length)); });
        expectReports(kFiles, output, {{"saveToFile", kSaveSize, "file_len(" + std::to_string(length) + ")\n", "41"}});
    }
    EXPECT_EQ("old", readFile(scheme()));
}

TEST_F(SaveToFile, LengthBeyondThirtyTwoBitsWritesItsLowBitsAndIsReported)
{
    for (const INT64 length : {4LL, 0LL})
    {
        writeFile(scheme(), "old");
        removeFile(kErrorLogFile);
        const std::string output =
            outputOf([length] { EXPECT_EQ(length, save(scheme(), "abcdef", (1LL << 32) + length)); });
        expectReports(kFiles, output, {{"saveToFile", kSaveSize, "file_len(" + std::to_string(length) + ")\n", "41"}});
        EXPECT_EQ(std::string("abcdef", static_cast<size_t>(length)), readFile(scheme()));
    }
}

TEST_F(SaveToFile, LengthWhoseLowBitsAreMinusOneIsNoSuccess)
{
    writeFile(scheme(), "old");
    for (const INT64 length : {0xFFFFFFFFLL, (1LL << 32) + 0xFFFFFFFFLL})
    {
        removeFile(kErrorLogFile);
        const std::string output = outputOf([length] { EXPECT_EQ(-1, save(scheme(), "abcd", length)); });
        expectReports(kFiles, output, {{"saveToFile", kSaveSize, "file_len(-1)\n", "41"}});
    }
    EXPECT_EQ("old", readFile(scheme()));
    EXPECT_FALSE(fileExists(scheme() + ".new"));
}

TEST_F(SaveToFile, LowBitsThatCannotBePutInPlaceAreNotWritten)
{
    writeFile(scheme(), "old");
    const std::string output = outputOf([] {
        const DiskFailure failure;
        EXPECT_EQ(-1, save(scheme(), "abcd", (1LL << 32) + 4));
    });
    expectReports(kFiles, output,
                  {{"saveToFile", kSaveSize, "file_len(4)\n", "41"},
                   {"saveToFile", "file.close()", "file_name(" + scheme() + ")\n"}});
    EXPECT_EQ("old", readFile(scheme()));
}

TEST_F(SaveToFile, FullDeviceIsReported)
{
    const std::string output = outputOf([] { EXPECT_EQ(-1, save("/dev/full", "abc", 3)); });
    expectReports(kFiles, output, {{"saveToFile", kSaveSize, "file_len(3)\n", "41"}});
}

TEST_F(SaveToFile, IncompleteWriteLeavesTheOldFile)
{
    writeFile(scheme(), "old");
    int result = 0;
    const std::string output = outputOf([&result] {
        const platform_tests::FileSizeLimit limit(4096);
        result = save(scheme(), std::string(5000, 'x'), 5000);
    });
    EXPECT_LT(result, 5000);
    expectReports(kFiles, output, {{"saveToFile", kSaveSize, "file_len(5000)\n", "41"}});
    EXPECT_EQ("old", readFile(scheme()));
}

TEST_F(SaveToFile, FileThatCannotBePutInPlaceFailsAndLeavesTheOldOne)
{
    writeFile(scheme(), "old");
    const std::string output = outputOf([] {
        const DiskFailure failure;
        EXPECT_EQ(-1, save(scheme(), "abc", 3));
    });
    expectReports(kFiles, output, {{"saveToFile", "file.close()", "file_name(" + scheme() + ")\n"}});
    EXPECT_EQ("old", readFile(scheme()));
}

class LayoutVersion : public SensorFileTest
{
protected:
    u32 m_nVersion = 4711;
};

TEST_F(LayoutVersion, IsReadBackAsWrittenInFourBytesLittleEndian)
{
    const std::string output = outputOf([this] {
        EXPECT_EQ(0, setVersion(7));
        EXPECT_EQ(0, getVersion(&m_nVersion));
    });
    EXPECT_EQ("", output);
    EXPECT_EQ(7U, m_nVersion);
    EXPECT_EQ(std::string("\7\0\0\0", 4), readFile(kVersionFile));
}

TEST_F(LayoutVersion, EveryByteCounts)
{
    EXPECT_EQ(0, setVersion(0xFEDCBA98U));
    EXPECT_EQ("\x98\xBA\xDC\xFE", readFile(kVersionFile));
    EXPECT_EQ(0, getVersion(&m_nVersion));
    EXPECT_EQ(0xFEDCBA98U, m_nVersion);
}

TEST_F(LayoutVersion, MissingFileFailsInSilence)
{
    EXPECT_EQ("", outputOf([this] { EXPECT_EQ(-1, getVersion(&m_nVersion)); }));
    EXPECT_EQ(4711U, m_nVersion);
}

TEST_F(LayoutVersion, ThreeBytesFailInSilence)
{
    writeFile(kVersionFile, "abc");
    EXPECT_EQ("", outputOf([this] { EXPECT_EQ(-1, getVersion(&m_nVersion)); }));
    EXPECT_EQ(4711U, m_nVersion);
}

TEST_F(LayoutVersion, LongerFileGivesItsFirstFourBytes)
{
    writeFile(kVersionFile, std::string("\2\0\0\0xyz", 7));
    EXPECT_EQ(0, getVersion(&m_nVersion));
    EXPECT_EQ(2U, m_nVersion);
}

TEST_F(LayoutVersion, FolderThatCannotBeWrittenFailsWithReports)
{
    removeFile(kConfigFolder);
    const std::string output = outputOf([] { EXPECT_EQ(-1, setVersion(7)); });
    expectReports(kFiles, output,
                  {{"saveToFile", kOpenReplace, "file_name(/mnt/mtd/code/config_file/snsversion.cfg)\n", "40"},
                   {"saveToFile", kSaveSize, "file_len(4)\n", "41"}});
}

TEST_F(LayoutVersion, FileThatCannotBePutInPlaceFailsAndLeavesTheOldVersion)
{
    EXPECT_EQ(0, setVersion(6));
    const std::string output = outputOf([] {
        const DiskFailure failure;
        EXPECT_EQ(-1, setVersion(7));
    });
    expectReports(kFiles, output,
                  {{"saveToFile", "file.close()", "file_name(/mnt/mtd/code/config_file/snsversion.cfg)\n"}});
    EXPECT_EQ(0, getVersion(&m_nVersion));
    EXPECT_EQ(6U, m_nVersion);
}

}  // namespace
