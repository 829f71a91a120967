#include "app/box/OwnFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "app/Failure.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/Planted.h"

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "/mnt/mtd/camera";

std::string refusal()
{
    try
    {
        app::requireOwnFiles(kFolder);
    }
    catch (const app::Failure& failure)
    {
        return failure.what();
    }
    return "";
}

class OwnFilesTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        support::writeFile(std::string(kFolder) + "/one/two/three/file", "content");
        support::writeFile(std::string(kFolder) + "/file", "content");
    }

    // Tried at the top and below it.
    const std::string places_[2] = {std::string(kFolder) + "/it", std::string(kFolder) + "/one/two/three/it"};
};

TEST_F(OwnFilesTest, PlainFilesAndFoldersAreFine)
{
    EXPECT_EQ(refusal(), "");
}

TEST_F(OwnFilesTest, TheLinkToADevicesDocumentsIsFineAtTheTopAlone)
{
    const std::string link = std::string(kFolder) + "/current";
    for (const std::string name : {"current", "current.new"})  // one that was cut off before it came into force
    {
        fs::create_symlink("generations/17", std::string(kFolder) + "/" + name);
        EXPECT_EQ(refusal(), "") << name;
    }
    for (const std::string target : {"generations/", "generations/1/..", "generations/../..", "/generations/1", "one",
                                     "generations/x", "/etc", "generations/1/mnt"})
    {
        fs::remove(link);
        fs::create_symlink(target, link);
        EXPECT_NE(refusal().find(link + " is a symbolic link"), std::string::npos) << target;
    }
    fs::remove(link);
    fs::create_symlink("generations/1", std::string(kFolder) + "/one/current");
    EXPECT_NE(refusal().find("/one/current is a symbolic link"), std::string::npos) << refusal();
    fs::remove(std::string(kFolder) + "/one/current");
    fs::create_symlink("generations/1", std::string(kFolder) + "/newest");
    EXPECT_NE(refusal().find("/newest is a symbolic link"), std::string::npos) << refusal();
}

TEST_F(OwnFilesTest, AFolderThatIsMissingIsRefused)
{
    fs::remove_all(kFolder);
    EXPECT_NE(refusal().find("cannot use the state folder /mnt/mtd/camera"), std::string::npos) << refusal();
}

TEST_F(OwnFilesTest, LinksAreRefusedWhateverTheyPointTo)
{
    for (const std::string& place : places_)
    {
        for (const char* target : {"file", "/etc", "/nowhere", "."})
        {
            fs::create_symlink(target, place);
            EXPECT_EQ(refusal(), place + " is a symbolic link and would lead the camera out of its folder; remove it");
            fs::remove(place);
        }
    }
}

TEST_F(OwnFilesTest, NamedPipesAndSocketsAreRefused)
{
    for (const std::string& place : places_)
    {
        ASSERT_EQ(mkfifo(place.c_str(), 0600), 0);
        EXPECT_EQ(refusal(), place + " is a named pipe, and the camera would wait for its other end; remove it");
        fs::remove(place);
        support::makeSocket(place);
        EXPECT_EQ(refusal(), place + " is a socket, which no camera makes; remove it");
        fs::remove(place);
    }
}

TEST_F(OwnFilesTest, OnlyACamerasOwnSocketsMayBeThereAndOnlyInItsFolder)
{
    for (const std::string name : {"/camera.socket", "/shell.socket"})
    {
        support::makeSocket(kFolder + name);
        EXPECT_EQ(refusal(), "");
        fs::remove(kFolder + name);
        support::makeSocket(kFolder + ("/one" + name));
        EXPECT_EQ(refusal(), kFolder + ("/one" + name) + " is a socket, which no camera makes; remove it");
        fs::remove(kFolder + ("/one" + name));
    }
}

TEST_F(OwnFilesTest, AFileWithASecondNameIsRefused)
{
    support::writeFile("/mnt/mtd/elsewhere", "somebody's");
    for (const std::string& place : places_)
    {
        fs::create_hard_link("/mnt/mtd/elsewhere", place);
        EXPECT_NE(refusal().find(place + " has a second name"), std::string::npos) << refusal();
        fs::remove(place);
    }
}

TEST_F(OwnFilesTest, AFolderInWhichEverybodyMayPutSomethingIsRefused)
{
    for (const char* folder : {kFolder, "/mnt/mtd/camera/one/two/three"})
    {
        ASSERT_EQ(chmod(folder, 01777), 0);
        EXPECT_NE(refusal().find(std::string(folder) + " is a folder in which everybody"), std::string::npos)
            << refusal();
        ASSERT_EQ(chmod(folder, 0775), 0);
        EXPECT_EQ(refusal(), "");
    }
}

TEST_F(OwnFilesTest, AFolderDeeperThanACamerasIsRefused)
{
    std::string path = kFolder;
    for (int depth = 0; depth < 16; ++depth)
    {
        path += "/x";
        ASSERT_TRUE(fs::create_directory(path));
    }
    EXPECT_EQ(refusal(), "");
    ASSERT_TRUE(fs::create_directory(path + "/x"));
    EXPECT_EQ(refusal(), path + "/x lies deeper than a camera's files can; remove it");
}

TEST_F(OwnFilesTest, AFolderFullerThanACamerasIsRefused)
{
    for (int i = 0; i < 10000; ++i)
    {
        close(creat((places_[1] + std::to_string(i)).c_str(), 0600));
    }
    EXPECT_EQ(refusal(), "/mnt/mtd/camera holds more than 10000 files, and cannot be a camera's");
}

TEST_F(OwnFilesTest, OneFileCanBeLookedAtAlone)
{
    EXPECT_NO_THROW(app::requireOwnFile("/mnt/mtd/camera/file"));
    EXPECT_NO_THROW(app::requireOwnFile("/mnt/mtd/camera/missing"));
    fs::create_symlink("/nowhere", places_[0]);
    EXPECT_THROW(app::requireOwnFile(places_[0]), app::Failure);
}

}  // namespace
