#pragma once

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "sensorplatform_export.h"

/// The clock behind KestraTime and KSDeviceTime. A board uses RealClock, which is in place from the start;
/// a virtual camera runs faster, a test moves the time by hand.
namespace host {

class StopToken;

using Span = std::chrono::microseconds;

/// Thread-safe, like everything below.
class SENSORPLATFORM_API Clock
{
public:
    virtual ~Clock() = default;

    /// Local wall-clock time.
    virtual std::tm localTime() const = 0;

    /// Time since some fixed moment; never goes back, not even when the wall-clock time is set.
    virtual Span monotonic() const = 0;

    /// Returns when the span has passed on this clock, or early when the GThread that the caller runs on is
    /// being stopped. A span of zero or less returns at once.
    virtual void wait(Span span) = 0;

    /// Wakes all waiters so that they look again whether they are being stopped. Called by GThread::stop, also
    /// after this clock was replaced, while a GThread is in KestraTime::wait on it.
    virtual void wake() = 0;
};

/// For the wait of a clock of your own: true on a GThread that is being stopped. Test it under the mutex that
/// wake takes too, or a stop can be missed.
SENSORPLATFORM_API bool stopRequested();

/// The clock in force; never null.
SENSORPLATFORM_API std::shared_ptr<Clock> clock();

/// Replaces it; null puts a RealClock back. Waits that have begun stay with the clock they began on.
SENSORPLATFORM_API void setClock(std::shared_ptr<Clock> clock);

/// The system's time. A wait is one system call unless a stop disturbs it.
class SENSORPLATFORM_API RealClock : public Clock
{
public:
    std::tm localTime() const override;
    Span monotonic() const override;
    void wait(Span span) override;
    void wake() override;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
};

/// Real time, run faster or slower.
class SENSORPLATFORM_API ScaledClock : public Clock
{
public:
    /// speed: seconds of this clock in a real second, above 0; std::invalid_argument otherwise.
    /// Starts at the system's local time.
    explicit ScaledClock(double speed);
    /// Starts today at this time of day.
    ScaledClock(double speed, int hour, int minute);

    std::tm localTime() const override;
    Span monotonic() const override;
    void wait(Span span) override;
    void wake() override;

    /// Sets the wall clock to hour (0 to 23) and minute (0 to 59) of the same day; it runs on from there. Waits
    /// go on as they were.
    void setTimeOfDay(int hour, int minute);

    /// From now on, as in the constructor. Waits end when their span has passed on this clock, at the new speed.
    void setSpeed(double speed);

private:
    Span elapsed() const;

    mutable std::mutex mutex_;
    std::condition_variable changed_;

    /// Guarded by mutex_.
    double speed_;
    std::chrono::steady_clock::time_point start_;  ///< when it took up this speed
    Span atStart_{0};                              ///< its monotonic time then
    Span wallAtZero_;  ///< local time as if it were UTC, since 1970, when its monotonic time was 0
};

/// Stands still until it is moved.
class SENSORPLATFORM_API ManualClock : public Clock
{
public:
    /// The first day is a Thursday, 2026-01-01.
    ManualClock(int hour, int minute);

    std::tm localTime() const override;
    Span monotonic() const override;

    /// On the thread that created this clock, wait moves it itself: nobody else could. The wall clock and all
    /// other waits move along.
    void wait(Span span) override;
    void wake() override;

    /// Moves the time in one leap; every wait whose end is reached returns.
    void advance(Span span);

    /// Sets the wall clock to hour (0 to 23) and minute (0 to 59) of the same day. Waits are untouched.
    void setTimeOfDay(int hour, int minute);

    /// Returns true as soon as at least count threads are in a wait whose end has not come and which no stop has
    /// ended; false when the bound, in real time, is over. A thread that advance has just released is
    /// not counted until it waits again.
    bool waitForSleepers(int count, std::chrono::milliseconds bound);

private:
    struct Sleeper
    {
        Span end;
        const StopToken* token;  ///< null on a thread that is no GThread
    };

    int asleep() const;

    const unsigned long creator_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;   ///< time or a stop
    std::condition_variable sleeping_;  ///< sleepers_ grew

    /// Guarded by mutex_.
    Span now_{0};
    Span wallAtZero_;  ///< local time as if it were UTC, since 1970, when now_ was 0
    std::list<Sleeper> sleepers_;
};

}  // namespace host
