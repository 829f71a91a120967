#include "services/ImageService.h"

#include <algorithm>
#include <cstdint>

namespace services {
namespace {

std::int64_t distance(int a, int b)
{
    const std::int64_t difference = static_cast<std::int64_t>(a) - b;
    return difference < 0 ? -difference : difference;
}

}  // namespace

bool AllowedValues::contains(int value) const
{
    if (!items.empty())
    {
        return std::binary_search(items.begin(), items.end(), value);
    }
    return value >= minimum && value <= maximum && distance(value, minimum) % step == 0;
}

int AllowedValues::nearest(int value) const
{
    if (items.empty())
    {
        const int clamped = std::clamp(value, minimum, maximum);
        const std::int64_t above = distance(clamped, minimum) % step;
        const bool up = above * 2 > step && clamped - above + step <= maximum;
        return static_cast<int>(clamped - above + (up ? step : 0));
    }
    return *std::min_element(items.begin(), items.end(),
                             [value](int a, int b) { return distance(a, value) < distance(b, value); });
}

std::string ParameterState::labelOf(int wanted) const
{
    const auto found = labels.find(wanted);
    return found == labels.end() ? "" : found->second;
}

}  // namespace services
