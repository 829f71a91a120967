#include "KSFile.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <type_traits>

#include "tests/support/PrivateTree.h"

namespace {

using namespace support;

using KSFileTest = PrivateTreeTest;

constexpr char kFolder[] = "/mnt/mtd/code/config_file";
constexpr char kPath[] = "/mnt/mtd/code/config_file/some.txt";

std::vector<std::string> linesOf(const std::string& bytes)
{
    writeFile(kPath, bytes);
    KSFile file;
    EXPECT_TRUE(file.open(kPath));
    std::vector<std::string> lines;
    std::string line;
    while (file.ReadOneLine(line))
    {
        lines.push_back(line);
    }
    EXPECT_EQ(line, "");
    return lines;
}

TEST(KSFile, HasTheModeValuesOfTheContract)
{
    EXPECT_EQ(KSFile::modeRead, 1);
    EXPECT_EQ(KSFile::modeWrite, 2);
    EXPECT_EQ(KSFile::modeTruncate, 0x40);
    static_assert(std::is_same<INT64, long long>::value, "as in the library");
}

TEST(KSFile, AnObjectThatIsNotOpenAnswersFailure)
{
    KSFile file;
    char byte = 'x';
    std::string line = "old";
    EXPECT_EQ(file.read(&byte, 1), -1);
    EXPECT_EQ(file.write(&byte, 1), -1);
    EXPECT_EQ(file.getLength(), 0);
    EXPECT_EQ(file.getFileHandle(), -1);
    EXPECT_FALSE(file.ReadOneLine(line));
    EXPECT_EQ(line, "");
    EXPECT_FALSE(file.close());
    EXPECT_EQ(byte, 'x');
}

TEST_F(KSFileTest, FileBeyondTwoGigabytesOpensAndTellsItsLength)
{
    constexpr INT64 kLength = 5LL << 30;
    writeFile(kPath, "abc");
    std::filesystem::resize_file(kPath, kLength);  // a hole, which takes no room on the disk
    KSFile file;
    ASSERT_TRUE(file.open(kPath, KSFile::modeRead));
    EXPECT_EQ(file.getLength(), kLength);
    char bytes[3] = {};
    EXPECT_EQ(file.read(bytes, 3), 3);
    EXPECT_EQ(std::string(bytes, 3), "abc");
}

TEST_F(KSFileTest, ReadsUpToTheEnd)
{
    writeFile(kPath, "abcdef");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, KSFile::modeRead));
    EXPECT_EQ(file.getLength(), 6);
    EXPECT_GE(file.getFileHandle(), 0);
    char bytes[10] = {};
    EXPECT_EQ(file.read(bytes, 4), 4);
    EXPECT_EQ(file.read(bytes + 4, 6), 2);
    EXPECT_STREQ(bytes, "abcdef");
    EXPECT_EQ(file.read(bytes, 1), 0);
    EXPECT_EQ(file.read(bytes, 0), 0);
    EXPECT_EQ(file.write(bytes, 1), -1);
    EXPECT_TRUE(file.getLength() == 6);
}

TEST_F(KSFileTest, RefusesMoreBytesThanItsResultCanCount)
{
    writeFile(kPath, "abc");
    KSFile file;
    char byte = 0;
    ASSERT_TRUE(file.open(kPath, KSFile::modeRead | KSFile::modeWrite));
    EXPECT_EQ(file.read(&byte, INT_MAX + 1u), -1);
    EXPECT_EQ(file.write(&byte, INT_MAX + 1u), -1);
    EXPECT_FALSE(file.close());
    EXPECT_EQ(readFile(kPath), "abc");
}

TEST_F(KSFileTest, DoesNotOpenWhatIsNoFile)
{
    KSFile file;
    EXPECT_FALSE(file.open(nullptr));
    EXPECT_FALSE(file.open(""));
    EXPECT_FALSE(file.open(kPath));
    EXPECT_FALSE(file.open(kFolder));
    EXPECT_FALSE(file.open(kFolder, KSFile::modeWrite));
    EXPECT_FALSE(file.open(kFolder, KSFile::modeWrite | KSFile::modeTruncate));
    EXPECT_FALSE(file.open("/mnt/mtd/nowhere/file", KSFile::modeWrite));
    EXPECT_FALSE(file.open("/mnt/mtd/nowhere/file", KSFile::modeWrite | KSFile::modeTruncate));
    EXPECT_EQ(file.getFileHandle(), -1);
    EXPECT_EQ(file.write("x", 1), -1);
}

TEST_F(KSFileTest, RefusesModesWithoutMeaning)
{
    writeFile(kPath, "abc");
    KSFile file;
    for (const int mode : {0, 0x40, 0x41, 4, 0x80, 0xFF})
    {
        EXPECT_FALSE(file.open(kPath, static_cast<unsigned char>(mode))) << mode;
    }
    EXPECT_EQ(readFile(kPath), "abc");
}

// It may have no end, or keep a reader waiting.
TEST_F(KSFileTest, WhatIsNoFileIsNotOpenedForReading)
{
    KSFile file;
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/full"})
    {
        EXPECT_FALSE(file.open(device)) << device;
        ASSERT_EQ(symlink(device, kPath), 0);
        EXPECT_FALSE(file.open(kPath)) << device;
        removeFile(kPath);
    }
    ASSERT_EQ(mkfifo(kPath, 0600), 0);
    EXPECT_FALSE(file.open(kPath));
    const int reader = open(kPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writer = open(kPath, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_FALSE(file.open(kPath));
    close(writer);
    close(reader);
}

TEST_F(KSFileTest, WhatIsNotOpenedIsNotLeftOpen)
{
    const std::size_t before = filesIn("/proc/self/fd").size();
    KSFile file;
    EXPECT_FALSE(file.open(kFolder));
    EXPECT_FALSE(file.open("/dev/null"));
    EXPECT_FALSE(file.open(kFolder, KSFile::modeWrite | KSFile::modeTruncate));
    EXPECT_EQ(filesIn("/proc/self/fd").size(), before);
}

TEST_F(KSFileTest, ANamedPipeHoldsNobodyUp)
{
    ASSERT_EQ(mkfifo(kPath, 0600), 0);
    KSFile file;
    char byte = 0;
    EXPECT_TRUE(file.open(kPath, KSFile::modeRead | KSFile::modeWrite));
    EXPECT_EQ(file.read(&byte, 1), -1);
    KSFile writer;
    EXPECT_TRUE(writer.open(kPath, KSFile::modeWrite));
}

TEST_F(KSFileTest, ADeviceIsWrittenDirectly)
{
    ASSERT_EQ(symlink("/dev/null", kPath), 0);
    for (const int mode : {2, 3, 0x42, 0x43})
    {
        KSFile file;
        ASSERT_TRUE(file.open(kPath, static_cast<unsigned char>(mode))) << mode;
        EXPECT_EQ(file.write("abc", 3), 3);
    }
}

TEST_F(KSFileTest, WritesInPlaceWithoutTruncation)
{
    writeFile(kPath, "abcdef");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, KSFile::modeWrite));
    EXPECT_EQ(file.write("XY", 2), 2);
    EXPECT_EQ(readFile(kPath), "XYcdef");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(kPath), "XYcdef");
    EXPECT_EQ(filesIn(kFolder).size(), 1u);
}

TEST_F(KSFileTest, MakesAMissingFileForWriting)
{
    KSFile file;
    ASSERT_TRUE(file.open(kPath, KSFile::modeWrite));
    EXPECT_EQ(file.write("new", 3), 3);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(kPath), "new");
}

TEST_F(KSFileTest, OpeningAgainReleasesTheFirstFile)
{
    writeFile(kPath, "abc");
    KSFile file;
    ASSERT_TRUE(file.open(kPath));
    const int first = file.getFileHandle();
    ASSERT_TRUE(file.open(kPath));
    EXPECT_EQ(file.getFileHandle(), first);
    EXPECT_FALSE(file.open("/mnt/mtd/nowhere"));
    EXPECT_EQ(file.getFileHandle(), -1);
    EXPECT_EQ(fcntl(first, F_GETFD), -1);
}

TEST_F(KSFileTest, DestructionReleasesTheFileAndChildrenDoNotInheritIt)
{
    writeFile(kPath, "abc");
    int handle = -1;
    {
        KSFile file;
        ASSERT_TRUE(file.open(kPath));
        handle = file.getFileHandle();
        EXPECT_NE(fcntl(handle, F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(fcntl(handle, F_GETFD), -1);
}

TEST_F(KSFileTest, ExistsIsTrueForAnythingThatIsThere)
{
    EXPECT_FALSE(KSFile::exists(kPath));
    EXPECT_FALSE(KSFile::exists(nullptr));
    EXPECT_TRUE(KSFile::exists(kFolder));
    writeFile(kPath, "");
    EXPECT_TRUE(KSFile::exists(kPath));
}

TEST_F(KSFileTest, NothingExistsWhereNothingCanBe)
{
    writeFile(kPath, "");
    EXPECT_FALSE(KSFile::exists((std::string(kPath) + "/below").c_str()));
    EXPECT_FALSE(KSFile::exists((std::string(kFolder) + "/" + std::string(NAME_MAX + 1, 'a')).c_str()));
}

TEST_F(KSFileTest, WhatCannotBeLookedForCountsAsThere)
{
    ASSERT_EQ(symlink(kPath, kPath), 0);  // leads nowhere but to itself
    EXPECT_TRUE(KSFile::exists(kPath));
}

// ---- lines -------------------------------------------------------------------------------------------------

TEST_F(KSFileTest, ReadsLinesWithoutTheirEnds)
{
    using Lines = std::vector<std::string>;
    EXPECT_EQ(linesOf(""), Lines());
    EXPECT_EQ(linesOf("7"), Lines{"7"});
    EXPECT_EQ(linesOf("7\n1\n"), (Lines{"7", "1"}));
    EXPECT_EQ(linesOf("7\r\n\r\n1"), (Lines{"7", "", "1"}));
    EXPECT_EQ(linesOf("\n\n"), (Lines{"", ""}));
    EXPECT_EQ(linesOf("a\rb\r"), Lines{"a\rb\r"});
}

TEST_F(KSFileTest, LinesAcrossTheReadAheadStayWhole)
{
    for (const std::size_t length : {510u, 511u, 512u, 513u, 1024u, 5000u})
    {
        const std::string longLine(length, 'x');
        EXPECT_EQ(linesOf(longLine + "\r\nend"), (std::vector<std::string>{longLine, "end"})) << length;
    }
}

// What follows is not taken for the next line, and not looked for either.
TEST_F(KSFileTest, ALineThatIsNobodysLineIsCutAndTheLast)
{
    constexpr std::size_t kLineMax = 64 * 1024;
    using Lines = std::vector<std::string>;
    const std::string longest(kLineMax, 'x');
    for (std::size_t length = 508; length < 514; ++length)  // every place that the end can have in the read-ahead
    {
        const std::string first(length, 'a');
        EXPECT_EQ(linesOf(first + "\n" + longest + "\r\nnext"), (Lines{first, longest, "next"})) << length;
        EXPECT_EQ(linesOf(first + "\n" + longest + "x\nnext"), (Lines{first, longest})) << length;
        EXPECT_EQ(linesOf(first + "\n" + longest + "x\r\nnext"), (Lines{first, longest})) << length;
    }
    EXPECT_EQ(linesOf(longest + "\ry\nnext"), Lines{longest});
    EXPECT_EQ(linesOf(std::string(1000000, 'x') + "\nnext\n"), Lines{longest});
}

TEST_F(KSFileTest, NoMoreThanALineIsReadOfAFileWithoutLines)
{
    writeFile(kPath, "");
    std::filesystem::resize_file(kPath, 4LL << 30);
    KSFile file;
    ASSERT_TRUE(file.open(kPath));
    std::string line;
    EXPECT_TRUE(file.ReadOneLine(line));
    EXPECT_FALSE(file.ReadOneLine(line));
    EXPECT_EQ(line, "");
    EXPECT_LE(lseek(file.getFileHandle(), 0, SEEK_CUR), 70000);
    writeFile(kPath, "short\n");
    ASSERT_TRUE(file.open(kPath));
    EXPECT_TRUE(file.ReadOneLine(line));
    EXPECT_EQ(line, "short");
}

TEST_F(KSFileTest, ReadAndWriteGoOnWhereTheLineEnded)
{
    writeFile(kPath, "one\ntwo\nthree");
    KSFile file;
    ASSERT_TRUE(file.open(kPath, KSFile::modeRead | KSFile::modeWrite));
    std::string line;
    ASSERT_TRUE(file.ReadOneLine(line));
    char bytes[4] = {};
    EXPECT_EQ(file.read(bytes, 3), 3);
    EXPECT_STREQ(bytes, "two");
    ASSERT_TRUE(file.ReadOneLine(line));
    EXPECT_EQ(line, "");
    EXPECT_EQ(file.write("THR", 3), 3);
    EXPECT_EQ(file.read(bytes, 3), 2);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(kPath), "one\ntwo\nTHRee");
}

TEST_F(KSFileTest, AReadBeyondWhatALineReadAheadGoesOnInTheFile)
{
    for (const std::size_t length : {3u, 507u, 508u, 509u, 5000u})
    {
        const std::string rest(length, 'r');
        writeFile(kPath, "one\n" + rest);
        KSFile file;
        ASSERT_TRUE(file.open(kPath));
        std::string line;
        ASSERT_TRUE(file.ReadOneLine(line));
        std::string bytes(6000, '-');
        EXPECT_EQ(file.read(&bytes[0], 6000), static_cast<int>(length));
        EXPECT_EQ(bytes, rest + std::string(6000 - length, '-'));
        EXPECT_FALSE(file.ReadOneLine(line));
    }
}

// To open a device starts a tape or a watchdog; a pipe lets its writer go.
TEST_F(KSFileTest, WhatIsNotReadIsNotOpenedForAMomentEither)
{
    ASSERT_EQ(mkfifo(kPath, 0600), 0);
    const int events = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(events, 0);
    ASSERT_GE(inotify_add_watch(events, kPath, IN_OPEN), 0);
    KSFile file;
    EXPECT_FALSE(file.open(kPath));
    char event[sizeof(inotify_event) + NAME_MAX + 1];
    EXPECT_EQ(read(events, event, sizeof event), -1);
    EXPECT_EQ(errno, EAGAIN);
    close(events);
}

}  // namespace
