#include <algorithm>
#include <atomic>

#include "HostClock.h"
#include "platform/posix/StopToken.h"
#include "platform/posix/WallTime.h"

namespace host {
namespace {

constexpr Span kFirstDay = std::chrono::hours(24 * 20454);  // 2026-01-01

// Unlike a std::thread::id it never comes again.
unsigned long threadSerial()
{
    static std::atomic<unsigned long> last{0};
    thread_local const unsigned long serial = ++last;
    return serial;
}

}  // namespace

// What threads share is copied to and from local variables below: GCC's thread sanitizer overlooks an object of a class
// that is passed straight to a call or assigned straight from one.

ManualClock::ManualClock(int hour, int minute)
    : creator_(threadSerial()),
      wallAtZero_(withTimeOfDay(kFirstDay, hour, minute))
{
}

std::tm ManualClock::localTime() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Span wallAtZero = wallAtZero_;
    const Span now = now_;
    return localOf(saturatedSum(wallAtZero, now));
}

Span ManualClock::monotonic() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return now_;
}

void ManualClock::wait(Span span)
{
    if (threadSerial() == creator_)
    {
        advance(span);
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    const Span end = saturatedSum(now_, std::max(span, Span(0)));
    const auto self = sleepers_.insert(sleepers_.end(), {end, StopToken::current()});
    sleeping_.notify_all();
    changed_.wait(lock, [&] { return now_ >= end || stopRequested(); });
    sleepers_.erase(self);
}

void ManualClock::wake()
{
    std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
}

void ManualClock::advance(Span span)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Span later = saturatedSum(now_, std::max(span, Span(0)));
    now_ = later;
    changed_.notify_all();
}

void ManualClock::setTimeOfDay(int hour, int minute)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Span wall = withTimeOfDay(saturatedSum(wallAtZero_, now_), hour, minute);
    wallAtZero_ = wall - now_;
}

bool ManualClock::waitForSleepers(int count, std::chrono::milliseconds bound)
{
    std::unique_lock<std::mutex> lock(mutex_);
    return sleeping_.wait_for(lock, bound, [&] { return asleep() >= count; });
}

int ManualClock::asleep() const
{
    return static_cast<int>(std::count_if(sleepers_.begin(), sleepers_.end(), [this](const Sleeper& sleeper) {
        return sleeper.end > now_ && !(sleeper.token != nullptr && sleeper.token->requested());
    }));
}

}  // namespace host
