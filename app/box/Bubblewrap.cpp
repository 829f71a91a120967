#include "app/box/Bubblewrap.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "app/Failure.h"

namespace app {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

constexpr const char* kSystemFolders[] = {
#include "app/box/SystemFolders.def"
};

struct PrivateFolder
{
    const char* path;
    const char* inDevicesState;
};

constexpr PrivateFolder kPrivateFolders[] = {
    {"/mnt", "/current/mnt"},
    {"/hd1", "/current/hd1"},
    {"/tmp", "/tmp"},
};

// With /state before it.
std::string placeOf(const PrivateFolder& folder, Tree tree)
{
    return kInsideState + std::string(tree == Tree::ofDevice ? folder.inDevicesState : folder.path);
}

bool isLink(const PrivateFolder& folder)
{
    return std::strcmp(folder.path, folder.inDevicesState) != 0;
}

// Of the machine's settings what a program needs to run and to write to a terminal.
const char* const kSettings[] = {"/etc/ld.so.cache", "/etc/alternatives", "/etc/localtime", "/etc/terminfo"};

// A /proc shows the processes of the tree alone. Where a container does not let one be mounted, there is an empty one.
// That is enough for the camera, if the loader is told where the library lies, but not for a sanitizer.
const Arguments kOwnProc = {"--proc", "/proc", "--remount-ro", "/proc"};
const Arguments kOtherProc = SENSORCAM_NEEDS_PROC ? Arguments{"--ro-bind", "/proc", "/proc"}
                                                  : Arguments{"--dir", "/proc", "--setenv", "LD_LIBRARY_PATH",
                                                              std::string(kInsidePrefix) + SENSORCAM_LIBRARIES};

void append(Arguments& list, const Arguments& more)
{
    list.insert(list.end(), more.begin(), more.end());
}

void addSystem(Arguments& list)
{
    append(list, {"--ro-bind", "/usr", "/usr"});
    for (const char* folder : kSystemFolders)
    {
        if (fs::is_symlink(folder))
        {
            append(list, {"--symlink", fs::read_symlink(folder).string(), folder});
        }
        else if (fs::exists(folder))
        {
            append(list, {"--ro-bind", folder, folder});
        }
    }
    for (const char* path : kSettings)
    {
        append(list, {"--ro-bind-try", path, path});
    }
}

// Everything up to the program. Sources are looked up on the real machine, so that state folder and program may
// lie anywhere, also below /mnt or /tmp.
Arguments treeArguments(const std::string& stateFolder, Tree tree, const std::string& prefix, const Arguments& proc,
                        bool newUserNamespace)
{
    Arguments list = {"bwrap", "--unshare-pid", "--die-with-parent", "--chdir", "/"};
    if (newUserNamespace)
    {
        list.push_back("--unshare-user");
    }
    addSystem(list);
    append(list, {"--dev", "/dev"});
    append(list, proc);
    for (const PrivateFolder& folder : kPrivateFolders)
    {
        append(list, tree == Tree::ofDevice && isLink(folder)
                         ? Arguments{"--symlink", placeOf(folder, tree), folder.path}
                         : Arguments{"--bind", stateFolder + folder.path, folder.path});
    }
    append(list, {"--bind", stateFolder, kInsideState, "--ro-bind", prefix, kInsidePrefix});
    return list;
}

// Runs the command quietly. Its exit status; 127 when there is no such program. errors receives what it said.
int probe(const Arguments& command, std::string& errors)
{
    std::vector<char*> pointers;
    for (const std::string& argument : command)
    {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
    {
        throw Failure(systemError("cannot make a pipe"));
    }
    const pid_t child = fork();
    if (child == 0)
    {
        dup2(ends[1], STDERR_FILENO);
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    close(ends[1]);
    char buffer[512];
    for (ssize_t count = read(ends[0], buffer, sizeof buffer); count > 0; count = read(ends[0], buffer, sizeof buffer))
    {
        errors.append(buffer, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

[[noreturn]] void refuse(const std::string& errors)
{
    throw Failure("bubblewrap could not make the camera's private file tree:\n" + errors +
                  "This machine does not let you make namespaces. Allow them (as root: sysctl -w "
                  "kernel.unprivileged_userns_clone=1 user.max_user_namespaces=15000), or, on a board or in a "
                  "container that is thrown away, use --in-place, which works on the real /mnt/mtd, /hd1 and /tmp.");
}

}  // namespace

std::vector<std::string> sandboxCommand(const std::string& stateFolder, const std::string& program,
                                        const std::vector<std::string>& arguments, const std::string& usersFolder,
                                        Tree tree)
{
    const fs::path prefix = fs::path(program).parent_path().parent_path();
    std::string errors;
    for (const Arguments& proc : {kOwnProc, kOtherProc})
    {
        for (bool newUserNamespace : {false, true})
        {
            Arguments command = treeArguments(stateFolder, tree, prefix.string(), proc, newUserNamespace);
            if (!usersFolder.empty())
            {
                append(command, {"--ro-bind", usersFolder, kInsideUsers});
            }
            Arguments trial = command;
            append(trial, {"--", "/bin/true"});
            errors.clear();
            const int status = probe(trial, errors);
            if (status == 127)
            {
                throw Failure("bubblewrap is missing; install it (apt-get install bubblewrap), or use --in-place on a "
                              "board or in a container that is thrown away");
            }
            if (status == 0)
            {
                const fs::path inside = fs::path(kInsidePrefix) / fs::path(program).lexically_relative(prefix);
                append(command, {"--", inside.string()});
                append(command, arguments);
                return command;
            }
        }
    }
    refuse(errors);
}

bool insideSandbox(Tree tree)
{
    for (const PrivateFolder& folder : kPrivateFolders)
    {
        struct stat mine;
        struct stat states;
        if (stat(folder.path, &mine) != 0 || stat(placeOf(folder, tree).c_str(), &states) != 0 ||
            mine.st_dev != states.st_dev || mine.st_ino != states.st_ino)
        {
            return false;
        }
    }
    return true;
}

bool hasDeviceLinks()
{
    return std::all_of(std::begin(kPrivateFolders), std::end(kPrivateFolders), [](const PrivateFolder& folder) {
        std::error_code none;
        return !isLink(folder) ||
               fs::path("/") / fs::read_symlink(folder.path, none) == placeOf(folder, Tree::ofDevice);
    });
}

}  // namespace app
