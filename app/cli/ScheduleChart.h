#pragma once

#include <string>

#include "camera/Schedule.h"

// The day as a chart, of half hours where there is room for them, else of hours: which scheme's window holds when, and
// which scheme that puts in force.
namespace app {

// "scheme 2", "the default scheme (4)", "no scheme" for -1. schemeCount: how many have windows.
std::string schemeName(int scheme, int schemeCount);

// The same of what the clock chooses, where kByDayAndNight is "scheme 0 by day, scheme 1 by night".
std::string chosenName(int scheme, int schemeCount);

// "08:00-18:00"
std::string windowText(const SchemeWindow& window);

// Lines of at most width characters, each with its line end. With less than 40 the chart is missing, and with less than
// 28 some lines are longer.
std::string drawSchedule(const camera::Schedule& schedule, int width = 80);

}  // namespace app
