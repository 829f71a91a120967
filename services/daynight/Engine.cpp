#include "services/daynight/Engine.h"

#include <algorithm>
#include <cmath>

#include "ia_ioctrl.h"

namespace daynight {

using host::Span;

bool Settings::nightAt(double secondsOfDay) const
{
    const double dusk = duskMinutes * 60.0;
    const double dawn = dawnMinutes * 60.0;
    const bool afterDusk = secondsOfDay >= dusk;
    const bool beforeDawn = secondsOfDay < dawn;
    return dusk <= dawn ? afterDusk && beforeDawn : afterDusk || beforeDawn;
}

Settings settingsOf(const std::function<int(u32 cmd)>& word)
{
    Settings settings;
    settings.mode = static_cast<Mode>(word(IA_CMD_DN_MODE));
    settings.nightBelow = word(IA_CMD_DTN_THR);
    settings.dayAbove = word(IA_CMD_NTD_THR);
    settings.delay = std::chrono::seconds(word(IA_CMD_DELAY));
    settings.duskMinutes = word(IA_CMD_DTN_H) * 60 + word(IA_CMD_DTN_M);
    settings.dawnMinutes = word(IA_CMD_NTD_H) * 60 + word(IA_CMD_NTD_M);
    return settings;
}

Decision Engine::look(const Sample& sample, const Settings& settings)
{
    Sample seen = sample;
    if (seen.lux && std::isnan(*seen.lux))
    {
        seen.lux.reset();
    }
    if (seen.lux)
    {
        lightSeen_ = seen.now;
    }
    if (seen.lampsShine != lampsShone_)
    {
        lampsShone_ = seen.lampsShine;
        lampsChanged_ = seen.now;
    }
    judge(seen, settings);
    decided_ = true;
    looked_ = seen.now;
    return {night_, proof_.has_value()};
}

void Engine::judge(const Sample& sample, const Settings& settings)
{
    switch (settings.mode)
    {
    case Mode::alwaysDay:
    case Mode::alwaysNight:
        timesSaid_.reset();
        become(settings.mode == Mode::alwaysNight, sample.now);
        return;
    case Mode::byTime:
        timesSaid_.reset();
        become(settings.nightAt(sample.secondsOfDay), sample.now);
        return;
    case Mode::byLight:
        break;
    }
    const bool timesSay = settings.nightAt(sample.secondsOfDay);
    if (sample.lux)
    {
        timesSaid_ = timesSay;
    }
    if (proof_)
    {
        judgeProof(sample, settings);
    }
    else if (sample.lux)
    {
        judgeLight(sample, settings);
    }
    else
    {
        pendingSince_.reset();
        const bool isGone = !lightSeen_ || sample.now - *lightSeen_ >= kLightGone;
        if (isGone && (!settings.lightComesAndGoes || timesSaid_ != timesSay))
        {
            become(timesSay, sample.now);
            timesSaid_ = timesSay;
        }
    }
}

void Engine::judgeLight(const Sample& sample, const Settings& settings)
{
    if (!decided_)
    {
        become(sample.lampsShine || *sample.lux < settings.nightBelow, sample.now);
        return;
    }
    const double lux = sample.lampsShine ? withLamps(sample.now, *sample.lux) : *sample.lux;
    const bool wanted = night_ ? lux <= settings.dayLevel() : lux < settings.nightBelow;
    if (wanted == night_ || !settled(sample.now))
    {
        pendingSince_.reset();
        return;
    }
    if (!pendingSince_)
    {
        pendingSince_ = sample.now;
    }
    if (sample.now - *pendingSince_ < settings.delay)
    {
        return;
    }
    if (night_ && sample.lampsShine)
    {
        proof_ = Proof{sample.now, *sample.lux};
        return;
    }
    // A delay that was shortened meanwhile may have been over before the last look.
    become(wanted, std::max(*pendingSince_ + settings.delay, looked_));
}

bool Engine::settled(Span now) const
{
    return !lampsChanged_ || now - *lampsChanged_ >= kLightSettles;
}

double Engine::withLamps(Span now, double lux) const
{
    const bool isWaiting = failed_ && now - *failed_ < wait_;
    return !isWaiting ? lux : lampsLux_ ? lux - *lampsLux_ : 0;
}

void Engine::judgeProof(const Sample& sample, const Settings& settings)
{
    if (!sample.lampsShine && sample.lux && settled(sample.now))
    {
        if (*sample.lux > settings.dayLevel())
        {
            become(false, sample.now);
            return;
        }
        lampsLux_ = std::max(lampsLux_.value_or(0), proof_->litLux - *sample.lux);
    }
    else if (sample.now - proof_->began < kLongestProof)
    {
        return;
    }
    else
    {
        lampsLux_.reset();
    }
    proof_.reset();
    wait_ = failed_ ? std::min(wait_ * 2, kLongestWait) : kFirstWait;
    failed_ = sample.now;
}

void Engine::become(bool night, Span time)
{
    pendingSince_.reset();
    proof_.reset();
    failed_.reset();
    lampsLux_.reset();
    if (night != night_ || !decided_)
    {
        movements_ += decided_ ? 1 : 0;
        night_ = night;
        changedAt_ = time;
    }
}

void Engine::settle(Span now)
{
    looked_ = now;
    pendingSince_.reset();
    proof_.reset();
    for (std::optional<Span>* const since : {&lightSeen_, &lampsChanged_, &failed_})
    {
        if (*since)
        {
            *since = now;
        }
    }
}

std::optional<double> lightFromExposure(Span exposure, double gain)
{
    constexpr double kLuxSeconds = 10;  // 250 lx s of an incident-light meter, times f/2 squared, by ISO 100
    if (exposure <= Span(0) || !(gain > 0))
    {
        return std::nullopt;
    }
    return kLuxSeconds / (std::chrono::duration<double>(exposure).count() * gain);
}

}  // namespace daynight
