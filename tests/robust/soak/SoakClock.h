#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "HostClock.h"

namespace soak {

// Simulated: the length of the sensor thread's pause. Each pause lasts a minute of the wall clock, and ends at once in
// real time; so the thread decides in every minute of the period, as a camera's does sixty times. Everything else
// is real: thread, turns, switches, and what the host's threads do meanwhile.
//
// A minute passes only when the thread has decided in it; in manual mode, or while a factory reset makes it turn
// without a pause, time stands still. The thread stops at the end of each stretch that the test has opened.
// Thread-safe.
class SoakClock : public host::Clock
{
public:
    // minutes: of the whole period, which begins on 2026-01-01 at midnight. It ends with a decision in the minute
    // behind it.
    explicit SoakClock(int minutes);

    std::tm localTime() const override;
    host::Span monotonic() const override;
    // Passes no time on other threads than the sensor thread.
    void wait(host::Span span) override;
    void wake() override;

    // The thread may go on up to this minute.
    void openUntil(int minute);
    // False if the thread has not come to the end of the stretch within two minutes of real time.
    bool waitForThread();

    int minute() const { return minute_; }
    // Pauses that the sensor thread has made.
    long turns() const { return turns_; }
    // Minutes in which it has decided at least once.
    int minutesDecidedIn() const;

    static bool isSensorThread();

private:
    std::atomic<int> minute_{0};
    std::atomic<long> turns_{0};
    mutable std::vector<std::atomic<bool>> decided_;  // by minute

    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    int end_ = 0;
    bool atEnd_ = false;
};

}  // namespace soak
