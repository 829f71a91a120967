#pragma once

#include <iterator>

#include "KeyVal.h"
#include "SensorKeys.h"

/// What a first start and a factory reset make of a scheme. Header only, so nothing is exported; reentrant.

/// A run of records, for a range-based for.
struct FactoryChanges
{
    const KeyVal* first;
    const KeyVal* behindLast;

    constexpr const KeyVal* begin() const { return first; }
    constexpr const KeyVal* end() const { return behindLast; }
};

/// An ordinary camera begins with scheme 0 enabled.
inline constexpr KeyVal kFirstSchemeValues[] = {{KEY_SCHEME_ENABLE, 1}};

/// Scheme 1 of a licence-plate camera is for the night.
inline constexpr KeyVal kNightSchemeValues[] = {
    {KEY_DN_MODE, 0}, {KEY_MAX_SHUTTER, 18}, {KEY_METER_AREA, 1}, {KEY_IR_MODE, 2}, {KEY_IR_MANUAL_STRG_NEAR, 40},
};

/// In what the fresh file of a scheme differs from the default scheme: in the first record of each of these keys.
constexpr FactoryChanges factoryChanges(bool plateCamera, int scheme)
{
    if (!plateCamera && scheme == 0)
    {
        return {std::begin(kFirstSchemeValues), std::end(kFirstSchemeValues)};
    }
    if (plateCamera && scheme == 1)
    {
        return {std::begin(kNightSchemeValues), std::end(kNightSchemeValues)};
    }
    return {nullptr, nullptr};
}
