#include "app/box/StateFolder.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "app/Failure.h"
#include "app/Models.h"
#include "app/box/DiskFiles.h"
#include "app/box/OwnFiles.h"
#include "camera/TextFile.h"

namespace app {
namespace {

namespace fs = std::filesystem;

constexpr char kLockFile[] = "lock";
constexpr char kModelFile[] = "model";
constexpr std::size_t kModelFileMax = 4096;

std::string homeFolder()
{
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/')
    {
        return home;
    }
    const passwd* entry = getpwuid(getuid());
    if (entry == nullptr || entry->pw_dir == nullptr || entry->pw_dir[0] != '/')
    {
        throw Failure("there is no home directory for the camera's files; name a folder with --state DIR");
    }
    return entry->pw_dir;
}

std::string firstLineOf(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

// How root comes into another user's folder: as that user, who may have made links there. A number has no such way.
std::string wayOf(uid_t owner, const std::string& path)
{
    const passwd* const entry = getpwuid(owner);
    const std::string name = entry == nullptr ? "" : entry->pw_name;
    return name.empty() ? ""
                        : ", " + name + "; root can be that one: runuser -u " + name + " -- sensorcam --state " + path;
}

// What a lock file says, which is no longer than a number.
std::string holderOf(int lock)
{
    char text[32];
    const ssize_t length = pread(lock, text, sizeof text, 0);
    return firstLineOf(std::string(text, static_cast<std::size_t>(length < 0 ? 0 : length)));
}

}  // namespace

std::string defaultStateFolder(const std::string& model)
{
    const char* state = std::getenv("XDG_STATE_HOME");
    // Relative paths in this variable are to be ignored.
    const std::string base = state != nullptr && state[0] == '/' ? state : homeFolder() + "/.local/state";
    return base + "/sensorcam/" + model;
}

std::string absolutePath(const std::string& path)
{
    std::string absolute = fs::absolute(path).lexically_normal().string();
    while (absolute.size() > 1 && absolute.back() == '/')
    {
        absolute.pop_back();
    }
    return absolute;
}

StateFolder::StateFolder(const std::string& path, Kind kind, Lock lock) : path_(path), kind_(kind)
{
    makeFolders(path_);
    requireSafe();
    if (kind_ == Kind::chosen)
    {
        requireOwnFiles(path_);
    }
    if (lock == Lock::taken)
    {
        takeLock();
    }
}

void StateFolder::requireSafe() const
{
    struct stat facts;
    struct stat root;
    if (stat(path_.c_str(), &facts) != 0 || stat("/", &root) != 0)
    {
        throw Failure(systemError("cannot use the state folder " + path_));
    }
    if (facts.st_dev == root.st_dev && facts.st_ino == root.st_ino)
    {
        throw Failure("the root of the file tree cannot be a state folder");
    }
    if (facts.st_uid != 0 && facts.st_uid != geteuid())
    {
        throw Failure("the state folder " + path_ + " belongs to another user" + wayOf(facts.st_uid, path_));
    }
    for (const char* name : {kLockFile, kModelFile, "history"})
    {
        requireOwnFile(path_ + "/" + name);
    }
}

void StateFolder::takeLock()
{
    const std::string file = path_ + "/" + kLockFile;
    // Whoever may read it may lock it, and keep the camera from starting.
    lock_ = camera::Descriptor(open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (lock_.number() < 0)
    {
        throw Failure(systemError("cannot write in the state folder " + path_));
    }
    if (flock(lock_.number(), LOCK_EX | LOCK_NB) != 0)
    {
        const std::string holder = holderOf(lock_.number());
        throw InUse("a camera is already running on " + path_ + (holder.empty() ? "" : " (process " + holder + ")") +
                    (kind_ == Kind::chosen ? "; end it, or give this one a folder of its own with --state DIR"
                                           : "; end it: there is room for one on the real /mnt/mtd, /hd1 and /tmp"));
    }
    const std::string process = std::to_string(getpid()) + "\n";
    if (fchmod(lock_.number(), 0600) != 0 || ftruncate(lock_.number(), 0) != 0 ||
        write(lock_.number(), process.data(), process.size()) < 0)
    {
        throw Failure(systemError("cannot write in the state folder " + path_));
    }
}

std::optional<std::string> rememberedModel(const std::string& stateFolder)
{
    const std::string name = firstLineOf(camera::readFile(stateFolder + "/" + kModelFile, kModelFileMax).value_or(""));
    return name.empty() ? std::nullopt : std::optional<std::string>(name);
}

std::string StateFolder::chooseModel(const std::optional<std::string>& wanted) const
{
    const std::optional<std::string> remembered = model();
    if (remembered && !isModelName(*remembered) && *remembered != kDeviceModel)
    {
        throw Failure(path_ + " holds a camera of the unknown model '" + *remembered + "'");
    }
    if (wanted && remembered && *wanted != *remembered)
    {
        throw Failure(path_ + " holds a " + modelTitle(*remembered) + "; a " + modelTitle(*wanted) + " needs " +
                      (kind_ == Kind::chosen ? "a folder of its own (--state DIR)" : "a board of its own"));
    }
    return wanted ? *wanted : remembered.value_or(kModelNames[0]);
}

bool StateFolder::wouldHold(const std::string& path) const
{
    std::error_code unknown;
    fs::path folder = fs::weakly_canonical(fs::absolute(path).parent_path(), unknown);
    while (!fs::equivalent(folder, path_, unknown) && folder.has_relative_path())
    {
        folder = folder.parent_path();
    }
    return folder.has_relative_path();
}

void StateFolder::rememberModel(const std::string& model)
{
    replaceFile(path_ + "/" + kModelFile, model + "\n");
}

}  // namespace app
