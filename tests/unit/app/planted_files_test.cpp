#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "tests/support/PrivateTree.h"
#include "tests/unit/app/Planted.h"
#include "tests/unit/app/SensorcamRun.h"

// Whatever is planted in a state folder, and wherever: sensorcam refuses it with its path, in a moment, and touches
// nothing outside.
namespace {

namespace fs = std::filesystem;
using support::has;
using support::SensorcamRun;
using support::User;
using support::Victims;

constexpr char kHome[] = "/tmp/home";
constexpr char kState[] = "/tmp/home/state";
constexpr int kRefusalSeconds = 5;  // what is promised; a sanitized build takes a fifth of one on a busy machine

const char* const kFolders[] = {
    "mnt",
    "hd1",
    "tmp",
    "mnt/mtd",
    "mnt/mtd/code",
    "mnt/mtd/code/config_file",
    "mnt/mtd/code/configX",
    "mnt/mtd/code/factory_setting",
    "mnt/mtd/sign",
    "mnt/mtd/log",
    "hd1/moduleConfig",
    "hd1/moduleConfig/sensorConfig",
    "hd1/moduleConfig/sensorConfig/style",
    "hd1/moduleConfig/sensorConfig/styleDiversity",
};

const char* const kFiles[] = {
    "lock",
    "model",
    "model.new",
    "history",
    "mnt/mtd/code/factory_setting/machineinfo.ini",
    "mnt/mtd/code/factory_setting/machineinfo.ini.new",
    "mnt/mtd/code/config_file/sensor0.cfg",
    "mnt/mtd/code/config_file/sensor0.cfg.new",
    "mnt/mtd/code/config_file/sensor0.cfg.new1",
    "mnt/mtd/code/config_file/sensor9.cfg",
    "mnt/mtd/code/config_file/snsversion.cfg",
    "mnt/mtd/code/config_file/snsversion.cfg.new",
    "mnt/mtd/sign/Debug.sign",
    "mnt/mtd/sign/Debug.sign.new",
    "mnt/mtd/log/SensorError.log",
    "mnt/mtd/log/SensorError.log.1",
    "hd1/moduleConfig/moduleConfig.xml",
    "hd1/moduleConfig/moduleConfig.xml.new",
    "hd1/moduleConfig/sensorConfig/style/Style.xml",
    "hd1/moduleConfig/sensorConfig/style/Style_dome.xml",
    "hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml",
    "hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_dome.xml",
    "tmp/merge_style.xml",
    "tmp/merge_style.xml.new",
};

class PlantedFilesTest : public support::PrivateTreeTest, public testing::WithParamInterface<User>
{
protected:
    using Plant = std::function<void(const std::string& path, const std::string& victim)>;

    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        fs::remove_all(kHome);
        fs::create_directories(kHome);
        support::giveTo(GetParam(), kHome);
        ASSERT_EQ(run({"set brightness=60", "save"}), 0) << errors_;
    }

    void TearDown() override
    {
        fs::remove_all(kHome);
        support::PrivateTreeTest::TearDown();
    }

    int run(const std::vector<std::string>& commands, int seconds = 60)
    {
        std::vector<std::string> words = {support::kSensorcam, "--state", kState, "--speed", "20", "exec"};
        words.insert(words.end(), commands.begin(), commands.end());
        SensorcamRun sensorcam(SensorcamRun::Command{support::asUser(GetParam(), words, seconds)});
        const int status = sensorcam.end();
        out_ = sensorcam.out;
        errors_ = sensorcam.err;
        return status;
    }

    // The file or folder at path, if there is one, gives way to what is planted and comes back afterwards.
    void expectRefusal(const std::string& path, const std::string& victim, const Plant& plant)
    {
        const std::string aside = std::string(kHome) + "/aside";
        const bool isThere = fs::exists(path);
        if (isThere)
        {
            fs::rename(path, aside);
        }
        plant(path, victim);
        const int status = run({"reset"}, kRefusalSeconds);
        EXPECT_EQ(status, 3) << path << "\n" << errors_;
        EXPECT_TRUE(has(errors_, "sensorcam: " + path + " ")) << path << "\n" << errors_;
        EXPECT_EQ(victims_.state(), before_) << path;
        fs::remove(path);
        if (isThere)
        {
            fs::rename(aside, path);
        }
    }

    void expectRefusalEverywhere(const Plant& plant, const std::string& victims)
    {
        for (const char* file : kFiles)
        {
            expectRefusal(std::string(kState) + "/" + file, victims + "/file", plant);
        }
        for (const char* folder : kFolders)
        {
            expectRefusal(std::string(kState) + "/" + folder, victims + "/folder", plant);
        }
        EXPECT_EQ(run({"get brightness"}), 0) << errors_;
        EXPECT_EQ(out_, "KEY_BRIGHTNESS = 60\n") << "the camera is as it was";
    }

    const Victims victims_;
    const std::string before_ = victims_.state();
    std::string out_;
    std::string errors_;
};

TEST_P(PlantedFilesTest, LinksThroughAnotherProcessAreRefused)
{
    const auto plant = [](const std::string& path, const std::string& victim) {
        fs::create_symlink(victim, path);
        support::giveTo(GetParam(), path);
    };
    expectRefusalEverywhere(plant, victims_.throughProc());
}

TEST_P(PlantedFilesTest, LinksToSharedMemoryAreRefused)
{
    const auto plant = [](const std::string& path, const std::string& victim) {
        fs::create_symlink(victim, path);
        support::giveTo(GetParam(), path);
    };
    expectRefusalEverywhere(plant, victims_.inMemory());
}

TEST_P(PlantedFilesTest, NamedPipesAreRefused)
{
    const auto plant = [](const std::string& path, const std::string&) {
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        support::giveTo(GetParam(), path);
    };
    expectRefusalEverywhere(plant, "");
}

TEST_P(PlantedFilesTest, SocketsAreRefused)
{
    const auto plant = [](const std::string& path, const std::string&) {
        support::makeSocket(path);
        support::giveTo(GetParam(), path);
    };
    expectRefusalEverywhere(plant, "");
}

TEST_P(PlantedFilesTest, SecondNamesOfOtherFilesAreRefused)
{
    const auto plant = [&](const std::string& path, const std::string&) {
        const std::string file = victims_.onDisk() + "/file";
        support::giveTo(GetParam(), file);
        ASSERT_EQ(link(file.c_str(), path.c_str()), 0);
    };
    expectRefusalEverywhere(plant, "");
}

TEST_P(PlantedFilesTest, ANameDoesNotReachTheTerminalAsAnOrder)
{
    const std::string link = std::string(kState) + "/\x1b[2Jx";
    fs::create_symlink("/nowhere", link);
    support::giveTo(GetParam(), link);
    EXPECT_EQ(run({"status"}), 3);
    EXPECT_TRUE(has(errors_, "sensorcam: " + std::string(kState) + "/\\x1b[2Jx is a symbolic link")) << errors_;
    EXPECT_FALSE(has(errors_, "\x1b")) << errors_;
}

// Only root can make them.
using PlantedByRootTest = PlantedFilesTest;
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PlantedByRootTest);

TEST_P(PlantedByRootTest, DevicesAreRefused)
{
    const auto plant = [](const std::string& path, const std::string&) {
        ASSERT_EQ(mknod(path.c_str(), S_IFCHR | 0600, makedev(1, 5)), 0);  // zero
        support::giveTo(GetParam(), path);
    };
    expectRefusalEverywhere(plant, "");
}

TEST_P(PlantedByRootTest, FilesAndFoldersOfOtherUsersAreRefused)
{
    const auto plant = [](const std::string& path, const std::string& victim) {
        if (has(victim, "folder"))
        {
            fs::create_directory(path);
        }
        else
        {
            support::writeFile(path, "6\n");
        }
        ASSERT_EQ(chown(path.c_str(), 12345, 12345), 0);
    };
    expectRefusalEverywhere(plant, "");
}

// A state folder may be root's.
using RootsFolderTest = PlantedFilesTest;
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RootsFolderTest);

TEST_P(RootsFolderTest, IsRefusedWhenAGroupMayPutSomethingIntoIt)
{
    ASSERT_EQ(chown(kState, 0, support::kOrdinaryUser), 0);
    fs::permissions(kState, fs::perms{0775});
    EXPECT_EQ(run({"status"}), 3);
    EXPECT_TRUE(has(errors_, std::string("sensorcam: ") + kState + " is another user's folder, in which a group"))
        << errors_;
    fs::permissions(kState, fs::perms{0755});
    EXPECT_EQ(run({"get brightness"}), 0) << errors_;
    EXPECT_EQ(errors_,
              std::string("sensorcam: no other process can join this camera; ") + kState + ": Permission denied\n");
}

std::string nameOfUser(const testing::TestParamInfo<User>& info)
{
    return support::nameOf(info.param);
}

INSTANTIATE_TEST_SUITE_P(As, PlantedFilesTest, testing::ValuesIn(support::users()), nameOfUser);
INSTANTIATE_TEST_SUITE_P(As, PlantedByRootTest,
                         testing::ValuesIn(support::users().size() > 1 ? support::users() : std::vector<User>{}),
                         nameOfUser);
INSTANTIATE_TEST_SUITE_P(As, RootsFolderTest,
                         testing::ValuesIn(support::users().size() > 1 ? std::vector<User>{User::ordinary}
                                                                       : std::vector<User>{}),
                         nameOfUser);

}  // namespace
