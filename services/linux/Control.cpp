#include "services/linux/Control.h"

#include <algorithm>

namespace devices {

std::int64_t Control::nearest(std::int64_t value) const
{
    if (type == ControlType::menu)
    {
        return value;
    }
    const std::int64_t clamped = std::clamp(value, minimum, maximum);
    // Unsigned: the whole range of a 64-bit control is longer than its signed half.
    const auto above = static_cast<std::uint64_t>(clamped) - static_cast<std::uint64_t>(minimum);
    const auto size = static_cast<std::uint64_t>(step);
    const std::uint64_t rest = above % size;
    const std::uint64_t down = above - rest;
    const std::uint64_t room = static_cast<std::uint64_t>(maximum) - static_cast<std::uint64_t>(minimum) - down;
    const bool isUp = rest >= size - rest && size <= room;
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(minimum) + down + (isUp ? size : 0));
}

bool Control::contains(std::int64_t value) const
{
    return type == ControlType::menu ? items.count(value) != 0 : nearest(value) == value;
}

const Control* findControl(const std::vector<Control>& controls, u32 id)
{
    const auto found =
        std::find_if(controls.begin(), controls.end(), [id](const Control& control) { return control.id == id; });
    return found == controls.end() ? nullptr : &*found;
}

}  // namespace devices
