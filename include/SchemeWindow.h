#pragma once

#include "SensorTypes.h"

/// The rule of the daily windows, for everybody who needs it. Header only, so nothing is exported; all functions are
/// reentrant.
///
/// A time of day is compared as hour x 100 + minute, unsigned.
/// contract: half-open, and it does not wrap past midnight, so 22:00 to 06:00 never holds; loose on purpose, minutes
/// are not checked, so 10:75 lies between 10:59 and 11:00.

/// A scheme's window, as its first five records hold it.
struct SchemeWindow
{
    bool enabled;
    u32 startHour;
    u32 startMinute;
    u32 endHour;
    u32 endMinute;
};

/// The result of windowCheck, and so of paramCheck and flush.
enum window_check_e
{
    WINDOW_SOUND = 0,
    WINDOW_STARTS_TOO_LATE = 505,  ///< starts after 24:00
    WINDOW_ENDS_TOO_LATE = 506,    ///< ends after 24:00
    WINDOW_NOT_FORWARD = 507,      ///< does not start before it ends
};

constexpr u32 schemeTime(u32 hour, u32 minute)
{
    return hour * 100 + minute;
}

/// True when the window is enabled and holds at this time of day.
constexpr bool windowHolds(const SchemeWindow& window, u32 hour, u32 minute)
{
    return window.enabled && schemeTime(window.startHour, window.startMinute) <= schemeTime(hour, minute) &&
           schemeTime(hour, minute) < schemeTime(window.endHour, window.endMinute);
}

/// Whether a scheme with this window may be saved, enabled or not; the start is looked at first.
constexpr window_check_e windowCheck(const SchemeWindow& window)
{
    constexpr u32 latest = schemeTime(24, 0);
    const u32 start = schemeTime(window.startHour, window.startMinute);
    const u32 end = schemeTime(window.endHour, window.endMinute);
    return start > latest ? WINDOW_STARTS_TOO_LATE
           : end > latest ? WINDOW_ENDS_TOO_LATE
           : start >= end ? WINDOW_NOT_FORWARD
                          : WINDOW_SOUND;
}

/// True when no minute of the day lies in the window, whether it is enabled or not.
constexpr bool windowNeverHolds(SchemeWindow window)
{
    window.enabled = true;
    for (u32 minutes = 0; minutes < 24 * 60; ++minutes)
    {
        if (windowHolds(window, minutes / 60, minutes % 60))
        {
            return false;
        }
    }
    return true;
}
