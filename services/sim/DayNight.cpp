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
    engine_ = {};
    settle(now);
}

void DayNight::settle(Span now)
{
    looked_ = now;
    engine_.settle(now);
}

daynight::Settings DayNight::settings() const
{
    return daynight::settingsOf([this](u32 cmd) { return values_.get(cmd); });
}

bool DayNight::steady(const Light& light) const
{
    const daynight::Mode mode = settings().mode;
    return mode != daynight::Mode::byTime && (mode != daynight::Mode::byLight || light.steady());
}

void DayNight::wallJumped(Span now, const Light& light)
{
    if (!steady(light))
    {
        settle(now - looked_ > kRecentLook ? now : looked_);
    }
}

std::optional<Span> DayNight::look(Span now, double secondsOfDay, const Light& light)
{
    const bool before = night();
    const daynight::Settings settings = this->settings();
    const Span passed = now - looked_;
    const long long samples = steady(light) ? 1 : std::clamp<long long>(passed / 1s, 1, kSamplesMax);
    for (long long i = 1; i <= samples; ++i)
    {
        const Span time = i == samples ? now : Span(looked_ + passed / samples * i + passed % samples * i / samples);
        const double second = wrapDay(secondsOfDay - toSeconds(now - time));
        engine_.look({time, second, light.lux(second)}, settings);
    }
    looked_ = now;
    return night() != before ? std::optional<Span>(engine_.changedAt()) : std::nullopt;
}

}  // namespace sim
