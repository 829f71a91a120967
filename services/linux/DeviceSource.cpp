#include "services/linux/DeviceSource.h"

#include <fcntl.h>

#include <algorithm>
#include <iterator>

#include "services/linux/Subdevices.h"

namespace devices {
namespace {

constexpr RoleFile kNode = {"", O_RDWR};
constexpr RoleFile kLight[] = {
    {"in_illuminance_input", O_RDONLY},   {"in_illuminance_raw", O_RDONLY},    {"in_illuminance_offset", O_RDONLY},
    {"in_illuminance_scale", O_RDONLY},   {"in_illuminance0_input", O_RDONLY}, {"in_illuminance0_raw", O_RDONLY},
    {"in_illuminance0_offset", O_RDONLY}, {"in_illuminance0_scale", O_RDONLY},
};
constexpr RoleFile kLamp[] = {{"brightness", O_RDWR}, {"max_brightness", O_RDONLY}};
constexpr RoleFile kLines[] = {{kLineIn, O_RDWR}, {kLineOut, O_RDWR}};

template <std::size_t count>
const RoleFile* findIn(const RoleFile (&files)[count], const std::string& name)
{
    const auto* const found =
        std::find_if(std::begin(files), std::end(files), [&](const RoleFile& file) { return name == file.name; });
    return found != std::end(files) ? found : nullptr;
}

}  // namespace

const RoleFile* findFile(Role role, const std::string& name)
{
    switch (role)
    {
    case Role::camera:
        return name.empty() || subdeviceOfFile(name) ? &kNode : nullptr;
    case Role::light:
        return findIn(kLight, name);
    case Role::lampNear:
    case Role::lampMedium:
    case Role::lampFar:
        return findIn(kLamp, name);
    case Role::filter:
        return findIn(kLines, name);
    }
    return nullptr;
}

}  // namespace devices
