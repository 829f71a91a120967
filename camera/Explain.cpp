#include "camera/Explain.h"

#include <algorithm>

#include "FactoryScheme.h"
#include "camera/Camera.h"
#include "camera/KeyNames.h"
#include "camera/SchemeFile.h"

namespace camera {
namespace {

Why whyOf(const Schedule& schedule)
{
    const int chosen = schemeAt(schedule, schedule.minutes);
    const auto windows = static_cast<int>(schedule.windows.size());
    if (schedule.currentScheme < 0)
    {
        return Why::notYet;
    }
    if (!schedule.automatic)
    {
        return Why::manual;
    }
    if (chosen == kByDayAndNight)
    {
        return schedule.currentScheme <= 1 ? Why::dayOrNight : Why::againstTheClock;
    }
    if (chosen != schedule.currentScheme)
    {
        return Why::againstTheClock;
    }
    return chosen < windows ? Why::window : Why::noWindow;
}

}  // namespace

Explanation explain(const Schedule& schedule)
{
    Explanation explanation = {schedule.currentScheme, whyOf(schedule), std::nullopt, -1, schedule};
    const int chosen = schemeAt(schedule, schedule.minutes);
    for (int ahead = 1; schedule.automatic && ahead < kMinutesPerDay; ++ahead)
    {
        const int then = (schedule.minutes + ahead) % kMinutesPerDay;
        if (schemeAt(schedule, then) != chosen)
        {
            explanation.untilMinutes = then;
            explanation.next = schemeAt(schedule, then);
            break;
        }
    }
    return explanation;
}

Explanation Camera::explain()
{
    return camera::explain(schedule());
}

// Nothing for a key that the schemes lack.
std::optional<int> Camera::factoryValue(int scheme, int key)
{
    std::optional<int> value = schemeValue(schemeCount(), key);
    for (const KeyVal& change : factoryChanges(schedule().byDayAndNight, scheme))
    {
        if (value && change.key == static_cast<u32>(key))
        {
            value = static_cast<int>(change.value);
        }
    }
    return value;
}

KeyExplanation Camera::explainKey(int key)
{
    const Gate::Pass pass(gate_);
    const Explanation scheme = explain();
    const std::optional<int> stored = schemeValue(scheme.scheme, key);
    const KeyName* const row = findKey(key);
    const auto parameter = parameterOfKey(service_, key);
    const auto onSensor = parameter ? std::optional<int>(parameter->value) : std::nullopt;
    using Source = KeyExplanation::Source;
    KeyExplanation explanation = {key,
                                  stored ? stored : onSensor,
                                  stored ? Source::scheme : onSensor ? Source::sensor : Source::nowhere,
                                  std::nullopt,
                                  factoryValue(scheme.scheme, key),
                                  onSensor,
                                  {},
                                  limitsOfKey(service_, key),
                                  row != nullptr && row->neverInBulk && key != KEY_SENSOR_FPS,
                                  scheme};
    for (const KeyVal& record : readSchemeFile(scheme.scheme))
    {
        if (record.key == static_cast<u32>(key))
        {
            explanation.saved = static_cast<int>(record.value);
        }
    }
    for (int i = 0; i <= schemeCount(); ++i)
    {
        explanation.inSchemes.push_back(schemeValue(i, key));
    }
    return explanation;
}

}  // namespace camera
