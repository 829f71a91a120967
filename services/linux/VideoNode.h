#pragma once

#include <cstddef>
#include <memory>

#include "SensorTypes.h"
#include "services/linux/DeviceSource.h"

namespace devices {

// A camera's node that is open for its pictures. For one thread at a time; a call may hang as long as the driver waits
// for the device.
class VideoNode
{
public:
    virtual ~VideoNode() = default;

    // 0 or an error number.
    virtual int ioctl(unsigned long request, void* argument) = 0;
    // A buffer of the driver's, to read from; null when it cannot be had.
    virtual void* map(std::size_t length, u32 offset) = 0;
    virtual void unmap(void* buffer, std::size_t length) = 0;
    // For poll.
    virtual int descriptor() const = 0;
};

// The camera that is plugged in now; null when there is none to open, and then error says why.
std::unique_ptr<VideoNode> openVideoNode(DeviceSource& source, int& error);

}  // namespace devices
