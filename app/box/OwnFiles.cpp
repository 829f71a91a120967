#include "app/box/OwnFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "app/Failure.h"

namespace app {
namespace {

constexpr int kDepthMax = 16;       // folders inside each other; a camera makes six
constexpr int kEntriesMax = 10000;  // a camera makes some dozens

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;

const char* kindOf(mode_t mode)
{
    switch (mode & S_IFMT)
    {
    case S_IFLNK:
        return "a symbolic link and would lead the camera out of its folder";
    case S_IFIFO:
        return "a named pipe, and the camera would wait for its other end";
    case S_IFSOCK:
        return "a socket, which no camera makes";
    case S_IFCHR:
    case S_IFBLK:
        return "a device";
    default:
        return nullptr;
    }
}

[[noreturn]] void refuse(const std::string& path, const std::string& why)
{
    throw Failure(path + " " + why);
}

void requireOwn(const std::string& path, const struct stat& facts, mode_t allowedKind = 0)
{
    const char* const kind = (facts.st_mode & S_IFMT) == allowedKind ? nullptr : kindOf(facts.st_mode);
    if (kind != nullptr)
    {
        refuse(path, std::string("is ") + kind + "; remove it");
    }
    if (facts.st_uid != geteuid())
    {
        refuse(path, "belongs to another user (" + std::to_string(facts.st_uid) + ")");
    }
    if (S_ISREG(facts.st_mode) && facts.st_nlink > 1)
    {
        refuse(path, "has a second name somewhere, under which it would change too; replace it by a copy of it");
    }
}

// The link to the documents in force of a device's camera, or the one that is about to replace it.
bool leadsToGeneration(int folder, const std::string& name)
{
    const std::string begin = "generations/";
    char target[64];
    const ssize_t length = readlinkat(folder, name.c_str(), target, sizeof target);
    const std::string text(target, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return (name == kCurrentLink || name == std::string(kCurrentLink) + ".new") && text.size() > begin.size() &&
           text.size() < sizeof target && text.rfind(begin, 0) == 0 &&
           text.find_first_not_of("0123456789", begin.size()) == std::string::npos;
}

mode_t allowedKindOf(int folder, const std::string& name, int depth)
{
    if (depth > 0)
    {
        return 0;
    }
    if (name == kHttpSocketFile || name == kSessionSocketFile)
    {
        return S_IFSOCK;
    }
    return leadsToGeneration(folder, name) ? S_IFLNK : 0;
}

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

// By descriptors: what is swapped for a link meanwhile is not followed.
class Walk
{
public:
    explicit Walk(const std::string& base) : base_(base) {}

    void into(int descriptor, const std::string& path, int depth)
    {
        const Folder folder(fdopendir(descriptor), closedir);
        struct stat facts;
        if (!folder || fstat(descriptor, &facts) != 0)
        {
            throw Failure(systemError("cannot look into " + path));
        }
        if ((facts.st_mode & S_IWGRP) != 0 && facts.st_uid != geteuid())
        {
            refuse(path,
                   "is another user's folder, in which a group may put something; take that right away (chmod g-w)");
        }
        if ((facts.st_mode & S_IWOTH) != 0)
        {
            refuse(path, "is a folder in which everybody may put something; take that right away (chmod o-w)");
        }
        if (depth > kDepthMax)
        {
            refuse(path, "lies deeper than a camera's files can; remove it");
        }
        errno = 0;
        while (const dirent* entry = readdir(folder.get()))
        {
            const std::string name = entry->d_name;
            if (name != "." && name != "..")
            {
                lookAt(descriptor, name, path + "/" + name, depth);
            }
            errno = 0;
        }
        if (errno != 0)
        {
            throw Failure(systemError("cannot look into " + path));
        }
    }

private:
    void lookAt(int folder, const std::string& name, const std::string& path, int depth)
    {
        struct stat facts;
        if (++entries_ > kEntriesMax)
        {
            refuse(base_, "holds more than " + std::to_string(kEntriesMax) + " files, and cannot be a camera's");
        }
        if (fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
        {
            if (errno == ENOENT)
            {
                return;  // gone meanwhile
            }
            throw Failure(systemError("cannot look at " + path));
        }
        requireOwn(path, facts, allowedKindOf(folder, name, depth));
        if (S_ISDIR(facts.st_mode))
        {
            const int below = openat(folder, name.c_str(), kFolderFlags | O_NOFOLLOW);
            if (below < 0)
            {
                throw Failure(systemError("cannot look into " + path));
            }
            into(below, path, depth + 1);
        }
    }

    const std::string base_;
    int entries_ = 0;
};

}  // namespace

void requireOwnFiles(const std::string& folder)
{
    const int descriptor = open(folder.c_str(), kFolderFlags);
    if (descriptor < 0)
    {
        throw Failure(systemError("cannot use the state folder " + folder));
    }
    Walk(folder).into(descriptor, folder, 0);
}

void requireOwnFile(const std::string& path)
{
    struct stat facts;
    if (lstat(path.c_str(), &facts) == 0)
    {
        requireOwn(path, facts);
    }
}

}  // namespace app
