#include "services/sim/picture/Picture.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "services/SignalsHeld.h"

namespace sim::picture {
namespace {

constexpr double kMostDrawn = 30;  // frames in a second; of faster ones every second is drawn

double toSeconds(std::chrono::steady_clock::time_point time)
{
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

std::chrono::steady_clock::duration toSpan(double seconds)
{
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

Picture::Picture(Look look, cv::Size size) : look_(std::move(look)), pipeline_(size) {}

void Picture::stop()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    stop_.notify_all();
}

// False when it was stopped.
bool Picture::waitUntil(Time time)
{
    std::unique_lock<std::mutex> lock(mutex_);
    return !stop_.wait_until(lock, time, [this] { return stopped_; });
}

// Until the sensor delivers the next frame that is to be drawn; number_ becomes its number.
bool Picture::waitForFrame(double rate)
{
    const Time now = std::chrono::steady_clock::now();
    if (rate != rate_)
    {
        rate_ = rate;
        base_ = now;
        baseNumber_ = ++number_;
        return waitUntil(now);
    }
    const auto each = static_cast<std::uint64_t>(std::ceil(rate / kMostDrawn));
    const auto begun = static_cast<std::uint64_t>(std::max(0.0, toSeconds(now) - toSeconds(base_)) * rate);
    number_ = std::max(number_ + each, baseNumber_ + begun);
    return waitUntil(base_ + toSpan(static_cast<double>(number_ - baseNumber_) / rate));
}

std::optional<services::Frame> Picture::next()
{
    if (!waitForFrame(look_().values.get(IA_CMD_SENSOR_FPS)))
    {
        return std::nullopt;
    }
    // Looked at after the wait: what was set meanwhile is in this frame.
    const View view = look_();
    frame_.number = number_;
    frame_.time = view.secondsOfDay;
    frame_.rate = rate_;
    frame_.light = view.lux;
    frame_.night = view.night;
    frame_.frozen = view.values.get(IA_CMD_FREEZE) != 0;
    if (!frame_.frozen || frame_.jpeg.empty())
    {
        draw(view);
    }
    return frame_;
}

void Picture::draw(const View& view)
{
    const services::SignalsHeld held;
    const cv::Mat picture = pipeline_.shoot(view, toSeconds(std::chrono::steady_clock::now()), 1 / rate_);
    frame_.width = picture.cols;
    frame_.height = picture.rows;
    frame_.jpeg = encoder_.encode(picture);
    frame_.exposure = pipeline_.setting().shutter;
    frame_.gain = pipeline_.setting().gain;
}

}  // namespace sim::picture
