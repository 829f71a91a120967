#pragma once

#include <ctime>

#include "HostClock.h"

// Local time in one number: the span since 1970 that it would be if the local time were UTC.
namespace host {

Span wallOf(std::tm local);
std::tm localOf(Span wall);

// The same day at another time. Hour and minute outside a day go into the day before or after.
Span withTimeOfDay(Span wall, int hour, int minute);

// a + b, the largest Span when that is too much. b is not negative.
Span saturatedSum(Span a, Span b);

}  // namespace host
