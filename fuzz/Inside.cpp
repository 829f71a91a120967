#include "fuzz/Inside.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Sandbox.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr char kArtifactFolder[] = "-artifact_prefix=";
constexpr char kArtifactFile[] = "-exact_artifact_path=";
constexpr char kDictionary[] = "-dict=";

bool isOption(const std::string& argument, const char* option)
{
    return argument.compare(0, std::strlen(option), option) == 0;
}

bool isBelow(const fs::path& path, const fs::path& folder)
{
    const std::string relative = path.lexically_normal().lexically_relative(folder).string();
    return !relative.empty() && relative.compare(0, 2, "..") != 0;
}

// The arguments with absolute paths, for a program that starts in another folder, and what it must reach.
class Arguments
{
public:
    Arguments(int argc, char** argv, bool writesArtifacts)
    {
        bool namesTheirPlace = false;
        add(argv[0]);
        for (int i = 1; i < argc; ++i)
        {
            const std::string argument = argv[i];
            const bool isArtifact = isOption(argument, kArtifactFolder) || isOption(argument, kArtifactFile);
            namesTheirPlace |= isArtifact;
            if (isArtifact || isOption(argument, kDictionary))
            {
                addOptionWithPath(argument, isArtifact);
            }
            else if (argument[0] == '-')
            {
                add(argument);
            }
            else
            {
                addPath(argument);
            }
        }
        if (writesArtifacts && !namesTheirPlace)
        {
            addOptionWithPath(std::string(kArtifactFolder) + fs::current_path().string() + "/", true);
        }
    }

    char** pointers()
    {
        pointers_.clear();
        for (std::string& argument : arguments_)
        {
            pointers_.push_back(argument.data());
        }
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

    const std::vector<support::SharedPath>& shared() const { return shared_; }

private:
    void add(const std::string& argument) { arguments_.push_back(argument); }

    void addOptionWithPath(const std::string& argument, bool isWritten)
    {
        const std::size_t path = argument.find('=') + 1;
        const std::string absolute = fs::absolute(argument.substr(path)).string();
        add(argument.substr(0, path) + absolute);
        shared_.push_back({fs::path(absolute).parent_path().string(), isWritten});
    }

    void addPath(const std::string& argument)
    {
        const fs::path absolute = fs::absolute(argument);
        const bool isFolder = fs::is_directory(absolute);
        const bool isWritten = isFolder && !hasFolder_ && !isBelow(absolute, SENSORDLL_FUZZ_SOURCES);
        add(absolute.string());
        if (fs::exists(absolute))
        {
            shared_.push_back({absolute.string(), isWritten});
        }
        hasFolder_ |= isFolder;
    }

    std::vector<std::string> arguments_;
    std::vector<char*> pointers_;
    std::vector<support::SharedPath> shared_;
    bool hasFolder_ = false;
};

void silenceStandardOutput()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

}  // namespace

void enterPrivateTree(int argc, char** argv, bool writesArtifacts)
{
    if (!support::insidePrivateTree())
    {
        Arguments arguments(argc, argv, writesArtifacts);
        const int status = support::runInPrivateTree(arguments.pointers(), {arguments.shared(), true});
        std::fflush(nullptr);
        _exit(status);
    }
    silenceStandardOutput();
}

}  // namespace fuzz
