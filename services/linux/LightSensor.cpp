#include "services/linux/LightSensor.h"

#include <algorithm>
#include <cmath>

namespace devices {

LightSensor::LightSensor(std::string folder, NumberFiles files) : folder_(std::move(folder)), files_(std::move(files))
{
}

std::optional<double> LightSensor::read(const std::string& name) const
{
    double value = 0;
    const bool isRead = files_(folder_ + "/" + name)->read(value) == 0;
    return isRead ? std::optional<double>(value) : std::nullopt;
}

std::optional<double> LightSensor::lux() const
{
    // Drivers number the only channel, or do not.
    for (const std::string channel : {"in_illuminance", "in_illuminance0"})
    {
        std::optional<double> lux = read(channel + "_input");
        if (!lux)
        {
            lux = read(channel + "_raw");
            if (lux)
            {
                lux = (*lux + read(channel + "_offset").value_or(0)) * read(channel + "_scale").value_or(1);
            }
        }
        if (lux && std::isfinite(*lux))
        {
            return std::max(*lux, 0.0);
        }
    }
    return std::nullopt;
}

}  // namespace devices
