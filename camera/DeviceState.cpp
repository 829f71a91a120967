#include "camera/DeviceState.h"

#include "camera/Operation.h"
#include "services/CommandNames.h"

namespace camera {
namespace {

std::map<std::string, services::Standing> standingsOf(const std::vector<services::NamedControl>& controls)
{
    std::map<std::string, services::Standing> standings;
    for (const services::NamedControl& control : controls)
    {
        if (control.standing != services::Standing::applied)
        {
            standings[control.name] = control.standing;
        }
    }
    return standings;
}

DeviceState stateOf(const services::Device& device, const std::vector<services::NamedControl>& controls)
{
    DeviceState state = {device.name(), device.isThere(), device.hasOtherControls(), {}, standingsOf(controls)};
    for (const auto& [command, standing] : device.standings())
    {
        const u32 key = services::keyOfCommand(command);
        if (key != 0 && standing != services::Standing::applied)
        {
            state.standings[static_cast<int>(key)] = standing;
        }
    }
    return state;
}

}  // namespace

std::optional<DeviceState> Camera::device() const
{
    const services::Device* const device = service_.device();
    return device != nullptr ? std::optional<DeviceState>(stateOf(*device, device->controls())) : std::nullopt;
}

std::optional<services::Standing> Camera::standing(int key) const
{
    const std::optional<DeviceState> state = device();
    if (!state || !parameterOfKey(service_, key))
    {
        return std::nullopt;
    }
    const auto found = state->standings.find(key);
    return found == state->standings.end() ? services::Standing::applied : found->second;
}

// As if somebody had applied them: remembered and not saved. The default scheme keeps its factory values.
void Camera::takeOver(services::Device& device)
{
    std::vector<Value> values;
    for (const auto& [command, word] : device.takenOver())
    {
        const u32 key = services::keyOfCommand(command);
        if (key != 0)
        {
            values.push_back({static_cast<int>(key), word});
        }
    }
    const int scheme = currentScheme();
    if (scheme >= 0 && scheme < schemeCount())
    {
        remember(scheme, values);
    }
    else
    {
        tellValues(values, scheme);
    }
}

// What became of the device since the last look. Called with changing_ held.
void Camera::lookAtDevice()
{
    services::Device* const device = service_.device();
    if (device == nullptr)
    {
        return;
    }
    takeOver(*device);
    if (currentScheme() != controlsScheme_)
    {
        sendControls();
    }
    const std::vector<services::NamedControl> controls = device->controls();
    takeOverControls(controls);
    const DeviceState now = stateOf(*device, controls);
    if (now.isThere != toldDevice_.isThere || now.hasOtherControls != toldDevice_.hasOtherControls)
    {
        Event event{Event::Kind::device};
        event.device = {now.name, now.isThere, now.hasOtherControls, {}, {}};
        tell(event);
    }
    Event event{Event::Kind::standings};
    event.device = {now.name, now.isThere, now.hasOtherControls, changedStandings(toldDevice_.standings, now.standings),
                    changedStandings(toldDevice_.controlStandings, now.controlStandings)};
    toldDevice_ = now;
    if (!event.device.standings.empty() || !event.device.controlStandings.empty())
    {
        tell(event);
    }
}

}  // namespace camera
