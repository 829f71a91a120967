#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace soak {

// Lets a number of threads work through the hours together: nobody begins an hour before it was begun for all.
// Thread-safe.
class Shift
{
public:
    explicit Shift(int workers) : workers_(workers) {}

    // ---- of the one who leads ----

    void begin(int hour)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        hour_ = hour;
        done_ = 0;
        changed_.notify_all();
    }

    // False if somebody has not finished the hour within two minutes of real time.
    bool waitForAll()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::minutes(2), [this] { return done_ == workers_; });
    }

    // ---- of the workers ----

    void waitFor(int hour)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return hour_ >= hour; });
    }

    void finish()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (++done_ == workers_)
        {
            changed_.notify_all();
        }
    }

private:
    const int workers_;
    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    int hour_ = -1;
    int done_ = 0;
};

}  // namespace soak
