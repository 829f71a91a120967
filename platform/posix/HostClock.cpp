#include "HostClock.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "KSDeviceTime.h"
#include "KestraTime.h"
#include "platform/posix/StopToken.h"
#include "platform/posix/WallTime.h"

using std::chrono::steady_clock;

namespace host {
namespace {

constexpr Span kLongestWait = std::chrono::hours(24 * 365 * 30);  // far from the end of the clock's numbers
constexpr Span kEndOfTime = std::chrono::hours(24 * 365 * 3000);
constexpr Span kDay = std::chrono::hours(24);

struct Current
{
    std::mutex mutex;
    std::shared_ptr<Clock> clock = std::make_shared<RealClock>();
};

// Never destroyed: threads may still run when the process ends.
Current& current()
{
    static Current& instance = *new Current;
    return instance;
}

double checkedSpeed(double speed)
{
    if (!(speed > 0) || !std::isfinite(speed))
    {
        throw std::invalid_argument("the speed of a clock must be above 0");
    }
    return speed;
}

}  // namespace

std::shared_ptr<Clock> clock()
{
    std::lock_guard<std::mutex> lock(current().mutex);
    return current().clock;
}

void setClock(std::shared_ptr<Clock> clock)
{
    if (!clock)
    {
        clock = std::make_shared<RealClock>();
    }
    std::lock_guard<std::mutex> lock(current().mutex);
    current().clock.swap(clock);
}

Span wallOf(std::tm local)
{
    return std::chrono::seconds(timegm(&local));
}

std::tm localOf(Span wall)
{
    const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(wall).count();
    std::tm local{};
    gmtime_r(&seconds, &local);
    return local;
}

Span withTimeOfDay(Span wall, int hour, int minute)
{
    const Span midnight = wall - (wall % kDay + kDay) % kDay;
    return midnight + std::chrono::hours(hour) + std::chrono::minutes(minute);
}

Span saturatedSum(Span a, Span b)
{
    return b > Span::max() - std::max(a, Span(0)) ? Span::max() : a + b;
}

// ---- RealClock ---------------------------------------------------------------------------------------------

std::tm RealClock::localTime() const
{
    tzset();  // follows a change of the time zone
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return local;
}

Span RealClock::monotonic() const
{
    return std::chrono::duration_cast<Span>(steady_clock::now().time_since_epoch());
}

void RealClock::wait(Span span)
{
    const steady_clock::time_point end = steady_clock::now() + std::clamp(span, Span(0), kLongestWait);
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopRequested() && steady_clock::now() < end)
    {
        changed_.wait_until(lock, end);
    }
}

void RealClock::wake()
{
    std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
}

// ---- ScaledClock -------------------------------------------------------------------------------------------

ScaledClock::ScaledClock(double speed)
    : speed_(checkedSpeed(speed)),
      start_(steady_clock::now()),
      wallAtZero_(wallOf(RealClock().localTime()))
{
}

ScaledClock::ScaledClock(double speed, int hour, int minute) : ScaledClock(speed)
{
    wallAtZero_ = withTimeOfDay(wallAtZero_, hour, minute);
}

std::tm ScaledClock::localTime() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return localOf(saturatedSum(wallAtZero_, elapsed()));
}

Span ScaledClock::monotonic() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return elapsed();
}

/// Called with the mutex held.
Span ScaledClock::elapsed() const
{
    const std::chrono::duration<double, std::micro> real = steady_clock::now() - start_;
    const double scaled = real.count() * speed_;
    const double left = static_cast<double>((kEndOfTime - atStart_).count());
    return atStart_ + Span(static_cast<Span::rep>(std::min(scaled, left)));
}

void ScaledClock::wait(Span span)
{
    if (span <= Span(0))
    {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    const Span end = saturatedSum(elapsed(), span);
    const auto realEnd = [this, end] {
        const double realMicroseconds = std::ceil(static_cast<double>((end - atStart_).count()) / speed_);
        const double longest = static_cast<double>(kLongestWait.count());
        return start_ + Span(static_cast<Span::rep>(std::min(realMicroseconds, longest)));
    };
    while (!stopRequested() && steady_clock::now() < realEnd())
    {
        changed_.wait_until(lock, realEnd());
    }
}

void ScaledClock::wake()
{
    std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
}

void ScaledClock::setTimeOfDay(int hour, int minute)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Span now = elapsed();
    wallAtZero_ = withTimeOfDay(wallAtZero_ + now, hour, minute) - now;
}

void ScaledClock::setSpeed(double speed)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const double checked = checkedSpeed(speed);
    atStart_ = elapsed();
    start_ = steady_clock::now();
    speed_ = checked;
    changed_.notify_all();
}

}  // namespace host

// ---- what the library sees ---------------------------------------------------------------------------------

KestraTime::KestraTime(long seconds, long microseconds) : seconds_(seconds), microseconds_(microseconds) {}

long KestraTime::getSeconds() const
{
    return seconds_;
}

long KestraTime::getMicroseconds() const
{
    return microseconds_;
}

void KestraTime::wait(const KestraTime& span)
{
    constexpr long kSecondsMax = static_cast<long>(host::kLongestWait / std::chrono::seconds(1));
    const std::shared_ptr<host::Clock> clock = host::clock();
    const host::WaitScope scope(*clock);
    clock->wait(std::chrono::seconds(std::clamp(span.seconds_, -kSecondsMax, kSecondsMax)) +
                std::clamp(host::Span(span.microseconds_), -host::kLongestWait, host::kLongestWait));
}

KSDeviceTime::KSDeviceTime(int hour, int minute) : hour_(hour), minute_(minute) {}

KSDeviceTime KSDeviceTime::getCurrentTime()
{
    const std::tm local = host::clock()->localTime();
    return KSDeviceTime(local.tm_hour, local.tm_min);
}

int KSDeviceTime::getHour() const
{
    return hour_;
}

int KSDeviceTime::getMinute() const
{
    return minute_;
}
