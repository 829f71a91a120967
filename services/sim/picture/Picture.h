#pragma once

#include <condition_variable>
#include <mutex>

#include "services/Picture.h"
#include "services/sim/picture/Encoder.h"
#include "services/sim/picture/Pipeline.h"

namespace sim::picture {

constexpr int kWidth = 1280;
constexpr int kHeight = 720;

// The simulated picture in real time, however fast the camera's clock runs. A frame that cannot be drawn in time is
// skipped, and its number with it. Frozen, the last one is given again. One reader's; stop is Thread-safe.
class Picture : public services::PictureSource
{
public:
    explicit Picture(Look look, cv::Size size = {kWidth, kHeight});

    std::optional<services::Frame> next() override;
    void stop() override;

    // Called with the name of each stage when it has ended.
    void setWatch(const Pipeline::Watch& watch) { pipeline_.setWatch(watch); }

private:
    using Time = std::chrono::steady_clock::time_point;

    bool waitUntil(Time time);
    bool waitForFrame(double rate);

    void draw(const View& view);

    const Look look_;
    Pipeline pipeline_;
    Encoder encoder_;
    services::Frame frame_;  // the last one

    // Frames are counted from one that began at a known time at a known rate.
    double rate_ = 0;
    Time base_;
    std::uint64_t baseNumber_ = 0;
    std::uint64_t number_ = 0;

    std::mutex mutex_;
    std::condition_variable stop_;
    bool stopped_ = false;  // guarded by mutex_
};

}  // namespace sim::picture
