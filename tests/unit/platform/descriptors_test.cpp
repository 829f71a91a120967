#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include "KSFile.h"
#include "KSLogger.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/platform/ChildProcess.h"

namespace {

constexpr char kPath[] = "/mnt/mtd/code/config_file/sensor0.cfg";
constexpr char kLog[] = "/mnt/mtd/log/Some.log";

std::atomic<bool> isWatching{false};
std::atomic<int> opened{0};
std::vector<std::string> inheritable;  // used while watching only

}  // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...)
{
    va_list further;
    va_start(further, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(further, mode_t) : 0;
    va_end(further);
    if (isWatching)
    {
        ++opened;
        if ((flags & O_CLOEXEC) == 0)
        {
            inheritable.push_back(path);
        }
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, mode));
}

namespace {

using DescriptorsTest = support::PrivateTreeTest;

bool saveReadAndLog()
{
    KSFile file;
    std::string line;
    char byte = 0;
    KSLogger logger;
    return file.open(kPath, KSFile::modeWrite | KSFile::modeTruncate) && file.write("new\n!", 5) == 5 && file.close() &&
           file.open(kPath, KSFile::modeRead | KSFile::modeWrite) && file.ReadOneLine(line) && line == "new" &&
           file.read(&byte, 1) == 1 && byte == '!' && file.getLength() == 5 && file.close() &&
           logger.init(kLog, 1000, 2) && logger.writeLog("[p]", "x") > 0;
}

// Whatever another thread starts at that moment.
TEST_F(DescriptorsTest, NoProgramInheritsAFileHoweverShortItIsOpen)
{
    support::writeFile(kPath + std::string(".new"), "left by a crash");
    inheritable.clear();
    opened = 0;
    isWatching = true;
    const bool isDone = saveReadAndLog();
    isWatching = false;
    EXPECT_TRUE(isDone);
    EXPECT_GE(opened, 5) << "leftover, staged file, folder, file, log";
    EXPECT_EQ(inheritable, std::vector<std::string>());
}

TEST_F(DescriptorsTest, TheFirstDescriptorIsAsGoodAsAnyAndNoneIsLeftOpen)
{
    support::writeFile(kPath + std::string(".new"), "left by a crash");
    const int status = platform_tests::awaitChild(platform_tests::startChild([] {
        close(STDIN_FILENO);
        errno = ENOENT;  // as an earlier call may have left it
        const bool isDone = saveReadAndLog();
        _exit(isDone && fcntl(STDIN_FILENO, F_GETFD) == -1 ? 42 : 1);
    }));
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 42);
}

}  // namespace
