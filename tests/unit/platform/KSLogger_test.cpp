#include "KSLogger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <sstream>
#include <thread>

#include "HostClock.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/platform/ChildProcess.h"
#include "tests/unit/platform/DiskCalls.h"
#include "tests/unit/platform/FileSizeLimit.h"
#include "tests/unit/platform/Waits.h"

namespace {

using platform_tests::Waits;
using namespace support;

constexpr char kFolder[] = "/mnt/mtd/log";
constexpr char kLog[] = "/mnt/mtd/log/Some.log";
constexpr char kStamp[] = "2026-01-01 08:00:00 ";
constexpr int kRoomy = 1000000;

class KSLoggerTest : public PrivateTreeTest
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
        if (!fileExists(path))
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

int occurrences(const std::vector<std::string>& lines, const std::string& line)
{
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

// What the lines tell of lost records.
int lostIn(const std::vector<std::string>& lines)
{
    int lost = 0;
    for (const std::string& line : lines)
    {
        int number = 0;
        lost += std::sscanf(line.c_str(), "%*s lost records: %d", &number) == 1 ? number : 0;
    }
    return lost;
}

// Others hold the lock for so short a time that a record is lost only on a machine that is very busy. It is then
// written again.
void writeNumbered(const std::string& writer, int records, int maxSize, int count)
{
    for (int i = 0; i < records; ++i)
    {
        KSLogger logger;
        EXPECT_TRUE(logger.init(kLog, maxSize, count));
        while (logger.writeLog(writer.c_str(), std::to_string(i).c_str()) < 0)
        {
        }
    }
}

// Every record of every writer is there once, and in its writer's order.
void expectComplete(const std::vector<std::string>& writers, int records, int count)
{
    std::vector<std::string> lines = linesOfAll(count);
    lines.erase(std::remove_if(lines.begin(), lines.end(), [](const auto& line) { return lostIn({line}) > 0; }),
                lines.end());
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
        removeFile(kLog);
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
    EXPECT_TRUE(fileExists("/mnt/mtd/fresh/Some.log"));
    ASSERT_TRUE(logger.init("/mnt/mtd/no/such/Some.log", kRoomy, 3));
    EXPECT_EQ(logger.writeLog("[p]", "x"), -1);
    EXPECT_FALSE(fileExists("/mnt/mtd/no"));
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
    removeFile(kLog);
    EXPECT_GT(logger.writeLog("[p]", "two"), 0);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] two\n");
}

// ---- a log that somebody keeps locked ----------------------------------------------------------------------

constexpr std::chrono::milliseconds kPatience{100};

// Whoever may read the log may lock it: another open file, as another process has it.
class HeldLog
{
public:
    HeldLog() : handle_(open(kLog, O_RDONLY | O_CLOEXEC)) { EXPECT_EQ(flock(handle_, LOCK_EX | LOCK_NB), 0); }

    ~HeldLog() { close(handle_); }

    HeldLog(const HeldLog&) = delete;
    HeldLog& operator=(const HeldLog&) = delete;

    void letGo() { EXPECT_EQ(flock(handle_, LOCK_UN), 0); }

private:
    const int handle_;
};

// A log that no test before this one has anything to tell of.
class HeldKSLogger : public KSLoggerTest
{
protected:
    void SetUp() override
    {
        KSLoggerTest::SetUp();
        ASSERT_GT(logOnce("[p]", "first"), 0);
        before_ = readFile(kLog);
    }

    void TearDown() override
    {
        EXPECT_GT(logOnce("[p]", "last"), 0);
        KSLoggerTest::TearDown();
    }

    // On a thread of its own, that has not waited yet.
    static int logOnce(const char* prefix, const char* text, int maxSize = kRoomy, int count = 3)
    {
        int bytes = 0;
        std::thread([&] { bytes = ::logOnce(prefix, text, maxSize, count); }).join();
        return bytes;
    }

    std::string before_;
};

TEST_F(HeldKSLogger, ARecordWaitsATenthOfASecondAtMostAndTheNextOnesNotAtAll)
{
    const HeldLog held;
    {
        const Waits waits;
        EXPECT_EQ(logOnce("[p]", "lost"), -1);
        EXPECT_GT(waits.count(), 0);
        EXPECT_LE(waits.sum(), kPatience);
    }
    for (int i = 0; i < 3; ++i)
    {
        const Waits waits;
        EXPECT_EQ(logOnce("[p]", "lost"), -1);
        EXPECT_EQ(waits.count(), 0);
    }
    EXPECT_EQ(readFile(kLog), before_);
}

TEST_F(HeldKSLogger, AReadersLockHoldsARecordUpNoLonger)
{
    const int reader = open(kLog, O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(reader, LOCK_SH), 0);
    EXPECT_EQ(logOnce("[p]", "lost"), -1);
    close(reader);
}

TEST_F(HeldKSLogger, ARecordThatGetsTheLockInTimeIsWrittenAndNothingIsLost)
{
    HeldLog held;
    const Waits waits([&] { held.letGo(); });
    EXPECT_GT(logOnce("[p]", "second"), 0);
    EXPECT_EQ(waits.count(), 1);
    EXPECT_EQ(readFile(kLog), before_ + kStamp + "[p] second\n");
}

TEST_F(HeldKSLogger, LostRecordsAreCountedInFrontOfTheNextOneOnce)
{
    {
        const HeldLog held;
        EXPECT_EQ(logOnce("[a]", "lost"), -1);
        EXPECT_EQ(logOnce("[b]", "lost"), -1);
        EXPECT_EQ(logOnce("[c]", "lost"), -1);
    }
    const Waits waits;
    const std::string record = std::string(kStamp) + "[d] next\n";
    EXPECT_EQ(logOnce("[d]", "next"), static_cast<int>(record.size()));
    EXPECT_EQ(waits.count(), 0);
    EXPECT_GT(logOnce("[e]", "later"), 0);
    EXPECT_EQ(readFile(kLog),
              before_ + kStamp + "[d] lost records: 3, the log was locked\n" + record + kStamp + "[e] later\n");
}

TEST_F(HeldKSLogger, NoRecordIsWrittenInFrontOfTheCount)
{
    {
        const HeldLog held;
        EXPECT_EQ(logOnce("[p]", "lost"), -1);
    }
    {
        const platform_tests::NoLocks heldForTheCount(EWOULDBLOCK, 1);
        EXPECT_EQ(logOnce("[p]", "lost"), -1);
    }
    EXPECT_GT(logOnce("[p]", "next"), 0);
    EXPECT_EQ(readFile(kLog), before_ + kStamp + "[p] lost records: 2, the log was locked\n" + kStamp + "[p] next\n");
}

TEST_F(HeldKSLogger, OnceTheLockWasSeenFreeARecordWaitsAgain)
{
    for (int turn = 0; turn < 2; ++turn)
    {
        {
            const HeldLog held;
            const Waits waits;
            EXPECT_EQ(logOnce("[p]", "lost"), -1);
            EXPECT_GT(waits.count(), 0);
        }
        EXPECT_GT(logOnce("[p]", "written"), 0);
    }
}

// A report is several records: whoever lets the log go in between may not hold up each of them.
TEST_F(HeldKSLogger, AThreadThatHasWaitedLongEnoughWaitsNoMoreAlthoughTheLockWasSeenFree)
{
    std::thread([&] {
        const Waits waits;
        for (int record = 0; record < 3; ++record)
        {
            {
                const HeldLog held;
                EXPECT_EQ(::logOnce("[p]", "lost"), -1);
            }
            EXPECT_GT(::logOnce("[p]", "written"), 0);
        }
        EXPECT_GT(waits.count(), 0);
        EXPECT_LE(waits.sum(), kPatience);
    }).join();
}

TEST_F(HeldKSLogger, WhoWaitsGivesUpWhenAnotherRecordIsLost)
{
    const HeldLog held;
    int waitsOfAnother = 0;
    const Waits waits([&] {
        EXPECT_EQ(logOnce("[b]", "lost"), -1);
        waitsOfAnother = waits.count();
    });
    EXPECT_EQ(logOnce("[a]", "lost"), -1);
    EXPECT_EQ(waits.count(), waitsOfAnother);
}

TEST_F(HeldKSLogger, EveryLogHasItsOwnLock)
{
    const HeldLog held;
    EXPECT_EQ(logOnce("[p]", "lost"), -1);
    KSLogger other;
    ASSERT_TRUE(other.init("/mnt/mtd/log/Other.log", kRoomy, 3));
    EXPECT_GT(other.writeLog("[p]", "x"), 0);
    EXPECT_EQ(readFile("/mnt/mtd/log/Other.log"), std::string(kStamp) + "[p] x\n");
}

TEST_F(HeldKSLogger, ALogThatIsMovedAwayFromUnderItsLockIsMadeAgain)
{
    const HeldLog held;
    const Waits waits([] { ASSERT_EQ(rename(kLog, "/mnt/mtd/log/moved"), 0); });
    EXPECT_GT(logOnce("[p]", "second"), 0);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] second\n");
}

TEST_F(HeldKSLogger, ALogThatIsMovedAwayAtEachTryIsGivenUpSoonAndNobodyIsSaidToHaveLockedIt)
{
    int tries = 0;
    {
        const Waits waits;
        const platform_tests::AtEachLock mover([&](int) {
            ++tries;
            EXPECT_EQ(rename(kLog, "/mnt/mtd/log/moved"), 0);
        });
        EXPECT_EQ(logOnce("[p]", "never"), -1);
        EXPECT_EQ(waits.count(), 0);
    }
    EXPECT_EQ(tries, 10);
    EXPECT_GT(logOnce("[p]", "next"), 0);
    EXPECT_EQ(readFile(kLog), std::string(kStamp) + "[p] next\n");
}

TEST_F(HeldKSLogger, TheCountKeepsToTheLimitsToo)
{
    constexpr int kMaxSize = 50;
    {
        const HeldLog held;
        EXPECT_EQ(logOnce("[p]", "lost", kMaxSize), -1);
    }
    EXPECT_GT(logOnce("[p]", "next", kMaxSize), 0);
    for (const std::string& file : filesIn(kFolder))
    {
        EXPECT_LE(readFile(std::string(kFolder) + "/" + file).size(), static_cast<std::size_t>(kMaxSize)) << file;
    }
    const std::vector<std::string> lines = linesOfAll(3);
    EXPECT_EQ(lines, (std::vector<std::string>{"[p] first", "[p] lost records: 1, the log ", "[p] next"}));
}

TEST_F(HeldKSLogger, AFullDiskKeepsTheCountForLater)
{
    {
        const HeldLog held;
        EXPECT_EQ(logOnce("[p]", "lost"), -1);
    }
    {
        const platform_tests::FileSizeLimit limit(before_.size());
        EXPECT_EQ(logOnce("[p]", "no room"), -1);
    }
    EXPECT_GT(logOnce("[p]", "next"), 0);
    EXPECT_EQ(readFile(kLog), before_ + kStamp + "[p] lost records: 1, the log was locked\n" + kStamp + "[p] next\n");
}

TEST_F(HeldKSLogger, WithoutLocksARecordFailsAtOnceAndIsNotCounted)
{
    {
        const platform_tests::NoLocks none(ENOLCK);
        const Waits waits;
        EXPECT_EQ(logOnce("[p]", "x"), -1);
        EXPECT_EQ(waits.count(), 0);
    }
    EXPECT_GT(logOnce("[p]", "next"), 0);
    EXPECT_EQ(readFile(kLog), before_ + kStamp + "[p] next\n");
}

TEST_F(HeldKSLogger, ARecordLeavesNothingOpenHoweverItEnds)
{
    const std::size_t before = filesIn("/proc/self/fd").size();
    EXPECT_GT(logOnce("[p]", "written"), 0);
    EXPECT_GT(logOnce("[p]", "behind a rotation", 50), 0);
    {
        const HeldLog held;
        EXPECT_EQ(logOnce("[p]", "lost"), -1);
    }
    {
        const platform_tests::NoLocks none(ENOLCK);
        EXPECT_EQ(logOnce("[p]", "x"), -1);
    }
    {
        const platform_tests::FileSizeLimit limit(0);
        EXPECT_EQ(logOnce("[p]", "x"), -1);
    }
    EXPECT_EQ(filesIn("/proc/self/fd").size(), before);
}

// Every record is written or counted, whatever threads and lock do.
TEST_F(HeldKSLogger, WhatThreadsLoseIsCountedToTheLastRecord)
{
    constexpr int kThreads = 4;
    std::atomic<int> lost{0};
    std::vector<std::thread> threads;
    {
        const HeldLog held;
        for (int i = 0; i < kThreads; ++i)
        {
            threads.emplace_back([&] {
                for (int record = 0; record < 50; ++record)
                {
                    lost += logOnce("[p]", "lost") == -1 ? 1 : 0;
                }
            });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    }
    EXPECT_EQ(lost, kThreads * 50);
    threads.clear();
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back([&] {
            while (logOnce("[p]", "next") < 0)
            {
                ++lost;
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(lostIn(linesOfAll(3)), lost);
    EXPECT_EQ(occurrences(linesOfAll(3), "[p] next"), kThreads);
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
    EXPECT_FALSE(fileExists("/mnt/mtd/fresh"));
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
