#pragma once

#include <optional>
#include <vector>

#include "camera/Schedule.h"
#include "services/ImageService.h"

// Why the camera is as it is. Plain data and pure functions; reentrant.
namespace camera {

// Why a scheme is in force.
enum class Why
{
    notYet,           // none is in force: the scheduler has not had its first turn
    manual,           // manual mode: the scheme stays
    window,           // its window holds
    noWindow,         // none holds: the default scheme, or scheme 0 of a camera without windows
    dayOrNight,       // licence-plate camera outside all windows
    againstTheClock,  // chosen by hand; the clock takes it back within a second
};

struct Explanation
{
    int scheme;  // in force, -1 for none
    Why why;
    // What comes next by the clock; nothing when it never changes: manual mode, or one scheme all day.
    std::optional<int> untilMinutes;  // time of day; at least a minute and at most a day from now
    int next = -1;                    // kByDayAndNight too
    Schedule schedule = {};           // by which it was judged
};

Explanation explain(const Schedule& schedule);

// One key of the scheme in force.
struct KeyExplanation
{
    enum class Source
    {
        scheme,   // the scheme in force holds it
        sensor,   // the schemes of this model do not keep it: the sensor's present value
        nowhere,  // neither knows it
    };
    int key;
    std::optional<int> value;
    Source source;
    std::optional<int> saved;                   // in the file of the scheme in force; a reload would bring it back
    std::optional<int> factory;                 // a factory reset would bring this to the scheme in force
    std::optional<int> onSensor;                // what the service holds
    std::vector<std::optional<int>> inSchemes;  // 0, 1, … and the default scheme: a switch would bring theirs
    std::optional<services::ParameterState> allowed;
    bool neverInBulk;  // no switch, reload or reset brings it to the sensor
    Explanation scheme;
};

}  // namespace camera
