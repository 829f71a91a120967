#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "services/Picture.h"
#include "services/linux/VideoNode.h"

namespace devices {

// What the camera's service knows of a picture that its device does not.
struct Surroundings
{
    double time = 0;   // as in services::Frame
    double light = 0;  // "
    bool night = false;
    u32 rate = 0;          // wished frames in a second; 0: as the device has it
    bool isStuck = false;  // the device does not answer: it is not asked how it exposes
};

// How the device exposes.
struct Exposure
{
    double seconds = 0;        // 0: it does not say
    double gain = 0;           // decibels, from 0 to 60 over the device's own range; 0: it does not say
    bool isAutomatic = false;  // the time follows the light
};

// Lux, as daynight::lightFromExposure has it. Nothing unless the exposure is automatic.
std::optional<double> lightOf(const Exposure& exposure);

// The picture of a camera on V4L2. One thread streams while anybody reads, and all readers share what comes: the device
// streams for one of its openers only. Thread-safe; no call waits longer than Times say, whatever the device does, but the
// end of this object waits for a call of the driver's under way.
//
// A driver refuses another frame rate while it streams. So the wish comes with the surroundings: where it changes, the
// stream is stopped for a moment and goes on with the new rate.
class Capture
{
public:
    // Null, and an error number, when the camera cannot be opened. Called on the thread that streams.
    using Open = std::function<std::unique_ptr<VideoNode>(int& error)>;
    // For each frame, on the same thread: must neither wait nor throw.
    using Look = std::function<Surroundings()>;

    struct Times
    {
        std::chrono::milliseconds start{8'000};  // for the device to begin to stream: a driver waits 5 s for its answer
        std::chrono::milliseconds stall{4'000};  // without a picture that could be used, until the stream is given up
        std::chrono::milliseconds silence{9'000};  // for a reader that hears nothing, not even that
        std::chrono::milliseconds exposure{500};   // between two looks at how the device exposes
    };

    Capture(Open open, Look look);
    Capture(Open open, Look look, Times times);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    // A reader, which may outlive this object. Throws std::runtime_error, with the reason, when there is no picture; its
    // next does the same once when the picture ends by itself. It may be opened again at once.
    std::unique_ptr<services::PictureSource> open();

    // How the device exposed a moment ago; nothing while nobody reads, and where the device does not say.
    std::optional<Exposure> exposure() const;

private:
    class Reader;
    class Session;
    class Shared;

    void run();
    void stream();

    const Open open_;
    const Look look_;
    const Times times_;
    const std::shared_ptr<Shared> shared_;

    std::mutex mutex_;
    std::thread thread_;  // guarded by mutex_; begins with the first reader
};

}  // namespace devices
