#include "KSFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/posix/StagedFile.h"
#include "platform/posix/SystemCall.h"

namespace {

constexpr std::size_t kReadAhead = 512;
constexpr std::size_t kLineMax = 64 * 1024;                    // only a damaged file has a longer one
constexpr std::size_t kReadMax = 1u << 30;                     // the kernel gives no more than just below 2 GiB at once
constexpr int kOpenFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;  // a named pipe must not hold up a camera

// Not a directory, and not a device that would be read alone: it may have no end.
bool mayBeOpened(const struct stat& status, int flags)
{
    return flags == O_RDONLY ? S_ISREG(status.st_mode) : !S_ISDIR(status.st_mode);
}

// -1 for what may not be opened. Asked before, since opening a device does something, and after, since it may be another
// file by then.
int openInPlace(const char* path, int flags)
{
    struct stat status = {};
    if (stat(path, &status) == 0 && !mayBeOpened(status, flags))
    {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return -1;
    }
    const int handle = host::uninterrupted([=] { return open(path, flags | kOpenFlags, 0644); });
    if (handle >= 0 && (fstat(handle, &status) != 0 || !mayBeOpened(status, flags)))
    {
        close(handle);
        return -1;
    }
    return handle;
}

// A rename needs the right to write to the directory, not to the file that it replaces.
bool mayWrite(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

}  // namespace

KSFile::~KSFile()
{
    release(false);
}

bool KSFile::open(const char* path, unsigned char mode)
{
    release(false);
    if (path == nullptr)
    {
        return false;
    }
    switch (mode)
    {
    case modeRead:
        handle_ = openInPlace(path, O_RDONLY);
        break;
    case modeWrite:
        handle_ = openInPlace(path, O_WRONLY | O_CREAT);
        break;
    case modeRead | modeWrite:
        handle_ = openInPlace(path, O_RDWR | O_CREAT);
        break;
    case modeWrite | modeTruncate:
        return openForTruncation(path, O_WRONLY);
    case modeRead | modeWrite | modeTruncate:
        return openForTruncation(path, O_RDWR);
    default:
        break;
    }
    return handle_ >= 0;
}

bool KSFile::openForTruncation(const char* path, int access)
{
    struct stat status = {};
    const bool exists = stat(path, &status) == 0;
    if (exists && !S_ISREG(status.st_mode))
    {
        handle_ = openInPlace(path, access);
        return handle_ >= 0;
    }
    std::string target;
    if (!host::followLinks(path, target) || (exists && !mayWrite(target)))
    {
        return false;
    }
    handle_ = host::createStaged(target, access, staged_);
    if (handle_ < 0)
    {
        staged_.clear();
        return false;
    }
    target_ = target;
    return true;
}

int KSFile::read(char* buffer, unsigned int count)
{
    if (handle_ < 0 || count > INT_MAX)
    {
        return -1;
    }
    std::size_t done = std::min<std::size_t>(count, buffer_.size() - bufferPosition_);
    std::memcpy(buffer, buffer_.data() + bufferPosition_, done);
    bufferPosition_ += done;
    // A short read is the end: a second one might return bytes of newer contents.
    for (bool isAtEnd = false; done < count && !isAtEnd;)
    {
        const std::size_t wanted = std::min(count - done, kReadMax);
        const ssize_t got = host::uninterrupted([&] { return ::read(handle_, buffer + done, wanted); });
        if (got < 0)
        {
            return -1;
        }
        done += static_cast<std::size_t>(got);
        isAtEnd = static_cast<std::size_t>(got) < wanted;
    }
    return static_cast<int>(done);
}

int KSFile::write(const char* data, unsigned int count)
{
    if (handle_ < 0)
    {
        return -1;
    }
    if (count > INT_MAX)
    {
        writeFailed_ = true;
        return -1;
    }
    dropReadAhead();
    std::size_t done = 0;
    while (done < count)
    {
        const ssize_t put = host::uninterrupted([&] { return ::write(handle_, data + done, count - done); });
        if (put <= 0)
        {
            writeFailed_ = true;
            return done > 0 ? static_cast<int>(done) : -1;
        }
        done += static_cast<std::size_t>(put);
    }
    return static_cast<int>(done);
}

INT64 KSFile::getLength() const
{
    struct stat status = {};
    return handle_ >= 0 && fstat(handle_, &status) == 0 ? status.st_size : 0;
}

bool KSFile::close()
{
    return release(true);
}

int KSFile::getFileHandle() const
{
    return handle_;
}

bool KSFile::ReadOneLine(std::string& line)
{
    line.clear();
    bool found = false;
    bool isEnded = false;
    while (!isEnded && line.size() <= kLineMax + 1 && !wasCut_ && (bufferPosition_ < buffer_.size() || fillBuffer()))
    {
        found = true;
        const std::size_t end = buffer_.find('\n', bufferPosition_);
        isEnded = end != std::string::npos;
        line.append(buffer_, bufferPosition_, end - bufferPosition_);
        bufferPosition_ = isEnded ? end + 1 : buffer_.size();
    }
    if (isEnded && !line.empty() && line.back() == '\r')
    {
        line.pop_back();
    }
    if (line.size() > kLineMax)
    {
        line.resize(kLineMax);
        wasCut_ = true;
    }
    return found;
}

bool KSFile::exists(const char* path)
{
    if (path == nullptr)
    {
        return false;
    }
    int failure = EINTR;
    while (failure == EINTR)
    {
        if (access(path, F_OK) == 0)
        {
            return true;
        }
        failure = errno;  // asked once: this is called before every message
    }
    return failure != ENOENT && failure != ENOTDIR && failure != ENAMETOOLONG;
}

// The position goes back to where the caller believes it is.
void KSFile::dropReadAhead()
{
    if (bufferPosition_ < buffer_.size())
    {
        lseek(handle_, -static_cast<off_t>(buffer_.size() - bufferPosition_), SEEK_CUR);
    }
    buffer_.clear();
    bufferPosition_ = 0;
}

// False at the end of the file and on failure.
bool KSFile::fillBuffer()
{
    char bytes[kReadAhead];
    const ssize_t got = handle_ < 0 ? -1 : host::uninterrupted([&] { return ::read(handle_, bytes, sizeof bytes); });
    buffer_.assign(bytes, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    bufferPosition_ = 0;
    return got > 0;
}

bool KSFile::release(bool complete)
{
    if (handle_ < 0)
    {
        return false;
    }
    bool good = complete && !writeFailed_;
    if (!staged_.empty())
    {
        if (good)
        {
            good = host::commitStaged(handle_, staged_, target_);
        }
        else
        {
            unlink(staged_.c_str());
        }
    }
    good = (::close(handle_) == 0 || errno == EINTR) && good;
    handle_ = -1;
    writeFailed_ = false;
    wasCut_ = false;
    target_.clear();
    staged_.clear();
    buffer_.clear();
    bufferPosition_ = 0;
    return good;
}
