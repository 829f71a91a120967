#pragma once

#include <functional>
#include <optional>

#include "services/linux/Board.h"
#include "services/linux/Capture.h"
#include "services/linux/DeviceSource.h"
#include "services/linux/DeviceWorker.h"

namespace devices {

// How the devices of one camera are opened; empty for one that it does not have.
struct Devices
{
    DeviceWorker::Open camera;
    DeviceWorker::Open lamps;
    DeviceWorker::Open filter;
    std::function<std::optional<double>()> light;  // lux; one thread at a time, and it may take as long as it measures
    Capture::Open picture;
};

// The source must outlive them.
Devices devicesOf(const Board& board, DeviceSource& source);

}  // namespace devices
