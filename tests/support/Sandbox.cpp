#include "tests/support/Sandbox.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace support {
namespace {

namespace fs = std::filesystem;

constexpr char kTokenVariable[] = "SENSORDLL_TEST_TREE";
constexpr char kTokenFile[] = "private-tree.token";
constexpr char kStartedFile[] = "/tmp/private-tree.started";
constexpr int kCannotRun = 127;
constexpr unsigned kCapSysAdmin = 21;  // bit of CapEff in /proc/self/status

constexpr const char* kSystemFolders[] = {
#include "app/box/SystemFolders.def"
};

const char* const kPrivateFolders[] = {"mnt", "hd1", "tmp"};

// Empty unless the tests are built for another processor than this machine's.
const std::vector<std::string> kEmulator = {SENSORDLL_EMULATOR};
constexpr char kBoardLibraries[] = SENSORDLL_SYSROOT;

std::string firstLine(const fs::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

bool isAtOrBelow(const fs::path& path, const fs::path& folder)
{
    const fs::path relative = path.lexically_relative(folder);
    return !relative.empty() && *relative.begin() != "..";
}

bool hasSysAdmin()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
    {
        if (line.rfind("CapEff:", 0) == 0)
        {
            return (std::strtoull(line.c_str() + 7, nullptr, 16) >> kCapSysAdmin) & 1U;
        }
    }
    return false;
}

volatile std::sig_atomic_t interrupted = 0;

// An interruption from the terminal reaches the program inside too. This one dies of it when it has removed the tree.
class InterruptionPutOff
{
public:
    InterruptionPutOff() : before_(std::signal(SIGINT, [](int) { interrupted = 1; }))
    {
        if (before_ == SIG_IGN)
        {
            std::signal(SIGINT, SIG_IGN);
        }
    }

    ~InterruptionPutOff()
    {
        std::signal(SIGINT, before_);
        if (interrupted != 0)
        {
            std::raise(SIGINT);
        }
    }

    InterruptionPutOff(const InterruptionPutOff&) = delete;
    InterruptionPutOff& operator=(const InterruptionPutOff&) = delete;

private:
    void (*before_)(int);
};

// The tree's folders on the real machine, removed at the end of the run.
class Tree
{
public:
    Tree()
    {
        const fs::path parent = fs::path(SENSORDLL_BINARY_DIR) / "test-trees";
        fs::create_directories(parent);
        std::string name = (parent / "XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
        {
            std::fprintf(stderr, "cannot make a folder below %s: %s\n", parent.c_str(), std::strerror(errno));
            std::exit(kCannotRun);
        }
        root_ = name;
        for (const char* folder : kPrivateFolders)
        {
            fs::create_directory(root_ / folder);
            std::ofstream(root_ / folder / kTokenFile) << root_.filename().string() << '\n';
        }
        std::ofstream(root_.string() + kStartedFile);
    }

    ~Tree()
    {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }

    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    const fs::path& root() const { return root_; }
    std::string token() const { return root_.filename().string(); }
    bool programStarted() const
    {
        std::error_code missing;
        return !fs::is_empty(root_.string() + kStartedFile, missing) && !missing;
    }

private:
    fs::path root_;
};

void addSystemFolders(std::vector<std::string>& arguments)
{
    arguments.insert(arguments.end(), {"--ro-bind", "/usr", "/usr", "--ro-bind", "/etc", "/etc"});
    for (const char* folder : kSystemFolders)
    {
        // An emulator may show a board's folder of that name, which is no link.
        std::error_code noLink;
        const fs::path target = fs::read_symlink(folder, noLink);
        if (!noLink)
        {
            arguments.insert(arguments.end(), {"--symlink", target.string(), folder});
        }
        else
        {
            arguments.insert(arguments.end(), {"--ro-bind-try", folder, folder});
        }
    }
    arguments.insert(arguments.end(), {"--ro-bind-try", "/run", "/run", "--ro-bind-try", "/sys", "/sys"});
    arguments.insert(arguments.end(), {"--dev-bind", "/dev", "/dev", "--bind", "/proc", "/proc"});
}

void addPrivateFolders(const Tree& tree, bool isInMemory, std::vector<std::string>& arguments)
{
    const auto addMount = [&](const char* option, const std::string& path) {
        arguments.insert(arguments.end(), {option, tree.root().string() + path, path});
    };
    for (const char* folder : kPrivateFolders)
    {
        const std::string path = std::string("/") + folder;
        if (!isInMemory)
        {
            addMount("--bind", path);
            continue;
        }
        arguments.insert(arguments.end(), {"--tmpfs", path});
        addMount("--ro-bind", path + "/" + kTokenFile);
    }
    if (isInMemory)
    {
        addMount("--bind", kStartedFile);
    }
}

// The folders above one: bubblewrap itself makes them so that an ordinary user, whom a test of root's may become, gets
// no further.
void addWay(const fs::path& folder, std::vector<std::string>& arguments)
{
    fs::path above = folder.root_path();
    for (const fs::path& part : folder.parent_path().relative_path())
    {
        above /= part;
        arguments.insert(arguments.end(), {"--perms", "0755", "--dir", above.string()});
    }
}

// Private folders first: sources and build tree may lie below /tmp or /mnt and are then put on top.
std::vector<std::string> sandboxArguments(const Tree& tree, char** argv, const TreeOptions& options, bool unshareUser)
{
    std::vector<std::string> arguments = {"bwrap"};
    if (unshareUser)
    {
        arguments.push_back("--unshare-user");
    }
    addSystemFolders(arguments);
    addPrivateFolders(tree, options.isInMemory, arguments);
    for (const char* folder : {SENSORDLL_SOURCE_DIR, SENSORDLL_BINARY_DIR})
    {
        addWay(folder, arguments);
        arguments.insert(arguments.end(), {"--ro-bind", folder, folder});
    }
    for (const SharedPath& shared : options.shared)
    {
        arguments.insert(arguments.end(), {shared.isWritable ? "--bind" : "--ro-bind", shared.path, shared.path});
    }
    if (*kBoardLibraries != '\0')
    {
        arguments.insert(arguments.end(), {"--ro-bind", kBoardLibraries, kBoardLibraries});
    }
    arguments.insert(arguments.end(), {"--setenv", kTokenVariable, tree.token(), "--die-with-parent", "--chdir", "/"});
    arguments.push_back("--");
    arguments.insert(arguments.end(), kEmulator.begin(), kEmulator.end());
    arguments.push_back(fs::read_symlink("/proc/self/exe").string());
    for (char** argument = argv + 1; *argument != nullptr; ++argument)
    {
        arguments.push_back(*argument);
    }
    return arguments;
}

int runAndWait(const std::vector<std::string>& arguments)
{
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
    {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0)
    {
        execvp(pointers[0], pointers.data());
        std::fprintf(stderr, "cannot run bwrap: %s. Tests need the package bubblewrap.\n", std::strerror(errno));
        _exit(kCannotRun);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// Put on top of a private folder, the machine's own would be what the program works on.
bool hidesPrivateFolder(const fs::path& shared)
{
    return std::any_of(std::begin(kPrivateFolders), std::end(kPrivateFolders), [&](const char* folder) {
        return isAtOrBelow(fs::path("/") / folder, shared.lexically_normal());
    });
}

// Says what is wrong with what the program is to share.
bool canShare(const std::vector<SharedPath>& shared)
{
    for (const SharedPath& path : shared)
    {
        if (hidesPrivateFolder(path.path))
        {
            std::fprintf(stderr,
                         "%s cannot be shared: /mnt, /hd1 and /tmp are this program's own while it runs. "
                         "Start it in another folder and give it files or folders below these.\n",
                         path.path.c_str());
            return false;
        }
    }
    return true;
}

}  // namespace

bool insidePrivateTree()
{
    const char* token = std::getenv(kTokenVariable);
    if (token == nullptr || *token == '\0')
    {
        return false;
    }
    for (const char* folder : kPrivateFolders)
    {
        if (firstLine(fs::path("/") / folder / kTokenFile) != token)
        {
            return false;
        }
    }
    std::ofstream(kStartedFile) << '\n';
    return true;
}

int runInPrivateTree(char** argv, const TreeOptions& options)
{
    if (std::getenv(kTokenVariable) != nullptr)
    {
        // Once more would be without end.
        std::fprintf(stderr, "started for a private file tree that is not there: unset %s\n", kTokenVariable);
        return kCannotRun;
    }
    if (!canShare(options.shared))
    {
        return kCannotRun;
    }
    // A container's root often lacks what mounting needs, and gets it in a user namespace of its own.
    const bool unshareUser = geteuid() == 0 && !hasSysAdmin();
    const InterruptionPutOff putOff;
    const Tree tree;
    int status = runAndWait(sandboxArguments(tree, argv, options, unshareUser));
    if (status != 0 && interrupted == 0 && !tree.programStarted())
    {
        status = runAndWait(sandboxArguments(tree, argv, options, !unshareUser));
    }
    if (status != 0 && interrupted == 0 && !tree.programStarted())
    {
        std::fprintf(stderr, "bwrap could not make the private file tree that tests run in: are user namespaces "
                             "switched off?\n");
    }
    return status;
}

}  // namespace support
