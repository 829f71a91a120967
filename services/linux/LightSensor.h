#pragma once

#include <optional>
#include <string>

#include "services/linux/NumberFile.h"

namespace devices {

// Light measured by a sensor of the kernel's industrial I/O. For one thread at a time; a read may take as long as the
// sensor measures.
class LightSensor
{
public:
    // folder: the sensor's, "/sys/bus/iio/devices/iio:device0".
    explicit LightSensor(std::string folder, NumberFiles files = sysfsFile);

    // At least 0; nothing while the sensor gives none.
    std::optional<double> lux() const;

private:
    std::optional<double> read(const std::string& name) const;

    const std::string folder_;
    const NumberFiles files_;
};

}  // namespace devices
