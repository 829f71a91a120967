#include "services/linux/LightSensor.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace devices {
namespace {

constexpr char kLux[] = "_input";

}  // namespace

std::vector<FoundSensor> findLightSensors(const Roots& roots)
{
    std::vector<FoundSensor> sensors;
    const std::string all = roots.sys + "/bus/iio/devices";
    for (const std::string& entry : namesIn(all))
    {
        const std::string folder = all + "/" + entry;
        const std::vector<std::string> files = namesIn(folder);
        const bool isForLight = std::any_of(files.begin(), files.end(), [](const std::string& file) {
            return file == "in_illuminance_input" || file == "in_illuminance0_input" || file == "in_illuminance_raw" ||
                   file == "in_illuminance0_raw";
        });
        if (isForLight)
        {
            sensors.push_back({folder, readLine(folder + "/name")});
        }
    }
    return sensors;
}

const FoundSensor* chooseSensor(const std::vector<FoundSensor>& sensors, const std::string& name)
{
    if (name == "auto")
    {
        return sensors.size() == 1 ? &sensors.front() : nullptr;
    }
    const auto found = std::find_if(sensors.begin(), sensors.end(), [&](const FoundSensor& sensor) {
        return name == sensor.name || name == sensor.folder;
    });
    return found != sensors.end() ? &*found : nullptr;
}

LightSensor::LightSensor(NumberFiles files) : files_(std::move(files)) {}

std::optional<double> LightSensor::lux()
{
    const std::optional<double> lux = value_ != nullptr || find() ? measure() : std::nullopt;
    if (!lux)
    {
        value_.reset();  // another sensor may be there next time
        return std::nullopt;
    }
    return std::isfinite(*lux) ? std::optional<double>(std::max(*lux, 0.0)) : std::nullopt;
}

bool LightSensor::find()
{
    // Drivers number the only channel, or do not.
    for (const std::string channel : {"in_illuminance", "in_illuminance0"})
    {
        for (const std::string kind : {kLux, "_raw"})
        {
            double value = 0;
            value_ = files_(Role::light, channel + kind);
            if (value_->read(value) == ENOENT)
            {
                continue;
            }
            offset_ = kind == kLux ? nullptr : present(channel + "_offset");
            scale_ = kind == kLux ? nullptr : present(channel + "_scale");
            return true;
        }
    }
    return false;
}

std::unique_ptr<NumberFile> LightSensor::present(const std::string& name) const
{
    double value = 0;
    std::unique_ptr<NumberFile> file = files_(Role::light, name);
    return file->read(value) == ENOENT ? nullptr : std::move(file);
}

std::optional<double> LightSensor::measure()
{
    double value = 0;
    double offset = 0;
    double scale = 1;
    const bool isRead = value_->read(value) == 0 && (offset_ == nullptr || offset_->read(offset) == 0) &&
                        (scale_ == nullptr || scale_->read(scale) == 0);
    return isRead ? std::optional<double>((value + offset) * scale) : std::nullopt;
}

}  // namespace devices
