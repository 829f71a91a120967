#include "app/box/StateFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>

#include "app/Failure.h"
#include "app/Models.h"
#include "app/box/Provision.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/Planted.h"

namespace {

class StateFolderTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        for (const char* folder : {"/tmp/camera", "/tmp/camera2", "/tmp/board"})
        {
            std::filesystem::remove_all(folder);
        }
    }
};

using ProvisionTest = StateFolderTest;

std::string failureOf(const std::function<void()>& body)
{
    try
    {
        body();
    }
    catch (const app::Failure& failure)
    {
        return failure.what();
    }
    catch (const camera::Failure& failure)
    {
        return app::failureText(failure);
    }
    return "";
}

TEST_F(StateFolderTest, ASecondCameraOnTheSameFolderIsRefused)
{
    {
        const app::StateFolder first("/tmp/camera");
        const std::string text = failureOf([] { const app::StateFolder second("/tmp/camera"); });
        EXPECT_NE(text.find("already running on /tmp/camera"), std::string::npos) << text;
        EXPECT_NE(text.find(std::to_string(getpid())), std::string::npos) << text;
        const app::StateFolder beside("/tmp/camera2");
    }
    EXPECT_EQ(failureOf([] { const app::StateFolder again("/tmp/camera"); }), "");
}

TEST_F(StateFolderTest, AFolderKeepsItsModel)
{
    app::StateFolder state("/tmp/camera");
    EXPECT_FALSE(state.model());
    EXPECT_EQ(state.chooseModel(std::nullopt), "fixed");
    EXPECT_EQ(state.chooseModel("dome"), "dome");
    state.rememberModel("dome");
    EXPECT_EQ(state.chooseModel(std::nullopt), "dome");
    EXPECT_EQ(state.chooseModel("dome"), "dome");
    const std::string text = failureOf([&] { state.chooseModel("lpr"); });
    EXPECT_NE(text.find("holds a dome camera; a licence-plate camera needs a folder of its own"), std::string::npos)
        << text;
}

TEST_F(StateFolderTest, ADevicesFolderIsForNoOtherCamera)
{
    app::StateFolder state("/tmp/camera");
    EXPECT_EQ(state.chooseModel("device"), "device");
    state.rememberModel("device");
    EXPECT_EQ(app::rememberedModel("/tmp/camera"), "device");
    EXPECT_EQ(app::rememberedModel("/tmp/nowhere"), std::nullopt);
    const std::string text = failureOf([&] { state.chooseModel("dome"); });
    EXPECT_NE(text.find("holds a device's camera; a dome camera needs a folder of its own"), std::string::npos) << text;
}

TEST_F(StateFolderTest, AnUnknownRememberedModelIsAFailure)
{
    app::StateFolder state("/tmp/camera");
    support::writeFile("/tmp/camera/model", "bullet\n");
    EXPECT_NE(failureOf([&] { state.chooseModel(std::nullopt); }).find("'bullet'"), std::string::npos);
}

TEST_F(StateFolderTest, TheDefaultFollowsTheUsersStateFolder)
{
    setenv("XDG_STATE_HOME", "/tmp/states", 1);
    EXPECT_EQ(app::defaultStateFolder("lpr"), "/tmp/states/sensorcam/lpr");
    setenv("XDG_STATE_HOME", "relative", 1);
    setenv("HOME", "/tmp/me", 1);
    EXPECT_EQ(app::defaultStateFolder("lpr"), "/tmp/me/.local/state/sensorcam/lpr");
    unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(app::defaultStateFolder("lpr"), "/tmp/me/.local/state/sensorcam/lpr");
}

TEST_F(StateFolderTest, AFileInItsPlaceIsAFailure)
{
    support::writeFile("/tmp/camera", "x");
    EXPECT_NE(failureOf([] { const app::StateFolder state("/tmp/camera"); }).find("/tmp/camera"), std::string::npos);
}

TEST_F(StateFolderTest, ALinkInPlaceOfAFileOrFolderOfTheCameraIsRefused)
{
    for (const char* name : {"lock", "model", "history", "mnt", "hd1", "tmp"})
    {
        std::filesystem::remove_all("/tmp/camera");
        std::filesystem::create_directories("/tmp/camera");
        const std::string link = std::string("/tmp/camera/") + name;
        std::filesystem::create_symlink("/tmp/elsewhere", link);
        const std::string text = failureOf([] { const app::StateFolder state("/tmp/camera"); });
        EXPECT_NE(text.find(link + " is a symbolic link"), std::string::npos) << text;
        EXPECT_FALSE(std::filesystem::exists("/tmp/elsewhere")) << name;
    }
}

TEST_F(StateFolderTest, AFolderThatIsRefusedIsLeftAsItIs)
{
    std::filesystem::create_directories("/tmp/camera");
    std::filesystem::create_symlink("/tmp/elsewhere", "/tmp/camera/x");
    EXPECT_NE(failureOf([] { const app::StateFolder state("/tmp/camera"); }), "");
    EXPECT_FALSE(std::filesystem::exists("/tmp/camera/lock"));
    support::writeFile("/tmp/camera/lock", "12345\n");
    EXPECT_NE(failureOf([] { const app::StateFolder state("/tmp/camera"); }), "");
    EXPECT_EQ(support::readFile("/tmp/camera/lock"), "12345\n");
    std::filesystem::remove("/tmp/camera/x");
    EXPECT_EQ(failureOf([] { const app::StateFolder state("/tmp/camera"); }), "") << "not locked either";
}

TEST_F(StateFolderTest, OfAnOlderProcessNumberNothingStaysInTheLockFile)
{
    support::writeFile("/tmp/camera/lock", "12345678901234567890\nand more\n");
    const app::StateFolder state("/tmp/camera");
    EXPECT_EQ(support::readFile("/tmp/camera/lock"), std::to_string(getpid()) + "\n");
}

TEST_F(StateFolderTest, NobodyElseMayReadTheLockFileAndSoLockIt)
{
    support::writeFile("/tmp/camera/lock", "");
    std::filesystem::permissions("/tmp/camera/lock", std::filesystem::perms{0644});
    const app::StateFolder state("/tmp/camera");
    EXPECT_EQ(std::filesystem::status("/tmp/camera/lock").permissions(), std::filesystem::perms{0600});
}

TEST_F(StateFolderTest, AModelFileThatCannotBeReadIsAFailure)
{
    const app::StateFolder state("/tmp/camera");
    support::writeFile("/tmp/camera/model", "");
    std::filesystem::resize_file("/tmp/camera/model", std::uintmax_t{1} << 32);
    EXPECT_NE(failureOf([&] { state.model(); }).find("/tmp/camera/model: it is longer than"), std::string::npos);
    std::filesystem::remove("/tmp/camera/model");
    ASSERT_EQ(mkfifo("/tmp/camera/model", 0600), 0);
    EXPECT_NE(failureOf([&] { state.model(); }).find("/tmp/camera/model: it is not a regular file"), std::string::npos);
}

TEST_F(StateFolderTest, AFolderThatIsReachedThroughALinkIsAllowed)
{
    std::filesystem::create_directories("/tmp/camera2");
    std::filesystem::create_symlink("/tmp/camera2", "/tmp/camera");
    EXPECT_EQ(failureOf([] { const app::StateFolder state("/tmp/camera"); }), "");
    std::filesystem::remove("/tmp/camera");
}

TEST_F(StateFolderTest, OnABoardNoOtherFolderIsSuggested)
{
    app::StateFolder first("/tmp/camera", app::StateFolder::Kind::ofBoard);
    first.rememberModel("dome");
    const std::string twice =
        failureOf([] { const app::StateFolder second("/tmp/camera", app::StateFolder::Kind::ofBoard); });
    EXPECT_NE(twice.find("already running"), std::string::npos) << twice;
    EXPECT_EQ(twice.find("--state"), std::string::npos) << twice;
    const std::string other = failureOf([&] { first.chooseModel("lpr"); });
    EXPECT_NE(other.find("needs a board of its own"), std::string::npos) << other;
}

TEST_F(StateFolderTest, RootIsToldHowToComeIntoAnotherUsersFolder)
{
    if (support::users().size() == 1)  // only root can give a folder away
    {
        return;
    }
    std::filesystem::create_directories("/tmp/camera");
    support::giveTo(support::User::ordinary, "/tmp/camera");
    EXPECT_EQ(
        failureOf([] { const app::StateFolder state("/tmp/camera"); }),
        "the state folder /tmp/camera belongs to another user, nobody; root can be that one: runuser -u nobody -- "
        "sensorcam --state /tmp/camera");
    ASSERT_EQ(chown("/tmp/camera", 12345, 12345), 0);
    EXPECT_EQ(failureOf([] { const app::StateFolder state("/tmp/camera"); }),
              "the state folder /tmp/camera belongs to another user");
    EXPECT_TRUE(std::filesystem::is_empty("/tmp/camera"));
}

const std::string kShare = SENSORDLL_SOURCE_DIR "/share";

TEST_F(ProvisionTest, EveryModelFindsItsDocuments)
{
    for (const std::string model : app::kModelNames)
    {
        const std::string root = "/tmp/" + model;
        app::provision(kShare, model, root, app::Documents::refresh);
        EXPECT_EQ(support::readFile(root + support::kMachineInfoFile),
                  support::readFile(kShare + "/models/" + model + "/machineinfo.ini"));
        for (const char* file : {support::kModuleConfigFile, support::kStyleFile, support::kDomeStyleFile,
                                 support::kDiversityFile, support::kDomeDiversityFile})
        {
            EXPECT_TRUE(support::fileExists(root + file)) << file;
        }
        for (const char* folder : {"/mnt/mtd/code/config_file", "/mnt/mtd/sign", "/mnt/mtd/log"})
        {
            EXPECT_TRUE(support::fileExists(root + folder)) << folder;
        }
    }
}

TEST_F(ProvisionTest, ARefreshReplacesDocumentsAndKeepsTheUsersFiles)
{
    app::provision(kShare, "fixed", "/tmp/camera", app::Documents::refresh);
    support::writeFile("/tmp/camera" + std::string(support::kStyleFile), "old");
    support::writeFile("/tmp/camera/mnt/mtd/code/config_file/sensor0.cfg", "mine");
    support::writeFile("/tmp/camera/mnt/mtd/sign/Debug.sign", "6\n");
    app::provision(kShare, "fixed", "/tmp/camera", app::Documents::refresh);
    EXPECT_NE(support::readFile("/tmp/camera" + std::string(support::kStyleFile)), "old");
    EXPECT_EQ(support::readFile("/tmp/camera/mnt/mtd/code/config_file/sensor0.cfg"), "mine");
    EXPECT_EQ(support::readFile("/tmp/camera/mnt/mtd/sign/Debug.sign"), "6\n");
}

TEST_F(ProvisionTest, AGiantOrANamedPipeInPlaceOfADocumentIsReplaced)
{
    const std::string giant = "/tmp/camera" + std::string(support::kModuleConfigFile);
    const std::string pipe = "/tmp/camera" + std::string(support::kMachineInfoFile);
    support::writeFile(giant, "");
    std::filesystem::resize_file(giant, std::uintmax_t{1} << 32);
    std::filesystem::create_directories(std::filesystem::path(pipe).parent_path());
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    app::provision(kShare, "fixed", "/tmp/camera", app::Documents::refresh);
    EXPECT_EQ(support::readFile(giant), support::readFile(kShare + "/models/fixed/moduleConfig.xml"));
    EXPECT_EQ(support::readFile(pipe), support::readFile(kShare + "/models/fixed/machineinfo.ini"));
}

TEST_F(ProvisionTest, ALinkInPlaceOfAStagedDocumentIsReplaced)
{
    const std::string staged = "/tmp/camera" + std::string(support::kModuleConfigFile) + ".new";
    support::writeFile("/tmp/camera2", "untouched");
    std::filesystem::create_directories(std::filesystem::path(staged).parent_path());
    std::filesystem::create_symlink("/tmp/camera2", staged);
    app::provision(kShare, "fixed", "/tmp/camera", app::Documents::refresh);
    EXPECT_EQ(support::readFile("/tmp/camera2"), "untouched");
    EXPECT_FALSE(std::filesystem::is_symlink("/tmp/camera" + std::string(support::kModuleConfigFile)));
}

TEST_F(ProvisionTest, InPlaceOnlyWhatIsMissingIsWritten)
{
    support::writeFile("/tmp/board" + std::string(support::kStyleFile), "the board's own");
    app::provision(kShare, "fixed", "/tmp/board", app::Documents::keepExisting);
    EXPECT_EQ(support::readFile("/tmp/board" + std::string(support::kStyleFile)), "the board's own");
    EXPECT_TRUE(support::fileExists("/tmp/board" + std::string(support::kDiversityFile)));
}

TEST_F(ProvisionTest, MissingDocumentsAreAFailure)
{
    EXPECT_EQ(failureOf([] { app::provision("/tmp/nothing", "fixed", "/tmp/x", app::Documents::refresh); }),
              "cannot read /tmp/nothing/models/fixed/machineinfo.ini: there is no such file");
}

}  // namespace
