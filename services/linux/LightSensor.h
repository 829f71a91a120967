#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "services/linux/Identity.h"
#include "services/linux/NumberFile.h"

namespace devices {

// Of the kernel's industrial I/O.
struct FoundSensor
{
    std::string folder;  // "/sys/bus/iio/devices/iio:device0"
    std::string name;
};
std::vector<FoundSensor> findLightSensors(const Roots& roots = {});

// The one of that folder or name, or, for "auto", the only one; null without one.
const FoundSensor* chooseSensor(const std::vector<FoundSensor>& sensors, const std::string& name);

// Light measured by a sensor of the kernel's industrial I/O. For one thread at a time; a read may take as long as the
// sensor measures.
class LightSensor
{
public:
    explicit LightSensor(NumberFiles files);

    // At least 0; nothing while the sensor gives none.
    std::optional<double> lux();

private:
    bool find();
    std::unique_ptr<NumberFile> present(const std::string& name) const;
    std::optional<double> measure();

    const NumberFiles files_;

    // Null until the sensor is found; scale and offset also where it has none.
    std::unique_ptr<NumberFile> value_;
    std::unique_ptr<NumberFile> offset_;
    std::unique_ptr<NumberFile> scale_;
};

}  // namespace devices
