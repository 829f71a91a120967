#include "SensorDebug.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <thread>

#include "tests/support/PrivateTree.h"
#include "tests/support/TestName.h"
#include "tests/unit/diag/MarkerReads.h"

using diag_tests::MarkerReads;
using namespace support;

namespace {

const int kLevelAtStart = g_nDebugLevel;
const bool kAssertAtStart = g_bEnAssert;

using DebugMarker = PrivateTreeTest;

TEST_F(DebugMarker, TheGlobalsStartAtLevelOneWithAssertionsOff)
{
    EXPECT_EQ(1, kLevelAtStart);
    EXPECT_FALSE(kAssertAtStart);
}

TEST_F(DebugMarker, WithoutTheFileTheLevelIsOneAndAssertionsAreOff)
{
    setDebug(7, 1);
    updateDebugLevel();
    removeDebug();
    updateDebugLevel();
    EXPECT_EQ(1, g_nDebugLevel);
    EXPECT_FALSE(g_bEnAssert);
}

struct MarkerText
{
    const char* name;
    const char* text;
    int level;
    bool assertion;
};

void PrintTo(const MarkerText& marker, std::ostream* stream)
{
    *stream << marker.name;
}

class DebugMarkerText : public PrivateTreeTest, public testing::WithParamInterface<MarkerText>
{
};

TEST_P(DebugMarkerText, IsReadAsTwoDecimals)
{
    writeFile(kDebugMarkerFile, GetParam().text);
    updateDebugLevel();
    EXPECT_EQ(GetParam().level, g_nDebugLevel);
    EXPECT_EQ(GetParam().assertion, g_bEnAssert);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DebugMarkerText,
    testing::Values(
        MarkerText{"BothLines", "6\n1\n", 6, true}, MarkerText{"LevelOnly", "7", 7, false},
        MarkerText{"LevelOnlyWithLineEnd", "7\n", 7, false}, MarkerText{"NoLineEndAtTheEnd", "5\n1", 5, true},
        MarkerText{"EmptyFile", "", 1, false}, MarkerText{"FirstLineEmpty", "\n1\n", 1, true},
        MarkerText{"BothLinesEmpty", "\n\n", 1, false}, MarkerText{"SecondLineEmpty", "4\n\n", 4, false},
        MarkerText{"SwitchZero", "4\n0\n", 4, false}, MarkerText{"SwitchTwo", "4\n2\n", 4, true},
        MarkerText{"SwitchNegative", "4\n-1\n", 4, true}, MarkerText{"NegativeLevel", "-1\n", -1, false},
        MarkerText{"NotANumber", "loud\nyes\n", 0, false}, MarkerText{"LeadingNumber", "6 loud\n1x\n", 6, true},
        MarkerText{"LeadingBlanksAndSign", "  +6\n  1\n", 6, true}, MarkerText{"OnlyBlanks", "   \n", 0, false},
        MarkerText{"BlanksBeforeTheSwitch", "   \n1\n", 0, true}, MarkerText{"CarriageReturns", "6\r\n1\r\n", 6, true},
        MarkerText{"EmptyLinesWithCarriageReturns", "\r\n\r\n", 1, false},
        MarkerText{"CarriageReturnWithoutLineEnd", "\r", 0, false},
        MarkerText{"NumbersBeyond32Bits", "4294967303\n4294967296\n", INT_MAX, true},
        MarkerText{"NumbersBeyond64Bits", "-18446744073709551617\n18446744073709551616\n", INT_MIN, true},
        MarkerText{"ThirdLineIsNotRead", "3\n0\n1\n", 3, false}),
    ByName());

TEST_F(DebugMarker, AFileThatCannotBeOpenedChangesNothing)
{
    setDebug(6, 1);
    updateDebugLevel();
    removeDebug();
    // It exists, and it cannot be opened by anybody.
    writeFile(std::string(kDebugMarkerFile) + "/inside", "");
    updateDebugLevel();
    EXPECT_EQ(6, g_nDebugLevel);
    EXPECT_TRUE(g_bEnAssert);
}

TEST_F(DebugMarker, AFileThatCannotBeReadCountsAsEmpty)
{
    setDebug(6, 1);
    updateDebugLevel();
    const MarkerReads failing(EIO);
    updateDebugLevel();
    EXPECT_EQ(failing.calls(), 1);
    EXPECT_EQ(g_nDebugLevel, 1);
    EXPECT_FALSE(g_bEnAssert);
}

// ---- a file that is being rewritten ------------------------------------------------------------------------

// What a shell's redirection leaves for a moment, and what stood there before and stands there afterwards.
const MarkerText kMoments[] = {
    {"empty", "", 1, false},          {"one figure", "1", 1, false},       {"cut number", "12", 12, false},
    {"level", "3\n", 3, false},       {"long level", "123\n", 123, false}, {"switch off", "7\n0\n", 7, false},
    {"switch on", "6\n1\n", 6, true},
};

TEST_F(DebugMarker, LevelAndSwitchAreOfOneMomentHoweverTheFileIsRewrittenMeanwhile)
{
    for (const MarkerText& first : kMoments)
    {
        for (const MarkerText& second : kMoments)
        {
            writeFile(kDebugMarkerFile, "5\n0\n");
            const MarkerReads reads({first.text, second.text, second.text});
            updateDebugLevel();
            EXPECT_EQ(g_nDebugLevel, first.level) << first.name << ", then " << second.name;
            EXPECT_EQ(g_bEnAssert, first.assertion) << first.name << ", then " << second.name;
            EXPECT_EQ(reads.calls(), 1) << first.name << ", then " << second.name;
        }
    }
}

TEST_F(DebugMarker, SeveralWritersOfALevelNeverTurnTheSwitchOn)
{
    constexpr int kReads = 5000;
    writeFile(kDebugMarkerFile, "3\n");
    std::atomic<bool> done{false};
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 3; ++writer)
    {
        writers.emplace_back([&] {
            while (!done)
            {
                const int handle = open(kDebugMarkerFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
                EXPECT_EQ(write(handle, "3\n", 2), 2);
                close(handle);
            }
        });
    }
    for (int i = 0; i < kReads; ++i)
    {
        updateDebugLevel();
        EXPECT_TRUE(g_nDebugLevel == 3 || g_nDebugLevel == 1) << g_nDebugLevel;
        EXPECT_FALSE(g_bEnAssert);
    }
    done = true;
    for (std::thread& writer : writers)
    {
        writer.join();
    }
}

// ---- a file without an end ---------------------------------------------------------------------------------

constexpr long long kBytesMax = 1024;

TEST_F(DebugMarker, NothingIsReadBehindTheFirstKibibyte)
{
    const std::string blanks(kBytesMax - 1, ' ');
    for (const std::string& text :
         {"6" + blanks + "\n1\n", "6" + std::string(50000000, 'x') + "\n1\n", "6\n" + blanks + "1\n"})
    {
        writeFile(kDebugMarkerFile, text);
        const MarkerReads reads;
        updateDebugLevel();
        EXPECT_EQ(g_nDebugLevel, 6);
        EXPECT_FALSE(g_bEnAssert);
        EXPECT_EQ(reads.calls(), 1);
        EXPECT_LE(reads.bytes(), kBytesMax);
    }
}

TEST_F(DebugMarker, TheLastByteOfTheFirstKibibyteCounts)
{
    writeFile(kDebugMarkerFile, "6\n" + std::string(kBytesMax - 3, ' ') + "1");
    updateDebugLevel();
    EXPECT_TRUE(g_bEnAssert);
    writeFile(kDebugMarkerFile, std::string(kBytesMax - 1, ' ') + "7\n1\n");
    updateDebugLevel();
    EXPECT_EQ(g_nDebugLevel, 7);
    EXPECT_FALSE(g_bEnAssert);
}

TEST_F(DebugMarker, AHoleOfGigabytesIsNotReadThrough)
{
    writeFile(kDebugMarkerFile, "");
    std::filesystem::resize_file(kDebugMarkerFile, 4LL << 30);
    const MarkerReads reads;
    updateDebugLevel();
    EXPECT_EQ(g_nDebugLevel, 0);
    EXPECT_FALSE(g_bEnAssert);
    EXPECT_LE(reads.bytes(), kBytesMax);
}

TEST_F(DebugMarker, WhatIsNoFileIsNotReadAndChangesNothing)
{
    setDebug(6, 1);
    updateDebugLevel();
    removeDebug();
    for (const char* device : {"/dev/zero", "/dev/urandom"})
    {
        ASSERT_EQ(symlink(device, kDebugMarkerFile), 0);
        const MarkerReads reads;
        updateDebugLevel();
        EXPECT_EQ(reads.calls(), 0);
        removeDebug();
    }
    ASSERT_EQ(mkfifo(kDebugMarkerFile, 0600), 0);
    updateDebugLevel();
    EXPECT_EQ(g_nDebugLevel, 6);
    EXPECT_TRUE(g_bEnAssert);
}

}  // namespace
