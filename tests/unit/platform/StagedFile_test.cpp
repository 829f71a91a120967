#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "KSFile.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/platform/ChildProcess.h"
#include "tests/unit/platform/FileSizeLimit.h"
#include "tests/unit/platform/Joining.h"

namespace {

using platform_tests::awaitChild;
using platform_tests::FileSizeLimit;
using platform_tests::startChild;
using namespace support;

constexpr unsigned char kTruncate = KSFile::modeWrite | KSFile::modeTruncate;
constexpr char kFolder[] = "/mnt/mtd/code/config_file";
constexpr char kPath[] = "/mnt/mtd/code/config_file/sensor0.cfg";
const std::vector<std::string> kAlone{"sensor0.cfg"};

using StagedFileTest = PrivateTreeTest;

bool save(const std::string& bytes)
{
    KSFile file;
    return file.open(kPath, kTruncate) &&
           file.write(bytes.data(), static_cast<unsigned>(bytes.size())) == static_cast<int>(bytes.size()) &&
           file.close();
}

mode_t modeOf(const char* path)
{
    struct stat status = {};
    stat(path, &status);
    return status.st_mode & 07777;
}

TEST_F(StagedFileTest, TheOldFileStaysUntilClose)
{
    writeFile(kPath, "the old file");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(file.getLength(), 0);
    EXPECT_EQ(file.write("new", 3), 3);
    EXPECT_EQ(file.getLength(), 3);
    EXPECT_EQ(readFile(kPath), "the old file");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(kPath), "new");
    EXPECT_EQ(filesIn(kFolder), kAlone);
    EXPECT_FALSE(file.close());
}

TEST_F(StagedFileTest, AMissingFileAppearsAtClose)
{
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(file.write("ab", 2), 2);
    EXPECT_EQ(file.write("cd", 2), 2);
    EXPECT_FALSE(fileExists(kPath));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(kPath), "abcd");
}

TEST_F(StagedFileTest, IsStagedUnderANameThatBeginsWithTheTargets)
{
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    const std::vector<std::string> names = filesIn(kFolder);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(names[0], "sensor0.cfg.new");
}

TEST_F(StagedFileTest, NothingWrittenIsAnEmptyFile)
{
    writeFile(kPath, "old");
    EXPECT_TRUE(save(""));
    EXPECT_EQ(readFile(kPath), "");
}

TEST_F(StagedFileTest, EqualBytesAreWrittenAgain)
{
    struct stat before = {};
    struct stat after = {};
    ASSERT_TRUE(save("same"));
    ASSERT_EQ(stat(kPath, &before), 0);
    // Keeps the inode number from being used again.
    ASSERT_EQ(link(kPath, "/mnt/mtd/code/kept"), 0);
    ASSERT_TRUE(save("same"));
    ASSERT_EQ(stat(kPath, &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
}

TEST_F(StagedFileTest, CanBeReadBackWhileStaged)
{
    KSFile file;
    ASSERT_TRUE(file.open(kPath, KSFile::modeRead | kTruncate));
    EXPECT_EQ(file.write("abc", 3), 3);
    char byte = 0;
    EXPECT_EQ(file.read(&byte, 1), 0);
    EXPECT_EQ(lseek(file.getFileHandle(), 0, SEEK_SET), 0);
    EXPECT_EQ(file.read(&byte, 1), 1);
    EXPECT_EQ(byte, 'a');
}

TEST_F(StagedFileTest, DestructionWithoutCloseLeavesTheOldFile)
{
    writeFile(kPath, "old");
    {
        KSFile file;
        ASSERT_TRUE(file.open(kPath, kTruncate));
        EXPECT_EQ(file.write("half", 4), 4);
    }
    EXPECT_EQ(readFile(kPath), "old");
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

TEST_F(StagedFileTest, OpeningSomethingElseWithoutCloseLeavesTheOldFile)
{
    writeFile(kPath, "old");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(file.write("half", 4), 4);
    ASSERT_TRUE(file.open(kPath));
    EXPECT_EQ(file.getLength(), 3);
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

// ---- failures ----------------------------------------------------------------------------------------------

TEST_F(StagedFileTest, AShortWriteLeavesTheOldFile)
{
    writeFile(kPath, "old");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    {
        const FileSizeLimit limit(4);
        EXPECT_EQ(file.write("abcdef", 6), 4);
    }
    EXPECT_FALSE(file.close());
    EXPECT_EQ(readFile(kPath), "old");
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

TEST_F(StagedFileTest, AFailedWriteLeavesTheOldFileEvenIfALaterOneSucceeds)
{
    writeFile(kPath, "old");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    {
        const FileSizeLimit limit(0);
        EXPECT_EQ(file.write("abc", 3), -1);
    }
    EXPECT_EQ(file.write("abc", 3), 3);
    EXPECT_FALSE(file.close());
    EXPECT_EQ(readFile(kPath), "old");
}

TEST_F(StagedFileTest, TheObjectIsAsNewAfterAFailure)
{
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    {
        const FileSizeLimit limit(0);
        EXPECT_EQ(file.write("abc", 3), -1);
    }
    EXPECT_FALSE(file.close());
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(file.write("abc", 3), 3);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(kPath), "abc");
}

TEST_F(StagedFileTest, AFullDeviceBehindALinkFailsTheWriteAndStaysWhatItIs)
{
    ASSERT_EQ(symlink("/dev/full", kPath), 0);
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(file.write("abc", 3), -1);
    EXPECT_FALSE(file.close());
    struct stat status = {};
    ASSERT_EQ(lstat(kPath, &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(stat("/dev/full", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(StagedFileTest, ATargetThatBecameAFolderIsAFailureAtClose)
{
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(file.write("abc", 3), 3);
    ASSERT_EQ(mkdir(kPath, 0755), 0);
    EXPECT_FALSE(file.close());
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

TEST_F(StagedFileTest, AStagedFileThatSomebodyDeletedIsAFailureAtClose)
{
    writeFile(kPath, "old");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, kTruncate));
    EXPECT_EQ(file.write("abc", 3), 3);
    removeFile(std::string(kPath) + ".new");
    EXPECT_FALSE(file.close());
    EXPECT_EQ(readFile(kPath), "old");
}

TEST_F(StagedFileTest, ATooLongNameCannotBeStaged)
{
    KSFile file;
    const std::string longest = std::string(kFolder) + "/" + std::string(255, 'n');
    EXPECT_FALSE(file.open(longest.c_str(), kTruncate));
    EXPECT_TRUE(filesIn(kFolder).empty());
}

// ---- cuts --------------------------------------------------------------------------------------------------

TEST_F(StagedFileTest, ACutBetweenOpenAndCloseLeavesTheOldFileAndTheNextSaveCleansUp)
{
    for (int writes = 0; writes < 3; ++writes)
    {
        writeFile(kPath, "the old file");
        const int status = awaitChild(startChild([=] {
            KSFile file;
            file.open(kPath, kTruncate);
            for (int i = 0; i < writes; ++i)
            {
                file.write("part", 4);
            }
            raise(SIGKILL);
        }));
        ASSERT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(readFile(kPath), "the old file");
        EXPECT_EQ(filesIn(kFolder), (std::vector<std::string>{"sensor0.cfg", "sensor0.cfg.new"}));
        EXPECT_TRUE(save("new"));
        EXPECT_EQ(readFile(kPath), "new");
        EXPECT_EQ(filesIn(kFolder), kAlone);
    }
}

TEST_F(StagedFileTest, AReaderSeesTheOldFileOrTheNewOneAndNothingBetween)
{
    const std::string first(20000, 'a');
    const std::string second(30000, 'b');
    ASSERT_TRUE(save(first));
    std::atomic<bool> done{false};
    platform_tests::Joining writer([&] {
        for (int i = 0; i < 100; ++i)
        {
            EXPECT_TRUE(save(i % 2 == 0 ? second : first));
        }
        done = true;
    });
    while (!done)
    {
        const std::string seen = readFile(kPath);
        ASSERT_TRUE(seen == first || seen == second) << seen.size();
    }
}

// ---- several writers ---------------------------------------------------------------------------------------

TEST_F(StagedFileTest, ALivingWritersStagedFileIsNotTakenAway)
{
    KSFile early;
    ASSERT_TRUE(early.open(kPath, kTruncate));
    EXPECT_EQ(early.write("early", 5), 5);
    ASSERT_TRUE(save("late"));
    EXPECT_EQ(readFile(kPath), "late");
    EXPECT_TRUE(early.close());
    EXPECT_EQ(readFile(kPath), "early");
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

TEST_F(StagedFileTest, ManyWritersLeaveOneWholeFile)
{
    std::vector<std::thread> writers;
    for (const char c : {'a', 'b', 'c', 'd'})
    {
        writers.emplace_back([c] {
            for (int i = 0; i < 50; ++i)
            {
                EXPECT_TRUE(save(std::string(3000, c)));
            }
        });
    }
    for (std::thread& writer : writers)
    {
        writer.join();
    }
    const std::string bytes = readFile(kPath);
    EXPECT_EQ(bytes, std::string(3000, bytes[0]));
    EXPECT_EQ(filesIn(kFolder), kAlone);
}

TEST_F(StagedFileTest, SomethingElseUnderTheStagedNameIsLeftAlone)
{
    ASSERT_EQ(mkdir("/mnt/mtd/code/config_file/sensor0.cfg.new", 0755), 0);
    ASSERT_EQ(symlink("/mnt/mtd/code/elsewhere", "/mnt/mtd/code/config_file/sensor0.cfg.new1"), 0);
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(readFile(kPath), "new");
    EXPECT_EQ(filesIn(kFolder), (std::vector<std::string>{"sensor0.cfg", "sensor0.cfg.new", "sensor0.cfg.new1"}));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/elsewhere"));
}

// ---- what the new file is like -----------------------------------------------------------------------------

TEST_F(StagedFileTest, ANewFileHasTheUsualModeLessTheUmask)
{
    const mode_t old = umask(027);
    EXPECT_TRUE(save("new"));
    umask(old);
    EXPECT_EQ(modeOf(kPath), 0640u);
}

TEST_F(StagedFileTest, AReplacedFileKeepsItsMode)
{
    writeFile(kPath, "old");
    ASSERT_EQ(chmod(kPath, 0600), 0);
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(modeOf(kPath), 0600u);
    ASSERT_EQ(chmod(kPath, 0666), 0);
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(modeOf(kPath), 0666u);
}

TEST_F(StagedFileTest, AReplacedFileKeepsOwnerAndGroupWhereTheyMayBeGiven)
{
    const std::pair<uid_t, gid_t> owners[] = {{geteuid(), 23456}, {12345, getegid()}, {12345, 23456}};
    for (const auto& [user, group] : owners)
    {
        writeFile(kPath, "old");
        const bool isGiven = chown(kPath, user, group) == 0;
        EXPECT_TRUE(save("new"));
        struct stat status = {};
        ASSERT_EQ(stat(kPath, &status), 0);
        EXPECT_EQ(status.st_uid, isGiven ? user : geteuid());
        EXPECT_EQ(status.st_gid, isGiven ? group : getegid());
        removeFile(kPath);
    }
}

TEST_F(StagedFileTest, ALinkStaysALinkAndItsTargetIsReplaced)
{
    const std::string target = "/mnt/mtd/code/target.cfg";
    writeFile(target, "old");
    ASSERT_EQ(symlink("../target.cfg", kPath), 0);
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(readFile(target), "new");
    struct stat status = {};
    ASSERT_EQ(lstat(kPath, &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(StagedFileTest, ALinkIsFollowedFromTheFolderThatItLiesIn)
{
    const std::string folder = "/mnt/mtd/code/elsewhere";
    writeFile(folder + "/inner/target.cfg", "old");
    ASSERT_EQ(symlink("inner/target.cfg", (folder + "/middle").c_str()), 0);
    ASSERT_EQ(symlink("../elsewhere/middle", kPath), 0);
    EXPECT_TRUE(save("new"));
    EXPECT_EQ(readFile(folder + "/inner/target.cfg"), "new");
    EXPECT_EQ(filesIn(folder + "/inner"), std::vector<std::string>{"target.cfg"});
}

}  // namespace
