#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "KSFile.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/platform/ChildProcess.h"
#include "tests/unit/platform/DiskCalls.h"

namespace {

using platform_tests::AtEachLock;
using platform_tests::awaitChild;
using platform_tests::DiskCalls;
using platform_tests::NoLocks;
using platform_tests::startChild;
using namespace support;
using Names = std::vector<std::string>;

constexpr unsigned char kTruncate = KSFile::modeWrite | KSFile::modeTruncate;
constexpr char kFolder[] = "/mnt/mtd/code/config_file";
constexpr char kPath[] = "/mnt/mtd/code/config_file/sensor0.cfg";
const Names kAlone{"sensor0.cfg"};

using StagedFileOrderTest = PrivateTreeTest;

bool save(const std::string& bytes)
{
    KSFile file;
    return file.open(kPath, kTruncate) &&
           file.write(bytes.data(), static_cast<unsigned>(bytes.size())) == static_cast<int>(bytes.size()) &&
           file.close();
}

// The calls of a save, and whether it succeeded.
Names callsOfSave(bool& saved, DiskCalls::Mishap mishap = DiskCalls::Mishap::none, int nth = 0, int error = 0)
{
    const DiskCalls calls(mishap, nth, error);
    saved = save("new");
    return calls.names();
}

// What root may do whatever the mode bits say it then may not.
void dropPrivileges()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[2] = {};
    syscall(SYS_capset, &header, none);
}

// True when work is, in a process to which the mode bits apply.
bool asAnybody(const std::function<bool()>& work)
{
    const int status = awaitChild(startChild([&] {
        dropPrivileges();
        _exit(work() ? 0 : 1);
    }));
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// ---- order -------------------------------------------------------------------------------------------------

TEST_F(StagedFileOrderTest, TheFileIsOnTheDiskBeforeItTakesItsPlaceAndTheFolderAfterwards)
{
    writeFile(kPath, "old");
    bool saved = false;
    EXPECT_EQ(callsOfSave(saved), (Names{"fchmod", "fsync file", "rename", "fsync folder"}));
    EXPECT_TRUE(saved);
    EXPECT_EQ(readFile(kPath), "new");
}

TEST_F(StagedFileOrderTest, NothingIsRenamedThatIsNotOnTheDisk)
{
    for (const int error : {ENOSPC, EIO})
    {
        writeFile(kPath, "old");
        bool saved = true;
        EXPECT_EQ(callsOfSave(saved, DiskCalls::Mishap::failure, 2, error), (Names{"fchmod", "fsync file", "unlink"}));
        EXPECT_FALSE(saved);
        EXPECT_EQ(readFile(kPath), "old");
        EXPECT_EQ(filesIn(kFolder), kAlone);
    }
}

TEST_F(StagedFileOrderTest, AFailedRenameLeavesTheOldFileAlone)
{
    for (const int error : {ENOSPC, EIO})
    {
        writeFile(kPath, "old");
        bool saved = true;
        EXPECT_EQ(callsOfSave(saved, DiskCalls::Mishap::failure, 3, error),
                  (Names{"fchmod", "fsync file", "rename", "unlink"}));
        EXPECT_FALSE(saved);
        EXPECT_EQ(readFile(kPath), "old");
        EXPECT_EQ(filesIn(kFolder), kAlone);
    }
}

TEST_F(StagedFileOrderTest, AFolderThatIsNotOnTheDiskIsAFailureAlthoughTheNewFileIsThere)
{
    for (const int error : {ENOSPC, EIO})
    {
        writeFile(kPath, "old");
        bool saved = true;
        callsOfSave(saved, DiskCalls::Mishap::failure, 4, error);
        EXPECT_FALSE(saved);
        EXPECT_EQ(readFile(kPath), "new");
        EXPECT_EQ(filesIn(kFolder), kAlone);
    }
}

TEST_F(StagedFileOrderTest, AFolderThatHasNothingToBringToADiskIsNoFailure)
{
    bool saved = false;
    EXPECT_EQ(callsOfSave(saved, DiskCalls::Mishap::failure, 3, EINVAL),
              (Names{"fsync file", "rename", "fsync folder"}));
    EXPECT_TRUE(saved);
}

TEST_F(StagedFileOrderTest, ACutAtAnyCallLeavesTheOldFileOrTheNewOneAndTheNextSaveCleansUp)
{
    Names seen;
    bool wasCut = true;
    for (int nth = 1; wasCut; ++nth)
    {
        writeFile(kPath, "the old file");
        const int status = awaitChild(startChild([=] {
            const DiskCalls calls(DiskCalls::Mishap::kill, nth);
            save("new");
        }));
        wasCut = WIFSIGNALED(status);
        seen.push_back(readFile(kPath));
        EXPECT_TRUE(seen.back() == "the old file" || seen.back() == "new") << nth;
        EXPECT_TRUE(save("next"));
        EXPECT_EQ(readFile(kPath), "next");
        EXPECT_EQ(filesIn(kFolder), kAlone);
    }
    EXPECT_EQ(seen, (Names{"the old file", "the old file", "the old file", "new", "new"}));
}

// ---- remains -----------------------------------------------------------------------------------------------

TEST_F(StagedFileOrderTest, RemainsUnderEveryNameAreRemoved)
{
    for (const char* end : {".new1", ".new5", ".new9"})
    {
        writeFile(kPath + std::string(end), "half");
    }
    writeFile(kPath + std::string(".new10"), "nobody's");
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(filesIn(kFolder), (Names{"sensor0.cfg", "sensor0.cfg.new10"}));
}

TEST_F(StagedFileOrderTest, TheOtherNamesOfLivingWritersAreNotRemoved)
{
    KSFile writers[3];
    for (KSFile& writer : writers)
    {
        ASSERT_TRUE(writer.open(kPath, kTruncate));
    }
    EXPECT_EQ(writers[1].write("second", 6), 6);
    EXPECT_TRUE(writers[0].close());
    EXPECT_TRUE(save("late"));
    EXPECT_TRUE(writers[1].close());
    EXPECT_EQ(readFile(kPath), "second");
    EXPECT_TRUE(writers[2].close());
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

TEST_F(StagedFileOrderTest, WithoutLocksNothingIsOpenedAndNothingLeft)
{
    writeFile(kPath, "old");
    for (const int error : {ENOLCK, EOPNOTSUPP})
    {
        const NoLocks none(error);
        KSFile file;
        EXPECT_FALSE(file.open(kPath, kTruncate));
        EXPECT_EQ(filesIn(kFolder), kAlone);
    }
    EXPECT_EQ(readFile(kPath), "old");
}

// ---- descriptors -------------------------------------------------------------------------------------------

std::size_t openDescriptors()
{
    return filesIn("/proc/self/fd").size();
}

TEST_F(StagedFileOrderTest, SavingBesideLivingWritersLeavesNothingOpen)
{
    KSFile writers[3];
    for (KSFile& writer : writers)
    {
        ASSERT_TRUE(writer.open(kPath, kTruncate));
    }
    const std::size_t before = openDescriptors();
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(StagedFileOrderTest, ASaveThatFindsEveryNameTakenLeavesNothingOpen)
{
    KSFile writers[10];
    for (KSFile& writer : writers)
    {
        ASSERT_TRUE(writer.open(kPath, kTruncate));
    }
    const std::size_t before = openDescriptors();
    EXPECT_FALSE(save("new"));
    EXPECT_EQ(openDescriptors(), before);
    for (KSFile& writer : writers)
    {
        EXPECT_TRUE(writer.close());
    }
}

TEST_F(StagedFileOrderTest, ASaveThatFailsAtAnyCallLeavesNothingOpen)
{
    writeFile(kPath, "old");
    const std::size_t before = openDescriptors();
    bool saved = false;
    for (int nth = 1; nth <= 4; ++nth)
    {
        callsOfSave(saved, DiskCalls::Mishap::failure, nth, EIO);
        EXPECT_EQ(openDescriptors(), before) << nth;
    }
    {
        const NoLocks none(ENOLCK);
        EXPECT_FALSE(save("new"));
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(StagedFileOrderTest, RemainsThatAreRemovedAreClosed)
{
    for (const char* end : {".new", ".new1", ".new9"})
    {
        writeFile(kPath + std::string(end), "half");
    }
    const std::size_t before = openDescriptors();
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

// ---- rights ------------------------------------------------------------------------------------------------

TEST_F(StagedFileOrderTest, AFileThatMayNotBeWrittenIsNotReplaced)
{
    writeFile(kPath, "old");
    ASSERT_EQ(chmod(kPath, 0444), 0);
    EXPECT_FALSE(asAnybody([] { return KSFile().open(kPath, kTruncate); }));
    EXPECT_EQ(filesIn(kFolder), kAlone);
    ASSERT_EQ(chmod(kPath, 0644), 0);
    EXPECT_TRUE(asAnybody([] { return save("new"); }));
    EXPECT_EQ(readFile(kPath), "new");
}

TEST_F(StagedFileOrderTest, AFolderThatCannotBeBroughtToTheDiskIsNotTouched)
{
    writeFile(kPath, "old");
    ASSERT_EQ(chmod(kFolder, 0300), 0);
    EXPECT_FALSE(asAnybody([] { return save("new"); }));
    ASSERT_EQ(chmod(kFolder, 0755), 0);
    EXPECT_EQ(readFile(kPath), "old");
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

// Who believed that there is none would put the factory's values in the place of what a user saved.
TEST_F(StagedFileOrderTest, AFileThatCannotBeLookedForCountsAsThere)
{
    writeFile(kPath, "old");
    ASSERT_EQ(chmod(kFolder, 0), 0);
    EXPECT_TRUE(asAnybody([] { return KSFile::exists(kPath); }));
    ASSERT_EQ(chmod(kFolder, 0755), 0);
}

// Whoever could open it before it is locked could lock it first, under every one of its names.
TEST_F(StagedFileOrderTest, NobodyElseMayOpenAReplacementBeforeItIsLocked)
{
    struct stat status = {};
    std::vector<mode_t> modes;
    writeFile(kPath, "old");
    ASSERT_EQ(chmod(kPath, 0644), 0);
    {
        const AtEachLock watch([&](int handle) {
            EXPECT_EQ(fstat(handle, &status), 0);
            modes.push_back(status.st_mode & 07777);
        });
        EXPECT_TRUE(save("new"));
    }
    EXPECT_EQ(modes, std::vector<mode_t>{0600});
    ASSERT_EQ(stat(kPath, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644u);
}

// ---- links -------------------------------------------------------------------------------------------------

TEST_F(StagedFileOrderTest, ALinkToNothingStaysALinkAndItsTargetAppears)
{
    struct stat status = {};
    ASSERT_EQ(mkdir("/mnt/mtd/code/config_old", 0755), 0);
    ASSERT_EQ(symlink("../middle", kPath), 0);
    ASSERT_EQ(symlink("/mnt/mtd/code/config_old/end.cfg", "/mnt/mtd/code/middle"), 0);
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(readFile("/mnt/mtd/code/config_old/end.cfg"), "new");
    EXPECT_EQ(filesIn("/mnt/mtd/code/config_old"), Names{"end.cfg"});
    for (const char* link : {kPath, "/mnt/mtd/code/middle"})
    {
        ASSERT_EQ(lstat(link, &status), 0);
        EXPECT_TRUE(S_ISLNK(status.st_mode)) << link;
    }
}

TEST_F(StagedFileOrderTest, ALinkThatLeadsNowhereCannotBeOpened)
{
    struct stat status = {};
    for (const char* target : {"sensor0.cfg", "no/such/folder/file", "/"})
    {
        ASSERT_EQ(symlink(target, kPath), 0);
        KSFile file;
        EXPECT_FALSE(file.open(kPath, kTruncate)) << target;
        ASSERT_EQ(lstat(kPath, &status), 0);
        EXPECT_TRUE(S_ISLNK(status.st_mode));
        EXPECT_EQ(filesIn(kFolder), kAlone);
        removeFile(kPath);
    }
}

// ---- names and interruptions -------------------------------------------------------------------------------

TEST_F(StagedFileOrderTest, WhatACrashLeftMakesRoomForTheNextStagedFileOfThatName)
{
    writeFile(kPath + std::string(".new"), "half");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(filesIn(kFolder), Names{"sensor0.cfg.new"});
    EXPECT_EQ(file.getLength(), 0);
}

TEST_F(StagedFileOrderTest, ACallThatASignalInterruptedIsMadeAgain)
{
    bool saved = false;
    EXPECT_EQ(callsOfSave(saved, DiskCalls::Mishap::failure, 1, EINTR),
              (Names{"fsync file", "fsync file", "rename", "fsync folder"}));
    EXPECT_TRUE(saved);
    EXPECT_EQ(readFile(kPath), "new");
}

TEST_F(StagedFileOrderTest, ALinkUnderAStagedNameIsNoLeftoverWhateverItLeadsTo)
{
    writeFile("/mnt/mtd/code/elsewhere", "somebody's");
    ASSERT_EQ(symlink("/mnt/mtd/code/elsewhere", (kPath + std::string(".new")).c_str()), 0);
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(filesIn(kFolder), (Names{"sensor0.cfg", "sensor0.cfg.new"}));
    EXPECT_EQ(readFile("/mnt/mtd/code/elsewhere"), "somebody's");
}

}  // namespace
