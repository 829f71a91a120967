#include "services/sim/Service.h"

#include <algorithm>
#include <cmath>
#include <utility>

// The service's other side: power, scene, what a page shows.
namespace sim {
namespace {

// Zoom positions from which the medium and the far lamp light in the mode by zoom: 4x and 10x.
constexpr int kMediumLampZoom = 28672;
constexpr int kFarLampZoom = 30400;

double timeOfDay(const host::Clock& clock)
{
    const std::tm now = clock.localTime();
    return now.tm_hour * 3600.0 + now.tm_min * 60.0 + now.tm_sec;
}

constexpr double kSecondsPerDay = 24 * 3600;
constexpr double kWallJump = 30;  // seconds from which a difference of the clocks is no matter of reading them

// The time of day at the start of the monotonic time; changes only when the wall clock is set.
double wallAtZero(host::Span now, double second)
{
    return std::fmod(second - std::chrono::duration<double>(now).count(), kSecondsPerDay);
}

// Whether two times of day lie apart, also across midnight.
bool apart(double a, double b)
{
    const double difference = std::fabs(std::remainder(a - b, kSecondsPerDay));
    return difference > kWallJump;
}

}  // namespace

// ---- power and time ----------------------------------------------------------------------------------------

void Service::powerOn()
{
    clock_ = host::clock();
    now_ = clock_->monotonic();
    wallAtZero_ = wallAtZero(now_, secondsOfDay());
    values_.clear();
    for (const Parameter& parameter : sim::parameters())
    {
        if (parameter.kind == Kind::range || parameter.kind == Kind::choice)
        {
            values_.set(parameter.cmd, allowedValues(parameter, *module_).defaultValue);
        }
    }
    light_.set(kPowerOnLux);
    weather_ = {};
    dayNight_.reset(now_);
    lens_.reset();
    registers_.clear();
}

void Service::catchUp() const
{
    std::shared_ptr<host::Clock> clock = host::clock();
    now_ = clock->monotonic();
    const double second = timeOfDay(*clock);
    const double atZero = wallAtZero(now_, second);
    if (clock != clock_)
    {
        clock_ = std::move(clock);
        wallAtZero_ = atZero;
        dayNight_.settle(now_);
        lens_.settle();
    }
    else if (apart(atZero, wallAtZero_))
    {
        wallAtZero_ = atZero;
        dayNight_.wallJumped(now_, light_);
    }
    if (const std::optional<host::Span> change = dayNight_.look(now_, second, light_))
    {
        lens_.dayNightChanged(*change);
    }
}

// Of the clock that catchUp found in force.
double Service::secondsOfDay() const
{
    return timeOfDay(*clock_);
}

void Service::reset()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    powerOn();
}

bool Service::setModule(int id)
{
    const SensorModule* module = findModule(id);
    if (module == nullptr)
    {
        return false;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    module_ = module;
    powerOn();
    return true;
}

int Service::module() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return module_->id;
}

// ---- the scene ---------------------------------------------------------------------------------------------

void Service::setLight(double lux)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    light_.set(lux);
    catchUp();
}

void Service::setDaylight()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    light_.setDaylight();
    catchUp();
}

std::optional<double> Service::light() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    return light_.lux(secondsOfDay());
}

void Service::setDistance(double metres)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    lens_.setDistance(metres, now_);
}

double Service::distance() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return lens_.distance();
}

void Service::setWeather(Weather weather)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    weather_ = {std::clamp(weather.haze, 0, Weather::kMost), std::clamp(weather.wind, 0, Weather::kMost)};
}

Weather Service::weather() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return weather_;
}

// ---- what a page shows -------------------------------------------------------------------------------------

bool Service::night() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    return dayNight_.night();
}

Infrared Service::infrared() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    return lampsNow();
}

std::optional<int> Service::lamps() const
{
    const Infrared now = infrared();
    return std::max({now.near, now.medium, now.far});
}

Infrared Service::lampsNow() const
{
    if (!dayNight_.night() || values_.get(IA_CMD_IR_SWITCH) == 0)
    {
        return {0, 0, 0};
    }
    const Infrared limits{values_.get(IA_CMD_IR_AUTO_STRG_NEAR), values_.get(IA_CMD_IR_AUTO_STRG_MEDIUM),
                          values_.get(IA_CMD_IR_AUTO_STRG_FAR)};
    switch (values_.get(IA_CMD_IR_MODE))
    {
    case kByHand:
        return {values_.get(IA_CMD_IR_MANUAL_STRG_NEAR), values_.get(IA_CMD_IR_MANUAL_STRG_MEDIUM),
                values_.get(IA_CMD_IR_MANUAL_STRG_FAR)};
    case kByZoom:
    {
        const int zoom = lens_.state(now_).zoom;
        return {zoom < kMediumLampZoom ? limits.near : 0,
                zoom >= kMediumLampZoom && zoom < kFarLampZoom ? limits.medium : 0,
                zoom >= kFarLampZoom ? limits.far : 0};
    }
    default:
    {
        const double lux = light_.lux(secondsOfDay());
        const double dayLevel = dayNight_.settings().dayLevel();
        const double bright = dayLevel == 0 ? 0 : std::min(1.0, lux / dayLevel);
        const auto fill = [bright](int limit) { return static_cast<int>(std::lround(limit * (1 - bright))); };
        return {fill(limits.near), fill(limits.medium), fill(limits.far)};
    }
    }
}

LensState Service::lens() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    return lens_.state(now_);
}

bool Service::value(ia_cmd_e cmd, int& value) const
{
    const Parameter* parameter = findParameter(cmd);
    if (parameter == nullptr || parameter->kind == Kind::record)
    {
        return false;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    value = word(*parameter);
    return true;
}

ParameterState Service::stateOf(const Parameter& parameter) const
{
    return {parameter.cmd,         parameter.name,      parameter.unit, parameter.kind,
            allowedNow(parameter), labelsOf(parameter), word(parameter)};
}

std::vector<ParameterState> Service::parameters() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    std::vector<ParameterState> rows;
    for (const Parameter& parameter : sim::parameters())
    {
        if (parameter.kind != Kind::record)
        {
            rows.push_back(stateOf(parameter));
        }
    }
    return rows;
}

std::optional<ParameterState> Service::parameter(ia_cmd_e cmd) const
{
    const Parameter* const row = findParameter(cmd);
    if (row == nullptr || row->kind == Kind::record)
    {
        return std::nullopt;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    catchUp();
    return stateOf(*row);
}

}  // namespace sim
