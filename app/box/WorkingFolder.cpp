#include "app/box/WorkingFolder.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "app/Failure.h"
#include "app/Output.h"
#include "camera/Descriptor.h"

namespace app {
namespace {

// A named pipe that nobody reads is refused, not waited for.
constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kMode = 0666;

}  // namespace

WorkingFolder::WorkingFolder(const std::string& handedOver)
{
    const std::size_t colon = handedOver.find(':');
    if (colon != std::string::npos)
    {
        root_ = std::atoi(handedOver.c_str());
        path_ = handedOver.substr(colon + 1);
    }
}

std::string WorkingFolder::handOver(int root)
{
    std::error_code gone;
    return std::to_string(root) + ":" + std::filesystem::current_path(gone).string();
}

void WorkingFolder::write(const std::string& file, const std::string& bytes) const
{
    const camera::Descriptor opened(open(file));
    if (opened.number() < 0 || !writeAll(opened.number(), bytes))
    {
        throw Failure(systemError("cannot write " + file));
    }
}

int WorkingFolder::open(const std::string& file) const
{
    if (root_ < 0)
    {
        return ::open(file.c_str(), kFlags, kMode);
    }
    if (path_.empty() && file[0] != '/')  // the folder had been removed
    {
        errno = ENOENT;
        return -1;
    }
    const std::string path = (std::filesystem::path(path_) / file).string();
    open_how how = {};
    how.flags = static_cast<unsigned>(kFlags);
    how.mode = kMode;
    how.resolve = RESOLVE_IN_ROOT;  // what links name is on the real machine too
    return static_cast<int>(syscall(SYS_openat2, root_, path.c_str(), &how, sizeof how));
}

}  // namespace app
