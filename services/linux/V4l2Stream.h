#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "services/linux/PictureFormat.h"
#include "services/linux/VideoNode.h"

namespace devices {

// For people: why a picture cannot be had, by what the driver answered when it was asked for.
std::string noPictureReason(int error);

// The encoder of the module. Throws std::runtime_error where it is not installed.
std::unique_ptr<picture::Encoder> loadEncoder();

// A device that streams pictures, as long as this lives. For one thread at a time; each call may hang as long as the
// driver waits for the device.
class V4l2Stream
{
public:
    using Load = std::function<std::unique_ptr<picture::Encoder>()>;

    struct Picture
    {
        std::uint32_t steps;  // since the last one, in frames: those count that were lost, or could not be used
        int width;
        int height;
        std::string jpeg;
    };

    // rate: wished frames in a second, 0: as it is. The node must outlive it. Throws std::runtime_error, for people.
    V4l2Stream(VideoNode& node, u32 rate, const Load& load = loadEncoder);
    ~V4l2Stream();
    V4l2Stream(const V4l2Stream&) = delete;
    V4l2Stream& operator=(const V4l2Stream&) = delete;

    // When the node's descriptor has something: the next picture, or nothing for one that could not be used and for none.
    // Throws std::runtime_error when no more come.
    std::optional<Picture> take();

    // Frames in a second as the driver has it; 0: it does not say.
    double rate() const { return rate_; }
    // Of those since the last good one: the device gave something, but no whole picture.
    bool gaveOnlyBroken() const { return broken_ > 0; }

private:
    struct Buffer
    {
        void* bytes;
        std::size_t length;
    };

    void require(unsigned long request, void* argument);
    void requireCapture();
    void setFormat(u32 rate, const Load& load);
    void setRate(u32 rate);
    u32 rateInForce();
    void begin();
    void end();
    std::optional<Picture> pictureOf(std::string_view bytes);
    std::uint32_t stepsTo(std::uint32_t sequence);

    VideoNode& node_;
    const Ioctl ioctl_;
    v4l2_pix_format format_ = {};
    std::unique_ptr<picture::Encoder> encoder_;  // null for compressed pictures
    double rate_ = 0;
    std::vector<Buffer> buffers_;
    std::optional<std::uint32_t> sequence_;  // of the last buffer
    std::uint32_t steps_ = 0;                // since the last picture
    int errors_ = 0;                         // one after the other
    int broken_ = 0;                         // "
};

}  // namespace devices
