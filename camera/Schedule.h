#pragma once

#include <vector>

#include "SchemeWindow.h"

// Which scheme the clock puts in force at which time of the day. All functions are reentrant.
namespace camera {

constexpr int kMinutesPerDay = 24 * 60;
constexpr int kByDayAndNight = -1;  // in the place of a scheme: day and night choose between 0 and 1

struct Schedule
{
    std::vector<SchemeWindow> windows;  // scheme 0, 1, …; the default scheme comes after the last
    bool byDayAndNight;                 // licence-plate camera: outside all windows day or night chooses 0 or 1
    bool automatic;                     // false: manual mode, the clock chooses nothing
    int currentScheme;                  // -1 for none
    int minutes;                        // the camera's time of day
};

bool windowHolds(const SchemeWindow& window, int minutes);

// The scheme that the clock chooses at that time, or kByDayAndNight.
int schemeAt(const Schedule& schedule, int minutes);

// A stretch of the day in which one scheme, or kByDayAndNight, is in force.
struct Stretch
{
    int startMinutes;
    int endMinutes;
    int scheme;
};

// The whole day, without gaps, in order.
std::vector<Stretch> stretchesOfDay(const Schedule& schedule);

// A stretch of the day in which the windows of several schemes hold: the first of them wins.
struct Overlap
{
    int startMinutes;
    int endMinutes;
    std::vector<int> schemes;  // in order
};

// In order; one ends where a window begins or ends.
std::vector<Overlap> overlapsOfDay(const Schedule& schedule);

}  // namespace camera
