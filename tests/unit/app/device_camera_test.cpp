#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "app/Devices.h"
#include "app/Models.h"
#include "app/Options.h"
#include "app/box/Bubblewrap.h"
#include "services/linux/Generations.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/Planted.h"
#include "tests/unit/app/SensorcamRun.h"
#include "tests/unit/services/linux/Webcam.h"

// What becomes of the camera of a device that is not plugged in.
namespace {

namespace fs = std::filesystem;
using app::DeviceCamera;
using app::DeviceOptions;
using support::SensorcamRun;

constexpr char kCamera[] = "1d6b-0105-away";
constexpr char kState[] = "/tmp/home/sensorcam/devices/1d6b-0105-away";
constexpr char kNoCamera[] = "no camera is plugged in; sensorcam devices shows what there is";

class DeviceCameraTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        PrivateTreeTest::SetUp();
        fs::remove_all("/tmp/home");
        setenv("XDG_STATE_HOME", "/tmp/home", 1);
    }

    void TearDown() override
    {
        unsetenv("XDG_STATE_HOME");
        fs::remove_all("/tmp/home");
        PrivateTreeTest::TearDown();
    }

    static std::string board() { return support::readFile(std::string(kState) + "/board"); }

    // As a camera leaves its folder that was there once.
    static void remember(const std::string& board)
    {
        support::writeFile(std::string(kState) + "/board", board);
        support::writeFile(std::string(kState) + "/model", app::kDeviceModel + std::string("\n"));
    }

    static void makeGeneration()
    {
        devices::Description description;
        description.name = "Webcam";
        description.controls = support::webcam();
        for (const devices::Control& control : description.controls)
        {
            description.values[control.id] = control.defaultValue;
        }
        fs::create_directories(std::string(kState) + "/tmp");
        devices::bringUp(kState, SENSORDLL_SOURCE_DIR "/share", description, {});
    }

    // Brings it up on its folder. What that says on standard error, or why it failed.
    static std::string broughtUp(const std::optional<DeviceOptions>& named, const std::string& folder = "")
    {
        testing::internal::CaptureStderr();
        std::string failure;
        try
        {
            DeviceCamera camera(named, folder);
            app::StateFolder state(camera.stateFolder());
            camera.bringUp(state);
            const int opened = camera.source().open(devices::Role::camera);
            EXPECT_EQ(opened, -ENODEV);
        }
        catch (const std::runtime_error& error)
        {
            failure = error.what();
        }
        return testing::internal::GetCapturedStderr() + failure;
    }

    static DeviceOptions named(const std::string& camera)
    {
        DeviceOptions options;
        options.camera = camera;
        return options;
    }
};

constexpr char kAway[] =
    "sensorcam: no camera is plugged in; sensorcam devices shows what there is; what is set meanwhile "
    "is applied when it is there\n";

constexpr char kNewBoard[] =
    "sensorcam: the board has changed; keys follow it once all of its devices are there and the camera starts again\n";

TEST_F(DeviceCameraTest, AwayAtTheStartItHasTheDocumentsThatItHad)
{
    makeGeneration();
    remember("camera = 1d6b-0105-away\nothers = put-back\nschemes = clock\nmains = 50\n");
    EXPECT_EQ(broughtUp(named(kCamera)), kAway);
    EXPECT_EQ(fs::read_symlink(std::string(kState) + "/current"), "generations/1");
    EXPECT_EQ(broughtUp(std::nullopt, kState), kAway);
    EXPECT_EQ(broughtUp(named(kCamera), kState), kAway);
}

TEST_F(DeviceCameraTest, AwayInAFolderOfAnyNameItIsKnownByThatFolder)
{
    makeGeneration();
    remember("camera = 1d6b-0105-away\n");
    fs::rename(kState, "/tmp/home/mine");
    EXPECT_EQ(broughtUp(named(kCamera), "/tmp/home/mine"), kAway);
    EXPECT_EQ(broughtUp(named(kCamera)), kNoCamera);
}

TEST_F(DeviceCameraTest, AwayBeforeItWasEverThereItIsNotStarted)
{
    EXPECT_EQ(broughtUp(named(kCamera)), kNoCamera);
    EXPECT_FALSE(fs::exists("/tmp/home"));
    support::writeFile(std::string(kState) + "/board", "camera = 1d6b-0105-away\n");
    EXPECT_EQ(broughtUp(named(kCamera)), kNoCamera);
    EXPECT_EQ(app::rememberedModel(kState), std::nullopt);
}

TEST_F(DeviceCameraTest, WhatIsNamedIsPutOverWhatIsRemembered)
{
    makeGeneration();
    remember("camera = 1d6b-0105-away\nlight = als\nlamp = near=old\nlamp = medium=kept\nfilter = gpiochip0:3\n"
             "others = leave\nschemes = light\nmains = 60\n");
    DeviceOptions options = named(kCamera);
    options.light = "auto";
    devices::parseLamp("near=new", options.lamps);
    devices::parseLamp("far=more", options.lamps);
    options.schemesByLight = false;
    EXPECT_EQ(broughtUp(options), kAway + std::string(kNewBoard));
    EXPECT_EQ(board(), "camera = 1d6b-0105-away\nlight = auto\nlamp = near=new\nlamp = medium=kept\nlamp = far=more\n"
                       "filter = gpiochip0:3,high\nothers = leave\nschemes = clock\nmains = 60\n");
    options = named(kCamera);
    options.filter = devices::parseFilter("gpiochip1:4:5,50ms");
    options.others = devices::Others::takeOver;
    EXPECT_EQ(broughtUp(options), kAway + std::string(kNewBoard));
    EXPECT_EQ(board(), "camera = 1d6b-0105-away\nlight = auto\nlamp = near=new\nlamp = medium=kept\nlamp = far=more\n"
                       "filter = gpiochip1:4:5,50ms\nothers = take-over\nschemes = clock\nmains = 60\n");
}

TEST_F(DeviceCameraTest, ABoardFileSaysEverything)
{
    makeGeneration();
    remember("camera = 1d6b-0105-away\nlight = als\nlamp = near=old\n");
    support::writeFile("/tmp/home/file", "camera = 1d6b-0105-away  # the left one\nmains = 60\n");
    DeviceOptions options;
    options.boardFile = "/tmp/home/file";
    EXPECT_EQ(broughtUp(options), kAway + std::string(kNewBoard));
    EXPECT_EQ(board(), "camera = 1d6b-0105-away\nothers = put-back\nschemes = clock\nmains = 60\n");
    support::writeFile("/tmp/home/file", "camera = 1d6b-0105-away\nmains = 70\n");
    EXPECT_EQ(broughtUp(options), "/tmp/home/file: line 2: mains = 70: it is one of 50, 60");
}

TEST_F(DeviceCameraTest, WhatHoldsAtOnceOfABoardWaitsForNoDevice)
{
    makeGeneration();
    remember("camera = 1d6b-0105-away\n");
    DeviceOptions options = named(kCamera);
    options.others = devices::Others::leave;
    EXPECT_EQ(broughtUp(options), kAway);
    options.filter = devices::parseFilter("gpiochip1:4");
    EXPECT_EQ(broughtUp(options), kAway + std::string(kNewBoard));
}

TEST_F(DeviceCameraTest, AFolderOfAnotherCameraIsLeftAsItIs)
{
    makeGeneration();
    remember("camera = 1d6b-0105-away\n");
    const std::string other = "/tmp/home/sensorcam/devices/other";
    support::writeFile(other + "/board", "camera = other\n");
    EXPECT_EQ(broughtUp(named("other"), kState), std::string(kState) +
                                                     " holds the camera 1d6b-0105-away; other needs a "
                                                     "folder of its own (--state DIR)");
    EXPECT_EQ(board(), "camera = 1d6b-0105-away\n");
}

TEST_F(DeviceCameraTest, AFolderWithoutADeviceNeedsItsName)
{
    EXPECT_EQ(broughtUp(std::nullopt, "/tmp/home/new"),
              "/tmp/home/new holds no device's camera yet; name the device with --device or --board");
}

// ---- as a program ------------------------------------------------------------------------------------------

class DeviceDaemonTest : public DeviceCameraTest
{
protected:
    void SetUp() override
    {
        DeviceCameraTest::SetUp();
        makeGeneration();
        remember("camera = 1d6b-0105-away\n");
    }

    static support::Ended run(const std::vector<std::string>& words)
    {
        SensorcamRun sensorcam(SensorcamRun::Command{words});
        const int status = sensorcam.end();
        return {status, sensorcam.out, sensorcam.err};
    }

    // When it has answered somebody.
    static void awaitDaemon()
    {
        const auto limit = std::chrono::steady_clock::now() + support::kRunBound;
        while (!fs::exists(std::string(kState) + "/shell.socket") && std::chrono::steady_clock::now() < limit)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        const support::Ended asked = run({support::kSensorcam, "--state", kState, "exec", "set brightness=60", "save"});
        EXPECT_EQ(asked.status, 0) << asked.err;
    }
};

TEST_F(DeviceDaemonTest, ADaemonThatIsToldToEndHasSucceeded)
{
    for (const int signal : {SIGTERM, SIGINT})
    {
        SensorcamRun daemon(SensorcamRun::Command{{support::kSensorcam, "--state", kState, "daemon"}});
        awaitDaemon();
        daemon.sendSignal(signal);
        EXPECT_EQ(daemon.waitForEnd(), 0) << signal << daemon.err;
    }
    SensorcamRun daemon(SensorcamRun::Command{{support::kSensorcam, "--state", kState, "daemon"}});
    awaitDaemon();
    daemon.sendSignal(SIGHUP);
    EXPECT_EQ(daemon.waitForEnd(), 128 + SIGHUP) << daemon.err;
}

TEST_F(DeviceDaemonTest, InPlaceItWorksInATreeWithItsLinksAlone)
{
    const support::Ended here = run({support::kSensorcam, "--in-place", "--device", kCamera, "exec", "get brightness"});
    EXPECT_EQ(here.status, 3);
    EXPECT_EQ(here.err, "sensorcam: --in-place is for a device's camera only in a file tree of its own, in which /mnt "
                        "and /hd1 are links to /state/current/mnt and /state/current/hd1; without it sensorcam makes "
                        "one\n");
    const std::vector<std::string> inItsTree = app::sandboxCommand(
        kState, support::kSensorcam, {"--in-place", "exec", "get brightness"}, "", app::Tree::ofDevice);
    const support::Ended there = run(support::asUser(support::User::itself, inItsTree));
    EXPECT_EQ(there.status, 0);
    EXPECT_EQ(there.out, "KEY_BRIGHTNESS = 50\n");
    EXPECT_EQ(there.err, kAway);
    EXPECT_FALSE(app::hasDeviceLinks());
}

// ---- what docs/DEVICES.md says -----------------------------------------------------------------------------

// The lines of its blocks that begin so, without that and without a comment.
std::vector<std::string> shownLines(const std::string& begin)
{
    std::istringstream document(support::readFile(SENSORDLL_SOURCE_DIR "/docs/DEVICES.md"));
    std::vector<std::string> shown;
    bool isBlock = false;
    for (std::string line; std::getline(document, line);)
    {
        isBlock = line.rfind("```", 0) == 0 ? !isBlock : isBlock;
        if (isBlock && line.rfind(begin, 0) == 0 && line.rfind("```", 0) != 0)
        {
            line = line.substr(begin.size(), line.find("  #") - begin.size());
            shown.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
        }
    }
    return shown;
}

TEST(DevicesDocument, ItsCommandLinesAreTaken)
{
    const std::vector<std::string> lines = shownLines("./run ");
    EXPECT_EQ(lines.size(), 3u);
    for (const std::string& line : lines)
    {
        std::vector<std::string> words = {"sensorcam"};
        std::istringstream stream(line);
        for (std::string word; stream >> word;)
        {
            words.push_back(word);
        }
        std::vector<char*> pointers;
        for (std::string& word : words)
        {
            pointers.push_back(word.data());
        }
        int status = 0;
        EXPECT_TRUE(app::readOptions(static_cast<int>(pointers.size()), pointers.data(), status)) << line;
    }
}

TEST(DevicesDocument, ItsBoardFileIsTaken)
{
    std::string file;
    for (const std::string& line : shownLines(""))
    {
        file += line.find(" = ") != std::string::npos ? line + "\n" : "";
    }
    EXPECT_EQ(devices::textOf(devices::parseBoard(file)),
              "camera = /dev/video0\nlight = auto\nlamp = near=lamp:near\nfilter = gpiochip0:3,high\n"
              "others = put-back\nschemes = clock\nmains = 50\n");
}

TEST_F(DeviceDaemonTest, TheLinesThatTheDocumentHasForThePromptAreDone)
{
    std::vector<std::string> words = {support::kSensorcam, "--state", kState, "--speed", "20", "exec"};
    const std::vector<std::string> lines = shownLines("camera> ");
    EXPECT_EQ(lines.size(), 13u);
    words.insert(words.end(), lines.begin(), lines.end());
    const support::Ended done = run(words);
    EXPECT_EQ(done.status, 0) << done.out << done.err;
}

}  // namespace
