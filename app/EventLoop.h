#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "camera/Descriptor.h"

namespace app {

// Waits for the whole program: for descriptors, tasks of other threads, and time. What it calls must not wait, nor write
// where there may be no room: the loop has to go on when everything else hangs.
class EventLoop
{
public:
    using Task = std::function<void()>;

    // Throws Failure.
    EventLoop();

    // ---- on the loop's thread, which is the one that runs it ------------------------------------------------

    // Calls handler whenever the descriptor can be read, or its other end has gone, until it is forgotten.
    void watch(int descriptor, Task handler);
    void forget(int descriptor);

    // Calls task once, when the span has passed.
    void after(std::chrono::nanoseconds span, Task task);

    // Runs until done, which is asked after everything that was called.
    void runUntil(const std::function<bool()>& done);

    // Runs until work, on a thread of its own, has ended. What it returned or threw.
    int runBeside(const std::function<int()>& work);

    // ---- on any thread --------------------------------------------------------------------------------------

    // Calls task on the loop's thread, in the order of the calls.
    void post(Task task);

private:
    using Clock = std::chrono::steady_clock;

    void waitOnce();
    void callPosted();
    void callDue();

    const camera::Descriptor posts_;
    std::map<int, Task> handlers_;
    std::multimap<Clock::time_point, Task> timers_;

    std::mutex mutex_;
    std::vector<Task> posted_;  // guarded by mutex_
};

}  // namespace app
