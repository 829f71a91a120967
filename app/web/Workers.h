#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace web {

// Threads that do jobs from one bounded queue, in order. Thread-safe.
class Workers
{
public:
    Workers(int threads, std::size_t mostWaiting);
    // Waits for the jobs that have begun; the others are dropped.
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    // False when as many jobs wait as may.
    bool add(std::function<void()> job);

private:
    void run();

    const std::size_t mostWaiting_;
    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    std::deque<std::function<void()>> waiting_;
    bool ending_ = false;

    std::vector<std::thread> threads_;
};

}  // namespace web
