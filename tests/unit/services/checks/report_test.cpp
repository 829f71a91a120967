#include "services/checks/Report.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/support/CapturedOutput.h"

namespace checks_tests {
namespace {

using portcheck::Report;
using portcheck::Watch;

std::string passes(Watch&)
{
    return "";
}

std::string reportOf(int status, const std::function<void(Report&)>& checks)
{
    return support::outputOf([&] {
        Report report{std::chrono::minutes(1)};
        checks(report);
        EXPECT_EQ(report.finish(), status);
    });
}

TEST(Report, IsALineACheckAndTheCountsInTheLastOne)
{
    const std::string report = reportOf(1, [](Report& to) {
        to.begin("files");
        EXPECT_TRUE(to.check("a file is whole", passes));
        EXPECT_FALSE(to.check("a file is there", [](Watch&) { return "nothing"; }));
        to.leaveOut("a file is read", "no folder");
    });
    EXPECT_EQ(report, "portcheck: files\n"
                      "passed    a file is whole\n"
                      "FAILED    a file is there: nothing\n"
                      "left out  a file is read: no folder\n"
                      "portcheck: 1 passed, 1 failed, 1 left out\n");
}

TEST(Report, OfChecksThatPassedOrWereLeftOutIsASuccess)
{
    reportOf(0, [](Report& to) {
        to.check("a file is whole", passes);
        to.leaveOut("a file is read", "no folder");
    });
}

TEST(Report, CountsAnewEachTime)
{
    reportOf(1, [](Report& to) { to.check("a file is there", [](Watch&) { return "nothing"; }); });
    EXPECT_EQ(reportOf(0, [](Report&) {}), "portcheck: 0 passed, 0 failed, 0 left out\n");
}

TEST(Report, NamesAnExceptionThatAPortThrows)
{
    const std::string report = reportOf(1, [](Report& to) {
        to.check("a file is whole", [](Watch&) -> std::string { throw std::runtime_error("no disk"); });
    });
    EXPECT_THAT(report, testing::HasSubstr("FAILED    a file is whole: exception no disk\n"));
}

TEST(Report, KeepsACheckInOneLineWhateverCame)
{
    const std::string report =
        reportOf(1, [](Report& to) { to.check("a file is empty", [](Watch&) { return "\"one\r\ntwo\033\""; }); });
    EXPECT_THAT(report, testing::HasSubstr("FAILED    a file is empty: \"one  two \"\n"));
}

TEST(Report, ShowsTheFirstFindingsAndHowManyMore)
{
    portcheck::Findings findings;
    EXPECT_EQ(findings.text(), "");
    findings.add("one");
    findings.add("two");
    EXPECT_EQ(findings.text(), "one; two");
    findings.add("three");
    findings.add("four");
    findings.add("five");
    EXPECT_EQ(findings.text(), "one; two; three; and 2 more");
}

TEST(Report, WatchNamesTheCallThatDoesNotComeBack)
{
    Watch watch;
    const portcheck::Step step(watch, "a get of IA_CMD_GAMMA");
    EXPECT_EQ(watch.waitForEnd(std::chrono::milliseconds(1)), "a get of IA_CMD_GAMMA");
}

TEST(Report, WatchTakesACheckThatHasEndedForEnded)
{
    Watch watch;
    watch.checkHasEnded();
    EXPECT_EQ(watch.waitForEnd(std::chrono::milliseconds(1)), std::nullopt);
}

}  // namespace
}  // namespace checks_tests
