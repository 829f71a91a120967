#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <list>

#include "app/cli/Commands.h"
#include "app/remote/FrameSocket.h"
#include "app/remote/SessionServer.h"
#include "app/web/ListenSocket.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"

// Processes that share a camera: the first one runs it, the others are its clients.
namespace {

namespace fs = std::filesystem;
using support::Ended;
using support::execute;
using support::has;
using support::lastDocument;
using support::SensorcamRun;
using Words = std::vector<std::string>;

constexpr char kSessionSocket[] = "/mnt/mtd/sensorcam/shell.socket";
constexpr char kHttpSocket[] = "/mnt/mtd/sensorcam/camera.socket";

SensorcamRun::Command sensorcam(const Words& arguments)
{
    SensorcamRun::Command command = {{support::kSensorcam, "--in-place"}};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    return command;
}

Ended run(const Words& arguments, const std::string& input = "")
{
    SensorcamRun client(sensorcam(arguments));
    client.type(input);
    const int status = client.end();
    return {status, client.out, client.err};
}

Words exec(const Words& options, const Words& commands)
{
    Words arguments = options;
    arguments.push_back("exec");
    arguments.insert(arguments.end(), commands.begin(), commands.end());
    return arguments;
}

// Runs at a prompt without a terminal until the test ends its input.
class RunningCamera : public SensorcamRun
{
public:
    RunningCamera() : SensorcamRun(sensorcam({"--speed", "20", "shell"}))
    {
        type("mode\n");
        waitFor("auto");
    }
};

class RemoteSessionTest : public support::PrivateTreeTest
{
protected:
    // What the arguments answer with a camera of their own, and then on one that is running. Both are new.
    static std::pair<Ended, Ended> bothWays(const Words& arguments, const std::string& input = "")
    {
        execute({"status"});
        Words own = {"--speed", "20"};
        own.insert(own.end(), arguments.begin(), arguments.end());
        const Ended alone = run(own, input);
        support::wipeTree();
        execute({"status"});
        RunningCamera camera;
        const Ended joined = run(arguments, input);
        EXPECT_EQ(camera.end(), 0) << camera.err;
        return {alone, joined};
    }

    static void expectEqual(const std::pair<Ended, Ended>& answers)
    {
        const auto& [alone, joined] = answers;
        EXPECT_EQ(joined.status, alone.status);
        EXPECT_EQ(joined.out, alone.out);
        EXPECT_EQ(joined.err, alone.err);
    }
};

const Words kCommands = {"help",
                         "help set",
                         "light 500",
                         "time 12:00",
                         "status",
                         "keys",
                         "get",
                         "set brightness=60 contrast=40",
                         "set mirror=both",
                         "default mirror",
                         "text '(34,70)'",
                         "all",
                         "save",
                         "reload",
                         "restore brightness",
                         "lens wait",
                         "lens",
                         "window 1 on 08:00-10:00",
                         "schemes",
                         "mode manual",
                         "scheme 1",
                         "explain",
                         "explain brightness",
                         "watch 0",
                         "trace",
                         "log",
                         "style",
                         "language",
                         "language 0",
                         "output",
                         "reset",
                         "quit",
                         "never run"};

TEST_F(RemoteSessionTest, EveryCommandAnswersOnARunningCameraWhatItAnswersOnItsOwn)
{
    for (const app::Command& command : app::commands())
    {
        EXPECT_TRUE(std::any_of(kCommands.begin(), kCommands.end(), [&](const std::string& line) {
            return line.rfind(command.name, 0) == 0;
        })) << command.name;
    }
    const auto answers = bothWays(exec({}, kCommands));
    EXPECT_EQ(answers.first.status, 0) << answers.first.err;
    expectEqual(answers);
}

TEST_F(RemoteSessionTest, EveryJsonAnswerIsTheSameToo)
{
    expectEqual(bothWays(exec({"--json"}, kCommands)));
}

TEST_F(RemoteSessionTest, AFailureStopsWhatFollowsInTheSameWords)
{
    for (const Words& options : {Words{}, Words{"--json"}})
    {
        const auto answers = bothWays(exec(options, {"get brightness", "set contrast=999", "save", "nonsense"}));
        EXPECT_EQ(answers.first.status, 1);
        expectEqual(answers);
    }
}

TEST_F(RemoteSessionTest, AScriptsLinesAreAnsweredAlike)
{
    std::string script = "# a comment\n\nnonsense\n'open\nset brightness=1000\n";
    script += std::string("a zero\0 byte\n", 13);
    for (const std::string& line : kCommands)
    {
        script += line + "\n";
    }
    const auto answers = bothWays({"shell"}, script);
    EXPECT_EQ(answers.first.status, 1);
    expectEqual(answers);
    const auto documents = bothWays({"--json", "shell"}, "get brightness\nnonsense\n");
    EXPECT_EQ(documents.first.status, 1);
    expectEqual(documents);
}

TEST_F(RemoteSessionTest, ChangesStayWhenTheirClientHasGone)
{
    RunningCamera camera;
    EXPECT_EQ(run({"exec", "set brightness=61"}).status, 0);
    EXPECT_EQ(run({"exec", "get brightness"}).out, "KEY_BRIGHTNESS = 61\n");
    camera.type("get brightness\n");
    camera.waitFor("KEY_BRIGHTNESS = 61");
    EXPECT_EQ(run({"exec", "quit"}).status, 0);
    camera.type("set brightness=62\n");
    camera.waitFor("(was 61)");
    EXPECT_EQ(camera.end(), 0);
}

TEST_F(RemoteSessionTest, AClientSeesWhatTheLibraryPrints)
{
    RunningCamera camera;
    const Ended ended = run({"exec", "trace 7", "set brightness=61", "trace off"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out.find("trace level 7\nKEY_BRIGHTNESS = 61 %  (was 50)\n"), 0u) << ended.out;
    EXPECT_TRUE(has(ended.err, "cmd:34")) << ended.err;
}

TEST_F(RemoteSessionTest, AWatchSeesWhatAnotherClientDoes)
{
    RunningCamera camera;
    SensorcamRun watching(sensorcam({"exec", "watch"}));
    watching.waitFor("watching");
    EXPECT_EQ(run({"exec", "mode manual"}).status, 0);
    watching.waitFor("mode manual");
    watching.sendSignal(SIGINT);
    EXPECT_EQ(watching.waitForEnd(), 130);
    EXPECT_EQ(camera.end(), 0);
}

TEST_F(RemoteSessionTest, WhatAClientChangesIsToldToOthersByHttpAsTheShells)
{
    RunningCamera camera;
    const camera::Descriptor events = web::connectTo(kHttpSocket);
    const std::string request = "GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n";
    ASSERT_EQ(write(events.number(), request.data(), request.size()), static_cast<ssize_t>(request.size()));
    std::string text;
    const auto readUntil = [&](const std::string& wanted) {
        char buffer[4096];
        ssize_t count = 1;
        while (!has(text, wanted) && (count = read(events.number(), buffer, sizeof buffer)) > 0)
        {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return count > 0;
    };
    ASSERT_TRUE(readUntil("\r\n\r\n")) << text;
    EXPECT_EQ(run({"exec", "set brightness=61"}).status, 0);
    ASSERT_TRUE(readUntil("\"by\":\"shell\"")) << text;
    EXPECT_TRUE(has(text, "KEY_BRIGHTNESS")) << text;
    EXPECT_EQ(camera.end(), 0) << "with a stream open";
}

TEST_F(RemoteSessionTest, AClientWaitsForACameraThatIsStillStarting)
{
    execute({"mode"});
    const camera::Descriptor lock(open("/mnt/mtd/sensorcam/lock", O_RDWR | O_CLOEXEC));
    ASSERT_EQ(flock(lock.number(), LOCK_EX), 0);
    const web::ListenSocket starting = web::ListenSocket::atPath(kSessionSocket, 0600);
    SensorcamRun client(sensorcam({"exec", "mode"}));
    pollfd wait = {starting.descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&wait, 1, std::chrono::milliseconds(support::kRunBound).count()), 1);
    remote::FrameSocket socket{camera::Descriptor(accept(starting.descriptor(), nullptr, nullptr))};
    ASSERT_TRUE(socket.receive());
    EXPECT_EQ(socket.take()->kind, remote::Kind::hello);
    socket.send(remote::Kind::welcome);
    ASSERT_TRUE(socket.receive());
    EXPECT_EQ(socket.take()->part(0), "mode");
    socket.send(remote::Kind::print, {"an answer\x1b\n"});
    socket.send(remote::Kind::done, {"ok", ""});
    EXPECT_EQ(client.end(), 0) << client.err;
    EXPECT_EQ(client.out, "an answer\\x1b\n") << "printable";
}

TEST_F(RemoteSessionTest, ACameraThatDoesNotAnswerInTimeIsInUse)
{
    execute({"mode"});
    const camera::Descriptor lock(open("/mnt/mtd/sensorcam/lock", O_RDWR | O_CLOEXEC));
    ASSERT_EQ(flock(lock.number(), LOCK_EX), 0);
    const Ended ended = run({"exec", "mode"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_TRUE(has(ended.err, "a camera is already running on /mnt/mtd/sensorcam (process ")) << ended.err;
}

TEST_F(RemoteSessionTest, AnInterruptEndsAWatchAndWhatFollowsIt)
{
    RunningCamera camera;
    SensorcamRun client(sensorcam({"exec", "watch", "save"}));
    client.waitFor("watching");
    client.sendSignal(SIGINT);
    EXPECT_EQ(client.waitForEnd(), 130);
    EXPECT_EQ(client.err, "sensorcam: not run: save\n");
    EXPECT_EQ(run({"exec", "mode"}).status, 0);
}

TEST_F(RemoteSessionTest, NoMoreThanEightClientsAtOnceAndOneThatIsKilledMakesRoom)
{
    RunningCamera camera;
    std::list<SensorcamRun> clients;
    for (int i = 0; i < remote::kMostSessions; ++i)
    {
        clients.emplace_back(sensorcam({"exec", "watch"})).waitFor("watching");
    }
    const Ended ninth = run({"exec", "mode"});
    EXPECT_EQ(ninth.status, 3);
    EXPECT_EQ(ninth.err, "sensorcam: the running camera has 8 sessions already; end one of them\n");
    clients.front().sendSignal(SIGKILL);
    EXPECT_EQ(clients.front().waitForEnd(), 137);
    const auto limit = std::chrono::steady_clock::now() + support::kRunBound;
    while (run({"exec", "mode"}).status != 0)
    {
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
    }
    EXPECT_EQ(camera.end(), 0) << "with seven clients";
    for (SensorcamRun& client : clients)
    {
        client.waitForEnd();
        EXPECT_TRUE(&client == &clients.front() || has(client.err, "sensorcam: the camera has ended\n")) << client.err;
    }
}

TEST_F(RemoteSessionTest, ACameraThatEndsEndsItsClientsWithAWord)
{
    RunningCamera camera;
    SensorcamRun client(sensorcam({"shell"}));
    SensorcamRun document(sensorcam({"--json", "shell"}));
    for (SensorcamRun* joined : {&client, &document})
    {
        joined->type("mode\n");
        joined->waitFor("auto");
    }
    EXPECT_EQ(camera.end(), 0);
    EXPECT_EQ(client.waitForEnd(), 1);
    EXPECT_EQ(client.err, "sensorcam: the camera has ended\n");
    EXPECT_EQ(document.waitForEnd(), 1);
    EXPECT_EQ(lastDocument(document.out)["error"]["code"], "no-camera") << document.out;
    EXPECT_EQ(document.err, "");
}

TEST_F(RemoteSessionTest, AClientWhoseReaderHasGoneEndsQuietly)
{
    RunningCamera camera;
    const std::string exec = std::string(support::kSensorcam) + " --in-place exec style 'set brightness=61'";
    const std::string afterwards = "trap '' PIPE; while echo; do :; done 2> /dev/null; exec " + exec;
    SensorcamRun piped(
        SensorcamRun::Command{{"/bin/bash", "-c", "(" + afterwards + ") | true; exit ${PIPESTATUS[0]}"}});
    EXPECT_EQ(piped.end(), 141) << piped.err;
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(run({"exec", "get brightness"}).out, "KEY_BRIGHTNESS = 50\n") << "what follows is not run";
}

TEST_F(RemoteSessionTest, APromptCompletesAndIsInterruptedAndLeavesTheCameraRunning)
{
    RunningCamera camera;
    SensorcamRun prompt(sensorcam({"shell"}), SensorcamRun::Terminal::pseudo);
    prompt.waitFor("Tab completes, Ctrl-D leaves the camera running.");
    prompt.waitFor("camera> ");
    prompt.type("get contr\t\n");
    prompt.waitFor("KEY_CONTRAST = 50");
    prompt.waitFor("camera> ");
    prompt.type("set mirror=bo\t\n");
    prompt.waitFor("KEY_MIRROR = 3 Both");
    prompt.waitFor("camera> ");
    prompt.type("watch\n");
    prompt.waitFor("watching");
    prompt.type("\x03");
    prompt.waitFor("camera> ");
    prompt.type("output 1\n");
    prompt.waitFor("camera> ");
    prompt.type("quit\n");
    EXPECT_EQ(prompt.waitForEnd(), 0) << prompt.out;
    EXPECT_FALSE(has(prompt.out, "not saved")) << "nothing is lost: " << prompt.out;
    EXPECT_TRUE(has(support::readFile("/mnt/mtd/sensorcam/history"), "CONTRAST"));
    EXPECT_EQ(run({"exec", "get mirror"}).out, "KEY_MIRROR = 3  Both\n");
}

TEST_F(RemoteSessionTest, ACameraThatEndsEndsAPromptThatWaits)
{
    RunningCamera camera;
    SensorcamRun prompt(sensorcam({"shell"}), SensorcamRun::Terminal::pseudo);
    prompt.waitFor("camera> ");
    EXPECT_EQ(camera.end(), 0);
    EXPECT_EQ(prompt.waitForEnd(), 1) << prompt.out;
    EXPECT_TRUE(has(prompt.out, "sensorcam: the camera has ended")) << prompt.out;
}

TEST_F(RemoteSessionTest, WhatIsForAStartIsRefusedOnARunningCamera)
{
    RunningCamera camera;
    for (const Words& options : {Words{"--speed", "1"}, Words{"--at", "05:00"}})
    {
        const Ended ended = run(exec(options, {"mode"}));
        EXPECT_EQ(ended.status, 3);
        EXPECT_EQ(ended.err, "sensorcam: the camera on /mnt/mtd/sensorcam is running already, at a time of its own: "
                             "--speed and --at are for one that starts\n");
    }
    const Ended dome = run({"--model", "dome", "exec", "mode"});
    EXPECT_EQ(dome.status, 3);
    EXPECT_TRUE(has(dome.err, "holds a fixed camera; a dome camera needs")) << dome.err;
    const Ended served = run({"serve", "--port", "0"});
    EXPECT_EQ(served.status, 3);
    EXPECT_TRUE(has(served.err, "already running on /mnt/mtd/sensorcam")) << served.err;
    EXPECT_TRUE(has(served.err, std::string("It answers HTTP on ") + kHttpSocket)) << served.err;
}

TEST_F(RemoteSessionTest, TheSocketsAreTheirOwnersAndGoWithTheCamera)
{
    RunningCamera camera;
    for (const char* path : {kHttpSocket, kSessionSocket})
    {
        struct stat facts = {};
        ASSERT_EQ(lstat(path, &facts), 0) << path;
        EXPECT_EQ(facts.st_mode, S_IFSOCK | 0600u) << path;
    }
    EXPECT_EQ(camera.end(), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(kHttpSocket)));
    EXPECT_FALSE(fs::exists(fs::symlink_status(kSessionSocket)));
}

TEST_F(RemoteSessionTest, WhatAKilledCameraLeftIsReplaced)
{
    RunningCamera killed;
    killed.sendSignal(SIGKILL);
    EXPECT_EQ(killed.waitForEnd(), 137);
    EXPECT_TRUE(fs::is_socket(kSessionSocket));
    RunningCamera next;
    EXPECT_EQ(run({"exec", "mode"}).status, 0);
    EXPECT_EQ(next.end(), 0);
}

TEST_F(RemoteSessionTest, WhatLiesInTheSocketsPlaceIsRefusedAndLeft)
{
    for (const char* path : {kHttpSocket, kSessionSocket})
    {
        execute({"mode"});
        fs::create_symlink("/tmp/elsewhere", path);
        const Ended link = execute({"mode"});
        EXPECT_EQ(link.status, 3);
        EXPECT_TRUE(has(link.err, std::string(path) + ": File exists")) << link.err;
        EXPECT_FALSE(fs::exists("/tmp/elsewhere"));
        fs::remove(path);
        support::writeFile(path, "somebody's");
        EXPECT_EQ(execute({"mode"}).status, 3);
        EXPECT_EQ(support::readFile(path), "somebody's");
        fs::remove(path);
    }
}

std::optional<remote::Frame> answerTo(remote::Kind kind, const Words& parts)
{
    remote::FrameSocket socket(web::connectTo(kSessionSocket));
    socket.send(kind, parts);
    std::optional<remote::Frame> frame;
    while (!frame && socket.receive())
    {
        frame = socket.take();
    }
    return frame;
}

TEST_F(RemoteSessionTest, AClientOfAnotherVersionIsToldAndNonsenseIsCutOff)
{
    RunningCamera camera;
    const std::optional<remote::Frame> refusal = answerTo(remote::Kind::hello, {"0", "", ""});
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->kind, remote::Kind::refused);
    EXPECT_EQ(refusal->part(0), "the running camera is of another version of sensorcam, and cannot be talked to");
    EXPECT_FALSE(answerTo(remote::Kind::run, {"mode", "80"})) << "without a hello";
    remote::FrameSocket giant(web::connectTo(kSessionSocket));
    ASSERT_EQ(send(giant.descriptor(), "\xff\xff\xff\xff", 4, 0), 4);
    EXPECT_FALSE(giant.receive());
    EXPECT_EQ(run({"exec", "mode"}).status, 0);
}

}  // namespace
