#pragma once

#include <functional>
#include <optional>

#include "HostClock.h"
#include "SensorTypes.h"

// Day or night, for every service that decides it.
namespace daynight {

// Numbers as in command 144.
enum class Mode : unsigned char
{
    byLight,
    alwaysDay,
    alwaysNight,
    byTime,
};

struct Settings
{
    Mode mode = Mode::byLight;
    double nightBelow = 20;  // lux
    double dayAbove = 60;    // lux; counts as nightBelow where it is less
    host::Span delay{0};     // so long the light must have been beyond a threshold
    int duskMinutes =
        18 * 60;  // since midnight; the night ends at dawn, also on the next day; none where both are equal
    int dawnMinutes = 6 * 60;
    bool lightComesAndGoes = false;  // as with those who watch, not with a fault

    double dayLevel() const { return dayAbove < nightBelow ? nightBelow : dayAbove; }
    bool nightAt(double secondsOfDay) const;
};

// Of the words of commands 144 to 152.
Settings settingsOf(const std::function<int(u32 cmd)>& word);

struct Sample
{
    host::Span now;             // monotonic
    double secondsOfDay;        // local
    std::optional<double> lux;  // on the sensor; nothing, or no number, where it cannot be measured now
    bool lampsShine = false;    // lamps of the camera's own are lit and the sensor may see their light
};

struct Decision
{
    bool night;
    bool lampsOff;  // for a moment, to see whether it is day without them: put them out, and look at least every second
};

// - The first look decides at once, so that nothing moves twice at a start: night where lamps shine or the light is
//   below the threshold, by the times where there is no light.
// - Afterwards the light decides once it has been beyond a threshold for the delay, without interruption. Light that
//   cannot be measured changes nothing; when it has been missing for kLightGone the times decide until it is back.
//   Light that comes and goes leaves its decision in force until dusk or dawn by the times: otherwise each time that it
//   comes could move the filter, and each time that it goes.
// - Day by the light of lamps is not believed: they go off, and the light is judged once it has settled. If it was the
//   lamps, their light counts no more for kFirstWait, then for twice as long each time up to kLongestWait. A day, or
//   another mode, forgets all that.
// - The other modes decide at every look.
// Reentrant; one camera's.
class Engine
{
public:
    static constexpr host::Span kLightGone = std::chrono::minutes(10);
    static constexpr host::Span kLightSettles = std::chrono::seconds(2);   // after lamps went on or off
    static constexpr host::Span kLongestProof = std::chrono::seconds(10);  // of lamps that do not go off, or no light
    static constexpr host::Span kFirstWait = std::chrono::minutes(1);
    static constexpr host::Span kLongestWait = std::chrono::minutes(32);

    Decision look(const Sample& sample, const Settings& settings);

    // The clock was replaced, or the light of another time of day is seen: whatever waits begins anew at now.
    void settle(host::Span now);

    // The decision in force; day before the first look.
    bool night() const { return night_; }
    // When it was made: at a look or, where the delay was over before it, between that and the one before.
    host::Span changedAt() const { return changedAt_; }
    // So often the decision has changed since the first: each moves the filter once.
    unsigned movements() const { return movements_; }

private:
    struct Proof
    {
        host::Span began;
        double litLux;
    };

    void judge(const Sample& sample, const Settings& settings);
    void judgeLight(const Sample& sample, const Settings& settings);
    void judgeProof(const Sample& sample, const Settings& settings);
    bool settled(host::Span now) const;
    // What of light with lamps counts: while the next proof waits, what is more than they were found to give.
    double withLamps(host::Span now, double lux) const;
    void become(bool night, host::Span time);

    bool decided_ = false;
    bool night_ = false;
    unsigned movements_ = 0;
    host::Span changedAt_{0};
    host::Span looked_{0};
    std::optional<host::Span> pendingSince_;
    std::optional<host::Span> lightSeen_;
    std::optional<bool> timesSaid_;  // when it last decided, or the times did

    bool lampsShone_ = false;
    std::optional<host::Span> lampsChanged_;
    std::optional<Proof> proof_;
    std::optional<host::Span> failed_;  // the last proof
    host::Span wait_{0};                // from then to the next
    std::optional<double> lampsLux_;    // the most that lamps were found to give
};

// Light by an automatic exposure that has come to rest: lux as of a lens at f/2 on a sensor of ISO 100 at gain 1, so
// thresholds want trying. gain: a factor, not decibels. Falls as exposure or gain rises; of a camera at the end of both
// it says only that there is no more light than this. Nothing where one of them is not above 0.
std::optional<double> lightFromExposure(host::Span exposure, double gain);

}  // namespace daynight
