#include "services/sim/DayNight.h"

#include <algorithm>
#include <cmath>

namespace sim {
namespace {

using host::Span;
using namespace std::chrono_literals;

constexpr double kSecondsPerDay = 24 * 3600;
constexpr double kHighestSun = 60;  // degrees, at noon
constexpr double kSunsetLux = 400;
constexpr double kLuxPerDegree = 1600;   // above the horizon
constexpr double kTwilightFade = 0.8;    // a degree below the horizon leaves e^-0.8 of the light
constexpr double kNightLux = 0.05;       // street lamps and stars
constexpr long long kSamplesMax = 2000;  // of a look that comes late
constexpr Span kRecentLook = 1min;       // from then on it says nothing about when the wall clock was set

double wrapDay(double seconds)
{
    const double rest = std::fmod(seconds, kSecondsPerDay);
    return rest < 0 ? rest + kSecondsPerDay : rest;
}

double toSeconds(Span span)
{
    return std::chrono::duration<double>(span).count();
}

}  // namespace

double daylight(double secondsOfDay)
{
    constexpr double kTurn = 6.283185307179586;
    const double sun = kHighestSun * std::sin(kTurn * (secondsOfDay / kSecondsPerDay - 0.25));
    const double lux = sun < 0 ? kSunsetLux * std::exp(kTwilightFade * sun) : kSunsetLux + kLuxPerDegree * sun;
    return std::max(lux, kNightLux);
}

DayNight::DayNight(const Values& values) : values_(values) {}

void DayNight::reset(Span now)
{
    night_ = false;
    settle(now);
}

void DayNight::settle(Span now)
{
    looked_ = changedAt_ = now;
    pendingSince_.reset();
}

int DayNight::nightBelow() const
{
    return values_.get(IA_CMD_DTN_THR);
}

int DayNight::dayAbove() const
{
    return std::max(values_.get(IA_CMD_NTD_THR), nightBelow());
}

bool DayNight::steady(const Light& light) const
{
    const int mode = values_.get(IA_CMD_DN_MODE);
    return mode == kAlwaysDay || mode == kAlwaysNight || (mode == kByLight && light.steady());
}

void DayNight::wallJumped(Span now, const Light& light)
{
    if (steady(light))
    {
        return;
    }
    pendingSince_.reset();
    if (now - looked_ > kRecentLook)
    {
        settle(now);
    }
}

std::optional<Span> DayNight::look(Span now, double secondsOfDay, const Light& light)
{
    const bool before = night_;
    const int mode = values_.get(IA_CMD_DN_MODE);
    const Span passed = now - looked_;
    const long long samples = steady(light) ? 1 : std::clamp<long long>(passed / 1s, 1, kSamplesMax);
    for (long long i = 1; i <= samples; ++i)
    {
        const Span time = i == samples ? now : Span(looked_ + passed / samples * i + passed % samples * i / samples);
        const double second = wrapDay(secondsOfDay - toSeconds(now - time));
        if (mode == kByLight)
        {
            judgeLight(time, light.lux(second));
        }
        else
        {
            become(mode == kAlwaysNight || (mode == kByTime && nightByTime(second)), time);
        }
    }
    looked_ = now;
    return night_ != before ? std::optional<Span>(changedAt_) : std::nullopt;
}

void DayNight::become(bool night, Span time)
{
    pendingSince_.reset();
    if (night != night_)
    {
        night_ = night;
        changedAt_ = time;
    }
}

void DayNight::judgeLight(Span time, double lux)
{
    const bool wanted = night_ ? lux <= dayAbove() : lux < nightBelow();
    if (wanted == night_)
    {
        pendingSince_.reset();
        return;
    }
    if (!pendingSince_)
    {
        pendingSince_ = time;
    }
    const Span delay = std::chrono::seconds(values_.get(IA_CMD_DELAY));
    if (time - *pendingSince_ >= delay)
    {
        // A delay that was shortened meanwhile may have been over before the last look.
        become(wanted, std::max(*pendingSince_ + delay, looked_));
    }
}

bool DayNight::nightByTime(double secondsOfDay) const
{
    const double dusk = values_.get(IA_CMD_DTN_H) * 3600.0 + values_.get(IA_CMD_DTN_M) * 60.0;
    const double dawn = values_.get(IA_CMD_NTD_H) * 3600.0 + values_.get(IA_CMD_NTD_M) * 60.0;
    if (dusk <= dawn)
    {
        return secondsOfDay >= dusk && secondsOfDay < dawn;
    }
    return secondsOfDay >= dusk || secondsOfDay < dawn;
}

}  // namespace sim
