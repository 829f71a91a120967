#include "StagedFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "SystemCall.h"

namespace host {
namespace {

constexpr int kNames = 10;     // more writers of one file at the same time than there can be
constexpr int kAttempts = 10;  // a writer and a clean-up can cross each other, not again and again

bool tryLock(int handle)
{
    return uninterrupted([=] { return flock(handle, LOCK_EX | LOCK_NB); }) == 0;
}

// True when the name is free now. A writer that lives holds the lock.
bool removeLeftover(const std::string& staged)
{
    const int handle = uninterrupted(
        [&] { return open(staged.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); });
    if (handle < 0)
    {
        return errno == ENOENT;
    }
    // Whoever got the lock after the file was put in its place finds it under another name: hands off.
    const bool isFree = tryLock(handle) && (!isStillAt(handle, staged) || unlink(staged.c_str()) == 0);
    close(handle);
    return isFree;
}

// -1 when the name is taken, with errno EEXIST, or nothing can be created.
int createUnder(const std::string& staged, int access)
{
    for (int attempt = 0; attempt < kAttempts; ++attempt)
    {
        const int handle = uninterrupted(
            [&] { return open(staged.c_str(), access | O_CREAT | O_EXCL | O_CLOEXEC, 0644); });
        if (handle >= 0)
        {
            if (tryLock(handle) && isStillAt(handle, staged))
            {
                return handle;
            }
            close(handle);
        }
        else if (errno != EEXIST)
        {
            return -1;
        }
        else if (!removeLeftover(staged))
        {
            break;
        }
    }
    errno = EEXIST;
    return -1;
}

// The target's, where there is one.
void takeOwnerAndMode(int handle, const std::string& target)
{
    struct stat old{};
    struct stat mine{};
    if (stat(target.c_str(), &old) != 0 || fstat(handle, &mine) != 0)
    {
        return;
    }
    if ((old.st_uid != mine.st_uid || old.st_gid != mine.st_gid) && fchown(handle, old.st_uid, old.st_gid) != 0)
    {
        // Somebody else's file in our directory: it becomes ours.
    }
    fchmod(handle, old.st_mode & 0777);
}

bool syncDirectoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int handle = uninterrupted([&] { return open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (handle < 0)
    {
        return false;
    }
    // EINVAL: a file system that has nothing to bring to a disk.
    const bool isOnDisk = uninterrupted([=] { return fsync(handle); }) == 0 || errno == EINVAL;
    close(handle);
    return isOnDisk;
}

}  // namespace

int createStaged(const std::string& target, int access, std::string& staged)
{
    for (int name = 0; name < kNames; ++name)
    {
        staged = target + ".new" + (name == 0 ? "" : std::to_string(name));
        const int handle = createUnder(staged, access);
        if (handle >= 0)
        {
            takeOwnerAndMode(handle, target);
            return handle;
        }
        if (errno != EEXIST)
        {
            return -1;
        }
    }
    return -1;
}

bool commitStaged(int handle, const std::string& staged, const std::string& target)
{
    if (uninterrupted([=] { return fsync(handle); }) != 0 || std::rename(staged.c_str(), target.c_str()) != 0)
    {
        unlink(staged.c_str());
        return false;
    }
    return syncDirectoryOf(target);
}

std::string followLinks(const std::string& path)
{
    struct stat status{};
    char resolved[PATH_MAX];
    const bool isLink = lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    return isLink && realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

bool isStillAt(int handle, const std::string& path)
{
    struct stat opened{};
    struct stat named{};
    return fstat(handle, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

}  // namespace host
