#include "tests/unit/services/linux/DiskSteps.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>

namespace {

using support::DiskSteps;
using Kind = DiskSteps::Step::Kind;

// Changed and used on the test's thread only.
bool isWatching = false;
std::string root;
std::vector<DiskSteps::Step> steps;
DiskSteps::Mishap mishap = DiskSteps::Mishap::none;
std::size_t mishapAt = 0;
int mishapError = 0;

std::string pathOf(int handle)
{
    char target[PATH_MAX];
    const std::string name = "/proc/self/fd/" + std::to_string(handle);
    const ssize_t length = readlink(name.c_str(), target, sizeof target);
    return length < 0 ? "" : std::string(target, static_cast<std::size_t>(length));
}

// The folder itself or what is below it.
bool isWatched(const std::string& path)
{
    return isWatching && (path + "/").compare(0, root.size(), root) == 0;
}

// False, with errno, when the step is to fail.
bool goesOn(Kind kind, const std::string& path, const std::string& text = "")
{
    if (!isWatched(path))
    {
        return true;
    }
    const bool isHit = mishap != DiskSteps::Mishap::none && steps.size() == mishapAt;
    if (isHit && mishap == DiskSteps::Mishap::kill)
    {
        raise(SIGKILL);
    }
    steps.push_back({kind, path.substr(std::min(path.size(), root.size())), text});
    errno = isHit ? mishapError : errno;
    return !isHit;
}

// What failed by itself was no step.
template <typename Result>
Result taken(Result result)
{
    if (isWatching && result < 0 && !steps.empty())
    {
        steps.pop_back();
    }
    return result;
}

}  // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int mkdir(const char* path, mode_t mode) noexcept
{
    if (!isWatched(path))
    {
        return mkdirat(AT_FDCWD, path, mode);
    }
    return goesOn(Kind::folder, path) ? taken(mkdirat(AT_FDCWD, path, mode)) : -1;
}

extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...)
{
    __builtin_va_list arguments;
    __builtin_va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? __builtin_va_arg(arguments, mode_t) : 0;
    __builtin_va_end(arguments);
    if ((flags & O_CREAT) == 0 || !isWatched(path))
    {
        return openat(AT_FDCWD, path, flags, mode);
    }
    return goesOn(Kind::file, path) ? taken(openat(AT_FDCWD, path, flags, mode)) : -1;
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int handle, const void* bytes, size_t count)
{
    const bool isGood =
        !isWatching || goesOn(Kind::write, pathOf(handle), std::string(static_cast<const char*>(bytes), count));
    return isGood ? static_cast<ssize_t>(syscall(SYS_write, handle, bytes, count)) : -1;
}

extern "C" __attribute__((visibility("default"))) int fsync(int handle)
{
    struct stat facts = {};
    const bool isFolder = fstat(handle, &facts) == 0 && S_ISDIR(facts.st_mode);
    const bool isGood = !isWatching || goesOn(isFolder ? Kind::syncFolder : Kind::sync, pathOf(handle));
    return isGood ? static_cast<int>(syscall(SYS_fsync, handle)) : -1;
}

extern "C" __attribute__((visibility("default"))) int symlink(const char* target, const char* path) noexcept
{
    if (!isWatched(path))
    {
        return symlinkat(target, AT_FDCWD, path);
    }
    return goesOn(Kind::link, path, target) ? taken(symlinkat(target, AT_FDCWD, path)) : -1;
}

extern "C" __attribute__((visibility("default"))) int rename(const char* from, const char* to) noexcept
{
    if (!isWatched(from))
    {
        return renameat(AT_FDCWD, from, AT_FDCWD, to);
    }
    const std::string name = to;
    return goesOn(Kind::rename, from, name.substr(root.size())) ? taken(renameat(AT_FDCWD, from, AT_FDCWD, to)) : -1;
}

extern "C" __attribute__((visibility("default"))) int unlink(const char* path) noexcept
{
    if (!isWatched(path))
    {
        return unlinkat(AT_FDCWD, path, 0);
    }
    return goesOn(Kind::remove, path) ? taken(unlinkat(AT_FDCWD, path, 0)) : -1;
}

namespace support {

DiskSteps::DiskSteps(const std::string& folder, Mishap what, std::size_t nth, int error)
{
    ::root = folder + "/";
    ::steps.clear();
    ::mishap = what;
    ::mishapAt = nth;
    ::mishapError = error;
    isWatching = true;
}

DiskSteps::~DiskSteps()
{
    isWatching = false;
}

std::vector<DiskSteps::Step> DiskSteps::taken() const
{
    return ::steps;
}

}  // namespace support
