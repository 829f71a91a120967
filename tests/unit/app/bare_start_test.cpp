#include <gtest/gtest.h>

#include "app/web/Serving.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"
#include "tests/unit/app/web/Connection.h"

// sensorcam without a subcommand: the page, and the prompt where there is a terminal.
namespace {

using support::has;
using support::SensorcamRun;

const std::vector<std::string> kNoArguments;

class BareStartTest : public support::PrivateTreeTest
{
protected:
    // What the address that the camera prints answers to GET /.
    static std::string pageOf(SensorcamRun& run)
    {
        const std::string place = "serving on http://127.0.0.1:";
        run.waitFor(place);
        run.waitFor("/");
        const std::size_t start = run.out.find(place) + place.size();
        const std::string port = run.out.substr(start, run.out.find('/', start) - start);
        web_tests::Connection browser = web_tests::Connection::toPort(std::stoi(port));
        browser.say("GET / HTTP/1.1\r\nHost: localhost:" + port + "\r\nConnection: close\r\n\r\n");
        return browser.untilClosed();
    }

    static void expectPage(const std::string& answer)
    {
        EXPECT_EQ(answer.rfind("HTTP/1.1 200 ", 0), 0u) << answer;
        EXPECT_TRUE(has(answer, "<!doctype html>")) << answer;
    }
};

TEST_F(BareStartTest, AtATerminalThereAreThePageAndThePrompt)
{
    SensorcamRun run(kNoArguments, SensorcamRun::Terminal::pseudo);
    expectPage(pageOf(run));
    run.waitFor("'help' lists the commands, Tab completes, Ctrl-D ends the camera.");
    run.waitFor("camera> ");
    run.type("get brightness\n");
    run.waitFor("KEY_BRIGHTNESS = 50");
    run.waitFor("camera> ");
    SensorcamRun second(SensorcamRun::Command{{support::kSensorcam, "--in-place"}}, SensorcamRun::Terminal::pseudo);
    second.waitFor("Ctrl-D leaves the camera running.");
    second.waitFor("camera> ");
    EXPECT_FALSE(has(second.out, "serving on")) << "it has joined the first one";
    second.type("\x04");
    EXPECT_EQ(second.waitForEnd(), 0) << second.out;
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

TEST_F(BareStartTest, ElsewhereThereIsThePageUntilASignal)
{
    SensorcamRun run(kNoArguments);
    run.type("get brightness\n");
    run.closeInput();
    expectPage(pageOf(run));
    run.sendSignal(SIGTERM);
    EXPECT_EQ(run.waitForEnd(), 128 + SIGTERM);
    EXPECT_FALSE(has(run.out, "KEY_BRIGHTNESS")) << "commands are for shell";
}

TEST_F(BareStartTest, InTheBackgroundOfATerminalThereIsThePageAlone)
{
    SensorcamRun shell(SensorcamRun::Command{{"/bin/bash", "--norc", "--noprofile", "-i"}},
                       SensorcamRun::Terminal::pseudo);
    shell.type(std::string(support::kSensorcam) + " --in-place &\n");
    expectPage(pageOf(shell));
    shell.type("kill %1; wait %1; echo ended $?\n");
    shell.waitFor("ended 143");
    EXPECT_FALSE(has(shell.out, "camera> ")) << shell.out;
    shell.type("exit\n");
    EXPECT_EQ(shell.waitForEnd(), 0);
}

TEST_F(BareStartTest, ThePromptOfShellComesWithoutAPage)
{
    SensorcamRun run({"shell"}, SensorcamRun::Terminal::pseudo);
    run.waitFor("camera> ");
    EXPECT_FALSE(has(run.out, "serving on")) << run.out;
    run.type("\x04");
    EXPECT_EQ(run.waitForEnd(), 0);
}

TEST_F(BareStartTest, OfATakenPortTheNextFreeOneIsHadAndTold)
{
    const web::ListenSocket taken = web::ListenSocket::onPort("127.0.0.1", 0);
    app::ServeOptions options;
    options.port = taken.port();
    options.orNextPort = true;
    testing::internal::CaptureStderr();
    const web::Opened opened = web::open(options, "/tmp");
    const std::string told = testing::internal::GetCapturedStderr();
    ASSERT_EQ(opened.sockets.size(), 1u);
    EXPECT_GT(opened.sockets[0].port(), taken.port());
    EXPECT_EQ(told, "sensorcam: port " + std::to_string(taken.port()) + " is taken; this camera has port " +
                        std::to_string(opened.sockets[0].port()) + "\n");
}

TEST_F(BareStartTest, APortThatSomebodyNamedIsHadOrNone)
{
    const web::ListenSocket taken = web::ListenSocket::onPort("127.0.0.1", 0);
    app::ServeOptions options;
    options.port = taken.port();
    EXPECT_THROW(web::open(options, "/tmp"), std::system_error);
}

}  // namespace
