#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace web {

// Threads that do jobs from one bounded queue, in order. There are as many as have had to be busy at once. Thread-safe.
class Workers
{
public:
    Workers(std::size_t mostThreads, std::size_t mostWaiting);
    // Waits for the jobs that have begun; the others are dropped.
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    // False when as many jobs wait as may, or the system has no thread for the first.
    bool add(std::function<void()> job);

private:
    bool hasThread();
    void run();

    const std::size_t mostThreads_;
    const std::size_t mostWaiting_;
    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    std::deque<std::function<void()>> waiting_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool ending_ = false;
};

}  // namespace web
