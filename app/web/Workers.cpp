#include "app/web/Workers.h"

#include <utility>

namespace web {

Workers::Workers(int threads, std::size_t mostWaiting) : mostWaiting_(mostWaiting)
{
    for (int i = 0; i < threads; ++i)
    {
        threads_.emplace_back([this] { run(); });
    }
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
        if (waiting_.size() >= mostWaiting_)
        {
            return false;
        }
        waiting_.push_back(std::move(job));
    }
    changed_.notify_one();
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
        lock.unlock();
        job();
        lock.lock();
    }
}

}  // namespace web
