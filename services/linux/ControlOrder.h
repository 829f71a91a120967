#pragma once

#include <cstddef>
#include <cstdint>

#include "SensorTypes.h"

// Which controls an automatic keeps from being set, as data: what has to be sent first, and what in one call. Reentrant.
namespace devices {

struct Hold
{
    u32 control;
    u32 automatic;
    unsigned values;  // bits, of the automatic's values while which the control cannot be set

    bool holds(std::int64_t automaticValue) const
    {
        return automaticValue >= 0 && automaticValue < 32 && (values >> automaticValue & 1u) != 0;
    }
};

struct Holds
{
    const Hold* first;
    std::size_t count;

    const Hold* begin() const { return first; }
    const Hold* end() const { return first + count; }
};
Holds holds();

}  // namespace devices
