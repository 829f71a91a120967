#include "tests/unit/platform/DiskCalls.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace {

using platform_tests::DiskCalls;

std::atomic<bool> isWatching{false};
std::atomic<int> lockError{0};
std::atomic<int> lockErrors{0};  // that are still to come

// Used while watching only.
std::vector<std::string> names;
DiskCalls::Mishap mishap = DiskCalls::Mishap::none;
std::size_t mishapAt = 0;
int mishapError = 0;

// Set while no other thread locks.
std::function<void(int)> atEachLock;

// False, with errno, when the call is to fail.
bool goesOn(const char* name)
{
    if (!isWatching)
    {
        return true;
    }
    names.push_back(name);
    if (mishap == DiskCalls::Mishap::none || names.size() != mishapAt)
    {
        return true;
    }
    if (mishap == DiskCalls::Mishap::kill)
    {
        raise(SIGKILL);
    }
    errno = mishapError;
    return false;
}

bool isFolder(int handle)
{
    struct stat status = {};
    return fstat(handle, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int fsync(int handle)
{
    return goesOn(isFolder(handle) ? "fsync folder" : "fsync file") ? static_cast<int>(syscall(SYS_fsync, handle)) : -1;
}

extern "C" __attribute__((visibility("default"))) int rename(const char* from, const char* to) noexcept
{
    return goesOn("rename") ? renameat(AT_FDCWD, from, AT_FDCWD, to) : -1;
}

extern "C" __attribute__((visibility("default"))) int fchmod(int handle, mode_t mode) noexcept
{
    return goesOn("fchmod") ? static_cast<int>(syscall(SYS_fchmod, handle, mode)) : -1;
}

extern "C" __attribute__((visibility("default"))) int unlink(const char* path) noexcept
{
    return goesOn("unlink") ? unlinkat(AT_FDCWD, path, 0) : -1;
}

// Under another name, which a structure of that name is not hidden by.
extern "C" int lockFile(int handle, int operation) noexcept __asm__("flock");
extern "C" __attribute__((visibility("default"))) int lockFile(int handle, int operation) noexcept
{
    if (atEachLock)
    {
        atEachLock(handle);
    }
    if (lockErrors > 0)
    {
        --lockErrors;
        errno = lockError;
        return -1;
    }
    return static_cast<int>(syscall(SYS_flock, handle, operation));
}

namespace platform_tests {

DiskCalls::DiskCalls(Mishap what, int nth, int error)
{
    ::names.clear();
    ::mishap = what;
    ::mishapAt = static_cast<std::size_t>(nth);
    ::mishapError = error;
    isWatching = true;
}

DiskCalls::~DiskCalls()
{
    isWatching = false;
}

std::vector<std::string> DiskCalls::names() const
{
    return ::names;
}

NoLocks::NoLocks(int error, int times)
{
    lockError = error;
    lockErrors = times;
}

NoLocks::~NoLocks()
{
    lockErrors = 0;
}

AtEachLock::AtEachLock(std::function<void(int)> work)
{
    atEachLock = std::move(work);
}

AtEachLock::~AtEachLock()
{
    atEachLock = nullptr;
}

}  // namespace platform_tests
