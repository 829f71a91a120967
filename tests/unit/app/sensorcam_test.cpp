#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/Models.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"

namespace {

using nlohmann::json;
using support::Ended;
using support::execute;
using support::has;
using support::SensorcamRun;

std::vector<json> documentsOf(const std::string& text)
{
    std::vector<json> documents;
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin))
    {
        documents.push_back(json::parse(text.substr(begin, end - begin), nullptr, false));
        EXPECT_FALSE(documents.back().is_discarded()) << text.substr(begin, end - begin);
        begin = end + 1;
    }
    EXPECT_EQ(begin, text.size()) << "an unfinished line";
    return documents;
}

class SensorcamTest : public support::PrivateTreeTest
{
};

TEST_F(SensorcamTest, ARestartKeepsWhatWasSavedAndForgetsWhatWasNot)
{
    const Ended first = execute({"set KEY_BRIGHTNESS=60", "save", "set KEY_CONTRAST=10"});
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_TRUE(has(first.err, "first start")) << first.err;
    const Ended second = execute({"get KEY_BRIGHTNESS", "get contrast"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(second.out, "KEY_BRIGHTNESS = 60\nKEY_CONTRAST = 50\n");
    EXPECT_FALSE(has(second.err, "first start")) << second.err;
}

TEST_F(SensorcamTest, ReloadGoesBackToWhatWasSaved)
{
    const Ended ended = execute({"set brightness=60", "save", "set brightness=70", "reload", "get brightness"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_TRUE(has(ended.out, "KEY_BRIGHTNESS = 70 %  (was 60)")) << ended.out;
    EXPECT_TRUE(has(ended.out, "\nKEY_BRIGHTNESS = 60\n")) << ended.out;
}

TEST_F(SensorcamTest, AChoiceIsSetByItsLabelAndAnsweredWithIt)
{
    const Ended ended = execute(
        {"set MIRROR=both wb_mode='one push' brightness=60", "set mirror=3", "set mirror=off", "explain mirror"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.out.find("KEY_MIRROR = 3 Both  (was 0 Off)\n"
                             "KEY_WB_MODE = 7 One push  (was 0 Automatic)\n"
                             "KEY_BRIGHTNESS = 60 %  (was 50)\n"
                             "KEY_MIRROR = 3 Both  (unchanged, not sent again)\n"
                             "KEY_MIRROR = 0 Off  (was 3 Both)\n"
                             "KEY_MIRROR = 0 Off, of scheme 0\n"),
              0u)
        << ended.out;
}

TEST_F(SensorcamTest, DefaultBringsBackFactoryValuesOfSomeKeys)
{
    const Ended ended = execute({"set mirror=3 brightness=60 contrast=10", "save", "default mirror brightness",
                                 "get mirror brightness contrast"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_TRUE(has(ended.out, "KEY_MIRROR = 0 Off  (was 3 Both)\nKEY_BRIGHTNESS = 50 %  (was 60)\n"
                               "KEY_MIRROR = 0  Off\nKEY_BRIGHTNESS = 50\nKEY_CONTRAST = 10\n"))
        << ended.out;
    EXPECT_EQ(execute({"get mirror brightness"}).out, "KEY_MIRROR = 3  Both\nKEY_BRIGHTNESS = 60\n") << "not saved";
    const json answer = documentsOf(execute({"default brightness"}, {"--json"}).out).at(0);
    EXPECT_EQ(answer["values"][0]["value"], 50);
    for (const char* line : {"default", "default nonsense", "default brightness 34", "default brightness nonsense"})
    {
        EXPECT_EQ(execute({line}).status, 1) << line;
    }
    EXPECT_EQ(execute({"get brightness"}).out, "KEY_BRIGHTNESS = 60\n");
}

TEST_F(SensorcamTest, WhatIsToldOfAWindowsPartsIsWhatASetTakes)
{
    EXPECT_TRUE(has(execute({"keys start_min"}).out, "0..59 min\n"));
    const Ended ended = execute({"set scheme_start_min=75"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.err, "KEY_SCHEME_START_MIN refused: 75 is not allowed; allowed: 0..59 min.\n")) << ended.err;
    EXPECT_EQ(execute({"set scheme_end_hour=25"}).status, 1);
    EXPECT_EQ(execute({"text '(8000,2)'"}).status, 1);
    EXPECT_EQ(execute({"set scheme_enable=off scheme_end_hour=24 scheme_start_min=59"}).out,
              "KEY_SCHEME_ENABLE = 0 Off  (was 1 On)\nKEY_SCHEME_END_HOUR = 24 h  (unchanged, not sent again)\n"
              "KEY_SCHEME_START_MIN = 59 min  (was 0)\n");
}

TEST_F(SensorcamTest, AFactoryResetMakesANewCameraAndServesItsTextsAgain)
{
    const Ended ended =
        execute({"set brightness=60", "save", "language 0", "reset", "get brightness", "language 0"}, {"--json"});
    ASSERT_EQ(ended.status, 0) << ended.err;
    const std::vector<json> answers = documentsOf(ended.out);
    ASSERT_EQ(answers.size(), 6u);
    EXPECT_EQ(answers[3]["scheme"], 0);
    EXPECT_EQ(answers[4]["values"][0]["value"], 50);
    EXPECT_FALSE(answers[2]["texts"].get<std::string>().empty());
    EXPECT_EQ(answers[2], answers[5]);
}

TEST_F(SensorcamTest, AListStopsAtTheFirstRefusalAndSaysWhatBecameOfTheRest)
{
    const Ended ended = execute({"set brightness=61 contrast=999 sharpness=3", "save"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.err, "KEY_CONTRAST refused: 999 is not allowed; allowed: 0..100 %.\n"
                               "  before it applied: KEY_BRIGHTNESS=61\n"
                               "  after it not applied: KEY_SHARPNESS=3\n"
                               "sensorcam: not run: save\n"))
        << ended.err;
    EXPECT_EQ(ended.out, "");
}

TEST_F(SensorcamTest, ARefusalIsToldOnceAndNotWithTheNextList)
{
    const Ended ended = support::runToEnd({"shell"}, "set brightness=999\nset contrast=10\n");
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(has(ended.err, "KEY_BRIGHTNESS refused: 999")) << ended.err;
    EXPECT_EQ(ended.out, "KEY_CONTRAST = 10 %  (was 50)\n");
}

TEST_F(SensorcamTest, NothingRunsAfterQuit)
{
    const Ended ended = execute({"get brightness", "quit", "get contrast"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.out, "KEY_BRIGHTNESS = 50\n");
    EXPECT_FALSE(has(ended.err, "not run")) << ended.err;
}

TEST_F(SensorcamTest, TheStreamsRunAtTheBoardsFrameRate)
{
    ASSERT_FALSE(has(execute({"style"}).out, "<notice id=\"0\""));
    std::string board = support::readFile(support::kModuleConfigFile);
    const std::size_t field = board.find("(fps=25)");
    ASSERT_NE(field, std::string::npos);
    support::writeFile(support::kModuleConfigFile, board.replace(field, 8, "(fps=50)"));
    EXPECT_TRUE(has(execute({"style"}).out, "<notice id=\"0\"")) << "no wide dynamic range at this rate";
}

TEST_F(SensorcamTest, NothingIsAppliedWhenAListCannotBeRead)
{
    for (const char* list : {"set brightness=61 nonsense=1", "set brightness=61 contrast=bright",
                             "set brightness=61 contrast", "set brightness=61 34=62"})
    {
        const Ended ended = execute({list}, {"--json"});
        EXPECT_EQ(ended.status, 1) << list;
        EXPECT_TRUE(has(documentsOf(ended.out).at(0)["error"]["message"], "nothing was applied")) << ended.out;
    }
    EXPECT_EQ(execute({"get brightness"}).out, "KEY_BRIGHTNESS = 50\n");
}

TEST_F(SensorcamTest, JsonStandardOutputHoldsNothingButOneDocumentACommand)
{
    const Ended ended = execute({"trace 7", "set brightness=60", "get 34 999", "status"}, {"--json"});
    EXPECT_EQ(ended.status, 1);
    const std::vector<json> answers = documentsOf(ended.out);
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[1]["command"], "set");
    EXPECT_EQ(answers[1]["ok"], true);
    EXPECT_EQ(answers[2]["ok"], false);
    EXPECT_EQ(answers[2]["values"], json::parse(R"([{"key":34,"name":"KEY_BRIGHTNESS","value":60}])"));
    EXPECT_TRUE(has(answers[2]["error"]["message"], "999"));
    EXPECT_EQ(answers[3]["error"]["code"], "not-run");
    EXPECT_TRUE(has(ended.err, "[sensor dbg]")) << "the library's lines go to standard error";
}

TEST_F(SensorcamTest, WithExecTheLibraryPrintsOnStandardError)
{
    const Ended ended = execute({"get 999"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_TRUE(has(ended.err, "get key(999) val from 2a err\nsensorcam: key 999 cannot be read")) << ended.err;
}

TEST_F(SensorcamTest, WithoutATerminalTheShellRunsLinesAndSetsTheLibraryOff)
{
    const Ended ended = support::runToEnd({"shell"}, "get brightness\n# a remark\n\nget 999\nget contrast");
    EXPECT_EQ(ended.status, 1) << "a line failed";
    EXPECT_TRUE(has(ended.out, "KEY_BRIGHTNESS = 50\n  | [sensor assert] file:ISensorController fun:getParameter"))
        << ended.out;
    EXPECT_TRUE(has(ended.out, "  | get key(999) val from 2a err\nKEY_CONTRAST = 50\n")) << ended.out;
}

TEST_F(SensorcamTest, SigtermEndsTheShellInOrder)
{
    SensorcamRun run({"--json", "shell"});
    run.type("trace 6\n");
    run.waitFor("\"level\":6,\"marker\":true}\n");
    run.sendSignal(SIGTERM);
    EXPECT_EQ(run.waitForEnd(), 128 + SIGTERM) << "although its input is open";
    EXPECT_EQ(documentsOf(run.out).size(), 1u);
    EXPECT_EQ(execute({"status"}).status, 0) << "the lock is free again";
}

TEST_F(SensorcamTest, SigintEndsAWatchAndWhatFollowsIt)
{
    SensorcamRun run({"exec", "watch", "status"});
    run.waitFor("watching");
    run.sendSignal(SIGINT);
    EXPECT_EQ(run.waitForEnd(), 128 + SIGINT);
    EXPECT_TRUE(has(run.err, "not run: status")) << run.err;
}

TEST_F(SensorcamTest, AWatchOfSomeSecondsEndsByItself)
{
    const Ended ended = execute({"watch 10"}, {"--json"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    const std::vector<json> answers = documentsOf(ended.out);
    ASSERT_GE(answers.size(), 2u);
    EXPECT_EQ(answers.front()["event"], "watching");
    EXPECT_EQ(answers.back()["event"], "end");
}

TEST_F(SensorcamTest, AnotherModelOnTheSameFilesIsRefused)
{
    EXPECT_EQ(execute({"status"}, {"--model", "dome"}).status, 0);
    const Ended ended = execute({"status"}, {"--model", "lpr"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_TRUE(has(ended.err, "holds a dome camera")) << ended.err;
    EXPECT_TRUE(has(execute({"status"}).out, "dome, sensor module 2")) << "the folder remembers its model";
}

TEST_F(SensorcamTest, EveryModelStartsWithASchemeThatCanBeSaved)
{
    for (const char* model : app::kModelNames)
    {
        support::wipeTree();
        const Ended ended = execute({"status", "all", "style", "save"}, {"--json", "--model", model});
        ASSERT_EQ(ended.status, 0) << model << ended.out;
        const std::vector<json> answers = documentsOf(ended.out);
        EXPECT_EQ(answers[0]["model"], model);
        EXPECT_EQ(answers[0]["scheme"], 0) << model;
        EXPECT_EQ(answers[3]["saved"], true) << model;
    }
}

TEST_F(SensorcamTest, UsageMistakesEndWithStatusTwo)
{
    EXPECT_EQ(support::runToEnd({"exec"}).status, 2);
    const Ended ended = support::runToEnd({"--json", "--at", "noon", "shell"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(documentsOf(ended.out).at(0)["ok"], false);
    EXPECT_EQ(execute({"dance"}).status, 1) << "an unknown command is a command that failed";
}

TEST_F(SensorcamTest, APromptOffersEditingCompletionAndSetsTheLibraryOff)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("get bri\t\n");
    run.waitFor("KEY_BRIGHTNESS");
    run.waitFor("KEY_BRIGHTNESS = 50");
    run.waitFor("camera> ");
    run.type("get 99x\b9\n");
    run.waitFor("| ");
    run.waitFor("[sensor assert]");
    run.waitFor("key 999 cannot be read");
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
    EXPECT_TRUE(has(support::readFile("/mnt/mtd/sensorcam/history"), "get"));
}

void leave(SensorcamRun& run)
{
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

TEST_F(SensorcamTest, AtThePromptCtrlCEndsAWatchThenALineAndNeverTheCamera)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("watch\n");
    run.waitFor("watching");
    run.type("\x03");
    run.waitFor("camera> ");
    // The terminal may echo what is typed before the editor reads it; a completion is the editor's own.
    run.type("get satur\t");
    run.waitFor("KEY_SATURATION");
    run.type("\x03");
    run.waitFor("camera> ");
    run.type("get contrast\n");
    run.waitFor("KEY_CONTRAST = 50");
    run.waitFor("camera> ");
    for (int i = 0; i < 2; ++i)
    {
        run.type("\x03");
        run.waitFor("^C\r\n'quit' or Ctrl-D ends the camera.\r\n");
        run.waitFor("camera> ");
    }
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

constexpr char kNotSaved[] = "sensorcam: these values are not saved:\r\n"
                             "  scheme 0: KEY_BRIGHTNESS=60 KEY_CONTRAST=10\r\n"
                             "  scheme 1: KEY_BRIGHTNESS=70\r\n"
                             "'save' keeps those of the scheme in force; 'quit' again discards them\r\n";

TEST_F(SensorcamTest, AtThePromptQuitAndCtrlDSayFirstWhatIsNotSaved)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    for (const char* line : {"set contrast=10 brightness=60", "mode manual", "scheme 1", "set brightness=70"})
    {
        run.type(std::string(line) + "\n");
        run.waitFor("\ncamera> ");
    }
    run.type("quit now\n");
    run.waitFor("usage: quit [--discard]");
    run.waitFor("camera> ");
    for (const char* leave : {"quit\n", "exit\n", "\x04"})
    {
        run.type(leave);
        run.waitFor(kNotSaved);
        run.waitFor("camera> ");
        run.type("get brightness\n");
        run.waitFor("KEY_BRIGHTNESS = 70");
        run.waitFor("camera> ");
    }
    run.type("quit\n");
    run.waitFor(kNotSaved);
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

TEST_F(SensorcamTest, AtThePromptQuitGivesUpWhatIsNotSavedWhenItIsToldTo)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("set brightness=60\n");
    run.waitFor("(was 50)");
    run.waitFor("camera> ");
    run.type("quit --discard\n");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
    EXPECT_FALSE(has(run.out, "not saved")) << run.out;
    EXPECT_EQ(execute({"get brightness"}).out, "KEY_BRIGHTNESS = 50\n");
}

TEST_F(SensorcamTest, AtThePromptQuitAsksNothingWhenAllIsSaved)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("set brightness=60\n");
    run.waitFor("(was 50)");
    run.waitFor("camera> ");
    run.type("save\n");
    run.waitFor("scheme 0 saved");
    run.waitFor("camera> ");
    run.type("quit\n");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

TEST_F(SensorcamTest, AScriptQuitsWithoutBeingAsked)
{
    const Ended ended = support::runToEnd({"shell"}, "set brightness=60\nquit\nget brightness\n");
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.out, "KEY_BRIGHTNESS = 60 %  (was 50)\n");
}

TEST_F(SensorcamTest, APromptKeepsTheLibrarysLinesBackButForReports)
{
    SensorcamRun run({"--model", "lpr", "shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    EXPECT_FALSE(has(run.out, "  | ")) << run.out;
    run.type("output\n");
    run.waitFor("\ndnaCmdList.cmd_list[0] = dnaParamList.items_cnt(18)\r\n");
    run.waitFor("camera> ");
    run.type("get 999\n");
    run.waitFor("\n  | [sensor assert] file:ISensorController fun:getParameter line:101 SNS_SUCCESS == "
                "doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)   ~~~Assertion failed.\r\nsensorcam: key 999");
    run.waitFor("camera> ");
    run.type("output 1\n");
    run.waitFor("output 1\r\nget key(999) val from 2a err\r\n");
    leave(run);
}

TEST_F(SensorcamTest, AVerbosePromptShowsTheLibrarysLinesAsTheyCome)
{
    SensorcamRun run({"--verbose", "--model", "lpr", "shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(18)");
    run.waitFor("model    lpr");
    run.waitFor("camera> ");
    run.type("output\n");
    run.waitFor("no lines are kept back here");
    leave(run);
}

TEST_F(SensorcamTest, WhatTheLibrarySaidOfAFailedStartIsNotLost)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    support::writeFile("/mnt/mtd/sign/Debug.sign", "6\n");
    support::writeFile(support::kStyleFile, "no document");
    SensorcamRun prompt({"shell"}, SensorcamRun::Terminal::pseudo);
    EXPECT_EQ(prompt.waitForEnd(), 3);
    const std::size_t said = prompt.out.find("  | open file:" + std::string(support::kStyleFile));
    EXPECT_LT(said, prompt.out.find("sensorcam: the camera has no parameters")) << prompt.out;
    const Ended script = support::runToEnd({"shell"});
    EXPECT_EQ(script.status, 3);
    EXPECT_TRUE(has(script.out, "  | open file:" + std::string(support::kStyleFile))) << script.out;
}

TEST_F(SensorcamTest, WhatCouldSteerATerminalIsEscaped)
{
    const Ended text = execute({"get \x1b[2J\xc2\x9b\xff\xc3\xa4"});
    EXPECT_TRUE(has(text.err, "\\x1b[2J\\u009b\\xff\xc3\xa4")) << text.err;
    EXPECT_FALSE(has(text.err, "\x1b")) << text.err;
    const Ended document = execute({"x\x7f\xc2\x9b"}, {"--json"});
    EXPECT_TRUE(has(document.out, "{\"command\":\"x\\u007f\\u009b\",")) << document.out;
    EXPECT_EQ(documentsOf(document.out).at(0)["command"], "x\x7f\xc2\x9b");
    const Ended usage = support::runToEnd({"--speed", "\x1b[2J", "shell"});
    EXPECT_TRUE(has(usage.err, "\\x1b[2J is not a speed")) << usage.err;
}

TEST_F(SensorcamTest, AScriptWithoutLineEndsIsGivenUpAfterAMebibyte)
{
    const Ended ended =
        support::runToEnd({"shell"}, "get brightness\n" + std::string((1 << 20) + 5000, 'x') + "\nget contrast\n");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "KEY_BRIGHTNESS = 50\n");
    EXPECT_TRUE(has(ended.err, "sensorcam: a line is longer than a mebibyte; neither it nor what follows was run\n"))
        << ended.err;
}

TEST_F(SensorcamTest, AWorkingFolderThatIsGoneIsAnError)
{
    const std::string script = "mkdir /tmp/gone && cd /tmp/gone && rmdir /tmp/gone && exec " +
                               std::string(support::kSensorcam) + " --state x exec status";
    support::SensorcamRun run(support::SensorcamRun::Command{{"/bin/sh", "-c", script}});
    EXPECT_EQ(run.end(), 3);
    EXPECT_TRUE(has(run.err, "sensorcam: ")) << run.err;
}

TEST_F(SensorcamTest, ALineOfAScriptThatHoldsAZeroByteIsNotRun)
{
    const std::string script = std::string("get brightness\nset contrast=1") + '\0' + "0\nget contrast\n" + '\0';
    const Ended ended = support::runToEnd({"shell"}, script);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "KEY_BRIGHTNESS = 50\nKEY_CONTRAST = 50\n");
    EXPECT_TRUE(has(ended.err, "sensorcam: line 2 holds a zero byte, so it is not text; not run\n"
                               "sensorcam: line 4 holds a zero byte, so it is not text; not run\n"))
        << ended.err;
}

// As a shell starts it: sensorcam's arguments follow.
Ended runByShell(const std::string& how, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words = {"/bin/bash", "-c", how, support::kSensorcam, "--in-place", "--speed", "20"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    SensorcamRun run(SensorcamRun::Command{words});
    const int status = run.end();
    return {status, run.out, run.err};
}

TEST_F(SensorcamTest, AnswersThatCannotBeWrittenAreAFailure)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    for (const auto& [how, reason] : {std::pair{"exec \"$0\" \"$@\" >/dev/full", "No space left on device"},
                                      std::pair{"exec \"$0\" \"$@\" >&-", "Bad file descriptor"}})
    {
        const std::string told =
            std::string("sensorcam: answers cannot be written to standard output: ") + reason + "\n";
        const Ended exec = runByShell(how, {"exec", "get brightness", "set brightness=60", "save"});
        EXPECT_EQ(exec.status, 1) << how;
        EXPECT_EQ(exec.err, told + "sensorcam: not run: set brightness=60\nsensorcam: not run: save\n");
        const Ended usage = runByShell(how, {"--json", "exec"});
        EXPECT_EQ(usage.status, 2) << how;
        EXPECT_TRUE(has(usage.err, told + "sensorcam: COMMAND is required")) << usage.err;
        const Ended help = runByShell(how, {"--help"});
        EXPECT_EQ(help.status, 1) << how;
        EXPECT_EQ(help.err, told);
        const Ended quiet = runByShell(how, {"exec", "quit"});
        EXPECT_EQ(quiet.status, 0) << "there was nothing to write";
    }
    EXPECT_EQ(execute({"get brightness"}).out, "KEY_BRIGHTNESS = 50\n");
}

TEST_F(SensorcamTest, AReaderThatHasGoneEndsItQuietlyAsSigpipeWould)
{
    ASSERT_EQ(execute({"status"}).status, 0);
    const std::string how = "\"$0\" \"$@\" | true; exit \"${PIPESTATUS[0]}\"";
    for (int i = 0; i < 2; ++i)
    {
        // 'true' has ended before the first answer: the camera's start takes longer.
        const Ended ended = runByShell(how, {"exec", "watch 60", "set brightness=60", "save"});
        EXPECT_EQ(ended.status, 128 + SIGPIPE);
        EXPECT_EQ(ended.err, "");
    }
    EXPECT_EQ(execute({"get brightness"}).out, "KEY_BRIGHTNESS = 50\n");
}

// A pipe that holds as much as it can and is not read.
class StuckPipe
{
public:
    StuckPipe()
    {
        EXPECT_EQ(pipe2(ends_, O_NONBLOCK), 0);
        const std::string much(4096, 'x');
        while (write(ends_[1], much.data(), much.size()) > 0)
        {
        }
        fcntl(ends_[1], F_SETFL, 0);
    }
    ~StuckPipe()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    StuckPipe(const StuckPipe&) = delete;
    StuckPipe& operator=(const StuckPipe&) = delete;

    std::string number() const { return std::to_string(ends_[1]); }

private:
    int ends_[2];
};

// In place, with a stream that nobody reads: the status after SIGTERM, sent when this has been said on the other one.
int statusAfterSigterm(const std::vector<std::string>& commands, const std::string& said,
                       const std::string& streams = "2>&")
{
    EXPECT_EQ(execute({"status"}).status, 0);
    const StuckPipe pipe;
    std::vector<std::string> words = {"/bin/bash",
                                      "-c",
                                      "exec \"$0\" \"$@\" " + streams + pipe.number(),
                                      support::kSensorcam,
                                      "--in-place",
                                      "--speed",
                                      "20",
                                      "exec"};
    words.insert(words.end(), commands.begin(), commands.end());
    SensorcamRun run(SensorcamRun::Command{words});
    run.waitFor(said);
    run.sendSignal(SIGTERM);
    return run.waitForEnd();
}

TEST_F(SensorcamTest, InPlaceACameraWhoseLibraryLinesNobodyReadsIsKilledAtTheLimit)
{
    EXPECT_EQ(statusAfterSigterm({"trace 7", "reload", "watch"}, "trace level 7"), 128 + SIGKILL);
}

TEST_F(SensorcamTest, InPlaceACameraWhoseLastWordsNobodyReadsIsKilledAtTheLimit)
{
    EXPECT_EQ(statusAfterSigterm({"watch", "status"}, "watching"), 128 + SIGKILL);
}

TEST_F(SensorcamTest, InPlaceACameraWhoseAnswersNobodyReadsIsKilledAtTheLimit)
{
    EXPECT_EQ(statusAfterSigterm({"get 999 brightness", "watch"}, "get key(999) val from 2a err", "2>&1 >&"),
              128 + SIGKILL);
}

TEST_F(SensorcamTest, CtrlCAtThePromptDropsTheWholeLineWhereverTheCursorIs)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    // A completion shows that the editor has the line; then the cursor goes to its start.
    run.type("get \xc3\xa4\xc3\xb6 satur\t");
    run.waitFor("KEY_SATURATION");
    run.type("\x01\x03");
    run.waitFor("^C");
    run.waitFor("camera> ");
    run.type("get contrast\n");
    run.waitFor("KEY_CONTRAST = 50");
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
    EXPECT_FALSE(has(run.out, "KEY_SATURATION = ")) << run.out;
    EXPECT_FALSE(has(run.out, "there is no key")) << run.out;
}

// The terminal knows process groups across the border of the tree's own process namespace.
TEST_F(SensorcamTest, APromptInThePrivateTreeHasItsTerminal)
{
    std::filesystem::remove_all("/tmp/state");
    SensorcamRun run(SensorcamRun::Command{{support::kSensorcam, "--state", "/tmp/state", "--speed", "20", "shell"}},
                     SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("get bri\t\n");
    run.waitFor("KEY_BRIGHTNESS = 50");
    run.waitFor("camera> ");
    run.type("watch\n");
    run.waitFor("watching");
    run.type("\x03");
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
    EXPECT_TRUE(has(support::readFile("/tmp/state/history"), "watch"));
    std::filesystem::remove_all("/tmp/state");
}

// A locale whose decimal sign is a comma, made from the one that every system has: the names of its folder and file
// are what the C library asks for.
class CommaLocale
{
public:
    CommaLocale()
    {
        std::filesystem::create_directories(kFolder);
        std::filesystem::copy("/usr/lib/locale/C.utf8", kFolder + "/xx_XX.utf8",
                              std::filesystem::copy_options::recursive);
        const std::string file = kFolder + "/xx_XX.utf8/LC_NUMERIC";
        std::string numbers = support::readFile(file);
        std::replace(numbers.begin() + kHeader, numbers.end(), '.', ',');
        support::writeFile(file, numbers);
        setenv("LOCPATH", kFolder.c_str(), 1);
        setenv("LC_ALL", "xx_XX.utf8", 1);
    }

    ~CommaLocale()
    {
        unsetenv("LOCPATH");
        unsetenv("LC_ALL");
        std::filesystem::remove_all(kFolder);
    }

    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    static constexpr int kHeader = 32;  // offsets
    const std::string kFolder = "/tmp/locales";
};

TEST_F(SensorcamTest, AtThePromptNumbersKeepTheirPointWhateverTheLocale)
{
    const CommaLocale locale;
    SensorcamRun other(SensorcamRun::Command{{"/usr/bin/printf", "%.1f", "0,5"}});
    ASSERT_EQ(other.end(), 0) << other.err;
    ASSERT_EQ(other.out, "0,5") << "programs that follow the locale use a comma";
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("light 0.5\n");
    run.waitFor("0.50 lux");
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
    EXPECT_FALSE(has(run.out, ",50 lux")) << run.out;
}

TEST_F(SensorcamTest, APromptCompletesKeysAndTheLabelsOfTheirValues)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    run.type("set mirr\tbo\twb_m\tone\t\n");
    run.waitFor("KEY_MIRROR = 3 Both  (was 0 Off)");
    run.waitFor("KEY_WB_MODE = 7 One push");
    run.waitFor("camera> ");
    run.type("set fix_shutter='1/2\t");
    run.waitFor("fix_shutter='1/25 s'");
    run.waitFor("fix_shutter='1/250 s'");
    run.type("50\t\n");
    run.waitFor("KEY_FIX_SHUTTER = 14 1/250 s");
    run.waitFor("camera> ");
    run.type("set mirror='off\t\n");  // the mark goes when the word is whole without it
    run.waitFor("KEY_MIRROR = 0 Off  (was 3 Both)");
    run.waitFor("camera> ");
    run.type("quit --discard\n");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

TEST_F(SensorcamTest, OnlySchemesWithAWindowAreOfferedForOne)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    // The list comes in columns: the last one offered ends its line.
    run.type("window \t");
    run.waitFor("0  1  2  3  \r\n");
    run.type("\x03");
    run.waitFor("^C");  // the prompt stands below the list too
    run.waitFor("camera> ");
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

}  // namespace
