#include "SensorFile.h"
#include "base/SharedWord.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/CapturedOutput.h"
#include "tests/unit/config/DiskFailure.h"
#include "tests/unit/config/ExpectedReports.h"

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace support;
using testing::ElementsAre;

namespace {

constexpr char kReadSize[] = "nSize == sizeof(KeyVal)*p_nKeyValNum";
constexpr char kWriteSize[] = "nSize == sizeof(KeyVal)*p_nKeyValSum";

class KeyValFile : public PrivateTreeTest
{
protected:
    static std::string scheme() { return schemeFile(0); }

    static int readRecords(std::string fileName, std::vector<KeyVal>& records)
    {
        return keyValFromFile(fileName.data(), records.data(), static_cast<u32>(records.size()));
    }

    static int writeRecords(std::string fileName, std::vector<KeyVal> records)
    {
        return keyValToFile(fileName.data(), records.data(), static_cast<u32>(records.size()));
    }
};

TEST_F(KeyValFile, HoldsKeyAndValueOfEachRecordInLittleEndianAndNothingElse)
{
    EXPECT_EQ("", outputOf([] {
                  EXPECT_EQ(SNS_SUCCESS, writeRecords(scheme(), {{34, 60}, {0x01020304U, 0xFFFFFFFBU}}));
              }));
    EXPECT_EQ(std::string("\x22\0\0\0\x3C\0\0\0\x04\x03\x02\x01\xFB\xFF\xFF\xFF", 16), readFile(scheme()));
}

TEST_F(KeyValFile, IsReadInSilenceWhenItHasTheRightSize)
{
    writeFile(scheme(), std::string("\x22\0\0\0\x3C\0\0\0\x04\x03\x02\x01\xFB\xFF\xFF\xFF", 16));
    std::vector<KeyVal> records(2);
    EXPECT_EQ("", outputOf([&] { EXPECT_EQ(SNS_SUCCESS, readRecords(scheme(), records)); }));
    EXPECT_THAT(records, ElementsAre(KeyVal{34, 60}, KeyVal{0x01020304U, 0xFFFFFFFBU}));
}

TEST_F(KeyValFile, LongerFileGivesItsFirstRecordsInSilence)
{
    writeFile(scheme(), bytesOf({{1, 2}, {3, 4}, {5, 6}}));
    std::vector<KeyVal> records(2);
    EXPECT_EQ("", outputOf([&] { EXPECT_EQ(SNS_SUCCESS, readRecords(scheme(), records)); }));
    EXPECT_THAT(records, ElementsAre(KeyVal{1, 2}, KeyVal{3, 4}));
}

TEST_F(KeyValFile, ShorterFileIsReportedAndLeavesTheTail)
{
    writeFile(scheme(), bytesOf({{1, 2}}));
    std::vector<KeyVal> records = {{10, 20}, {30, 40}};
    const std::string output = outputOf([&] { EXPECT_EQ(SNS_SUCCESS, readRecords(scheme(), records)); });
    expectReports(kFiles, output,
                  {{"keyValFromFile", kReadSize,
                    "file_name(" + scheme() + ") nSize(8) sizeof(KeyVal) = 8, p_nKeyValNum(2)\n", "54"}});
    EXPECT_THAT(records, ElementsAre(KeyVal{1, 2}, KeyVal{30, 40}));
}

TEST_F(KeyValFile, BytesOfAPartialRecordAreStored)
{
    const std::string whole = bytesOf({{1, 2}, {3, 0x11223344U}});
    for (size_t length = 9; length < 16; ++length)
    {
        writeFile(scheme(), whole.substr(0, length));
        std::vector<KeyVal> records = {{10, 20}, {0xAAAAAAAAU, 0xBBBBBBBBU}};
        const std::string before = bytesOf(records);
        outputOf([&] { EXPECT_EQ(SNS_SUCCESS, readRecords(scheme(), records)); });
        EXPECT_EQ(whole.substr(0, length) + before.substr(length), bytesOf(records)) << length;
    }
}

TEST_F(KeyValFile, MissingFileIsReportedTwiceAndChangesNothing)
{
    std::vector<KeyVal> records = {{10, 20}};
    const std::string output = outputOf([&] { EXPECT_EQ(SNS_SUCCESS, readRecords(kNoFolder, records)); });
    expectReports(kFiles, output,
                  {{"keyValFromFile", kOpenRead, "file_name(/mnt/mtd/nowhere/file)\n", "50"},
                   {"keyValFromFile", kReadSize,
                    "file_name(/mnt/mtd/nowhere/file) nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(1)\n", "54"}});
    EXPECT_THAT(records, ElementsAre(KeyVal{10, 20}));
}

TEST_F(KeyValFile, MissingFileIsReportedTwiceEvenForNoRecords)
{
    std::vector<KeyVal> none;
    const std::string output = outputOf([&] { EXPECT_EQ(SNS_SUCCESS, readRecords(kNoFolder, none)); });
    expectReports(kFiles, output,
                  {{"keyValFromFile", kOpenRead, "file_name(/mnt/mtd/nowhere/file)\n", "50"},
                   {"keyValFromFile", kReadSize,
                    "file_name(/mnt/mtd/nowhere/file) nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(0)\n", "54"}});
}

TEST_F(KeyValFile, FolderThatIsMissingIsReportedTwiceAndStillSucceeds)
{
    const std::string output = outputOf([] { EXPECT_EQ(SNS_SUCCESS, writeRecords(kNoFolder, {{1, 2}, {3, 4}})); });
    expectReports(kFiles, output,
                  {{"keyValToFile", kOpenReplace, "file_name(/mnt/mtd/nowhere/file)\n", "64"},
                   {"keyValToFile", kWriteSize, "nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(2)\n", "68"}});
}

TEST_F(KeyValFile, FullDeviceIsReportedAndStillSucceeds)
{
    const std::string output = outputOf([] { EXPECT_EQ(SNS_SUCCESS, writeRecords("/dev/full", {{1, 2}})); });
    expectReports(kFiles, output,
                  {{"keyValToFile", kWriteSize, "nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(1)\n", "68"}});
}

TEST_F(KeyValFile, FileThatCannotBePutInPlaceIsReportedAndLeavesTheOldOne)
{
    writeFile(scheme(), "old");
    const std::string output = outputOf([] {
        const DiskFailure failure;
        EXPECT_EQ(SNS_SUCCESS, writeRecords(scheme(), {{1, 2}}));
    });
    expectReports(kFiles, output, {{"keyValToFile", "file.close()", "file_name(" + scheme() + ")\n"}});
    EXPECT_EQ("old", readFile(scheme()));
}

TEST_F(KeyValFile, RecordCountWhoseBytesWrapIsReportedAndTouchesNothing)
{
    writeFile(scheme(), "12345678");
    constexpr u32 kWraps = (1U << 29) + 1;  // 8 bytes in 32 bits
    KeyVal record = {10, 20};
    std::string fileName = scheme();
    std::string output = outputOf([&] { EXPECT_EQ(SNS_SUCCESS, keyValFromFile(fileName.data(), &record, kWraps)); });
    output += outputOf([&] { EXPECT_EQ(SNS_SUCCESS, keyValToFile(fileName.data(), &record, kWraps)); });
    expectReports(kFiles, output,
                  {{"keyValFromFile", kReadSize,
                    "file_name(" + scheme() + ") nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(536870913)\n", "54"},
                   {"keyValToFile", kWriteSize, "nSize(-1) sizeof(KeyVal) = 8, p_nKeyValNum(536870913)\n", "68"}});
    EXPECT_EQ((KeyVal{10, 20}), record);
    EXPECT_EQ("12345678", readFile(scheme()));
}

TEST_F(KeyValFile, RecordsMayChangeWhileTheyAreWrittenAndRead)
{
    std::vector<KeyVal> records(50, KeyVal{34, 0});
    std::string fileName = scheme();
    std::atomic<bool> isOver{false};
    std::thread other([&] {
        for (u32 value = 0; !isOver; ++value)
        {
            base::sharedStore(records[value % 50].value, value);
        }
    });
    for (int i = 0; i < 20; ++i)
    {
        keyValToFile(fileName.data(), records.data(), 50);
        keyValFromFile(fileName.data(), records.data(), 50);
    }
    isOver = true;
    other.join();
    for (const KeyVal& record : recordsOf(readFile(scheme())))
    {
        EXPECT_EQ(34U, record.key);
    }
}

}  // namespace
