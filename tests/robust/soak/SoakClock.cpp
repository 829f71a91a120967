#include "tests/robust/soak/SoakClock.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace soak {
namespace {

constexpr std::time_t kBeginning = 1767225600;  // 2026-01-01 00:00
constexpr std::chrono::minutes kBound{2};

}  // namespace

SoakClock::SoakClock(int minutes) : decided_(static_cast<std::size_t>(minutes) + 1) {}

bool SoakClock::isSensorThread()
{
    thread_local const bool is = [] {
        char name[16] = "";
        return pthread_getname_np(pthread_self(), name, sizeof name) == 0 && std::strcmp(name, "SensorThread") == 0;
    }();
    return is;
}

std::tm SoakClock::localTime() const
{
    const int minute = minute_;
    if (isSensorThread() && minute < static_cast<int>(decided_.size()))
    {
        decided_[static_cast<std::size_t>(minute)] = true;
    }
    const std::time_t seconds = kBeginning + std::time_t{minute} * 60;
    std::tm local{};
    gmtime_r(&seconds, &local);
    return local;
}

host::Span SoakClock::monotonic() const
{
    return std::chrono::minutes(minute_);
}

void SoakClock::wait(host::Span)
{
    const auto minute = static_cast<std::size_t>(minute_);
    if (!isSensorThread() || minute >= decided_.size() || !decided_[minute])
    {
        std::this_thread::yield();
        return;
    }
    ++turns_;
    std::unique_lock<std::mutex> lock(mutex_);
    if (minute_ + 1 >= end_)
    {
        atEnd_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return minute_ + 1 < end_ || host::stopRequested(); });
        atEnd_ = false;
        if (host::stopRequested())
        {
            return;
        }
    }
    ++minute_;
}

void SoakClock::wake()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
}

void SoakClock::openUntil(int minute)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    end_ = minute;
    atEnd_ = false;
    changed_.notify_all();
}

bool SoakClock::waitForThread()
{
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kBound, [this] { return atEnd_; });
}

int SoakClock::minutesDecidedIn() const
{
    return static_cast<int>(std::count(decided_.begin(), decided_.end(), true));
}

}  // namespace soak
