#include "KSLogger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>
#include <thread>

#include "HostClock.h"
#include "platform/posix/StagedFile.h"
#include "platform/posix/SystemCall.h"

namespace {

// Whoever reports may hold a camera's mutex, and a report is several records: a thread waits for logs so long in all,
// until its patience has returned.
constexpr std::chrono::milliseconds kPatience{100};
constexpr std::chrono::seconds kPatienceReturns{10};
constexpr std::chrono::microseconds kFirstPause{100};
constexpr std::chrono::microseconds kLongestPause{5000};
constexpr int kTriesOfMoved = 10;  // others rotate a log now and then, not again and again

// What writing a record came to, unless it is the record's bytes.
constexpr int kFailed = -1;
constexpr int kLocked = -2;
constexpr int kMoved = -3;

using SteadyTime = std::chrono::steady_clock::time_point;

// What a thread has waited, for all logs, since its patience was whole; it is whole again after a time without a wait.
struct Waited
{
    SteadyTime last = SteadyTime::min();
    std::chrono::nanoseconds span{0};
};

// False when this thread has no patience left.
bool waitForLog(std::chrono::nanoseconds pause)
{
    static thread_local Waited waited;
    const SteadyTime begin = std::chrono::steady_clock::now();
    if (waited.last < begin - kPatienceReturns)
    {
        waited.span = std::chrono::nanoseconds(0);
    }
    if (waited.span >= kPatience)
    {
        return false;
    }
    std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(pause, kPatience - waited.span));
    waited.last = std::chrono::steady_clock::now();
    waited.span += waited.last - begin;
    return true;
}

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

// Closes the log, and with that unlocks it.
class OpenLog
{
public:
    explicit OpenLog(const std::string& path) : handle_(openLog(path)) {}
    OpenLog(const OpenLog&) = delete;
    OpenLog& operator=(const OpenLog&) = delete;

    ~OpenLog()
    {
        if (handle_ >= 0)
        {
            close(handle_);
        }
    }

    int handle() const { return handle_; }

private:
    const int handle_;
};

// Writes the whole record; on a disk without room for it, none of it. False when not everything could be written.
bool appendWhole(int handle, off_t oldSize, const std::string& record)
{
    const ssize_t put = host::uninterrupted([&] { return write(handle, record.data(), record.size()); });
    const bool isWhole = put == static_cast<ssize_t>(record.size());
    if (put > 0 && !isWhole && ftruncate(handle, oldSize) != 0)
    {
        // The part stays. It has no line end: the next record begins right after it.
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

// What this process knows of the lock on a log, for all its loggers and threads.
struct KSLogger::Lock
{
    std::atomic<bool> isKept{false};       // a record was lost to it, and nobody saw it free since
    std::atomic<unsigned> lostRecords{0};  // that the log does not tell of yet
};

KSLogger::Lock& KSLogger::lockOf(const std::string& path)
{
    static std::mutex mutex;
    static auto& locks = *new std::map<std::string, Lock>;  // for loggers that outlive the program's statics
    const std::lock_guard<std::mutex> guard(mutex);
    return locks[path];
}

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
        return kFailed;
    }
    const char* const start = prefix != nullptr ? prefix : "";
    const std::string record = makeRecord(start, text != nullptr ? text : "");
    Lock& lock = lockOf(path_);
    const int written = tellOfLost(start, lock) ? append(record, lock) : kLocked;
    if (written == kLocked)
    {
        ++lock.lostRecords;
        return kFailed;
    }
    return written;
}
catch (...)
{
    return kFailed;
}

// False when this record is lost to the lock too.
bool KSLogger::tellOfLost(const char* prefix, Lock& lock) const
{
    unsigned lost = lock.lostRecords;
    if (lost == 0)
    {
        return true;
    }
    const std::string text = "lost records: " + std::to_string(lost) + ", the log was locked";
    const std::string record = makeRecord(prefix, text.c_str());
    if (!lock.lostRecords.compare_exchange_strong(lost, 0))
    {
        return true;  // another thread is about to tell of them
    }
    const int written = append(record, lock);
    if (written < 0)
    {
        lock.lostRecords += lost;
    }
    return written != kLocked;
}

// The record's bytes, kFailed, or kLocked when others kept the log from it.
int KSLogger::append(const std::string& record, Lock& lock) const
{
    auto pause = kFirstPause;
    for (int moves = 0; moves < kTriesOfMoved;)
    {
        const int written = tryToAppend(record, lock);
        if (written == kMoved)
        {
            ++moves;
            continue;
        }
        if (written != kLocked)
        {
            return written;
        }
        if (lock.isKept || !waitForLog(pause))
        {
            lock.isKept = true;
            return kLocked;
        }
        pause = std::min(2 * pause, kLongestPause);
    }
    return kFailed;
}

// The record's bytes, kFailed, kLocked, or kMoved when the log is another file now.
int KSLogger::tryToAppend(const std::string& record, Lock& lock) const
try
{
    const OpenLog log(path_);
    const int handle = log.handle();
    if (handle < 0)
    {
        return kFailed;
    }
    if (host::uninterrupted([=] { return flock(handle, LOCK_EX | LOCK_NB); }) != 0)
    {
        return errno == EWOULDBLOCK ? kLocked : kFailed;
    }
    lock.isKept = false;
    if (!host::isStillAt(handle, path_))
    {
        return kMoved;
    }
    struct stat status = {};
    if (fstat(handle, &status) != 0)
    {
        return kFailed;
    }
    const bool isFull = S_ISREG(status.st_mode) && status.st_size > 0 &&
                        static_cast<std::uintmax_t>(status.st_size) + record.size() > maxSize_;
    if (isFull)
    {
        if (rotate())
        {
            return kMoved;
        }
        if (ftruncate(handle, 0) != 0)  // new records are worth more than old ones
        {
            return kFailed;
        }
        status.st_size = 0;
    }
    return appendWhole(handle, status.st_size, record) ? static_cast<int>(record.size()) : kFailed;
}
catch (...)
{
    return kFailed;
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
