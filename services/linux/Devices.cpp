#include "services/linux/Devices.h"

#include "services/linux/Filter.h"
#include "services/linux/JoinedDevice.h"
#include "services/linux/Lamps.h"
#include "services/linux/LightSensor.h"
#include "services/linux/VideoNode.h"

namespace devices {

Devices devicesOf(const Board& board, DeviceSource& source)
{
    Devices devices;
    devices.camera = [&source] {
        int error = 0;
        return openCamera(source, source.open(Role::camera), error);
    };
    devices.picture = [&source](int& error) { return openVideoNode(source, error); };
    if (!board.lamps.empty())
    {
        devices.lamps = [&source, lamps = board.lamps] {
            int error = 0;
            return Lamps::open(lamps, filesOf(source), error);
        };
    }
    if (board.filter)
    {
        devices.filter = [&source, lines = *board.filter] {
            int error = 0;
            return Filter::open(source, lines, error);
        };
    }
    if (!board.light.empty() && board.light != kByExposure)
    {
        const auto sensor = std::make_shared<LightSensor>(filesOf(source));
        devices.light = [sensor] { return sensor->lux(); };
    }
    return devices;
}

}  // namespace devices
