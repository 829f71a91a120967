#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace support {

// A place in a call where threads stop until the test lets them go on. Opens at the end of its life.
// Thread-safe.
class Gate
{
public:
    Gate() = default;
    ~Gate() { open(); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    // Stops the calling thread until the gate is open.
    void pass()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
    }

    // False if fewer than count threads have come within half a minute of real time.
    bool waitForArrivals(int count = 1)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return arrived_ >= count; });
    }

    void open()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    int arrived_ = 0;
    bool open_ = false;
};

}  // namespace support
