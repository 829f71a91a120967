#include "services/linux/Lamps.h"

#include <algorithm>
#include <cerrno>

#include "services/linux/ControlIds.h"

namespace devices {
namespace {

constexpr double kMaxBrightness = INT32_MAX;

// A control's error numbers: that the file may not be written is no automatic that is on, and without it the lamp is
// gone.
int errorOf(int fileError)
{
    return fileError == EACCES ? EPERM : fileError == ENOENT ? ENODEV : fileError;
}

Role roleOf(u32 lamp)
{
    return lamp == kLampNear ? Role::lampNear : lamp == kLampMedium ? Role::lampMedium : Role::lampFar;
}

}  // namespace

std::unique_ptr<Lamps> Lamps::open(const std::map<u32, std::string>& names, const NumberFiles& files, int& error)
{
    std::unique_ptr<Lamps> lamps(new Lamps);
    for (const auto& [id, name] : names)
    {
        const Role role = roleOf(id);
        double brightest = 0;
        error = errorOf(files(role, "max_brightness")->read(brightest));
        if (error == 0 && (brightest < 1 || brightest > kMaxBrightness))
        {
            error = EBADMSG;
        }
        if (error != 0)
        {
            return nullptr;
        }
        lamps->controls_.push_back({id, name, ControlType::number, 0, static_cast<int>(brightest), 1, 0, {}});
        lamps->brightness_[id] = files(role, "brightness");
    }
    error = 0;
    return lamps;
}

int Lamps::set(std::vector<Setting>& settings)
{
    for (const Setting& setting : settings)
    {
        const auto found = brightness_.find(setting.id);
        const int error = found == brightness_.end() ? EINVAL : errorOf(found->second->write(setting.value));
        if (error != 0)
        {
            return error;
        }
    }
    return 0;
}

int Lamps::get(u32 id, std::int64_t& value)
{
    const auto found = brightness_.find(id);
    double read = 0;
    const int error = found == brightness_.end() ? EINVAL : errorOf(found->second->read(read));
    if (error == 0)
    {
        value = static_cast<std::int64_t>(std::clamp(read, 0.0, kMaxBrightness));
    }
    return error;
}

bool Lamps::isThere()
{
    return std::all_of(brightness_.begin(), brightness_.end(), [](const auto& lamp) { return lamp.second->isThere(); });
}

}  // namespace devices
