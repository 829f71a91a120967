#include "app/cli/Session.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <thread>

#include "HostClock.h"
#include "app/Failure.h"
#include "app/Options.h"
#include "app/box/Provision.h"
#include "app/cli/Completion.h"
#include "app/remote/SessionServer.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/Simulator.h"
#include "tests/unit/app/ScriptConsole.h"

namespace {

using support::ScriptConsole;

constexpr char kShare[] = SENSORDLL_SOURCE_DIR "/share";

class SessionTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        app::provision(kShare, "fixed", "", app::Documents::refresh);
        camera_ = std::make_unique<camera::Camera>(camera::Camera::Setup{"fixed", kShare, 100, 12 * 60, false},
                                                   support::journal());
    }

    void TearDown() override
    {
        camera_.reset();
        host::setClock(nullptr);
        support::PrivateTreeTest::TearDown();
    }

    std::unique_ptr<camera::Camera> camera_;
};

TEST_F(SessionTest, AnAnswerComesBehindWhatTheLibraryPrintedAndItsFailureBesideIt)
{
    ScriptConsole console;
    app::Session session(*camera_, console, false);
    EXPECT_TRUE(session.run("get brightness"));
    EXPECT_EQ(console.out, "KEY_BRIGHTNESS = 50\n");
    EXPECT_FALSE(session.run("dance"));
    EXPECT_EQ(console.err, "there is no command dance; 'help' lists the commands\n");
    EXPECT_EQ(console.shown, 2);
}

TEST_F(SessionTest, SeveralAtOnceEachHaveTheirOwnAnswersFormAndEnd)
{
    constexpr int kTurns = 50;
    ScriptConsole people;
    ScriptConsole programs;
    app::Session text(*camera_, people, false);
    app::Session json(*camera_, programs, true);
    std::thread other([&] {
        for (int i = 0; i < kTurns; ++i)
        {
            EXPECT_TRUE(json.run("get contrast"));
        }
    });
    for (int i = 0; i < kTurns; ++i)
    {
        EXPECT_FALSE(text.run("set brightness=101"));
    }
    EXPECT_TRUE(text.run("quit"));
    other.join();
    EXPECT_TRUE(text.ended());
    EXPECT_FALSE(json.ended());
    std::string refusals;
    std::string documents;
    for (int i = 0; i < kTurns; ++i)
    {
        refusals += people.err.substr(0, people.err.find('\n') + 1);
        documents += programs.out.substr(0, programs.out.find('\n') + 1);
    }
    EXPECT_EQ(people.out, "");
    EXPECT_EQ(people.err, refusals);
    EXPECT_EQ(programs.out, documents);
    EXPECT_EQ(programs.err, "");
}

TEST_F(SessionTest, OnlyTheOneWithAPersonAsksBeforeItLosesValues)
{
    ScriptConsole person(true);
    ScriptConsole script;
    app::Session asked(*camera_, person, false);
    app::Session unasked(*camera_, script, false);
    ASSERT_TRUE(asked.run("set brightness=60"));
    EXPECT_FALSE(asked.run("quit"));
    EXPECT_FALSE(asked.ended());
    EXPECT_TRUE(unasked.run("quit"));
    EXPECT_TRUE(unasked.ended());
    EXPECT_TRUE(asked.run("quit")) << "what the other one ran in between does not count";
}

TEST_F(SessionTest, AWatchLastsUntilItsConsoleIsInterrupted)
{
    ScriptConsole console;
    console.pauses = 3;
    app::Session session(*camera_, console, true);
    EXPECT_TRUE(session.run("watch"));
    EXPECT_EQ(console.pauses, -1);
    EXPECT_EQ(console.out.find("{\"command\":\"watch\""), 0u) << console.out;
    EXPECT_NE(console.out.find("\"event\":\"end\""), std::string::npos) << console.out;
}

TEST_F(SessionTest, LinesAreNotRunWhenTheirConsoleHasEnded)
{
    ScriptConsole console;
    console.isEnded = true;
    app::Session session(*camera_, console, false);
    EXPECT_EQ(session.runAll({"status", "save"}), app::kExitOk);
    EXPECT_EQ(console.out, "");
    EXPECT_EQ(console.err, "not run: status\nnot run: save\n");
}

TEST_F(SessionTest, KeptLinesAreThoseOfTheConsole)
{
    ScriptConsole console;
    app::Session session(*camera_, console, false);
    EXPECT_TRUE(session.run("output"));
    console.kept = {"one", "two"};
    EXPECT_TRUE(session.run("output 1"));
    EXPECT_EQ(console.out, "no lines are kept back here: they are shown as they come\ntwo\n");
}

TEST_F(SessionTest, EachCommandOffersWhatMayFollowIt)
{
    ScriptConsole console;
    app::Session session(*camera_, console, false);
    const app::Vocabulary vocabulary = session.vocabulary();
    const auto after = [&](const std::string& line) { return app::complete(line, line.size(), vocabulary).candidates; };
    EXPECT_EQ(after("mode "), (app::Words{"auto", "manual"}));
    EXPECT_EQ(after("mode auto "), app::Words());
    EXPECT_EQ(after("scheme "), (app::Words{"0", "1", "2", "3", "4"}));
    EXPECT_EQ(after("window "), (app::Words{"0", "1", "2", "3"})) << "the default scheme has no window";
    EXPECT_EQ(after("window 1 "), (app::Words{"on", "off"}));
    EXPECT_EQ(after("window 1 on "), app::Words());
    EXPECT_EQ(after("lens "), (app::Words{"status", "zoom", "focus", "iris", "reset", "wait"}));
    EXPECT_EQ(after("lens zoom "), (app::Words{"in", "out"}));
    EXPECT_EQ(after("lens FOCUS "), (app::Words{"far", "near", "mode", "once"}));
    EXPECT_EQ(after("lens iris "), (app::Words{"up", "down"}));
    EXPECT_EQ(after("lens reset "), app::Words());
    EXPECT_EQ(after("lens zoom in "), app::Words());
    EXPECT_EQ(after("light "), app::Words{"sun"});
    EXPECT_EQ(after("trace "), (app::Words{"off", "1", "4", "6", "7"}));
    EXPECT_EQ(after("language "), (app::Words{"0", "1"}));
    EXPECT_EQ(after("quit "), app::Words{"--discard"});
    EXPECT_EQ(after("help rest"), app::Words{"restore"});
    EXPECT_EQ(after("status "), app::Words());
    for (const char* command : {"keys", "get", "default", "restore", "explain"})
    {
        EXPECT_EQ(after(command + std::string(" key_bright")), app::Words{"KEY_BRIGHTNESS"}) << command;
    }
    EXPECT_EQ(after("set bright"), app::Words{"KEY_BRIGHTNESS="});
    EXPECT_EQ(after("set mirror=bo"), app::Words{"mirror=Both"});
}

TEST_F(SessionTest, WithoutADescriptorThereAreNoSessionsForOthers)
{
    app::LibraryOutput output;
    web::ListenSocket socket = web::ListenSocket::atPath("/mnt/mtd/sessions", 0600);
    {
        const app::Failure seen("UBSan looks at an object through a pipe, but only at the first of a type");
    }
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    bool isRefused = false;
    try
    {
        const remote::SessionServer server(*camera_, output, std::move(socket), nullptr);
    }
    catch (const app::Failure&)
    {
        isRefused = true;
    }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(isRefused);
}

TEST_F(SessionTest, ACommandIsAChangeOrNotWhateverItsCase)
{
    for (const char* line : {"set brightness=60", "SET brightness=60", " 'save' ", "lens zoom in", "mode auto",
                             "light sun", "time 12:00", "trace 7", "scheme 1", "set"})
    {
        EXPECT_TRUE(app::isChange(line)) << line;
    }
    for (const char* line : {"", "# set brightness=60", "'set brightness=60", "nonsense", "get", "mode", "light",
                             "time", "trace", "lens", "lens wait", "lens STATUS", "help set", "quit", "exit", "?"})
    {
        EXPECT_FALSE(app::isChange(line)) << line;
    }
}

}  // namespace
