#include "sy_system.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>
#include <thread>

#include "tests/support/PrivateTree.h"
#include "tests/unit/platform/ChildProcess.h"
#include "tests/unit/platform/Eventually.h"

namespace {

using platform_tests::eventually;
using SySystemTest = support::PrivateTreeTest;

constexpr char kIdFile[] = "/mnt/mtd/code/process";
constexpr int kAmpleTime = 5;  // seconds, for a shell to come to what a test wants it to be doing at the limit

bool hasId()
{
    return support::fileExists(kIdFile) && !support::readFile(kIdFile).empty();
}

// True when the process whose id is in the file has ended; a zombie has.
bool hasEnded()
{
    if (!hasId())
    {
        return false;
    }
    const std::string id = std::to_string(std::stoi(support::readFile(kIdFile)));
    std::ifstream status("/proc/" + id + "/stat");
    std::string line;
    return !std::getline(status, line) || line.find(") Z ") != std::string::npos ||
           line.find(") X ") != std::string::npos;
}

TEST_F(SySystemTest, ReturnsTheExitStatus)
{
    EXPECT_EQ(sy_system("true", 30), 0);
    EXPECT_EQ(sy_system("exit 42", 30), 42);
    EXPECT_EQ(sy_system("exit 255", 0), 255);
    EXPECT_EQ(sy_system("exit 3", -1), 3);
    EXPECT_EQ(sy_system("/no/such/program 2>/dev/null", 30), 127);
    EXPECT_EQ(sy_system("", 30), 0);
}

TEST_F(SySystemTest, NoCommandIsAFailure)
{
    EXPECT_EQ(sy_system(nullptr, 30), kSySystemNotStarted);
    EXPECT_EQ(kSySystemNotStarted, -1);
}

TEST_F(SySystemTest, RunsWithAShell)
{
    for (const char* name : {"/mnt/mtd/code/config_file/sensor0.cfg", "/mnt/mtd/code/config_old/sensor9.cfg.new",
                             "/mnt/mtd/code/config_file/other.cfg"})
    {
        support::writeFile(name, "x");
    }
    EXPECT_EQ(sy_system("rm -rf /mnt/mtd/code/config*/sensor*", 30), 0);
    EXPECT_EQ(support::filesIn("/mnt/mtd/code/config_file"), std::vector<std::string>{"other.cfg"});
    EXPECT_TRUE(support::filesIn("/mnt/mtd/code/config_old").empty());
}

TEST_F(SySystemTest, AnEndBySignalIsToldAsAShellDoes)
{
    EXPECT_EQ(sy_system("kill -KILL $$", 30), 128 + SIGKILL);
}

TEST_F(SySystemTest, TheWholeGroupEndsAtTheLimit)
{
    EXPECT_EQ(sy_system("sleep 1000 & echo $! > /mnt/mtd/code/process; sleep 1000; true", kAmpleTime), kSySystemLimit);
    EXPECT_TRUE(eventually(hasEnded));
}

TEST_F(SySystemTest, WhoDoesNotListenEndsAtTheLimitToo)
{
    EXPECT_EQ(sy_system("trap '' TERM; echo $$ > /mnt/mtd/code/process; while :; do sleep 1000; done", kAmpleTime),
              kSySystemLimit);
    EXPECT_TRUE(hasEnded());
}

TEST_F(SySystemTest, WhatTheCommandStartedEndsAtTheLimitEvenIfItDoesNotListen)
{
    EXPECT_EQ(sy_system("trap '' TERM; sleep 1000 & echo $! > /mnt/mtd/code/process; wait", kAmpleTime),
              kSySystemLimit);
    EXPECT_TRUE(eventually(hasEnded));
}

TEST_F(SySystemTest, WhoStoppedEndsAtTheLimitToo)
{
    EXPECT_EQ(sy_system("echo $$ > /mnt/mtd/code/process; kill -STOP $$; true", kAmpleTime), kSySystemLimit);
    EXPECT_TRUE(hasEnded());
}

constexpr char kBye[] = "/mnt/mtd/code/bye";
const std::string kSaysGoodbye =
    "trap 'echo bye > /mnt/mtd/code/part; mv /mnt/mtd/code/part /mnt/mtd/code/bye; exit 0' TERM; sleep 1000 & wait";

// What the command leaves at its limit. A machine that is busy may let the grace go by.
std::string goodbyeTo(const std::string& command)
{
    support::removeFile(kBye);
    for (int attempt = 0; attempt < 10 && !support::fileExists(kBye); ++attempt)
    {
        EXPECT_EQ(sy_system(command.c_str(), attempt + 1), kSySystemLimit);
    }
    return support::fileExists(kBye) ? support::readFile(kBye) : "";
}

TEST_F(SySystemTest, WhoListensMayEndInOrder)
{
    EXPECT_EQ(goodbyeTo(kSaysGoodbye), "bye\n");
}

// Not the shell alone: what it waits for is asked to end as well.
TEST_F(SySystemTest, WhatTheCommandStartedMayEndInOrderToo)
{
    EXPECT_EQ(goodbyeTo("(" + kSaysGoodbye + "); true"), "bye\n");
    EXPECT_EQ(goodbyeTo("(" + kSaysGoodbye + ") & exec sleep 1000"), "bye\n");
}

TEST_F(SySystemTest, NoEndedProcessIsLeftBehind)
{
    EXPECT_EQ(sy_system("exit 3", 30), 3);
    EXPECT_EQ(sy_system("exit 3", 0), 3);
    EXPECT_EQ(sy_system("sleep 1000", 1), kSySystemLimit);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(SySystemTest, WhatIsLeftInTheBackgroundDoesNotHoldTheCallerUp)
{
    EXPECT_EQ(sy_system("sleep 1000 & echo $! > /mnt/mtd/code/process", 600), 0);
    ASSERT_TRUE(hasId());
    EXPECT_FALSE(hasEnded());
    kill(std::stoi(support::readFile(kIdFile)), SIGKILL);
    EXPECT_TRUE(eventually(hasEnded));
}

TEST_F(SySystemTest, NoDescriptorOfOursIsInherited)
{
    support::writeFile("/mnt/mtd/code/open", "x");
    const int handle = open("/mnt/mtd/code/open", O_RDONLY);
    ASSERT_EQ(dup2(handle, 50), 50);
    EXPECT_EQ(sy_system("test -e /proc/$$/fd/1 && ! test -e /proc/$$/fd/50", 30), 0);
    close(50);
    close(handle);
}

TEST_F(SySystemTest, SignalsThatWeBlockOrIgnoreWorkInTheCommand)
{
    sigset_t blocked;
    sigset_t old;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &old);
    const auto handler = signal(SIGTERM, SIG_IGN);
    EXPECT_EQ(sy_system("kill -TERM $$; exit 0", 30), 128 + SIGTERM);
    signal(SIGTERM, handler);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
}

TEST_F(SySystemTest, WithIgnoredChildSignalsTheCommandRunsAndItsStatusIsLost)
{
    const auto handler = signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(sy_system("echo x > /mnt/mtd/code/ran", 30), kSySystemNotStarted);
    EXPECT_EQ(sy_system("sleep 1000", 1), kSySystemLimit);
    signal(SIGCHLD, handler);
    EXPECT_EQ(support::readFile("/mnt/mtd/code/ran"), "x\n");
}

TEST_F(SySystemTest, ManyThreadsEachGetTheirOwnStatus)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
    {
        threads.emplace_back([i] {
            for (int turn = 0; turn < 10; ++turn)
            {
                EXPECT_EQ(sy_system(("exit " + std::to_string(i)).c_str(), 30), i);
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // with them nobody survives that
TEST_F(SySystemTest, WithoutAThreadForTheLimitTheCommandIsNotLeftRunning)
{
    const int status = platform_tests::awaitChild(platform_tests::startChild([] {
        std::ifstream sizes("/proc/self/statm");
        rlim_t pages = 0;
        sizes >> pages;
        const rlim_t room = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (4 << 20);  // for no thread's stack
        const rlimit limit{room, room};
        setrlimit(RLIMIT_AS, &limit);
        try
        {
            for (;;)  // until the stacks that earlier threads left are in use
            {
                std::thread([] { pause(); }).detach();
            }
        }
        catch (const std::system_error&)
        {
        }
        const bool isNotStarted = sy_system("sleep 1000", 600) == kSySystemNotStarted;
        _exit(isNotStarted && waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? 42 : 1);
    }));
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 42);
}
#endif

TEST(SySystem, HasTheResultsOfTheContract)
{
    EXPECT_EQ(kSySystemNotStarted, -1);
    EXPECT_EQ(kSySystemLimit, -2);
}

TEST_F(SySystemTest, TheShellKnowsItselfByItsUsualName)
{
    EXPECT_EQ(sy_system("test \"$0\" = sh", 30), 0);
}

TEST_F(SySystemTest, WhatStandsInOurInputIsNotForTheCommand)
{
    const int status = platform_tests::awaitChild(platform_tests::startChild([] {
        int ends[2];
        const bool isReady = pipe(ends) == 0 && write(ends[1], "ours\n", 5) == 5 && dup2(ends[0], STDIN_FILENO) == 0;
        _exit(isReady && sy_system("read line", 30) == 1 ? 42 : 1);
    }));
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 42);
}

}  // namespace
