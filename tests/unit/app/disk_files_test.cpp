#include "app/box/DiskFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

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

TEST_F(DiskFilesTest, AFileIsReadWhole)
{
    const std::string content = std::string(100000, 'x') + '\0' + "y";
    support::writeFile(kFile, content);
    EXPECT_EQ(app::readFile(kFile, content.size()), content);
    EXPECT_EQ(app::readExistingFile(kFile, content.size()), content);
}

TEST_F(DiskFilesTest, AMissingFileIsNothingOrAFailure)
{
    EXPECT_FALSE(app::readFile(kFile, 10));
    EXPECT_EQ(failureOf([] { app::readExistingFile(kFile, 10); }), "cannot read /mnt/mtd/file: there is no such file");
}

TEST_F(DiskFilesTest, AFileThatIsTooLongIsNotRead)
{
    support::writeFile(kFile, "12345678901");
    EXPECT_EQ(failureOf([] { app::readFile(kFile, 10); }), "cannot read /mnt/mtd/file: it is longer than 10 bytes");
    fs::resize_file(kFile, std::uintmax_t{1} << 42);
    EXPECT_NE(failureOf([] { app::readFile(kFile, app::kDocumentMax); }), "");
}

TEST_F(DiskFilesTest, WhatIsNoPlainFileIsNotRead)
{
    ASSERT_EQ(mkfifo(kFile, 0600), 0);
    for (const char* path : {kFile, "/mnt/mtd/log", "/dev/zero"})
    {
        EXPECT_EQ(failureOf([&] { app::readFile(path, 10); }),
                  "cannot read " + std::string(path) + ": it is no plain file");
    }
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

}  // namespace
