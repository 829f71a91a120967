#include "tests/unit/config/DiskFailure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> g_bDiskFails{false};
std::atomic<bool> g_bLengthsAreSet{false};
std::atomic<long long> g_nLength{0};
std::atomic<ino_t> g_nGrowing{0};
std::atomic<long long> g_nGrowth{0};
std::atomic<long long> g_nGrown{0};

}  // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int fsync(int handle)
{
    if (g_bDiskFails)
    {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, handle));
}

extern "C" __attribute__((visibility("default"))) int fstat(int handle, struct stat* status) noexcept
{
    const int result = fstatat(handle, "", status, AT_EMPTY_PATH);
    const bool isRead = (fcntl(handle, F_GETFL) & O_ACCMODE) == O_RDONLY;
    if (result == 0 && isRead && S_ISREG(status->st_mode) && g_bLengthsAreSet)
    {
        status->st_size = static_cast<off_t>(g_nLength);
    }
    if (result == 0 && isRead && status->st_ino == g_nGrowing)
    {
        status->st_size = static_cast<off_t>(g_nGrown += g_nGrowth);
    }
    return result;
}

namespace support {

DiskFailure::DiskFailure()
{
    g_bDiskFails = true;
}

DiskFailure::~DiskFailure()
{
    g_bDiskFails = false;
}

FileLengths::FileLengths(long long length)
{
    g_nLength = length;
    g_bLengthsAreSet = true;
}

FileLengths::~FileLengths()
{
    g_bLengthsAreSet = false;
}

GrowingFile::GrowingFile(const char* path, long long bytes)
{
    struct stat status = {};
    stat(path, &status);
    g_nGrowth = bytes;
    g_nGrown = 0;
    g_nGrowing = status.st_ino;
}

GrowingFile::~GrowingFile()
{
    g_nGrowing = 0;
}

}  // namespace support
