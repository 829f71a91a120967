// A port whose host framework breaks nearly every promise. These definitions stand in front of the reference framework's.

#include <unistd.h>

#include <fstream>
#include <utility>

#include "GThread.h"
#include "KSDeviceTime.h"
#include "KSFile.h"
#include "KSLogger.h"
#include "KSMutex.h"
#include "KestraTime.h"
#include "StringHandler.h"
#include "sy_system.h"
#include "tests/support/Simulator.h"

namespace {

[[maybe_unused]] const auto& inForceFromTheStart = support::simulator();

constexpr char kBlank = ' ';

}  // namespace

// ---- threads: they run once, and stop takes that for a failure which has nothing to do ------------------------------

struct GThread::Work
{
    std::function<int()> body;
    std::function<int()> atStart;
    std::function<int()> atEnd;
    mutable std::atomic<bool> hasStarted{false};
    mutable std::atomic<bool> isStopped{false};

    void run() const
    {
        atStart();
        while (!isStopped)
        {
            body();
        }
        atEnd();
    }
};

GThread::GThread(std::function<int()> body, const char*, std::function<int()> atStart, std::function<int()> atEnd)
    : work_(new Work{std::move(body), std::move(atStart), std::move(atEnd)})
{
}

GThread::~GThread()
{
    stop();
}

bool GThread::start()
{
    if (work_->hasStarted.exchange(true))
    {
        return false;
    }
    thread_ = std::thread([work = work_] { work->run(); });
    return true;
}

bool GThread::stop()
{
    work_->isStopped = true;
    if (!thread_.joinable())
    {
        return false;
    }
    thread_.join();
    return true;
}

void KSMutex::Lock(const char*, int) {}
void KSMutex::Unlock(const char*, int) {}

// ---- time ----------------------------------------------------------------------------------------------------------

void KestraTime::wait(const KestraTime&) {}

KSDeviceTime KSDeviceTime::getCurrentTime()
{
    std::time_t now = std::time(nullptr);
    std::tm greenwich{};
    gmtime_r(&now, &greenwich);
    return KSDeviceTime(greenwich.tm_hour, greenwich.tm_min);
}

// ---- files: whatever happens, nobody hears of it -------------------------------------------------------------------

int KSFile::read(char* buffer, unsigned int count)
{
    // One call of the system, which may bring less than there is.
    constexpr unsigned kPage = 4096;
    const auto got = ::read(handle_, buffer, count < kPage ? count : kPage);
    return got < 0 ? 0 : static_cast<int>(got);
}

int KSFile::write(const char* data, unsigned int count)
{
    [[maybe_unused]] const auto put = ::write(handle_, data, count);
    return static_cast<int>(count);
}

bool KSFile::close()
{
    release(true);
    return true;
}

bool KSFile::exists(const char* path)
{
    return access(path, R_OK) == 0;
}

bool KSFile::ReadOneLine(std::string& line)
{
    line.clear();
    for (char byte = 0; ::read(handle_, &byte, 1) == 1 && byte != '\n';)
    {
        line += byte;
    }
    return !line.empty();
}

// Two lines a record, as many as there are, in a file that grows.
int KSLogger::writeLog(const char* prefix, const char* text)
{
    std::ofstream log(path_, std::ios::app);
    log << prefix << std::endl;
    log << kBlank << text << std::endl;
    return 0;
}

// ---- texts and commands --------------------------------------------------------------------------------------------

void StringHandler::split(const std::string& text, const std::string& separator, std::vector<std::string>& items)
{
    items.clear();
    std::size_t begin = 0;
    while ((begin = text.find_first_not_of(separator, begin)) != std::string::npos)
    {
        const std::size_t end = text.find_first_of(separator, begin);
        items.push_back(text.substr(begin, end - begin));
        begin = end;
    }
}

// There is no shell on this board.
int sy_system(const char*, int)
{
    return 0;
}
