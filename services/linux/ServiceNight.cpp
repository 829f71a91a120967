#include <algorithm>
#include <cmath>

#include "services/ParameterFacts.h"
#include "services/linux/ControlIds.h"
#include "services/linux/Service.h"

// Day and night: the thread that looks, and what it decides.
namespace devices {
namespace {

constexpr u32 kLampIds[] = {kLampNear, kLampMedium, kLampFar};

double secondsOfDay(const host::Clock& clock)
{
    const std::tm now = clock.localTime();
    return now.tm_hour * 3600.0 + now.tm_min * 60.0 + now.tm_sec;
}

}  // namespace

void Service::watch()
{
    std::unique_lock<std::mutex> lock(mutex_);
    const auto isCalled = [this] { return isAsked_ || isEnding_; };
    while (!isEnding_)
    {
        isAsked_ = false;
        if (devices_.light)
        {
            lock.unlock();
            const std::optional<double> lux = devices_.light();
            lock.lock();
            lux_ = lux;
            isLightTried_ = true;
        }
        // Before the first set the host may still be about to choose its clock.
        const std::optional<daynight::Sample> seen = nightSet_ ? look() : std::nullopt;
        if (devices_.light && seen && trace_)
        {
            lock.unlock();
            trace_->record(*seen);
            lock.lock();
        }
        if (nightSet_ && !seen)
        {
            changed_.wait_until(lock, *nightSet_ + looks_.settling, [this] { return isEnding_; });
        }
        else if (devices_.light || word(IA_CMD_DN_MODE) == services::kByTime)
        {
            changed_.wait_for(lock, looks_.every, isCalled);
        }
        else
        {
            changed_.wait(lock, isCalled);
        }
    }
}

Devices Service::withLight(Devices devices)
{
    if (board_.light == kByExposure)
    {
        devices.light = [this] { return lightByExposure(); };
    }
    return devices;
}

// Nothing while nobody reads the picture, and until an exposure that has just begun has come to rest.
std::optional<double> Service::lightByExposure()
{
    const std::optional<Exposure> exposure = capture_ ? capture_->exposure() : std::nullopt;
    const std::optional<double> lux = exposure ? lightOf(*exposure) : std::nullopt;
    if (!lux)
    {
        exposedSince_.reset();
        return std::nullopt;
    }
    const host::Span now = host::clock()->monotonic();
    exposedSince_ = exposedSince_.value_or(now);
    return now - *exposedSince_ >= daynight::Engine::kLightSettles ? lux : std::nullopt;
}

bool Service::isSettled() const
{
    return nightSet_ && std::chrono::steady_clock::now() - *nightSet_ >= looks_.settling;
}

// A scheme's words come one after the other. Nothing moves before all of them are there: a filter that goes one way and
// back at each start or switch wears out. Before the first of them a look says what would be decided, so that a camera
// whose schemes follow the light begins with the right one.
std::optional<daynight::Sample> Service::look()
{
    if (find(IA_CMD_DN_MODE) == nullptr || (devices_.light && !isLightTried_))
    {
        return std::nullopt;
    }
    const std::shared_ptr<host::Clock> clock = host::clock();
    const daynight::Sample sample{clock->monotonic(), secondsOfDay(*clock), lux_, doLampsShine()};
    daynight::Settings settings = daynight::settingsOf([this](u32 cmd) { return nightWord(cmd); });
    settings.lightComesAndGoes = board_.light == kByExposure;
    if (!isSettled())
    {
        if (!isNightKnown_)
        {
            words_[IA_CMD_DN_STATE] = daynight::Engine().look(sample, settings).night ? 1 : 0;
        }
        return std::nullopt;
    }
    const daynight::Decision decision = engine_.look(sample, settings);
    const int night = decision.night ? 1 : 0;
    if (!isNightKnown_ || night != word(IA_CMD_DN_STATE) || decision.lampsOff != areLampsOff_)
    {
        isNightKnown_ = true;
        words_[IA_CMD_DN_STATE] = night;
        areLampsOff_ = decision.lampsOff;
        followNight();
    }
    return sample;
}

// 0 for what only a light sensor needs.
int Service::nightWord(u32 cmd) const
{
    const auto found = words_.find(cmd);
    return found == words_.end() ? 0 : found->second;
}

// As far as the lamps tell: those that stay lit against all wishes, or since before the start, shine too.
bool Service::doLampsShine() const
{
    return workers_[kLamps] && std::any_of(std::begin(kLampIds), std::end(kLampIds), [this](u32 lamp) {
               return workers_[kLamps]->report(lamp).actual.value_or(0) > 0;
           });
}

void Service::recordLight(const std::string& file)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    trace_ = std::make_unique<daynight::LightTrace>(file);
}

Surroundings Service::surroundings() const
{
    const std::shared_ptr<host::Clock> clock = host::clock();
    const std::lock_guard<std::mutex> lock(mutex_);
    Surroundings around;
    around.time = secondsOfDay(*clock);
    around.light = lux_.value_or(0);
    around.night = word(IA_CMD_DN_STATE) != 0;
    const auto rate = wishes_.find(kFrameRate);
    around.isStuck = workers_[kCamera]->isStuck();
    around.rate = rate == wishes_.end() ? 0 : static_cast<u32>(rate->second);
    return around;
}

std::optional<double> Service::light() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return lux_;
}

std::optional<int> Service::lamps() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::optional<int> brightest;
    for (const u32 lamp : kLampIds)
    {
        if (const Control* const control = findControl(description_.controls, lamp))
        {
            const auto found = wishes_.find(lamp);
            const bool isLit = isNightKnown_ && found != wishes_.end();
            const double share =
                isLit ? 100.0 * static_cast<double>(found->second) / static_cast<double>(control->maximum) : 0;
            brightest = std::max(brightest.value_or(0), static_cast<int>(std::lround(share)));
        }
    }
    return brightest;
}

}  // namespace devices
