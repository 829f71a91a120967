#include "diag/SensorTrace.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/Reports.h"
#include "tests/support/TestName.h"

using namespace support;

namespace {

constexpr diag::Place kPlace{"SensorFile", "loadFromFile", "int loadFromFile(const char*, char*, INT64)", 27};

struct KindCase
{
    const char* name;
    diag::Kind kind;
    const char* prefix;
    int lowestLevel;  // the lowest level at which it prints
    const char* colour;
};

void PrintTo(const KindCase& kind, std::ostream* stream)
{
    *stream << kind.name;
}

class TraceKind : public PrivateTreeTest, public testing::WithParamInterface<KindCase>
{
protected:
    std::string expected(const std::string& body) const { return std::string(GetParam().colour) + body + "\033[0m"; }
};

TEST_P(TraceKind, PrintsWithHeaderOnlyAboveItsThreshold)
{
    const auto say = [] { diag::trace(GetParam().kind, kPlace, "open file:%s\n", "/a"); };
    setDebug(GetParam().lowestLevel - 1);
    EXPECT_EQ("", outputOf(say));
    setDebug(GetParam().lowestLevel);
    EXPECT_EQ(expected(std::string(GetParam().prefix) + " file:SensorFile fun:loadFromFile line:27\nopen file:/a\n"),
              outputOf(say));
}

TEST_P(TraceKind, PrintsPlainOnlyAboveItsThreshold)
{
    const auto say = [] { diag::tracePlain(GetParam().kind, "m_nKeyValSum(%d)\n", -5); };
    setDebug(GetParam().lowestLevel - 1);
    EXPECT_EQ("", outputOf(say));
    setDebug(GetParam().lowestLevel);
    EXPECT_EQ(expected("m_nKeyValSum(-5)\n"), outputOf(say));
}

TEST_P(TraceKind, IsEnabledFromItsLowestLevelOn)
{
    setDebug(GetParam().lowestLevel - 1);
    EXPECT_FALSE(diag::enabled(GetParam().kind));
    setDebug(GetParam().lowestLevel);
    EXPECT_TRUE(diag::enabled(GetParam().kind));
}

TEST_P(TraceKind, WritesNoLogRecord)
{
    setDebug(9);
    outputOf([] {
        diag::trace(GetParam().kind, kPlace, "text\n");
        diag::tracePlain(GetParam().kind, "text\n");
    });
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

constexpr char kWhite[] = "\033[0m\033[0m";
constexpr char kRed[] = "\033[0m\033[31m";

INSTANTIATE_TEST_SUITE_P(Kinds, TraceKind,
                         testing::Values(KindCase{"Assertion", diag::Kind::assertion, "[sensor assert]", 0, kRed},
                                         KindCase{"Warning", diag::Kind::warning, "[sensor warn]", 4, kWhite},
                                         KindCase{"Error", diag::Kind::error, "[sensor err]", 6, kWhite},
                                         KindCase{"Debug", diag::Kind::debug, "[sensor dbg]", 6, kWhite},
                                         KindCase{"Information", diag::Kind::information, "[sensor info]", 7, kWhite}),
                         ByName());

using Trace = PrivateTreeTest;

void sayOneOfEach()
{
    diag::trace(diag::Kind::information, kPlace, "i\n");
    diag::trace(diag::Kind::debug, kPlace, "d\n");
    diag::trace(diag::Kind::error, kPlace, "e\n");
    diag::warn(kPlace, "w\n");
    diag::reportUnless(false, kPlace, "a");
}

TEST_F(Trace, InformationInMagentaHasColour35)
{
    const auto say = [] { diag::traceMagenta(kPlace, "%s\n", "<Style/>"); };
    setDebug(6);
    EXPECT_EQ("", outputOf(say));
    setDebug(7);
    EXPECT_EQ("\033[0m\033[35m[sensor info] file:SensorFile fun:loadFromFile line:27\n<Style/>\n\033[0m",
              outputOf(say));
}

TEST_F(Trace, PlaceOfTheCallNamesUnitFunctionAndLine)
{
    const diag::Place here = DIAG_PLACE("sensor");
    EXPECT_STREQ("sensor", here.unit);
    EXPECT_STREQ("TestBody", here.function);
    EXPECT_EQ(__LINE__ - 3, here.line);
    const diag::Place known = DIAG_PLACE_AT("SensorFile", 19);
    EXPECT_STREQ("SensorFile", known.unit);
    EXPECT_EQ(19, known.line);
}

TEST_F(Trace, LevelSevenWithoutAssertionSwitchPrintsEveryKindAndEndsNothing)
{
    setDebug(7);
    const std::string output = outputOf(sayOneOfEach);
    EXPECT_EQ(traced("info", "SensorFile", "loadFromFile", "i\n", "27") +
                  traced("dbg", "SensorFile", "loadFromFile", "d\n", "27") +
                  traced("err", "SensorFile", "loadFromFile", "e\n", "27") +
                  traced("warn", "SensorFile", "loadFromFile", "w\n", "27") +
                  asserted("SensorFile", "loadFromFile", "a", "", "27"),
              output);
}

TEST_F(Trace, WithoutMarkerFileOnlyAssertionReportsPrintAndLog)
{
    const std::string output = outputOf(sayOneOfEach);
    EXPECT_EQ(asserted("SensorFile", "loadFromFile", "a", "", "27"), output);
    EXPECT_EQ(3U, errorLog().size());
}

TEST_F(Trace, ThresholdFollowsTheMarkerFileFromOneMessageToTheNext)
{
    const auto say = [] { diag::tracePlain(diag::Kind::debug, "x"); };
    EXPECT_EQ("", outputOf(say));
    setDebug(6);
    EXPECT_EQ(plain("x"), outputOf(say));
    removeDebug();
    EXPECT_EQ("", outputOf(say));
}

TEST_F(Trace, LongMessagesAreWhole)
{
    setDebug(7);
    const std::string text(100000, 'x');
    EXPECT_EQ(plain(text), outputOf([&] { diag::tracePlain(diag::Kind::debug, "%s", text.c_str()); }));
}

TEST_F(Trace, WarningWritesPlaceAndMessageToTheLog)
{
    setDebug(4);
    const std::string output = outputOf([] { diag::warn(kPlace, "local(%u)\n", 7U); });
    EXPECT_EQ(traced("warn", "SensorFile", "loadFromFile", "local(7)\n", "27"), output);
    const auto records = errorLog();
    ASSERT_EQ(2U, records.size());
    EXPECT_EQ("[sensor warn]", records[0].prefix);
    EXPECT_EQ("file:SensorFile fun:loadFromFile line:27", records[0].text);
    EXPECT_EQ("[sensor warn]", records[1].prefix);
    EXPECT_EQ("local(7)", records[1].text);
}

// Texts come from files and services: what looks like a conversion in them is none.
constexpr char kPercents[] = "100% %s%n%d %5$s %";

TEST_F(Trace, ConversionsInATextAreWrittenAsTheyStand)
{
    setDebug(7);
    const std::string text = kPercents;
    const std::string header = " file:SensorFile fun:loadFromFile line:27\n";
    EXPECT_EQ(outputOf([] { diag::trace(diag::Kind::debug, kPlace, "%s", kPercents); }),
              plain("[sensor dbg]" + header + text));
    EXPECT_EQ(outputOf([] { diag::tracePlain(diag::Kind::debug, "%s", kPercents); }), plain(text));
    EXPECT_EQ(outputOf([] { diag::traceMagenta(kPlace, "%s", kPercents); }),
              "\033[0m\033[35m[sensor info]" + header + text + "\033[0m");
    EXPECT_EQ(outputOf([] { diag::warn(kPlace, "%s", kPercents); }), plain("[sensor warn]" + header + text));
    ASSERT_EQ(2U, errorLog().size());
    EXPECT_EQ(text, errorLog()[1].text);
}

TEST_F(Trace, ConversionsInAPlaceAreWrittenAsTheyStand)
{
    setDebug(7);
    constexpr diag::Place kOdd{kPercents, kPercents, kPercents, 27};
    const std::string place = std::string(" file:") + kPercents + " fun:" + kPercents + " line:27\n";
    EXPECT_EQ(outputOf([&] { diag::trace(diag::Kind::debug, kOdd, "x"); }), plain("[sensor dbg]" + place + "x"));
    EXPECT_EQ(outputOf([&] { diag::warn(kOdd, "x"); }), plain("[sensor warn]" + place + "x"));
    EXPECT_EQ(place, " " + errorLog()[0].text + "\n");
}

TEST_F(Trace, WarningAtItsThresholdLeavesNoTrace)
{
    setDebug(3);
    EXPECT_EQ("", outputOf([] { diag::warn(kPlace, "local(%u)\n", 7U); }));
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_F(Trace, MessagesOfSeveralThreadsStayInOnePiece)
{
    setDebug(6);
    const std::string output = outputOf([] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
        {
            threads.emplace_back([] {
                for (int n = 0; n < 50; ++n)
                {
                    diag::trace(diag::Kind::debug, kPlace, "message\n");
                }
            });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    });
    EXPECT_EQ(200, timesSaid(output, traced("dbg", "SensorFile", "loadFromFile", "message\n", "27")));
}

using AssertionReport = PrivateTreeTest;

TEST_F(AssertionReport, PassedConditionIsSilent)
{
    setDebug(9);
    EXPECT_EQ("", outputOf([] { EXPECT_TRUE(diag::reportUnless(true, kPlace, "1 == 1", "detail(%d)\n", 1)); }));
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_F(AssertionReport, PrintsExpressionAndDetailInRedAndGoesOn)
{
    bool wentOn = false;
    const std::string output = outputOf([&] {
        EXPECT_FALSE(diag::reportUnless(false, kPlace, "file.open(file_name)", "file_name(%s)\n", "/a"));
        wentOn = true;
    });
    EXPECT_TRUE(wentOn);
    EXPECT_EQ("\033[0m\033[31m[sensor assert] file:SensorFile fun:loadFromFile line:27\n"
              "file.open(file_name)   ~~~Assertion failed.\n\033[0m"
              "\033[0m\033[31mfile_name(/a)\n\033[0m",
              output);
}

TEST_F(AssertionReport, ConversionsInExpressionAndDetailAreWrittenAsTheyStand)
{
    const std::string output =
        outputOf([] { EXPECT_FALSE(diag::reportUnless(false, kPlace, kPercents, "%s", kPercents)); });
    EXPECT_EQ(asserted("SensorFile", "loadFromFile", kPercents, kPercents, "27"), output);
    const auto records = errorLog();
    ASSERT_EQ(3U, records.size());
    EXPECT_EQ(kPercents + std::string("   ~~~Assertion failed."), records[1].text);
    EXPECT_EQ(kPercents, records[2].text);
}

TEST_F(AssertionReport, WritesThreeLogRecords)
{
    outputOf([] { diag::reportUnless(false, kPlace, "-1 != nPos", "restore key(%d) failed\n", 9); });
    const auto records = errorLog();
    ASSERT_EQ(3U, records.size());
    for (const LogRecord& record : records)
    {
        EXPECT_EQ("[sensor assert]", record.prefix);
    }
    EXPECT_EQ("file:SensorFile fun:loadFromFile line:27", records[0].text);
    EXPECT_EQ("-1 != nPos   ~~~Assertion failed.", records[1].text);
    EXPECT_EQ("restore key(9) failed", records[2].text);
}

TEST_F(AssertionReport, WithoutDetailStillPrintsTheSecondHalfAndLogsAnEmptyRecord)
{
    const std::string output = outputOf([] { diag::reportUnless(false, kPlace, "-1 != index"); });
    EXPECT_EQ(asserted("SensorFile", "loadFromFile", "-1 != index", "", "27"), output);
    const auto records = errorLog();
    ASSERT_EQ(3U, records.size());
    EXPECT_EQ("", records[2].text);
}

TEST_F(AssertionReport, LevelZeroStillReports)
{
    setDebug(0);
    EXPECT_EQ(asserted("SensorFile", "loadFromFile", "x", "", "27"),
              outputOf([] { diag::reportUnless(false, kPlace, "x"); }));
    EXPECT_EQ(3U, errorLog().size());
}

TEST_F(AssertionReport, NegativeLevelSilencesConsoleAndLog)
{
    setDebug(-1);
    EXPECT_EQ("", outputOf([] { EXPECT_FALSE(diag::reportUnless(false, kPlace, "x", "detail\n")); }));
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_F(AssertionReport, LogRotatesAtTenKilobytesAndKeepsThreeFiles)
{
    outputOf([] {
        for (int i = 0; i < 400; ++i)
        {
            diag::reportUnless(false, kPlace, "a fairly long expression, to fill the log", "detail(%d)\n", i);
        }
    });
    const std::vector<std::string> files = filesIn("/mnt/mtd/log");
    int logs = 0;
    for (const std::string& file : files)
    {
        if (file.rfind("SensorError.log", 0) == 0)
        {
            ++logs;
            EXPECT_LE(readFile("/mnt/mtd/log/" + file).size(), 10240U) << file;
        }
    }
    EXPECT_EQ(3, logs);
    EXPECT_EQ("detail(399)", errorLog().back().text);
}

TEST_F(AssertionReport, UnwritableLogIsIgnored)
{
    writeFile(std::string(kErrorLogFile) + "/inside", "");
    EXPECT_EQ(asserted("SensorFile", "loadFromFile", "x", "", "27"),
              outputOf([] { EXPECT_FALSE(diag::reportUnless(false, kPlace, "x")); }));
}

TEST_F(AssertionReport, LogThatSomebodyKeepsLockedHoldsNobodyUpAndTellsHowManyRecordsItLost)
{
    const auto report = [] { diag::reportUnless(false, kPlace, "x", "detail\n"); };
    outputOf(report);
    const int reader = open(kErrorLogFile, O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(reader, LOCK_EX | LOCK_NB));
    EXPECT_EQ(asserted("SensorFile", "loadFromFile", "x", "detail\n", "27"), outputOf(report));
    close(reader);
    outputOf(report);
    const auto records = errorLog();
    ASSERT_EQ(7U, records.size());
    EXPECT_EQ("[sensor assert]", records[3].prefix);
    EXPECT_EQ("lost records: 3, the log was locked", records[3].text);
    EXPECT_EQ("detail", records[6].text);
}

using AssertionDeathTest = PrivateTreeTest;

TEST_F(AssertionDeathTest, SwitchEndsTheProcessWithPlaceAndSignatureAfterThreeRecords)
{
    setDebug(1, 1);
    EXPECT_EXIT(diag::reportUnless(false, kPlace, "x", "detail\n"), testing::KilledBySignal(SIGABRT),
                "SensorFile:27: int loadFromFile\\(const char\\*, char\\*, INT64\\): Assertion `bRet' failed");
    const auto records = errorLog();
    ASSERT_EQ(3U, records.size());
    EXPECT_EQ("x   ~~~Assertion failed.", records[1].text);
    EXPECT_EQ("detail", records[2].text);
}

TEST_F(AssertionDeathTest, SwitchEndsTheProcessEvenWhenTheLevelIsSilent)
{
    setDebug(-1, 1);
    EXPECT_EXIT(diag::reportUnless(false, kPlace, "x"), testing::KilledBySignal(SIGABRT), "Assertion `bRet' failed");
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_F(AssertionDeathTest, PassedConditionEndsNothing)
{
    setDebug(1, 1);
    EXPECT_TRUE(diag::reportUnless(true, kPlace, "x"));
}

}  // namespace
