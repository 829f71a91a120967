#include "Sandbox.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
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

const char* const kPrivateFolders[] = {"mnt", "hd1", "tmp"};

std::string firstLine(const fs::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
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
    bool programStarted() const { return fs::exists(root_.string() + kStartedFile); }

private:
    fs::path root_;
};

void addSystemFolders(std::vector<std::string>& arguments)
{
    arguments.insert(arguments.end(), {"--ro-bind", "/usr", "/usr", "--ro-bind", "/etc", "/etc"});
    for (const char* folder : {"/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"})
    {
        if (fs::is_symlink(folder))
        {
            arguments.insert(arguments.end(), {"--symlink", fs::read_symlink(folder).string(), folder});
        }
        else
        {
            arguments.insert(arguments.end(), {"--ro-bind-try", folder, folder});
        }
    }
    arguments.insert(arguments.end(), {"--ro-bind-try", "/run", "/run", "--ro-bind-try", "/sys", "/sys"});
    arguments.insert(arguments.end(), {"--dev-bind", "/dev", "/dev", "--bind", "/proc", "/proc"});
}

// Private folders first: sources and build tree may lie below /tmp or /mnt and are then put on top.
std::vector<std::string> sandboxArguments(const Tree& tree, char** argv, bool unshareUser)
{
    std::vector<std::string> arguments = {"bwrap"};
    if (unshareUser)
    {
        arguments.push_back("--unshare-user");
    }
    addSystemFolders(arguments);
    for (const char* folder : kPrivateFolders)
    {
        arguments.insert(arguments.end(), {"--bind", (tree.root() / folder).string(), std::string("/") + folder});
    }
    for (const char* folder : {SENSORDLL_SOURCE_DIR, SENSORDLL_BINARY_DIR})
    {
        arguments.insert(arguments.end(), {"--ro-bind", folder, folder});
    }
    arguments.insert(arguments.end(), {"--setenv", kTokenVariable, tree.token(), "--die-with-parent", "--chdir", "/"});
    arguments.insert(arguments.end(), {"--", fs::read_symlink("/proc/self/exe").string()});
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

int runInPrivateTree(char** argv)
{
    // A container's root often lacks what mounting needs, and gets it in a user namespace of its own.
    const bool unshareUser = geteuid() == 0 && !hasSysAdmin();
    const Tree tree;
    int status = runAndWait(sandboxArguments(tree, argv, unshareUser));
    if (status != 0 && !tree.programStarted())
    {
        status = runAndWait(sandboxArguments(tree, argv, !unshareUser));
    }
    if (status != 0 && !tree.programStarted())
    {
        std::fprintf(stderr, "bwrap could not make the private file tree that tests run in: are user namespaces "
                             "switched off?\n");
    }
    return status;
}

}  // namespace support
