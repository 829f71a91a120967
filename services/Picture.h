#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The camera's picture, frame by frame.
namespace services {

// One picture, and what it was taken with.
struct Frame
{
    std::uint64_t number = 0;  // counts from 1 the frames that the sensor delivered since the source was opened
    double time = 0;           // camera's local time, in seconds of the day
    int width = 0;             // pixels
    int height = 0;
    std::string jpeg;
    double exposure = 0;  // seconds
    double gain = 0;      // decibels
    double rate = 0;      // frames in a second that the sensor is set to
    double light = 0;     // lux on the scene
    bool night = false;
    bool frozen = false;  // the picture is an earlier one
};

// One reader's; stop is Thread-safe, the rest is for the reader's thread.
class PictureSource
{
public:
    virtual ~PictureSource() = default;

    // Waits for the next frame. Nothing after stop, and when the device gives no more; throws std::runtime_error where it
    // is known why.
    virtual std::optional<Frame> next() = 0;

    // From any thread: next returns at once, now and from now on.
    virtual void stop() = 0;
};

}  // namespace services
