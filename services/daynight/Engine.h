#pragma once

#include <optional>

#include "HostClock.h"

// Day or night, for every service that decides it.
namespace daynight {

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
    double nightBelow = 20;     // lux
    double dayAbove = 60;       // lux; counts as nightBelow where it is less
    host::Span delay{0};        // so long the light must have been beyond a threshold
    int duskMinutes = 18 * 60;  // since midnight
    int dawnMinutes = 6 * 60;
};

struct Sample
{
    host::Span now;             // monotonic
    double secondsOfDay;        // local
    std::optional<double> lux;  // on the sensor; nothing where it cannot be measured: then nothing changes by light
    bool lampsShine = false;    // lamps of the camera's own are lit and the sensor may see their light
};

struct Decision
{
    bool night;
    bool lampsOff;  // for a moment, to see whether it is day without them
};

// Reentrant; one camera's.
class Engine
{
public:
    // The first look decides at once, so that nothing moves twice at a start.
    Decision look(const Sample& sample, const Settings& settings);

    // The decision in force; day before the first look.
    bool night() const;
    // So often the filter has moved.
    unsigned movements() const;

private:

};

}  // namespace daynight
