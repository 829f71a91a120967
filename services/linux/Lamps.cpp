#include "services/linux/Lamps.h"

#include <algorithm>
#include <cerrno>

namespace devices {
namespace {

constexpr double kMaxBrightness = INT32_MAX;

// A control's error numbers: that the file may not be written is no automatic that is on, and without it the lamp is
// gone.
int errorOf(int fileError)
{
    return fileError == EACCES ? EPERM : fileError == ENOENT ? ENODEV : fileError;
}

}  // namespace

std::unique_ptr<Lamps> Lamps::open(const std::map<u32, std::string>& folders, int& error, const NumberFiles& files)
{
    std::unique_ptr<Lamps> lamps(new Lamps);
    for (const auto& [id, folder] : folders)
    {
        double brightest = 0;
        error = errorOf(files(folder + "/max_brightness")->read(brightest));
        if (error == 0 && (brightest < 1 || brightest > kMaxBrightness))
        {
            error = EBADMSG;
        }
        if (error != 0)
        {
            return nullptr;
        }
        const std::string name = folder.substr(folder.rfind('/') + 1);
        lamps->controls_.push_back({id, name, ControlType::number, 0, static_cast<int>(brightest), 1, 0, {}});
        lamps->brightness_[id] = files(folder + "/brightness");
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

}  // namespace devices
