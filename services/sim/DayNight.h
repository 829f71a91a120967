#pragma once

#include "HostClock.h"
#include "services/daynight/Engine.h"
#include "services/sim/Values.h"

#include <algorithm>
#include <optional>

namespace sim {

// Lux outdoors at a time of day of a clear equinox: full daylight at noon, twilight from 6 and to 18 o'clock.
double daylight(double secondsOfDay);

// Light on the sensor: a fixed level or daylight. Reentrant.
class Light
{
public:
    // Negative, or not a number, counts as 0, and more than kBrightest as that.
    void set(double lux) { fixed_ = lux > 0 ? std::min(lux, kBrightest) : 0; }
    void setDaylight() { fixed_.reset(); }
    bool steady() const { return fixed_.has_value(); }
    double lux(double secondsOfDay) const { return fixed_ ? *fixed_ : daylight(secondsOfDay); }

    static constexpr double kBrightest = 1e6;  // lux

private:
    std::optional<double> fixed_ = 0;  // none: daylight
};

// Day or night of a camera at which nobody may have looked for long: the engine is shown the time between. Reentrant;
// the service guards it.
class DayNight
{
public:
    // values: commands 144 to 152; must outlive this.
    explicit DayNight(const Values& values);

    // Power on. The light of that moment decides at the first look.
    void reset(host::Span now);
    // The clock was replaced: a change that is pending begins anew.
    void settle(host::Span now);

    // The wall clock was set at some time after the last look, seen at now: a change that is pending begins anew, at
    // the last look if that was within a minute, else now. What does not follow the time of day goes on as it was.
    void wallJumped(host::Span now, const Light& light);

    // Works out what happened since the last look. Call it before and after whatever it depends on changes.
    // secondsOfDay: local time at now. The moment of the last change, if it changed.
    std::optional<host::Span> look(host::Span now, double secondsOfDay, const Light& light);

    bool night() const { return engine_.night(); }

    // Of the values now.
    daynight::Settings settings() const;

private:
    // Neither light nor mode depends on the time of day.
    bool steady(const Light& light) const;

    const Values& values_;
    daynight::Engine engine_;
    host::Span looked_{0};
};

}  // namespace sim
