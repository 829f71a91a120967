#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <nlohmann/json.hpp>
#include <sstream>

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
                         "weather haze=30",
                         "snapshot /dev/null",
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
                         "time 12:00",  // again: minutes pass meanwhile on a slow machine
                         "schemes",
                         "mode manual",
                         "scheme 1",
                         "explain",
                         "explain brightness",
                         "time 12:00",
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
        EXPECT_TRUE(std::any_of(kCommands.begin(), kCommands.end(),
                                [&](const std::string& line) { return line.rfind(command.name, 0) == 0; }) ||
                    command.name == std::string("device"))
            << command.name;
    }
    expectEqual(bothWays(exec({}, {"device"})));  // which this camera does not have
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
    const Ended ended = run({"--speed", "1", "exec", "mode"});  // which a camera that answers refuses
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
    for (const bool isWelcome : {false, true})
    {
        remote::FrameSocket giant(web::connectTo(kSessionSocket));
        if (isWelcome)
        {
            giant.send(remote::Kind::hello, {remote::kVersion, "", ""});
            ASSERT_TRUE(giant.receive());
            ASSERT_EQ(giant.take()->kind, remote::Kind::welcome);
        }
        const std::uint32_t length = (isWelcome ? remote::kMostOfRequest : remote::kMostOfHello) + 1;
        ASSERT_EQ(send(giant.descriptor(), &length, sizeof length, 0), static_cast<ssize_t>(sizeof length));
        EXPECT_FALSE(giant.receive());
    }
    EXPECT_EQ(run({"exec", "mode"}).status, 0);
}

// A camera that the test plays: it holds the folder, and answers as it is told to.
class PlayedCamera
{
public:
    PlayedCamera() : lock_(open("/mnt/mtd/sensorcam/lock", O_RDWR | O_CLOEXEC))
    {
        EXPECT_EQ(flock(lock_.number(), LOCK_EX), 0);
        socket_.emplace(web::ListenSocket::atPath(kSessionSocket, 0600));
    }

    // The next client, who has been welcomed and has sent its first line.
    std::unique_ptr<remote::FrameSocket> client(const std::string& line)
    {
        pollfd wait = {socket_->descriptor(), POLLIN, 0};
        EXPECT_EQ(poll(&wait, 1, std::chrono::milliseconds(support::kRunBound).count()), 1) << "no client";
        camera::Descriptor accepted(accept4(socket_->descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
        auto client = std::make_unique<remote::FrameSocket>(std::move(accepted));
        EXPECT_TRUE(client->receive());
        EXPECT_EQ(client->take()->kind, remote::Kind::hello);
        client->send(remote::Kind::welcome);
        EXPECT_TRUE(client->receive());
        EXPECT_EQ(client->take()->part(0), line);
        return client;
    }

    void end()
    {
        socket_.reset();
        flock(lock_.number(), LOCK_UN);
    }

private:
    const camera::Descriptor lock_;
    std::optional<web::ListenSocket> socket_;
};

TEST_F(RemoteSessionTest, AClientOfExecThatLosesItsCameraBeforeTheFirstAnswerTurnsToTheNextOne)
{
    execute({"mode"});
    PlayedCamera camera;
    SensorcamRun client(sensorcam({"exec", "get brightness", "get contrast"}));
    camera.client("get brightness").reset();
    camera.client("get brightness")->send(remote::Kind::library, {"no answer\n"});
    camera.client("get brightness").reset();
    camera.end();
    EXPECT_EQ(client.end(), 0) << client.err;
    EXPECT_EQ(client.out, "KEY_BRIGHTNESS = 50\nKEY_CONTRAST = 50\n") << "of a camera of its own";
}

TEST_F(RemoteSessionTest, AClientThatHasAnAnswerStaysWithItsCamera)
{
    execute({"mode"});
    PlayedCamera camera;
    SensorcamRun client(sensorcam({"exec", "get brightness", "get contrast"}));
    const auto session = camera.client("get brightness");
    session->send(remote::Kind::print, {"half an answer\n"});
    session->shut();
    EXPECT_EQ(client.end(), 1);
    EXPECT_EQ(client.out, "half an answer\n");
    EXPECT_EQ(client.err, "sensorcam: the camera has ended\nsensorcam: not run: get contrast\n");
}

TEST_F(RemoteSessionTest, ASignalEndsAClientThatLosesItsCamera)
{
    execute({"mode"});
    PlayedCamera camera;
    SensorcamRun client(sensorcam({"exec", "mode"}));
    const auto session = camera.client("mode");
    client.sendSignal(SIGTERM);
    ASSERT_TRUE(session->receive());
    EXPECT_EQ(session->take()->kind, remote::Kind::end);
    session->shut();
    EXPECT_EQ(client.end(), 143);
}

TEST_F(RemoteSessionTest, CommandsOfSeveralProcessesAtOnceAllSucceedWithoutACameraToJoin)
{
    execute({"mode"});
    std::list<SensorcamRun> clients;
    for (int i = 0; i < 6; ++i)
    {
        clients.emplace_back(sensorcam({"exec", "get brightness", "get contrast", "get mirror"}));
    }
    for (SensorcamRun& client : clients)
    {
        EXPECT_EQ(client.end(), 0) << client.err;
        EXPECT_EQ(client.out, "KEY_BRIGHTNESS = 50\nKEY_CONTRAST = 50\nKEY_MIRROR = 0  Off\n");
    }
}

TEST_F(RemoteSessionTest, ACameraOfExecHearsItsClientsOut)
{
    execute({"mode"});
    SensorcamRun first(sensorcam({"--speed", "20", "exec", "watch 20"}));
    first.waitFor("watching");
    const Ended second = run({"exec", "mode", "watch 20", "mode"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(first.end(), 0);
}

TEST_F(RemoteSessionTest, SilentConnectionsDoNotKeepTheSessionsForThemselves)
{
    RunningCamera camera;
    std::list<remote::FrameSocket> silent;
    for (int i = 0; i < remote::kMostSessions; ++i)
    {
        silent.emplace_back(web::connectTo(kSessionSocket));
    }
    for (remote::FrameSocket& one : silent)
    {
        pollfd wait = {one.descriptor(), POLLIN, 0};
        ASSERT_EQ(poll(&wait, 1, std::chrono::milliseconds(support::kRunBound).count()), 1) << "is not cut off";
        EXPECT_FALSE(one.receive());
    }
    EXPECT_EQ(run({"exec", "mode"}).status, 0);
}

// What a frame is made of, as it goes over the socket.
std::string bytesOf(remote::Kind kind, const Words& parts)
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const camera::Descriptor reader(ends[1]);
    remote::FrameSocket(camera::Descriptor(ends[0])).send(kind, parts);
    char buffer[4096];
    const ssize_t count = read(reader.number(), buffer, sizeof buffer);
    return std::string(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

// Sends the bytes in a session and waits for the end of what they ask for.
std::optional<remote::Frame> doneAfter(remote::FrameSocket& socket, const std::string& bytes)
{
    EXPECT_EQ(send(socket.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    pollfd wait = {socket.descriptor(), POLLIN, 0};
    while (poll(&wait, 1, std::chrono::milliseconds(support::kRunBound).count()) == 1 && socket.receive())
    {
        while (std::optional<remote::Frame> frame = socket.take())
        {
            if (frame->kind == remote::Kind::done)
            {
                return frame;
            }
        }
    }
    return std::nullopt;
}

TEST_F(RemoteSessionTest, AnInterruptThatComesTogetherWithItsRunEndsIt)
{
    RunningCamera camera;
    remote::FrameSocket socket(web::connectTo(kSessionSocket));
    socket.send(remote::Kind::hello, {remote::kVersion, "", "prompt"});
    ASSERT_TRUE(socket.receive());
    ASSERT_EQ(socket.take()->kind, remote::Kind::welcome);
    const std::string interrupt = bytesOf(remote::Kind::interrupt, {});
    const std::string watch = bytesOf(remote::Kind::run, {"watch", "80"});
    ASSERT_TRUE(doneAfter(socket, watch + interrupt)) << "the watch goes on";
    ASSERT_TRUE(doneAfter(socket, interrupt + bytesOf(remote::Kind::run, {"watch 1", "80"})));
    socket.shut();
    EXPECT_EQ(camera.end(), 0);
}

TEST_F(RemoteSessionTest, AHostWhoseOutputNobodyReadsHoldsNoSession)
{
    RunningCamera camera;  // its pipes are full before the second hundred
    Words commands = {"trace 7"};
    for (int i = 0; i < 400; ++i)
    {
        commands.push_back("set brightness=" + std::to_string(50 + i % 2) + " contrast=60");
    }
    commands.push_back("trace off");
    const Ended ended = run(exec({}, commands));
    EXPECT_EQ(ended.status, 0);
    EXPECT_GT(ended.err.size(), 200'000u) << "that would not fill two pipes";
    EXPECT_EQ(camera.end(), 0);
}

// With these a reset finds no camera in the board's files.
void loseTheBoardsFiles()
{
    support::removeFile(support::kModuleConfigFile);
    support::setDebug(6);
}

constexpr char kIsDown[] =
    "sensorcam: the board's files no longer name this camera (/mnt/mtd/code/factory_setting/machineinfo.ini, "
    "/hd1/moduleConfig/moduleConfig.xml): the camera is down. It starts again as a new one\n";

int countOf(const std::string& text, const std::string& part)
{
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    {
        ++count;
    }
    return count;
}

TEST_F(RemoteSessionTest, AResetThatTakesTheCameraDownEndsAllThatStandsOnIt)
{
    for (const Words& options : {Words{}, Words{"--json"}})
    {
        support::wipeTree();
        execute({"mode"});
        Words serve = {"--speed", "20"};
        serve.insert(serve.end(), options.begin(), options.end());
        serve.insert(serve.end(), {"serve", "--port", "0"});
        SensorcamRun host(sensorcam(serve));
        host.waitFor("serving on");
        SensorcamRun other(sensorcam({"shell"}));
        other.type("mode\n");
        other.waitFor("auto");
        loseTheBoardsFiles();
        const Ended reset = run({"exec", "reset", "mode"});
        EXPECT_EQ(reset.status, 1);
        EXPECT_EQ(countOf(reset.err, kIsDown), 1) << reset.err;
        EXPECT_EQ(other.waitForEnd(), 1);
        EXPECT_EQ(countOf(other.err, "sensorcam: the camera has ended\n"), 1) << other.err;
        EXPECT_EQ(host.waitForEnd(), 1) << host.err;
        if (options.empty())
        {
            EXPECT_EQ(countOf(host.err, kIsDown), 1) << host.err;
        }
        else
        {
            EXPECT_EQ(lastDocument(host.out)["error"]["code"], "no-camera") << host.out;
            EXPECT_EQ(countOf(host.err, kIsDown), 0);
        }
    }
}

TEST_F(RemoteSessionTest, AResetByHttpThatTakesTheCameraDownEndsAPromptThatWaits)
{
    RunningCamera script;
    script.type("mode\n");
    script.waitFor("auto");
    loseTheBoardsFiles();
    const camera::Descriptor http = web::connectTo(kHttpSocket);
    const std::string request =
        "POST /api/reset HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
    ASSERT_EQ(write(http.number(), request.data(), request.size()), static_cast<ssize_t>(request.size()));
    EXPECT_EQ(script.waitForEnd(), 1) << script.err;
    EXPECT_EQ(countOf(script.err, kIsDown), 1) << script.err;
    char answer[16] = {};
    EXPECT_EQ(read(http.number(), answer, 12), 12);
    EXPECT_STREQ(answer, "HTTP/1.1 503");
}

TEST_F(RemoteSessionTest, WhoTakesTheCameraDownIsToldOnceAndEndsWithAFailure)
{
    execute({"mode"});
    {
        RunningCamera script;
        loseTheBoardsFiles();
        script.type("reset\nmode\n");
        EXPECT_EQ(script.waitForEnd(), 1);
        EXPECT_EQ(countOf(script.err, kIsDown), 1) << script.err;
    }
    for (const bool isJoined : {false, true})
    {
        support::wipeTree();
        execute({"mode"});
        std::optional<RunningCamera> host;
        if (isJoined)
        {
            host.emplace();
        }
        SensorcamRun prompt(sensorcam({"shell"}), SensorcamRun::Terminal::pseudo);
        prompt.waitFor("camera> ");
        loseTheBoardsFiles();
        prompt.type("reset\n");
        EXPECT_EQ(prompt.waitForEnd(), 1) << prompt.out;
        EXPECT_EQ(countOf(prompt.out, "the camera is down. It starts again as a new one"), 1) << prompt.out;
        if (isJoined)
        {
            EXPECT_EQ(host->waitForEnd(), 1);
        }
    }
}

TEST_F(RemoteSessionTest, OfTwoPromptsOnAFolderNoLineIsLost)
{
    RunningCamera camera;
    SensorcamRun first(sensorcam({"shell"}), SensorcamRun::Terminal::pseudo);
    first.waitFor("camera> ");
    SensorcamRun second(sensorcam({"shell"}), SensorcamRun::Terminal::pseudo);
    second.waitFor("camera> ");
    const std::pair<SensorcamRun&, std::string> prompts[] = {{first, "get sharpness"}, {second, "get saturation"}};
    for (const auto& [prompt, line] : prompts)
    {
        prompt.type(line + "\n");
        prompt.waitFor("camera> ");
        prompt.type("quit\n");
        EXPECT_EQ(prompt.waitForEnd(), 0) << prompt.out;
    }
    EXPECT_EQ(support::readFile("/mnt/mtd/sensorcam/history"),
              "_HiStOrY_V2_\nget\\040sharpness\nquit\nget\\040saturation\nquit\n");
}

// "what status" of each line.
Words audited()
{
    Words lines;
    std::istringstream text(support::readFile("/mnt/mtd/sensorcam/audit.log"));
    for (std::string line; std::getline(text, line);)
    {
        const auto entry = nlohmann::json::parse(line);
        EXPECT_EQ(entry["who"], std::to_string(geteuid())) << line;
        EXPECT_EQ(entry["from"], "shell.socket") << line;
        lines.push_back(entry["what"].get<std::string>() + " " + std::to_string(entry["status"].get<int>()));
    }
    return lines;
}

TEST_F(RemoteSessionTest, WhatAClientChangesIsInTheAuditLogAndWhatItReadsIsNot)
{
    RunningCamera camera;
    EXPECT_EQ(run(exec({}, kCommands)).status, 0);
    EXPECT_EQ(run({"exec", "set brightness=1000"}).status, 1);
    EXPECT_EQ(run({"exec", "nonsense"}).status, 1);
    EXPECT_EQ(audited(), (Words{"light 500 0", "weather haze=30 0", "time 12:00 0", "set brightness=60 contrast=40 0",
                                "set mirror=both 0", "default mirror 0", "text '(34,70)' 0", "save 0", "reload 0",
                                "restore brightness 0", "window 1 on 08:00-10:00 0", "time 12:00 0", "mode manual 0",
                                "scheme 1 0", "time 12:00 0", "reset 0", "set brightness=1000 1"}));
    EXPECT_EQ(camera.end(), 0);
}

TEST_F(RemoteSessionTest, ASocketInTheStateFolderIsRefusedBeforeAnythingIsMade)
{
    fs::create_directories("/mnt/mtd/sensorcam/below");
    fs::create_symlink("/mnt/mtd/sensorcam", "/tmp/linked");
    for (const char* path : {"/mnt/mtd/sensorcam/own.socket", "/mnt/mtd/sensorcam/below/own.socket",
                             "/mnt/mtd/./sensorcam/../sensorcam/own.socket", "/tmp/linked/own.socket",
                             "/tmp/linked/below/own.socket", "/mnt/mtd/sensorcam/camera.socket"})
    {
        const Ended served = run({"serve", "--socket", path});
        EXPECT_EQ(served.status, 3);
        EXPECT_EQ(served.err,
                  "sensorcam: the socket " + std::string(path) +
                      " would lie in the state folder /mnt/mtd/sensorcam, which is for the camera's own files; name "
                      "another place with --socket\n");
        EXPECT_FALSE(fs::exists("/mnt/mtd/sensorcam/model"));
    }
    fs::remove("/tmp/linked");
}

}  // namespace
