#include "app/box/Bubblewrap.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "app/Failure.h"

namespace app {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

constexpr const char* kSystemFolders[] = {
#include "app/box/SystemFolders.def"
};

const char* const kPrivateFolders[] = {"/mnt", "/hd1", "/tmp"};

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
Arguments treeArguments(const std::string& stateFolder, const std::string& prefix, const Arguments& proc,
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
    for (const char* folder : kPrivateFolders)
    {
        append(list, {"--bind", stateFolder + folder, folder});
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
                                        const std::vector<std::string>& arguments, const std::string& usersFolder)
{
    const fs::path prefix = fs::path(program).parent_path().parent_path();
    std::string errors;
    for (const Arguments& proc : {kOwnProc, kOtherProc})
    {
        for (bool newUserNamespace : {false, true})
        {
            Arguments tree = treeArguments(stateFolder, prefix.string(), proc, newUserNamespace);
            if (!usersFolder.empty())
            {
                append(tree, {"--ro-bind", usersFolder, kInsideUsers});
            }
            Arguments trial = tree;
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
                append(tree, {"--", inside.string()});
                append(tree, arguments);
                return tree;
            }
        }
    }
    refuse(errors);
}

bool insideSandbox()
{
    for (const std::string folder : kPrivateFolders)
    {
        struct stat mine;
        struct stat states;
        if (stat(folder.c_str(), &mine) != 0 || stat((kInsideState + folder).c_str(), &states) != 0 ||
            mine.st_dev != states.st_dev || mine.st_ino != states.st_ino)
        {
            return false;
        }
    }
    return true;
}

}  // namespace app
