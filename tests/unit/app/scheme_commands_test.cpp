#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"

namespace {

using nlohmann::json;
using support::Ended;
using support::execute;
using support::has;
using support::lastDocument;

class SchemeCommandsTest : public support::PrivateTreeTest
{
protected:
    // Every name under which its successor could be written is taken.
    void makeSchemeFileFinal(int scheme)
    {
        for (const char* number : {"", "1", "2", "3", "4", "5", "6", "7", "8", "9"})
        {
            std::filesystem::create_directories(support::schemeFile(scheme) + ".new" + number);
        }
    }
};

TEST_F(SchemeCommandsTest, AWindowIsSavedAtOnce)
{
    EXPECT_EQ(execute({"window 2 on 08:00-18:30"}).out, "scheme 2: 08:00-18:30 on, saved\n");
    const json schemes = lastDocument(execute({"schemes"}, {"--json"}).out)["schemes"];
    EXPECT_EQ(schemes[2]["from"], "08:00");
    EXPECT_EQ(schemes[2]["to"], "18:30");
    EXPECT_EQ(schemes[2]["enabled"], true);
    EXPECT_EQ(execute({"window 2 off"}).out, "scheme 2: 08:00-18:30 off, saved\n");
}

TEST_F(SchemeCommandsTest, AWindowSavesNothingElseOfItsScheme)
{
    EXPECT_EQ(execute({"set brightness=60", "window 0 on 00:00-23:00"}).status, 0);
    EXPECT_EQ(execute({"mode manual", "scheme 0", "get brightness"}).out.substr(0, 4), "manu");
    const Ended ended = execute({"mode manual", "scheme 0", "get brightness"}, {"--json"});
    EXPECT_EQ(lastDocument(ended.out)["values"][0]["value"], 50);
}

TEST_F(SchemeCommandsTest, AWindowThatCannotBeSavedIsRefusedAndNothingChanges)
{
    const std::string before =
        support::fileExists(support::schemeFile(1)) ? support::readFile(support::schemeFile(1)) : "";
    for (const char* line :
         {"window 1 on 22:00-06:00", "window 1 off 08:00-08:00", "window 1 on 08:00-24:30", "window 1 on noon",
          "window 9 on 08:00-18:00", "window 4 on 08:00-18:00", "window -1 on 08:00-18:00", "window 1 maybe 1:00-2:00"})
    {
        EXPECT_EQ(execute({line}).status, 1) << line;
    }
    const Ended ended = execute({"window 1 on 22:00-06:00"});
    EXPECT_TRUE(has(ended.err, "code 507")) << ended.err;
    EXPECT_TRUE(has(ended.err, "22:00-24:00 and 00:00-06:00")) << ended.err;
    EXPECT_TRUE(has(execute({"window 1 on 22:00-00:00"}).err, "The end of the day is 24:00: 22:00-24:00"));
    EXPECT_TRUE(has(execute({"window 1 on 24:00-06:00"}).err, "The beginning of the day is 00:00: 00:00-06:00"));
    const json schemes = lastDocument(execute({"schemes"}, {"--json"}).out)["schemes"];
    EXPECT_EQ(schemes[1]["from"], "00:00");
    EXPECT_EQ(schemes[1]["to"], "24:00");
    EXPECT_EQ(schemes[1]["enabled"], false);
}

TEST_F(SchemeCommandsTest, AWindowThatCannotBeWrittenDoesNotHoldEither)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    makeSchemeFileFinal(1);
    const Ended ended = support::runToEnd({"--json", "shell"}, "window 1 on 08:00-18:00\nschemes\n");
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.out, "sensor1.cfg could not be written; the window is as it was")) << ended.out;
    const json schemes = lastDocument(ended.out)["schemes"];
    EXPECT_EQ(schemes[1]["from"], "00:00");
    EXPECT_EQ(schemes[1]["to"], "24:00");
    EXPECT_EQ(schemes[1]["enabled"], false);
}

TEST_F(SchemeCommandsTest, ASaveThatCannotBeWrittenIsAFailure)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    makeSchemeFileFinal(0);
    const Ended ended = execute({"set brightness=60", "save"}, {"--json"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.out, "scheme 0 could not be written; its file is as it was")) << ended.out;
    EXPECT_EQ(lastDocument(ended.out)["saved"], false);
    EXPECT_EQ(lastDocument(execute({"get brightness"}, {"--json"}).out)["values"][0]["value"], 50);
}

TEST_F(SchemeCommandsTest, TheChartIsAsWideAsTheTerminal)
{
    const std::string line =
        std::string("stty cols 40 && exec ") + support::kSensorcam + " --in-place --speed 20 exec schemes";
    support::SensorcamRun run(support::SensorcamRun::Command{{"/bin/sh", "-c", line}},
                              support::SensorcamRun::Terminal::pseudo);
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
    EXPECT_TRUE(has(run.out, "             00 03 06 09 12 15 18 21 24\r\n")) << run.out;
    EXPECT_TRUE(has(execute({"schemes"}).out, "00    03    06")) << "no terminal";
}

TEST_F(SchemeCommandsTest, SaveExplainsARefusedWindow)
{
    const struct
    {
        const char* set;
        const char* code;
    } cases[] = {{"set scheme_start_hour=24 scheme_start_min=1", "code 505"},
                 {"set scheme_end_hour=24 scheme_end_min=1", "code 506"},
                 {"set scheme_start_hour=22 scheme_end_hour=6", "code 507"}};
    for (const auto& entry : cases)
    {
        const Ended ended = execute({"mode manual", entry.set, "save"});
        EXPECT_EQ(ended.status, 1) << entry.set;
        EXPECT_TRUE(has(ended.err, entry.code)) << ended.err;
    }
}

TEST_F(SchemeCommandsTest, TheDefaultSchemeTakesNoChangesAndHasNothingToSave)
{
    const Ended ended = execute({"mode manual", "scheme 4", "set brightness=60", "reload", "get brightness"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_TRUE(has(ended.out, "KEY_BRIGHTNESS = 60 %  (sent, not remembered)\n")) << ended.out;
    EXPECT_TRUE(has(ended.out, "note: the default scheme is in force")) << ended.out;
    EXPECT_TRUE(has(ended.out, "\nKEY_BRIGHTNESS = 50\n")) << ended.out;
    const Ended save = execute({"mode manual", "scheme 4", "save"}, {"--json"});
    EXPECT_EQ(save.status, 1);
    EXPECT_EQ(lastDocument(save.out)["ok"], false);
    EXPECT_TRUE(has(lastDocument(save.out)["error"]["message"], "the default scheme (4) is in force: it has no file"))
        << save.out;
}

TEST_F(SchemeCommandsTest, AHandPickedSchemeStaysInManualMode)
{
    const Ended ended = execute({"mode manual", "scheme 2", "watch 5"}, {"--json"});
    EXPECT_EQ(lastDocument(ended.out)["scheme"], 2);
    EXPECT_TRUE(has(execute({"scheme 2"}).out, "the mode is auto, so the clock chooses again within a second"));
    EXPECT_EQ(execute({"scheme 5"}).status, 1);
}

// On a busy machine a change is told late: the window leaves nine seconds for it, the minute of a change is compared
// as a bound.
TEST_F(SchemeCommandsTest, TheClockChangesTheSchemeAtTheWindowsMinute)
{
    const Ended ended =
        execute({"window 0 on 00:00-18:00", "window 2 on 18:00-18:03", "time 17:59", "watch 300"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.err;
    std::vector<std::string> times;
    std::vector<int> schemes;
    std::vector<std::string> hours;
    std::size_t begin = 0;
    for (std::size_t end = ended.out.find('\n'); end != std::string::npos; end = ended.out.find('\n', begin))
    {
        const json part = json::parse(ended.out.substr(begin, end - begin));
        begin = end + 1;
        if (part.contains("event") && part["event"] == "scheme")
        {
            times.push_back(part["time"]);
            schemes.push_back(part["scheme"]);
        }
        if (part.contains("event") && part["event"] == "hour")
        {
            hours.push_back(part["time"]);
        }
    }
    ASSERT_EQ(schemes, (std::vector<int>{2, 4}));
    EXPECT_GE(times[0], "18:00");
    EXPECT_LT(times[0], "18:03");
    EXPECT_GE(times[1], "18:03");
    ASSERT_EQ(hours.size(), 1u) << "also when the scheme changes with it";
    EXPECT_GE(hours[0], "18:00");
}

TEST_F(SchemeCommandsTest, OnALicencePlateCameraNightBringsSchemeOne)
{
    const Ended ended =
        execute({"light 0", "set delay=0", "watch 60", "light 1000", "watch 60"}, {"--json", "--model", "lpr"});
    ASSERT_EQ(ended.status, 0) << ended.err;
    std::vector<int> schemes;
    std::istringstream documents(ended.out);
    for (std::string line; std::getline(documents, line);)
    {
        const json document = json::parse(line);
        if (document.value("event", "") == "scheme")
        {
            schemes.push_back(document["scheme"]);
        }
    }
    EXPECT_EQ(schemes, (std::vector<int>{1, 0})) << ended.out;
}

TEST_F(SchemeCommandsTest, AWindowWithoutTimesOfItsOwnAsksForThem)
{
    const Ended ended = execute({"set scheme_start_hour=0 scheme_end_hour=0", "window 0 on"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.err, "00:00-00:00, can never hold; give its times too: 'window 0 on HH:MM-HH:MM'"))
        << ended.err;
}

TEST_F(SchemeCommandsTest, WordsAreReadInAnyCase)
{
    EXPECT_EQ(execute({"window 1 ON 08:00-18:00"}).out, "scheme 1: 08:00-18:00 on, saved\n");
    EXPECT_EQ(execute({"window 1 OFF"}).out, "scheme 1: 08:00-18:00 off, saved\n");
    EXPECT_EQ(execute({"mode MANUAL", "mode Auto", "lens ZOOM 20480", "lens Focus Mode 1", "trace OFF"}).status, 0);
}

TEST_F(SchemeCommandsTest, SurplusArgumentsAreRefused)
{
    for (const char* line : {"keys a b", "help set get", "quit now", "mode auto manual", "schemes 1"})
    {
        const Ended ended = execute({line});
        EXPECT_EQ(ended.status, 1) << line;
        EXPECT_TRUE(has(ended.err, "usage: ")) << ended.err;
    }
}

}  // namespace
