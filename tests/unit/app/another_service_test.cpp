#include <gtest/gtest.h>

#include <algorithm>

#include "app/cli/Commands.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"

// toycam is sensorcam on a service that was not made for it: tests/support/ToyService.cpp.
namespace {

using nlohmann::json;
using namespace nlohmann::literals;
using support::Ended;
using support::has;
using support::lastDocument;

class AnotherService : public support::PrivateTreeTest
{
};

// What toycam says to these lines at its prompt.
Ended toyAnswers(const std::vector<std::string>& lines, const std::vector<std::string>& options = {})
{
    std::vector<std::string> arguments = options;
    arguments.emplace_back("shell");
    support::SensorcamRun run(arguments, support::SensorcamRun::Terminal::none, "toycam");
    for (const std::string& line : lines)
    {
        run.type(line + "\n");
    }
    const int status = run.end();
    return {status, run.out, run.err};
}

json toyDocument(const std::string& line)
{
    return lastDocument(toyAnswers({line}, {"--json"}).out);
}

struct Example
{
    std::string line;
    std::string error;  // what its error says; empty: it succeeds
};

// Every command, and what it needs that this device lacks.
const std::vector<Example> kExamples = {
    {"help", ""},
    {"status", ""},
    {"keys", ""},
    {"keys contrast", ""},
    {"get", ""},
    {"get brightness mirror contrast dn_state", "no key dn_state"},
    {"get auto_focus_near_limit", "neither the current scheme nor the sensor has it"},
    {"set brightness=7 mirror=1 fix_shutter=8 mz_position=30", ""},
    {"set brightness=11", "11 is not allowed; allowed: 0..10"},
    {"set contrast=7", "KEY_CONTRAST refused: this camera has no such parameter"},
    {"set contrast=much", "KEY_CONTRAST: much is not a number; allowed: nothing, this camera has no such parameter"},
    {"set mirror=on fix_shutter='1/100 S'", ""},
    {"set mirror=both", "KEY_MIRROR: both is none of its values; allowed: 0 Off, 1 On"},
    {"default mirror", ""},
    {"default brightness", "KEY_BRIGHTNESS refused: 50 is not allowed; allowed: 0..10"},
    {"default 999", "key 999 has no factory value: the schemes of this camera do not keep it; nothing was applied"},
    {"text '(34,6)'", ""},
    {"text '(2353,6)'", "this camera has no such parameter"},
    {"all", ""},
    {"save", ""},
    {"reload", ""},
    {"restore brightness", ""},
    {"restore contrast", "this camera has no such parameter"},
    {"reset", ""},
    {"schemes", ""},
    {"explain", ""},
    {"explain brightness", ""},
    {"window 1 on 08:00-18:00", ""},
    {"mode manual", ""},
    {"scheme 1", ""},
    {"device", "there is no real device behind this camera"},
    {"lens", ""},
    {"lens zoom 50", ""},
    {"lens wait", ""},
    {"lens zoom 101", "101 is not allowed; allowed: 0..100 steps"},
    {"lens zoom in", "this camera has no such parameter"},
    {"lens focus 2000", "this camera has no such parameter"},
    {"lens focus once", "this camera has no such parameter"},
    {"lens focus mode 1", "this camera has no such parameter"},
    {"lens iris up", "this camera has no such parameter"},
    {"lens reset", "this camera has no such parameter"},
    {"light", ""},
    {"light 3", "the light on this camera is what it is; it cannot be set"},
    {"light sun", "the light on this camera is what it is; it cannot be set"},
    {"weather", "the weather at this camera is what it is; it can neither be told nor set"},
    {"weather haze=3", "the weather at this camera is what it is; it can neither be told nor set"},
    {"time 12:00", ""},
    {"snapshot /tmp/toy.jpg", ""},
    {"snapshot /tmp/none/toy.jpg", "cannot write /tmp/none/toy.jpg: No such file or directory"},
    {"watch 2", ""},
    {"trace", ""},
    {"log", ""},
    {"style", ""},
    {"language", ""},
    {"output", ""},
    {"quit", ""},
};

TEST_F(AnotherService, HasAnExampleForEveryCommand)
{
    for (const app::Command& command : app::commands())
    {
        EXPECT_TRUE(std::any_of(kExamples.begin(), kExamples.end(), [&](const Example& example) {
            return example.line.substr(0, example.line.find(' ')) == command.name;
        })) << command.name;
    }
}

TEST_F(AnotherService, ExplainsACommandInADocumentToo)
{
    const json document = toyDocument("help window");
    EXPECT_EQ(document.value("name", ""), "window");
    for (const char* part : {"usage", "summary", "details"})
    {
        EXPECT_TRUE(has(document.value(part, ""), "window")) << part;
    }
}

TEST_F(AnotherService, WhatCannotBeReadDoesNotKeepTheRestBack)
{
    const Ended ended = toyAnswers({"get auto_focus_near_limit auto_focus_near_limit brightness"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.out, "KEY_BRIGHTNESS = ")) << ended.out;
}

TEST_F(AnotherService, AnswersEveryCommandOrSaysWhatItLacks)
{
    std::vector<std::string> lines;
    for (const Example& example : kExamples)
    {
        lines.push_back(example.line);
    }
    const Ended ended = toyAnswers(lines, {"--json"});
    EXPECT_EQ(ended.status, 1) << "some failed, as they should\n" << ended.err;
    std::istringstream documents(ended.out);
    for (const Example& example : kExamples)
    {
        std::string line;
        json document;
        do
        {
            ASSERT_TRUE(std::getline(documents, line)) << example.line << ": no answer";
            document = json::parse(line, nullptr, false);
        }
        while (document.value("event", "end") != "end");  // what watch tells before its end
        const std::string name = example.line.substr(0, example.line.find(' '));
        EXPECT_EQ(document.value("command", ""), name) << line;
        EXPECT_EQ(document.value("ok", false), example.error.empty()) << example.line << "\n" << line;
        EXPECT_TRUE(has(document.value("/error/message"_json_pointer, ""), example.error)) << line;
    }
    EXPECT_FALSE(has(ended.out + ended.err, "simulat"));
}

TEST_F(AnotherService, ShowsNoLightAndNoLampsWhereThereAreNone)
{
    const Ended ended = toyAnswers({"light", "status"});
    EXPECT_TRUE(has(ended.out, "light not measured, day\n")) << ended.out;
    EXPECT_TRUE(has(ended.out, "\nversion  unknown\n")) << ended.out;
    EXPECT_TRUE(has(ended.out, "\nscene    light not measured, day\n")) << ended.out;
    const json status = toyDocument("status");
    EXPECT_FALSE(status.contains("lux")) << status;
    EXPECT_FALSE(status.contains("lamps")) << status;
    EXPECT_FALSE(toyDocument("light").contains("lux"));
    EXPECT_FALSE(toyDocument("watch 1").contains("lux"));
}

TEST_F(AnotherService, ShowsOfTheLensWhatThereIs)
{
    const Ended ended = toyAnswers({"lens zoom 50", "lens wait"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_TRUE(has(ended.out, "zoom  50")) << ended.out;
    EXPECT_TRUE(has(ended.out, "moving\n")) << ended.out;
    EXPECT_TRUE(has(ended.out, "at rest\n")) << ended.out;
    for (const char* absent : {"focus", "iris", "sharpness"})
    {
        EXPECT_FALSE(has(ended.out, absent)) << ended.out;
    }
    const json lens = toyDocument("lens");
    EXPECT_EQ(lens.at("ok"), true);
    EXPECT_TRUE(lens.at("zoom").is_number());
    for (const char* absent : {"focus", "focusMode", "iris", "sharpness"})
    {
        EXPECT_FALSE(lens.contains(absent)) << lens;
    }
}

TEST_F(AnotherService, SaysThatALensDoesNotMove)
{
    const Ended ended = toyAnswers({"lens"}, {"--model", "fisheye"});
    EXPECT_EQ(ended.status, 1) << ended.out;
    EXPECT_TRUE(has(ended.err, "this camera has no lens that moves\n")) << ended.err;
}

TEST_F(AnotherService, RunsWithoutAReportOnDocumentsThatNameWhatItHas)
{
    support::writeFile(support::kStyleFile,
                       "<SensorStyle version=\"1\"><tab key=\"all\"><switch id=\"8000\" value=\"0\"/>"
                       "<hour id=\"8001\" value=\"0\"/><minute id=\"8002\" value=\"0\"/>"
                       "<hour id=\"8003\" value=\"24\"/><minute id=\"8004\" value=\"0\"/>"
                       "<slider id=\"34\" value=\"5\"/><radio id=\"2384\" value=\"0\"/>"
                       "<combo id=\"50\" value=\"4\"><item index=\"4\"/><item index=\"6\"/><item index=\"8\"/></combo>"
                       "<slider id=\"1568\" value=\"0\"/></tab></SensorStyle>");
    support::writeFile(support::kDiversityFile, "<None/>");
    const Ended ended = toyAnswers({"set brightness=9 mirror=1 fix_shutter=8 mz_position=70", "save", "reset", "log"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_TRUE(has(ended.out, "scheme 0 saved (9 values)\n")) << ended.out;
    EXPECT_TRUE(has(ended.out, "the error log is empty\n")) << ended.out;
    EXPECT_FALSE(has(ended.out, "Assertion failed")) << ended.out;
}

TEST_F(AnotherService, MarksWhatTheSchemeKeepsAndTheDeviceLacks)
{
    const Ended ended = toyAnswers({"keys contrast", "get contrast brightness scheme_start_hour"});
    EXPECT_TRUE(has(ended.out, "KEY_CONTRAST  50     nothing, this camera has no such parameter\n")) << ended.out;
    EXPECT_TRUE(has(ended.out, "KEY_CONTRAST = 50  (kept only: this camera has no such parameter)\n"
                               "KEY_BRIGHTNESS = 50\n"
                               "KEY_SCHEME_START_HOUR = 0\n"))
        << ended.out;
}

}  // namespace
