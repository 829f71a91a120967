#pragma once

#include <string>
#include <vector>

// The day as a chart of half hours: which scheme's window holds when, and which scheme that puts in force.
namespace app {

// One scheduled scheme's window, as its first five records hold it; the values are not checked anywhere.
struct SchemeWindow
{
    bool enabled;
    unsigned startHour;
    unsigned startMinute;
    unsigned endHour;
    unsigned endMinute;
};

// The library's rule: enabled, and start <= time < end, compared as hour * 100 + minute.
bool windowHolds(const SchemeWindow& window, int minutes);

// True when no time of day lies in the window, whether it is enabled or not.
bool neverHolds(const SchemeWindow& window);

// "scheme 2", "the default scheme (4)", "no scheme" for -1. schemeCount: how many have windows.
std::string schemeName(int scheme, int schemeCount);

// "08:00-18:00"
std::string windowText(const SchemeWindow& window);

struct Schedule
{
    std::vector<SchemeWindow> windows;  // scheme 0, 1, …; the default scheme comes after the last
    bool byDayAndNight;                 // licence-plate camera: outside all windows day or night chooses 0 or 1
    bool automatic;                     // false: manual mode, the clock chooses nothing
    int currentScheme;                  // -1 for none
    int minutes;                        // the camera's time of day
};

// A stretch of the day in which one scheme is in force. scheme -1: day and night choose.
struct Stretch
{
    int startMinutes;
    int endMinutes;
    int scheme;
};

// The whole day, without gaps, in order.
std::vector<Stretch> stretchesOfDay(const Schedule& schedule);

// Lines of at most 80 characters, each with its line end.
std::string drawSchedule(const Schedule& schedule);

}  // namespace app
