#include "HostClock.h"
#include "KSDeviceTime.h"
#include "camera/Camera.h"

namespace camera {

int Camera::minutesOfDay() const
{
    const KSDeviceTime now = KSDeviceTime::getCurrentTime();
    return now.getHour() * 60 + now.getMinute();
}

WorldResult Camera::changeWorld(const WorldChange& wanted)
{
    const std::lock_guard<std::recursive_mutex> one(changing_);
    services::World* const world = service_.world();
    services::PlannedFailures* const failures = service_.failures();
    const auto clock = std::dynamic_pointer_cast<host::ScaledClock>(host::clock());
    const bool setsWeather = wanted.haze || wanted.wind;
    if (world == nullptr && (wanted.lux || wanted.daylight || wanted.distance || setsWeather))
    {
        return WorldResult::isReal;
    }
    if (clock == nullptr && (wanted.minutes || wanted.speed))
    {
        return WorldResult::systemClock;
    }
    if (failures == nullptr && wanted.faults)
    {
        return WorldResult::noFaults;
    }
    if (wanted.minutes)
    {
        clock->setTimeOfDay(*wanted.minutes / 60, *wanted.minutes % 60);
    }
    if (wanted.speed)
    {
        clock->setSpeed(*wanted.speed);
        trials_.setLease(leaseAt(*wanted.speed), clock->monotonic());
        speed_ = *wanted.speed;
    }
    if (wanted.daylight)
    {
        world->setDaylight();
    }
    else if (wanted.lux)
    {
        world->setLight(*wanted.lux);
    }
    if (wanted.distance)
    {
        world->setDistance(*wanted.distance);
    }
    if (setsWeather)
    {
        const services::Weather now = world->weather();
        world->setWeather({wanted.haze.value_or(now.haze), wanted.wind.value_or(now.wind)});
    }
    if (wanted.faults)
    {
        failures->clear();
        for (const services::FailureRule& rule : *wanted.faults)
        {
            failures->add(rule);
        }
    }
    tell(Event{Event::Kind::world});
    return WorldResult::changed;
}

}  // namespace camera
