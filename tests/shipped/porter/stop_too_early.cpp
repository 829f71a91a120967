// Threads of a port's own. All is well with them, but that stop says that the thread has stopped when it has only been
// told to. They stand in front of the reference framework's.

#include <GThread.h>
#include <KestraTime.h>

#include <chrono>
#include <condition_variable>
#include <utility>

namespace {

struct Stop
{
    std::mutex mutex;
    std::condition_variable changed;
    bool isRequested = false;  // guarded by mutex
};

thread_local Stop* stopOfThisThread = nullptr;

}  // namespace

struct GThread::Work
{
    std::function<int()> body;
    std::function<int()> atStart;
    std::function<int()> atEnd;
    mutable std::shared_ptr<Stop> stop;  // of the last run

    void run(Stop& own) const
    {
        stopOfThisThread = &own;
        atStart();
        for (;;)
        {
            {
                const std::lock_guard<std::mutex> lock(own.mutex);
                if (own.isRequested)
                {
                    break;
                }
            }
            body();
        }
        atEnd();
    }
};

GThread::GThread(std::function<int()> body, const char*, std::function<int()> atStart, std::function<int()> atEnd)
    : work_(std::make_shared<const Work>(Work{std::move(body), std::move(atStart), std::move(atEnd), nullptr}))
{
}

GThread::~GThread()
{
    stop();
}

bool GThread::start()
{
    const std::lock_guard<std::mutex> lock(lifecycle_);
    if (!thread_.joinable())
    {
        const auto own = work_->stop = std::make_shared<Stop>();
        thread_ = std::thread([work = work_, own] { work->run(*own); });
    }
    return true;
}

bool GThread::stop()
{
    const std::lock_guard<std::mutex> lock(lifecycle_);
    if (thread_.joinable())
    {
        const std::lock_guard<std::mutex> stopLock(work_->stop->mutex);
        work_->stop->isRequested = true;
        work_->stop->changed.notify_all();
        thread_.detach();  // join is what is missing
    }
    return true;
}

void KestraTime::wait(const KestraTime& span)
{
    Stop nobody;
    Stop& stop = stopOfThisThread == nullptr ? nobody : *stopOfThisThread;
    std::unique_lock<std::mutex> lock(stop.mutex);
    stop.changed.wait_for(lock,
                          std::chrono::seconds(span.getSeconds()) + std::chrono::microseconds(span.getMicroseconds()),
                          [&] { return stop.isRequested; });
}
