#include "tests/support/FakeVideo.h"

namespace support {

int FakeVideo::notifyParam(int cmd, int value)
{
    std::function<void(int, int)> hook;
    int status = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        notifications_.emplace_back(cmd, value);
        hook = hook_;
        const auto found = answers_.find(cmd);
        status = found == answers_.end() ? 0 : found->second;
    }
    if (hook)
    {
        hook(cmd, value);
    }
    return status;
}

std::vector<AVStreamParam> FakeVideo::getStreamParams() const
{
    std::vector<AVStreamParam> streams;
    std::function<void()> hook;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const int rate : rates_)
        {
            streams.emplace_back().setFrameRate(rate);
        }
        hook = streamsHook_;
    }
    if (hook)
    {
        hook();
    }
    return streams;
}

void FakeVideo::answerStatus(int cmd, int status)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_[cmd] = status;
}

void FakeVideo::setFrameRates(std::vector<int> rates)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    rates_ = std::move(rates);
}

void FakeVideo::onNotify(std::function<void(int, int)> hook)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    hook_ = std::move(hook);
}

void FakeVideo::onStreamsAsked(std::function<void()> hook)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    streamsHook_ = std::move(hook);
}

std::vector<FakeVideo::Notification> FakeVideo::notifications() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return notifications_;
}

void FakeVideo::clear()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    notifications_.clear();
}

}  // namespace support
