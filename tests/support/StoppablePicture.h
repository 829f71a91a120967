#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "services/Picture.h"

namespace support {

// What all pictures have in common: whoever waits for a frame is released by stop. Thread-safe.
class StoppablePicture : public services::PictureSource
{
public:
    void stop() override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isStopped_ = true;
        stopping_.notify_all();
    }

protected:
    void waitForStop()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        stopping_.wait(lock, [this] { return isStopped_; });
    }

    // Waits until then; true when it was stopped.
    bool isStoppedBy(std::chrono::steady_clock::time_point then)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return stopping_.wait_until(lock, then, [this] { return isStopped_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable stopping_;
    bool isStopped_ = false;  // guarded by mutex_
};

// Frames of these bytes, one in each period.
class PacedPicture : public StoppablePicture
{
public:
    PacedPicture(std::chrono::steady_clock::duration period, std::string jpeg) : period_(period), jpeg_(std::move(jpeg))
    {
    }

    std::optional<services::Frame> next() override
    {
        due_ += period_;
        if (isStoppedBy(due_))
        {
            return std::nullopt;
        }
        services::Frame frame;
        frame.number = ++number_;
        frame.jpeg = jpeg_;
        return frame;
    }

private:
    const std::chrono::steady_clock::duration period_;
    const std::string jpeg_;
    std::chrono::steady_clock::time_point due_ = std::chrono::steady_clock::now();
    std::uint64_t number_ = 0;
};

}  // namespace support
