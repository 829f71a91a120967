#pragma once

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
    }

    std::vector<Value> take()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(sets_, {});
    }

private:
    std::mutex mutex_;
    std::vector<Value> sets_;  // guarded by mutex_
};

}  // namespace camera
