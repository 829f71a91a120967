#include "KSLogger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "HostClock.h"
#include "StagedFile.h"
#include "SystemCall.h"

namespace {

constexpr int kAttempts = 1000;  // each one lost means that another writer got a record in

int openLog(const std::string& path)
{
    const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const auto openIt = [&] { return host::uninterrupted([&] { return open(path.c_str(), flags, 0644); }); };
    const int handle = openIt();
    const std::size_t slash = path.rfind('/');
    if (handle >= 0 || errno != ENOENT || slash == std::string::npos)
    {
        return handle;
    }
    mkdir(path.substr(0, slash).c_str(), 0755);  // another writer may have been faster
    return openIt();
}

// Drops what a full disk let in of a record. False when not everything could be written.
bool appendWhole(int handle, off_t oldSize, const std::string& record)
{
    const ssize_t put = host::uninterrupted([&] { return write(handle, record.data(), record.size()); });
    const bool isWhole = put == static_cast<ssize_t>(record.size());
    if (put > 0 && !isWhole && ftruncate(handle, oldSize) != 0)
    {
        // The part stays. It has no line end: the next record begins behind it.
    }
    return isWhole;
}

// At most size bytes, without half a UTF-8 character, with the line end.
void cutRecord(std::string& record, std::size_t size)
{
    if (record.size() <= size)
    {
        return;
    }
    std::size_t end = size - 1;
    while (end > 0 && (static_cast<unsigned char>(record[end]) & 0xC0) == 0x80)
    {
        --end;
    }
    record.replace(end, std::string::npos, "\n");
}

}  // namespace

bool KSLogger::init(const char* path, int maxSize, int count)
try
{
    const bool valid = path != nullptr && *path != '\0' && maxSize > 0 && count > 0;
    path_ = valid ? path : "";
    maxSize_ = valid ? static_cast<std::size_t>(maxSize) : 0;
    count_ = valid ? count : 0;
    return valid;
}
catch (...)
{
    path_.clear();
    return false;
}

int KSLogger::writeLog(const char* prefix, const char* text)
try
{
    if (path_.empty())
    {
        return -1;
    }
    const std::string record = makeRecord(prefix != nullptr ? prefix : "", text != nullptr ? text : "");
    for (int attempt = 0; attempt < kAttempts; ++attempt)
    {
        const int handle = openLog(path_);
        if (handle < 0)
        {
            return -1;
        }
        const int written = appendLocked(handle, record);
        close(handle);
        if (written != 0)
        {
            return written;
        }
    }
    return -1;
}
catch (...)
{
    return -1;
}

// The record's bytes, -1 on failure, 0 when handle is not the log any more.
int KSLogger::appendLocked(int handle, const std::string& record) const
{
    struct stat status{};
    if (host::uninterrupted([=] { return flock(handle, LOCK_EX); }) != 0)
    {
        return -1;
    }
    if (!host::isStillAt(handle, path_))
    {
        return 0;  // rotated while we waited for the lock
    }
    if (fstat(handle, &status) != 0)
    {
        return -1;
    }
    const bool isFull = S_ISREG(status.st_mode) && status.st_size > 0 &&
                        static_cast<std::size_t>(status.st_size) + record.size() > maxSize_;
    if (isFull)
    {
        if (rotate())
        {
            return 0;
        }
        if (ftruncate(handle, 0) != 0)  // new records are worth more than old ones
        {
            return -1;
        }
        status.st_size = 0;
    }
    return appendWhole(handle, status.st_size, record) ? static_cast<int>(record.size()) : -1;
}

// Called with the log locked, so by one writer at a time. False when the log stays where it is.
bool KSLogger::rotate() const
{
    if (count_ == 1)
    {
        return false;
    }
    for (int number = count_ - 2; number > 0; --number)
    {
        std::rename(rotatedName(number).c_str(), rotatedName(number + 1).c_str());
    }
    return std::rename(path_.c_str(), rotatedName(1).c_str()) == 0;
}

std::string KSLogger::rotatedName(int number) const
{
    return path_ + "." + std::to_string(number);
}

std::string KSLogger::makeRecord(const char* prefix, const char* text) const
{
    const std::tm local = host::clock()->localTime();
    char stamp[64];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S ", &local);
    std::string record = std::string(stamp) + prefix + " " + text;
    if (*text == '\0' || record.back() != '\n')
    {
        record += '\n';
    }
    cutRecord(record, maxSize_);
    return record;
}
