#include "platform/posix/StagedFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

#include "platform/posix/SystemCall.h"

namespace host {
namespace {

constexpr int kNames = 10;     // more than ever write one file at the same time
constexpr int kAttempts = 10;  // a writer and a clean-up can cross each other, not again and again
constexpr int kLinksMax = 40;  // as many as the kernel follows

// With errno EWOULDBLOCK when another process has it.
bool tryLock(int handle)
{
    return uninterrupted([=] { return flock(handle, LOCK_EX | LOCK_NB); }) == 0;
}

std::string nameOfStaged(const std::string& target, int number)
{
    return target + ".new" + (number == 0 ? "" : std::to_string(number));
}

// With the slash at its end; empty for a path without one.
std::string folderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

// True when the name is free now. A living writer holds the lock.
bool removeLeftover(const std::string& staged)
{
    const int handle =
        uninterrupted([&] { return open(staged.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); });
    if (handle < 0)
    {
        return errno == ENOENT;
    }
    // Whoever got the lock after the file was put in its place finds it under another name: hands off.
    const bool isFree = tryLock(handle) && (!isStillAt(handle, staged) || unlink(staged.c_str()) == 0);
    close(handle);
    return isFree;
}

// -1 when the name is taken, with errno EEXIST, or when nothing can be created.
int createUnder(const std::string& staged, int access, mode_t mode)
{
    for (int attempt = 0; attempt < kAttempts; ++attempt)
    {
        const int handle =
            uninterrupted([&] { return open(staged.c_str(), access | O_CREAT | O_EXCL | O_CLOEXEC, mode); });
        if (handle >= 0)
        {
            const bool isMine = tryLock(handle);
            if (isMine && isStillAt(handle, staged))
            {
                return handle;
            }
            const int failure = isMine ? EWOULDBLOCK : errno;
            if (failure != EWOULDBLOCK)
            {
                // No locks here: the remains of a crash could never be told from the work of a living writer.
                unlink(staged.c_str());
            }
            close(handle);
            if (failure != EWOULDBLOCK)
            {
                errno = failure;
                return -1;
            }
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

void takeOwnerAndMode(int handle, const struct stat& old)
{
    struct stat mine = {};
    if (fstat(handle, &mine) != 0)
    {
        return;
    }
    if ((old.st_uid != mine.st_uid || old.st_gid != mine.st_gid) && fchown(handle, old.st_uid, old.st_gid) != 0)
    {
        // Somebody else's file in our directory: it becomes ours.
    }
    fchmod(handle, old.st_mode & 0777);
}

int openFolderOf(const std::string& path)
{
    const std::string folder = folderOf(path);
    return uninterrupted(
        [&] { return open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
}

bool replace(int handle, const std::string& staged, const std::string& target)
{
    return uninterrupted([=] { return fsync(handle); }) == 0 && std::rename(staged.c_str(), target.c_str()) == 0;
}

}  // namespace

int createStaged(const std::string& target, int access, std::string& staged)
{
    // What replaces a file gets that one's mode once it is locked: until then nobody else may open it, or they could
    // lock it first. Only the kernel knows the umask, which a new file's mode depends on.
    struct stat old = {};
    const bool isReplacement = stat(target.c_str(), &old) == 0;
    for (int name = 0; name < kNames; ++name)
    {
        staged = nameOfStaged(target, name);
        const int handle = createUnder(staged, access, isReplacement ? 0600 : 0644);
        if (handle >= 0)
        {
            for (int other = 0; other < kNames; ++other)
            {
                if (other != name)
                {
                    removeLeftover(nameOfStaged(target, other));
                }
            }
            if (isReplacement)
            {
                takeOwnerAndMode(handle, old);
            }
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
    const int folder = openFolderOf(target);
    if (folder < 0 || !replace(handle, staged, target))
    {
        unlink(staged.c_str());
        if (folder >= 0)
        {
            close(folder);
        }
        return false;
    }
    // EINVAL: a file system without a disk to sync to.
    const bool isOnDisk = uninterrupted([=] { return fsync(folder); }) == 0 || errno == EINVAL;
    close(folder);
    return isOnDisk;
}

bool followLinks(const std::string& path, std::string& target)
{
    target = path;
    for (int links = 0; links <= kLinksMax; ++links)
    {
        char text[PATH_MAX];
        const ssize_t length = readlink(target.c_str(), text, sizeof text);
        if (length < 0)
        {
            return errno == EINVAL || errno == ENOENT;  // no link, or nothing there yet
        }
        const std::string next(text, static_cast<std::size_t>(length));
        if (next.empty() || next.size() == sizeof text)
        {
            return false;
        }
        target = next[0] == '/' ? next : folderOf(target) + next;
    }
    return false;
}

bool isStillAt(int handle, const std::string& path)
{
    struct stat opened = {};
    struct stat named = {};
    return fstat(handle, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

}  // namespace host
