#include "app/box/Supervisor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/support/PrivateTree.h"

namespace {

constexpr auto kBound = std::chrono::seconds(60);
constexpr auto kLook = std::chrono::milliseconds(2);

using SupervisorTest = support::PrivateTreeTest;

bool waitUntil(const std::function<bool()>& condition)
{
    const auto limit = std::chrono::steady_clock::now() + kBound;
    while (!condition() && std::chrono::steady_clock::now() < limit)
    {
        std::this_thread::sleep_for(kLook);
    }
    return condition();
}

// A supervisor in a process of its own. The shell that it runs finds its end of the line as descriptor $line.
pid_t supervise(const std::string& script)
{
    const pid_t process = fork();
    if (process == 0)
    {
        alarm(60);
        app::ReportLine line;
        const std::string end = std::to_string(line.copysEnd());
        _exit(app::superviseCamera({"sh", "-c", "line=" + end + "; " + script}, line, {line.copysEnd()}, false));
    }
    return process;
}

int waitStatus(pid_t process)
{
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    return status;
}

TEST_F(SupervisorTest, TheStatusOfTheProgramComesThrough)
{
    const int status = waitStatus(supervise("echo . >&$line; exit 42"));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST_F(SupervisorTest, AProgramThatEndsWithoutAReportGivesItsStatusToo)
{
    const int status = waitStatus(supervise("exit 3"));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(SupervisorTest, BeforeTheReportEverySignalEndsIt)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        std::filesystem::remove("/tmp/started");
        const pid_t supervisor = supervise("echo $$ >/tmp/started; exec sleep 1000");
        pid_t program = 0;
        ASSERT_TRUE(waitUntil([&] { return std::ifstream("/tmp/started") >> program && program > 0; }));
        kill(supervisor, signal);
        const int status = waitStatus(supervisor);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
        kill(program, SIGKILL);
    }
}

// A mask of signals in a process's status, such as "SigBlk".
bool hasSignal(pid_t process, const std::string& mask, int signal)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);)
    {
        if (line.rfind(mask + ":", 0) == 0)
        {
            return (std::stoull(line.substr(mask.size() + 1), nullptr, 16) >> (signal - 1) & 1) != 0;
        }
    }
    return false;
}

// Before, it blocks none but SIGCHLD; while it waits, the kernel shows none of those that it waits for as blocked.
bool hasTakenReport(pid_t supervisor)
{
    return hasSignal(supervisor, "SigBlk", SIGTERM) == hasSignal(supervisor, "SigBlk", SIGCHLD);
}

// The program keeps the signals blocked, so that they can be seen at it.
TEST_F(SupervisorTest, AfterTheReportEverySignalIsHandedToTheReporter)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        std::filesystem::remove("/tmp/started");
        const pid_t supervisor =
            supervise("(sh -c 'echo . >&'$line'; echo $$ >/tmp/started; exec sleep 1000'); exit 7");
        pid_t program = 0;
        ASSERT_TRUE(waitUntil([&] { return std::ifstream("/tmp/started") >> program && program > 0; }));
        ASSERT_TRUE(waitUntil([&] { return hasTakenReport(supervisor); }));
        EXPECT_FALSE(hasSignal(program, "ShdPnd", signal));
        kill(supervisor, signal);
        EXPECT_TRUE(waitUntil([&] { return hasSignal(program, "ShdPnd", signal); })) << signal;
        kill(program, SIGKILL);
        const int status = waitStatus(supervisor);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << signal;
    }
}

TEST_F(SupervisorTest, NothingIsInheritedThatIsNotNamed)
{
    const int folder = open("/etc", O_RDONLY | O_DIRECTORY);
    ASSERT_GE(folder, 0);
    waitStatus(supervise("test -e /proc/$$/fd/" + std::to_string(folder) +
                         " && echo inherited >/tmp/found;"
                         "test -e /proc/$$/fd/$line && echo named >>/tmp/found"));
    close(folder);
    EXPECT_EQ(support::readFile("/tmp/found"), "named\n");
}

TEST_F(SupervisorTest, AReportNeedsASupervisor)
{
    EXPECT_FALSE(app::ReportLine::report(-1));
    EXPECT_FALSE(app::ReportLine::report(open("/dev/null", O_WRONLY)));
}

}  // namespace
