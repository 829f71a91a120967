#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <vector>

#include "services/linux/ControlQueue.h"
#include "tests/unit/services/linux/Webcam.h"

namespace support {

// A queue whose device is open; nothing is sent but by the test, at its own time.
class QueueTest : public testing::Test
{
protected:
    using Settings = std::vector<devices::Setting>;

    static constexpr u32 kBrightness = V4L2_CID_BRIGHTNESS;
    static constexpr u32 kContrast = V4L2_CID_CONTRAST;
    static constexpr u32 kMode = V4L2_CID_EXPOSURE_AUTO;
    static constexpr u32 kTime = V4L2_CID_EXPOSURE_ABSOLUTE;

    QueueTest(const std::vector<devices::Control>& controls, devices::Others others) : queue_({}, others)
    {
        queue_.opened(controls);
    }

    devices::ControlState stateOf(u32 id) const { return queue_.report(id, now_).state; }

    // Sends what is next, which must be this.
    void expectSent(const Settings& expected, int error = 0)
    {
        const Settings sent = queue_.next(now_);
        EXPECT_EQ(expected, sent);
        if (!sent.empty())
        {
            const bool isGone = error == ENODEV || error == ESHUTDOWN || error == ENXIO || error == EBADF;
            EXPECT_EQ(!isGone, queue_.done(error, sent, now_));
        }
    }

    void expectNothing() { expectSent({}); }

    devices::Instant now_{std::chrono::hours(1)};
    devices::ControlQueue queue_;
};

}  // namespace support
