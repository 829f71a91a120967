#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "camera/Results.h"

namespace camera {

// What the service accepted from the thread that made this object, as long as it lives. When nested, the innermost
// object receives them. Reentrant: one thread.
class OwnSets
{
public:
    OwnSets() : outer_(listening_) { listening_ = this; }
    ~OwnSets() { listening_ = outer_; }
    OwnSets(const OwnSets&) = delete;
    OwnSets& operator=(const OwnSets&) = delete;

    const std::vector<Value>& list() const { return sets_; }

    // For the journal's subscription; false when no object on this thread wants it.
    static bool hear(const Value& value)
    {
        if (listening_ != nullptr)
        {
            listening_->sets_.push_back(value);
        }
        return listening_ != nullptr;
    }

private:
    static inline thread_local OwnSets* listening_ = nullptr;

    OwnSets* const outer_;
    std::vector<Value> sets_;
};

// What it accepted from all other threads, which is the sensor thread, until somebody takes it. Thread-safe.
class OtherSets
{
public:
    static constexpr std::size_t kMost = 1000;  // more are not of interest to anybody who was away that long

    void hear(const Value& value)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (sets_.size() < kMost)
        {
            sets_.push_back(value);
        }
        isNew_ = true;
        changed_.notify_all();
    }

    // Returns true once some have come and no more follow: those of a switch come at once. False when it is over.
    bool waitForSome()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto goesOn = [this] { return isNew_ || isOver_; };
        changed_.wait(lock, goesOn);
        do
        {
            isNew_ = false;
        }
        while (!isOver_ && changed_.wait_for(lock, kPause, goesOn));
        return !isOver_;
    }

    // Nobody waits from now on.
    void end()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isOver_ = true;
        changed_.notify_all();
    }

    std::vector<Value> take()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(sets_, {});
    }

private:
    static constexpr std::chrono::milliseconds kPause{20};

    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    std::vector<Value> sets_;
    bool isNew_ = false;
    bool isOver_ = false;
};

}  // namespace camera
