#include "app/EventLoop.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <future>
#include <optional>
#include <thread>
#include <utility>

#include "app/Failure.h"

namespace app {
namespace {

timespec toTimespec(std::chrono::nanoseconds span)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(span);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((span - seconds).count())};
}

}  // namespace

EventLoop::EventLoop() : posts_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (posts_.number() < 0)
    {
        throw Failure(systemError("cannot wait for events"));
    }
    watch(posts_.number(), [this] { callPosted(); });
}

void EventLoop::watch(int descriptor, Task handler)
{
    handlers_[descriptor] = std::move(handler);
}

void EventLoop::forget(int descriptor)
{
    handlers_.erase(descriptor);
}

void EventLoop::after(std::chrono::nanoseconds span, Task task)
{
    timers_.emplace(Clock::now() + span, std::move(task));
}

void EventLoop::post(Task task)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        posted_.push_back(std::move(task));
    }
    eventfd_write(posts_.number(), 1);
}

void EventLoop::runUntil(const std::function<bool()>& done)
{
    while (!done())
    {
        waitOnce();
        callDue();
    }
}

int EventLoop::runBeside(const std::function<int()>& work)
{
    std::packaged_task<int()> task(work);
    std::future<int> result = task.get_future();
    bool ended = false;
    std::thread worker([&] {
        task();
        post([&] { ended = true; });
    });
    runUntil([&] { return ended; });
    worker.join();
    return result.get();
}

void EventLoop::waitOnce()
{
    std::vector<pollfd> waits;
    for (const auto& [descriptor, handler] : handlers_)
    {
        waits.push_back({descriptor, POLLIN, 0});
    }
    std::optional<timespec> limit;
    if (!timers_.empty())
    {
        limit = toTimespec(std::max<std::chrono::nanoseconds>(timers_.begin()->first - Clock::now(), {}));
    }
    if (ppoll(waits.data(), waits.size(), limit ? &*limit : nullptr, nullptr) <= 0)
    {
        return;
    }
    for (const pollfd& wait : waits)
    {
        const auto found = handlers_.find(wait.fd);  // one that was called before may have had it forgotten
        if (wait.revents != 0 && found != handlers_.end())
        {
            const Task handler = found->second;
            handler();
        }
    }
}

void EventLoop::callPosted()
{
    eventfd_t ignored;
    eventfd_read(posts_.number(), &ignored);
    std::vector<Task> tasks;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        tasks.swap(posted_);
    }
    for (const Task& task : tasks)
    {
        task();
    }
}

void EventLoop::callDue()
{
    while (!timers_.empty() && timers_.begin()->first <= Clock::now())
    {
        const auto due = timers_.extract(timers_.begin());
        due.mapped()();
    }
}

}  // namespace app
