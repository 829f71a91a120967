#include "services/linux/OpenNode.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>

namespace devices {

int openNode(const std::string& node, std::optional<unsigned> major)
{
    // Looked at before: opening another kind of file may wait, or do something.
    struct stat status;
    if (lstat(node.c_str(), &status) != 0)
    {
        return -errno;
    }
    if (!S_ISCHR(status.st_mode) || (major && gnu_dev_major(status.st_rdev) != *major))
    {
        return -ENOTTY;
    }
    const int descriptor = open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW);
    return descriptor >= 0 ? descriptor : -errno;
}

}  // namespace devices
