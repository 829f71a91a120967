#include "services/DiskFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "services/Descriptor.h"

namespace services {
namespace {

bool sync(const Descriptor& opened)
{
    // EINVAL: a file system without a disk to sync to.
    return opened.number() >= 0 && (fsync(opened.number()) == 0 || errno == EINVAL);
}

}  // namespace

bool bringToDisk(const std::string& path)
{
    return sync(Descriptor(open(path.empty() ? "." : path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)));
}

bool writeNewFile(const std::string& path, const std::string& content, mode_t mode)
{
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    for (std::size_t done = 0; file.number() >= 0 && done < content.size();)
    {
        const ssize_t put = write(file.number(), content.data() + done, content.size() - done);
        if (put > 0)
        {
            done += static_cast<std::size_t>(put);
        }
        else if (put == 0 || errno != EINTR)
        {
            errno = put == 0 ? ENOSPC : errno;
            return false;
        }
    }
    return sync(file);
}

bool replaceFile(const std::string& path, const std::string& content, mode_t mode)
{
    const std::string staged = path + ".new";
    std::remove(staged.c_str());  // left by an interrupted start, or a link
    return writeNewFile(staged, content, mode) && std::rename(staged.c_str(), path.c_str()) == 0 &&
           bringToDisk(std::filesystem::path(path).parent_path().string());
}

}  // namespace services
