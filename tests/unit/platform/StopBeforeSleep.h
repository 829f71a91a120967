#pragma once

namespace platform_tests {

// Holds up the next thread of the test program that is about to sleep on a condition variable until a time, after
// its last look at what it waits for, until somebody waits for the mutex that it holds or wakes whoever sleeps by
// then. One at a time.
class StopBeforeSleep
{
public:
    StopBeforeSleep();
    ~StopBeforeSleep();
    StopBeforeSleep(const StopBeforeSleep&) = delete;
    StopBeforeSleep& operator=(const StopBeforeSleep&) = delete;

    // False when no thread came to that point.
    bool waitUntilHeldUp() const;

    // True if the sleepers were woken while the thread was held up: it would have slept on. It did not, so that the
    // test can end.
    bool wasWokenTooEarly() const;
};

}  // namespace platform_tests
