#include "app/web/Workers.h"

#include <system_error>
#include <utility>

namespace web {

Workers::Workers(std::size_t mostThreads, std::size_t mostWaiting)
    : mostThreads_(mostThreads),
      mostWaiting_(mostWaiting)
{
}

Workers::~Workers()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_)
    {
        thread.join();
    }
}

bool Workers::add(std::function<void()> job)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (waiting_.size() >= mostWaiting_ || !hasThread())
        {
            return false;
        }
        waiting_.push_back(std::move(job));
    }
    changed_.notify_one();
    return true;
}

// For one job more. Called with the lock.
bool Workers::hasThread()
{
    if (idle_ <= waiting_.size() && threads_.size() < mostThreads_)
    {
        try
        {
            threads_.emplace_back([this] { run(); });
            ++idle_;
        }
        catch (const std::system_error&)
        {
            return !threads_.empty();
        }
    }
    return true;
}

void Workers::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (true)
    {
        changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
        if (ending_)
        {
            return;
        }
        const std::function<void()> job = std::move(waiting_.front());
        waiting_.pop_front();
        --idle_;
        lock.unlock();
        job();
        lock.lock();
        ++idle_;
    }
}

}  // namespace web
