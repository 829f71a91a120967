#pragma once

#include <atomic>
#include <mutex>

namespace host {

class Clock;

// How a running GThread is told to stop. One for each run; the thread keeps it alive. Thread-safe.
class StopToken
{
public:
    // owner: any address that stays the thread's own for the whole run.
    explicit StopToken(const void* owner);

    const void* owner() const { return owner_; }
    bool requested() const { return requested_; }

    // Also wakes the clock that the thread waits on.
    void request();

    // The calling thread's token; null on a thread that is no GThread.
    static StopToken* current();
    static void setCurrent(StopToken* token);

private:
    friend class WaitScope;

    const void* const owner_;
    std::atomic<bool> requested_{false};

    // Held while a clock is woken, so that the clock cannot go meanwhile. Taken before a clock's mutex.
    std::mutex mutex_;

    // Guarded by mutex_.
    Clock* waitingOn_ = nullptr;
};

// Lets the token of the calling thread know the clock, for as long as the object lives on the stack.
class WaitScope
{
public:
    explicit WaitScope(Clock& clock);
    ~WaitScope();
    WaitScope(const WaitScope&) = delete;
    WaitScope& operator=(const WaitScope&) = delete;

private:
    void setWaitingOn(Clock* clock);
};

}  // namespace host
