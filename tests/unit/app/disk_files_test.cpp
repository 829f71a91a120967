#include "app/box/DiskFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "app/Failure.h"
#include "tests/support/PrivateTree.h"

namespace {

namespace fs = std::filesystem;

constexpr char kFile[] = "/mnt/mtd/file";

using DiskFilesTest = support::PrivateTreeTest;

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
    return "";
}

TEST_F(DiskFilesTest, WhateverStandsInPlaceOfTheStagedFileIsReplacedAndNotFollowed)
{
    const std::string staged = std::string(kFile) + ".new";
    support::writeFile("/mnt/mtd/elsewhere", "untouched");
    fs::create_symlink("/mnt/mtd/elsewhere", staged);
    app::replaceFile(kFile, "content");
    ASSERT_EQ(mkfifo(staged.c_str(), 0600), 0);
    app::replaceFile(kFile, "later");
    EXPECT_EQ(support::readFile(kFile), "later");
    EXPECT_EQ(support::readFile("/mnt/mtd/elsewhere"), "untouched");
    EXPECT_FALSE(fs::exists(fs::symlink_status(staged)));
}

TEST_F(DiskFilesTest, AFileThatCannotBeStagedIsAFailure)
{
    fs::create_directories(std::string(kFile) + ".new/full");
    support::writeFile(kFile, "old");
    EXPECT_EQ(failureOf([] { app::replaceFile(kFile, "new"); }), "cannot write /mnt/mtd/file");
    EXPECT_EQ(support::readFile(kFile), "old");
}

TEST_F(DiskFilesTest, WithoutAStandardInputItsDescriptorServes)
{
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    EXPECT_EQ(failureOf([] { app::replaceFile(kFile, "content"); }), "");
    dup2(input, STDIN_FILENO);
    close(input);
    EXPECT_EQ(support::readFile(kFile), "content");
}

TEST_F(DiskFilesTest, AFolderInWhosePlaceAFileStandsIsAFailure)
{
    support::writeFile(kFile, "old");
    EXPECT_EQ(failureOf([] { app::makeFolders(std::string(kFile) + "/a/b"); }),
              "cannot make the folder /mnt/mtd/file/a/b: File exists");
    EXPECT_EQ(support::readFile(kFile), "old");
}

TEST_F(DiskFilesTest, AFileInWhosePlaceAFolderStandsIsAFailure)
{
    fs::create_directories(kFile);
    EXPECT_EQ(failureOf([] { app::replaceFile(kFile, "new"); }), "cannot write /mnt/mtd/file");
}

}  // namespace
