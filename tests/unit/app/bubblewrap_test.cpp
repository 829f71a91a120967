#include "app/box/Bubblewrap.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <sstream>

#include "app/Options.h"
#include "app/box/Provision.h"
#include "app/box/Supervisor.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/Planted.h"
#include "tests/unit/app/SensorcamRun.h"

// What can be reached from inside the private tree, whatever the check of the state folder lets through.
namespace {

namespace fs = std::filesystem;
using support::has;
using support::SensorcamRun;
using support::User;
using support::Victims;

constexpr char kState[] = "/tmp/state";

class SandboxTest : public support::PrivateTreeTest, public testing::WithParamInterface<User>
{
protected:
    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        fs::remove_all(kState);
        app::provision(SENSORDLL_SOURCE_DIR "/share", "fixed", kState, app::Documents::refresh);
        support::giveAllTo(GetParam(), kState);
    }

    void TearDown() override
    {
        fs::remove_all(kState);
        support::PrivateTreeTest::TearDown();
    }

    // What the shell prints that runs script in the tree.
    std::string shellSays(const std::string& script, const std::string& usersFolder = "")
    {
        const std::vector<std::string> command =
            app::sandboxCommand(kState, "/usr/bin/sh", {"-c", script}, usersFolder);
        SensorcamRun shell(SensorcamRun::Command{support::asUser(GetParam(), command)});
        EXPECT_EQ(shell.end(), 0) << shell.err;
        EXPECT_EQ(shell.err, "");
        return shell.out;
    }

    std::string at(const std::string& path) { return kState + path; }

    void plantLink(const std::string& target, const std::string& path)
    {
        fs::remove_all(at(path));
        fs::create_symlink(target, at(path));
        support::giveTo(GetParam(), at(path));
    }

    void plantPipe(const std::string& path)
    {
        fs::remove_all(at(path));
        ASSERT_EQ(mkfifo(at(path).c_str(), 0600), 0);
        support::giveTo(GetParam(), at(path));
    }

    const Victims victims_;
};

TEST_P(SandboxTest, OfTheProcessesOnlyThoseOfTheTreeAreSeen)
{
    std::istringstream numbers(shellSays("cd /proc; echo [0-9]*"));
    int number = 0;
    while (numbers >> number)
    {
        EXPECT_LE(number, 3) << "bubblewrap and the shell";
    }
    EXPECT_EQ(shellSays("ls -d /proc/[0-9]*/root" + victims_.onDisk() + " 2>&1 | grep -c victims$; true"), "0\n");
}

TEST_P(SandboxTest, ThereIsNoSharedMemoryAndNoDiskAmongTheDevices)
{
    EXPECT_EQ(shellSays("ls -A /dev/shm; find /dev -type b; test -c /dev/null && test -c /dev/urandom && echo good"),
              "good\n");
}

TEST_P(SandboxTest, OnlyTheFoldersOfTheCameraCanBeWrittenTo)
{
    const std::string script = "for place in /usr /etc /app /mnt /hd1 /tmp /state; do"
                               "  (: > $place/it) 2>/dev/null && echo $place;"
                               "done;"
                               "for file in /proc/sysrq-trigger /proc/sys/kernel/core_pattern /proc/self/comm; do"
                               "  (: > $file) 2>/dev/null && echo $file;"
                               "done;"
                               "true";
    EXPECT_EQ(shellSays(script), "/etc\n/mnt\n/hd1\n/tmp\n/state\n") << "/etc is the tree's own";
    EXPECT_FALSE(fs::exists("/etc/it"));
}

TEST_P(SandboxTest, OfTheMachinesSettingsAndServicesThereIsNothing)
{
    EXPECT_EQ(shellSays("ls -d /run /sys /home /root /var /etc/shadow /etc/passwd 2>/dev/null; true"), "");
}

TEST_P(SandboxTest, LibrariesAndProgramsThatTheMachineChoseAmongSeveralAreFound)
{
    const std::string chosen = fs::canonical("/usr/bin/awk");
    ASSERT_NE(chosen, "/usr/bin/awk") << "chosen by a link in /etc/alternatives";
    EXPECT_EQ(shellSays("readlink -e /usr/bin/awk"), chosen + "\n");
}

TEST_P(SandboxTest, TheUsersFolderCanOnlyBeReadAndLeadsNowhereElse)
{
    constexpr char kFolder[] = "/tmp/of-users";
    fs::create_directories(kFolder);
    std::ofstream(std::string(kFolder) + "/file") << "anna\n";
    support::giveAllTo(GetParam(), kFolder);
    EXPECT_EQ(
        shellSays("cat /users/file; (: > /users/it) 2>/dev/null && echo written; ls -d /users/../state /users/../root"
                  " 2>/dev/null; true",
                  kFolder),
        "anna\n/users/../state\n");
    EXPECT_EQ(shellSays("ls -d /users 2>/dev/null; true"), "");
    fs::remove_all(kFolder);
}

class InTheSandboxTest : public SandboxTest
{
protected:
    // A camera on the state folder that nobody has looked at. True when it ended, whatever became of it.
    bool runCamera(const std::vector<std::string>& commands)
    {
        app::Options options;
        options.model = "fixed";
        options.speed = 200;
        options.isShell = false;
        options.commands = commands;
        const pid_t process = fork();
        if (process == 0)
        {
            _exit(superviseAsUser(options));
        }
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) != 128 + SIGKILL;
    }

    // Every file that camera and library write or read, as target makes it.
    void plantEverywhere(const std::function<void(const std::string& path, const std::string& victim)>& plant)
    {
        for (const char* file :
             {"/mnt/mtd/code/config_file/sensor0.cfg", "/mnt/mtd/code/config_file/sensor1.cfg",
              "/mnt/mtd/code/config_file/sensor1.cfg.new", "/mnt/mtd/code/config_file/sensor2.cfg.new",
              "/mnt/mtd/code/config_file/snsversion.cfg", "/mnt/mtd/log/SensorError.log",
              "/mnt/mtd/log/SensorError.log.1", "/mnt/mtd/sign/Debug.sign", "/tmp/merge_style.xml",
              "/tmp/merge_style.xml.new", "/history"})
        {
            plant(file, "/file");
        }
        plant("/mnt/mtd/code/configX", "/folder");
    }

private:
    // The program's own way from here on.
    int superviseAsUser(const app::Options& options)
    {
        alarm(60);
        const int nowhere = open("/tmp/said", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        if (GetParam() == User::ordinary &&
            (setgid(support::kOrdinaryUser) != 0 || setuid(support::kOrdinaryUser) != 0))
        {
            return 128 + SIGKILL;
        }
        app::ReportLine line;
        const std::vector<std::string> arguments = app::insideArguments(options, nowhere, line.copysEnd());
        return app::superviseCamera(app::sandboxCommand(kState, support::kSensorcam, arguments), line,
                                    {nowhere, line.copysEnd()}, false);
    }
};

const std::vector<std::string> kCommands = {"trace 6", "set brightness=61", "save", "window 1 on 08:00-09:00",
                                            "log",     "trace off",         "reset"};

// Each alone: exec ends at the first command that fails.
void runAll(const std::function<bool(const std::vector<std::string>&)>& run)
{
    for (const std::string& command : kCommands)
    {
        EXPECT_TRUE(run({command})) << command << "\n" << support::readFile("/tmp/said");
    }
}

TEST_P(InTheSandboxTest, ACameraRuns)
{
    EXPECT_TRUE(runCamera({"set brightness=61", "save"}));
    EXPECT_EQ(support::readFile("/tmp/said"), "KEY_BRIGHTNESS = 61 %  (was 50)\nscheme 0 saved (83 values)\n");
}

TEST_P(InTheSandboxTest, LinksThroughAnotherProcessLeadNowhere)
{
    const std::string before = victims_.state();
    plantEverywhere(
        [&](const std::string& path, const std::string& victim) { plantLink(victims_.throughProc() + victim, path); });
    runAll([&](const std::vector<std::string>& commands) { return runCamera(commands); });
    EXPECT_EQ(victims_.state(), before);
}

TEST_P(InTheSandboxTest, LinksToSharedMemoryLeadNowhere)
{
    const std::string before = victims_.state();
    plantEverywhere(
        [&](const std::string& path, const std::string& victim) { plantLink(victims_.inMemory() + victim, path); });
    runAll([&](const std::vector<std::string>& commands) { return runCamera(commands); });
    EXPECT_EQ(victims_.state(), before);
}

TEST_P(InTheSandboxTest, LinksToDocumentsElsewhereLeadNowhere)
{
    const std::string before = victims_.state();
    for (const char* file :
         {support::kMachineInfoFile, support::kModuleConfigFile, support::kStyleFile, support::kDiversityFile})
    {
        plantLink(victims_.inMemory() + "/file", file);
    }
    EXPECT_TRUE(runCamera({"reset"}));
    EXPECT_EQ(victims_.state(), before);
}

TEST_P(InTheSandboxTest, NamedPipesHoldNoCameraUp)
{
    plantEverywhere([&](const std::string& path, const std::string&) { plantPipe(path); });
    runAll([&](const std::vector<std::string>& commands) { return runCamera(commands); });
    for (const char* file :
         {support::kMachineInfoFile, support::kModuleConfigFile, support::kStyleFile, support::kDiversityFile})
    {
        plantPipe(file);
        EXPECT_TRUE(runCamera({"reset"})) << file << "\n" << support::readFile("/tmp/said");
    }
}

std::string nameOfUser(const testing::TestParamInfo<User>& info)
{
    return support::nameOf(info.param);
}

INSTANTIATE_TEST_SUITE_P(As, SandboxTest, testing::ValuesIn(support::users()), nameOfUser);
INSTANTIATE_TEST_SUITE_P(As, InTheSandboxTest, testing::ValuesIn(support::users()), nameOfUser);

}  // namespace
