#include "KSLogger.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <sstream>
#include <thread>

#include "ChildProcess.h"
#include "DiskCalls.h"
#include "FileSizeLimit.h"
#include "HostClock.h"
#include "PrivateTree.h"

namespace {

using support::filesIn;
using support::readFile;
using support::writeFile;

constexpr char kFolder[] = "/mnt/mtd/log";
constexpr char kLog[] = "/mnt/mtd/log/Some.log";
constexpr char kStamp[] = "2026-01-01 08:00:00 ";
constexpr int kRoomy = 1000000;

class KSLoggerTest : public support::PrivateTreeTest
{
protected:
    KSLoggerTest() { host::setClock(std::make_shared<host::ManualClock>(8, 0)); }
    ~KSLoggerTest() override { host::setClock(nullptr); }
};

int logOnce(const char* prefix, const char* text, int maxSize = kRoomy, int count = 3)
{
    KSLogger logger;
    return logger.init(kLog, maxSize, count) ? logger.writeLog(prefix, text) : -1;
}

// The lines of the log and its predecessors, oldest first, without time stamp.
std::vector<std::string> linesOfAll(int count)
{
    std::vector<std::string> lines;
    for (int number = count - 1; number >= 0; --number)
    {
        const std::string path = kLog + (number == 0 ? "" : "." + std::to_string(number));
        if (!support::fileExists(path))
        {
            continue;
        }
        std::istringstream text(readFile(path));
        std::string line;
        while (std::getline(text, line))
        {
            EXPECT_EQ(line.compare(0, sizeof kStamp - 1, kStamp), 0) << line;
            lines.push_back(line.substr(sizeof kStamp - 1));
        }
    }
    return lines;
}

void writeNumbered(const std::string& writer, int records, int maxSize, int count)
{
    for (int i = 0; i < records; ++i)
    {
        KSLogger logger;
        EXPECT_TRUE(logger.init(kLog, maxSize, count));
        EXPECT_GT(logger.writeLog(writer.c_str(), std::to_string(i).c_str()), 0);
    }
}

// Every record of every writer is there once, and in its writer's order.
void expectComplete(const std::vector<std::string>& writers, int records, int count)
{
    const std::vector<std::string> lines = linesOfAll(count);
    EXPECT_EQ(lines.size(), writers.size() * static_cast<std::size_t>(records));
    for (const std::string& writer : writers)
    {
        int next = 0;
        for (const std::string& line : lines)
        {
            if (line == writer + " " + std::to_string(next))
            {
                ++next;
            }
        }
        EXPECT_EQ(next, records) << writer;
    }
}

// ---- records -----------------------------------------------------------------------------------------------

TEST_F(KSLoggerTest, ARecordIsTimeStampPrefixAndText)
{
    const std::string record = std::string(kStamp) + "[sensor assert] hello\n";
    EXPECT_EQ(logOnce("[sensor assert]", "hello"), static_cast<int>(record.size()));
    EXPECT_EQ(readFile(kLog), record);
}

TEST_F(KSLoggerTest, ATextWithItsOwnLineEndGetsNoSecondOne)
{
    EXPECT_GT(logOnce("[p]", "one\n"), 0);
    EXPECT_GT(logOnce("[p]", "two"), 0);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] one\n" + kStamp + "[p] two\n");
}

TEST_F(KSLoggerTest, AnEmptyTextMakesARecord)
{
    EXPECT_GT(logOnce("[p]", ""), 0);
    EXPECT_GT(logOnce("[p]\n", ""), 0);
    EXPECT_GT(logOnce(nullptr, nullptr), 0);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] \n" + kStamp + "[p]\n \n" + kStamp + " \n");
}

TEST_F(KSLoggerTest, AStampIsTheClocksLocalTime)
{
    const auto clock = std::make_shared<host::ManualClock>(23, 59);
    host::setClock(clock);
    clock->advance(std::chrono::seconds(62));
    EXPECT_GT(logOnce("[p]", "late"), 0);
    EXPECT_EQ(readFile(kLog), "2026-01-02 00:00:02 [p] late\n");
}

// ---- bounds ------------------------------------------------------------------------------------------------

TEST_F(KSLoggerTest, RotatesToNumberedFilesAndKeepsTheNewestRecords)
{
    constexpr int kMaxSize = 200;
    writeNumbered("[p]", 1000, kMaxSize, 3);
    EXPECT_EQ(filesIn(kFolder), (std::vector<std::string>{"Some.log", "Some.log.1", "Some.log.2"}));
    for (const char* suffix : {"", ".1", ".2"})
    {
        EXPECT_LE(readFile(std::string(kLog) + suffix).size(), static_cast<std::size_t>(kMaxSize)) << suffix;
    }
    const std::vector<std::string> lines = linesOfAll(3);
    ASSERT_GE(lines.size(), 14u);
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        EXPECT_EQ(lines[i], "[p] " + std::to_string(1000 - lines.size() + i));
    }
}

TEST_F(KSLoggerTest, FillsAFileToTheLastByteBeforeItRotates)
{
    const int record = logOnce("[p]", "0");
    EXPECT_GT(logOnce("[p]", "1", 2 * record), 0);
    EXPECT_EQ(filesIn(kFolder).size(), 1u);
    EXPECT_GT(logOnce("[p]", "2", 2 * record), 0);
    EXPECT_EQ(filesIn(kFolder).size(), 2u);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] 2\n");
}

TEST_F(KSLoggerTest, OneFileAloneStartsAnew)
{
    writeNumbered("[p]", 100, 60, 1);
    EXPECT_EQ(filesIn(kFolder), std::vector<std::string>{"Some.log"});
    EXPECT_EQ(linesOfAll(1), (std::vector<std::string>{"[p] 98", "[p] 99"}));
}

TEST_F(KSLoggerTest, ARecordLongerThanAFileIsCut)
{
    EXPECT_EQ(logOnce("[p]", std::string(1000, 'x').c_str(), 100), 100);
    const std::string bytes = readFile(kLog);
    EXPECT_EQ(bytes.size(), 100u);
    EXPECT_EQ(bytes.back(), '\n');
    EXPECT_EQ(logOnce("[p]", std::string(1000, 'x').c_str(), 1, 1), 1);
    EXPECT_EQ(readFile(kLog), "\n");
}

TEST_F(KSLoggerTest, ACutLeavesNoHalfCharacter)
{
    std::string text;
    for (int i = 0; i < 100; ++i)
    {
        text += "\xE2\x82\xAC";
    }
    for (int maxSize = 60; maxSize < 63; ++maxSize)
    {
        support::removeFile(kLog);
        EXPECT_GT(logOnce("[p]", text.c_str(), maxSize), 0);
        const std::string bytes = readFile(kLog);
        EXPECT_EQ((bytes.size() - (sizeof kStamp - 1) - 5) % 3, 0u) << maxSize;
    }
}

TEST_F(KSLoggerTest, ARotationThatIsNotPossibleKeepsTheNewRecords)
{
    ASSERT_EQ(mkdir("/mnt/mtd/log/Some.log.1", 0755), 0);
    writeFile("/mnt/mtd/log/Some.log.1/inside", "x");
    writeNumbered("[p]", 100, 60, 2);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] 98\n" + kStamp + "[p] 99\n");
}

// ---- failures ----------------------------------------------------------------------------------------------

TEST_F(KSLoggerTest, WithoutAValidInitNothingIsWritten)
{
    KSLogger logger;
    EXPECT_EQ(logger.writeLog("[p]", "x"), -1);
    EXPECT_FALSE(logger.init(nullptr, kRoomy, 3));
    EXPECT_FALSE(logger.init("", kRoomy, 3));
    EXPECT_FALSE(logger.init(kLog, 0, 3));
    EXPECT_FALSE(logger.init(kLog, INT_MIN, 3));
    EXPECT_FALSE(logger.init(kLog, kRoomy, 0));
    EXPECT_EQ(logger.writeLog("[p]", "x"), -1);
    EXPECT_TRUE(filesIn(kFolder).empty());
}

TEST_F(KSLoggerTest, MakesAMissingFolderOneLevelDeep)
{
    KSLogger logger;
    ASSERT_TRUE(logger.init("/mnt/mtd/fresh/Some.log", kRoomy, 3));
    EXPECT_GT(logger.writeLog("[p]", "x"), 0);
    EXPECT_TRUE(support::fileExists("/mnt/mtd/fresh/Some.log"));
    ASSERT_TRUE(logger.init("/mnt/mtd/no/such/Some.log", kRoomy, 3));
    EXPECT_EQ(logger.writeLog("[p]", "x"), -1);
    EXPECT_FALSE(support::fileExists("/mnt/mtd/no"));
}

TEST_F(KSLoggerTest, AFolderInTheLogsPlaceIsAFailure)
{
    ASSERT_EQ(mkdir(kLog, 0755), 0);
    EXPECT_EQ(logOnce("[p]", "x"), -1);
}

TEST_F(KSLoggerTest, AFullDiskIsAFailureThatLeavesNoPartOfTheRecord)
{
    EXPECT_GT(logOnce("[p]", "first"), 0);
    const std::string before = readFile(kLog);
    {
        const platform_tests::FileSizeLimit limit(before.size() + 10);
        EXPECT_EQ(logOnce("[p]", "second"), -1);
    }
    EXPECT_EQ(readFile(kLog), before);
    ASSERT_EQ(unlink(kLog), 0);
    ASSERT_EQ(symlink("/dev/full", kLog), 0);
    EXPECT_EQ(logOnce("[p]", "x"), -1);
}

TEST_F(KSLoggerTest, ALogThatStartsAnewOnAFullDiskHoldsNoPartOfARecordEither)
{
    ASSERT_GT(logOnce("[p]", std::string(70, 'x').c_str(), 100, 1), 0);
    {
        const platform_tests::FileSizeLimit limit(10);
        EXPECT_EQ(logOnce("[p]", "second", 100, 1), -1);
    }
    EXPECT_EQ(readFile(kLog), "");
}

TEST_F(KSLoggerTest, ALogThatIsDeletedIsMadeAgain)
{
    KSLogger logger;
    ASSERT_TRUE(logger.init(kLog, kRoomy, 3));
    EXPECT_GT(logger.writeLog("[p]", "one"), 0);
    support::removeFile(kLog);
    EXPECT_GT(logger.writeLog("[p]", "two"), 0);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] two\n");
}

// ---- several writers ---------------------------------------------------------------------------------------

TEST_F(KSLoggerTest, ThreadsWithTheirOwnObjectsLoseNothingOverRotations)
{
    constexpr int kCount = 1000;
    const std::vector<std::string> writers{"[a]", "[b]", "[c]", "[d]"};
    std::vector<std::thread> threads;
    for (const std::string& writer : writers)
    {
        threads.emplace_back([writer] { writeNumbered(writer, 200, 400, kCount); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    expectComplete(writers, 200, kCount);
}

TEST_F(KSLoggerTest, ProcessesLoseNothingOverRotations)
{
    constexpr int kCount = 1000;
    const std::vector<std::string> writers{"[a]", "[b]", "[c]", "[d]"};
    std::vector<pid_t> children;
    for (const std::string& writer : writers)
    {
        children.push_back(platform_tests::startChild([&] { writeNumbered(writer, 200, 400, kCount); }));
    }
    for (const pid_t child : children)
    {
        EXPECT_EQ(platform_tests::awaitChild(child), 0);
    }
    expectComplete(writers, 200, kCount);
}

TEST_F(KSLoggerTest, ANamedPipeInTheLogsPlaceHoldsNobodyUp)
{
    ASSERT_EQ(mkfifo(kLog, 0600), 0);
    EXPECT_EQ(logOnce("[p]", "x"), -1);
}

TEST_F(KSLoggerTest, ANameThatIsTooLongMakesNoFolder)
{
    KSLogger logger;
    ASSERT_TRUE(logger.init(("/mnt/mtd/fresh/" + std::string(PATH_MAX, 'n')).c_str(), kRoomy, 3));
    EXPECT_EQ(logger.writeLog("[p]", "x"), -1);
    EXPECT_FALSE(support::fileExists("/mnt/mtd/fresh"));
}

TEST_F(KSLoggerTest, WithoutLocksNothingIsWritten)
{
    const platform_tests::NoLocks none(ENOLCK);
    EXPECT_EQ(logOnce("[p]", "x"), -1);
    EXPECT_EQ(readFile(kLog), "");
}

TEST_F(KSLoggerTest, AnInitThatFailsTakesBackTheOneBefore)
{
    KSLogger logger;
    ASSERT_TRUE(logger.init(kLog, kRoomy, 3));
    EXPECT_FALSE(logger.init("", kRoomy, 3));
    EXPECT_EQ(logger.writeLog("[p]", "x"), -1);
    EXPECT_TRUE(filesIn(kFolder).empty());
}

}  // namespace
