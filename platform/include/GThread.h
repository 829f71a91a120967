#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "sensorplatform_export.h"

namespace host {
class StopToken;
}

/// A named thread that calls its body over and over until it is stopped. Thread-safe, its destruction excepted.
class SENSORPLATFORM_API GThread
{
public:
    /// The thread calls atStart once, then body until stopped, then atEnd once. Their results are not looked at:
    /// the body goes on after a non-zero result too. None of them may throw (the process ends) or be empty.
    /// name: the kernel's thread name, cut to 15 characters; null is an empty one. Nothing runs before start.
    GThread(std::function<int()> body, const char* name, std::function<int()> atStart, std::function<int()> atEnd);

    /// Stops. On the thread itself: lets the running turn be the last one, and the thread end by itself.
    ~GThread();

    GThread(const GThread&) = delete;
    GThread& operator=(const GThread&) = delete;

    /// True when the thread runs afterwards, so also when it was running before; false when the system has no
    /// thread or no memory to give.
    bool start();

    /// Ends a wait of KestraTime::wait early, lets the running turn finish and joins. True when the thread is
    /// gone afterwards, so also when it was never started or had been stopped; it can be started again.
    /// Called on the thread itself it returns false at once: the running turn becomes the last one.
    bool stop();

    /// For the places where a thread needs no function. Returns 0.
    static int emptyFun();

private:
    struct Work;

    bool isCurrent() const;

    const std::shared_ptr<const Work> work_;

    std::mutex lifecycle_;  ///< held by start and stop, over the join too

    /// Guarded by lifecycle_.
    std::thread thread_;
    std::shared_ptr<host::StopToken> token_;  ///< of thread_; null before the first start
};
