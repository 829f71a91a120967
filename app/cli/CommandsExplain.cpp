#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/ScheduleChart.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"

namespace app {
namespace {

std::string whyText(Session& session, camera::Why why)
{
    switch (why)
    {
    case camera::Why::notYet:
        return "the clock has not chosen yet";
    case camera::Why::manual:
        return "the mode is manual, so it stays until 'scheme N' or 'mode auto'";
    case camera::Why::window:
        return "its window holds, and no lower scheme's does";
    case camera::Why::noWindow:
        return "no window holds";
    case camera::Why::dayOrNight:
        return std::string("no window holds, and it is ") + (session.camera().night() ? "night" : "day");
    case camera::Why::againstTheClock:
        return "it was chosen by hand; the clock chooses again within a second";
    }
    return "";
}

std::string overlapsText(const camera::Schedule& schedule)
{
    std::string text;
    for (const camera::Overlap& overlap : camera::overlapsOfDay(schedule))
    {
        Words schemes;
        for (const int scheme : overlap.schemes)
        {
            schemes.push_back(std::to_string(scheme));
        }
        text += "windows overlap " + formatTimeOfDay(overlap.startMinutes) + "-" + formatTimeOfDay(overlap.endMinutes) +
                ": of the schemes " + joinWords(schemes) + " the lowest wins\n";
    }
    return text;
}

Answer explainScheme(Session& session)
{
    const camera::Explanation explanation = session.camera().explain();
    const int count = session.camera().schemeCount();
    Answer answer;
    answer.text = schemeName(explanation.scheme, count) + " is in force: " + whyText(session, explanation.why) + "\n";
    answer.data = toJson(explanation);
    if (explanation.untilMinutes)
    {
        const std::string until = formatTimeOfDay(*explanation.untilMinutes);
        answer.text += "next by the clock: " + chosenName(explanation.next, count) + " at " + until + "\n";
    }
    answer.text += overlapsText(explanation.schedule);
    return answer;
}

std::string sourceText(const services::ImageService& service, const camera::KeyExplanation& key,
                       const std::string& scheme)
{
    using Source = camera::KeyExplanation::Source;
    const bool isUnsaved = key.saved && key.saved != key.value;
    switch (key.source)
    {
    case Source::scheme:
        return "of " + scheme +
               (isUnsaved ? ", not saved: 'reload' brings back " + valueText(service, key.key, *key.saved) : "");
    case Source::sensor:
        return "the sensor's present value: the schemes of this model do not keep it";
    case Source::nowhere:
        break;
    }
    return "unknown: neither the scheme in force nor the sensor has it";
}

// What would make another value of it.
std::string changesText(const services::ImageService& service, const camera::KeyExplanation& key)
{
    const int count = static_cast<int>(key.inSchemes.size()) - 1;
    std::string text;
    for (int scheme = 0; scheme <= count; ++scheme)
    {
        const std::optional<int>& value = key.inSchemes[static_cast<std::size_t>(scheme)];
        if (scheme != key.scheme.scheme && value && value != key.value)
        {
            text += "  " + schemeName(scheme, count) + ": " + valueText(service, key.key, *value) + "\n";
        }
    }
    if (key.factory && key.factory != key.value)
    {
        text += "  'reset': " + valueText(service, key.key, *key.factory) + "\n";
    }
    return text.empty() ? text : "it would change with\n" + text;
}

Answer explainOne(Session& session, int number)
{
    const camera::KeyExplanation key = session.camera().explainKey(number);
    const std::string scheme = schemeName(key.scheme.scheme, session.camera().schemeCount());
    const services::ImageService& service = session.camera().service();
    const std::string allowed = allowedText(service, number);
    Answer answer;
    answer.text = keyTitle(number) + (key.value ? " = " + valueText(service, number, *key.value) + ", " : ": ") +
                  sourceText(service, key, scheme) + "\n";
    if (key.onSensor && key.value && key.onSensor != key.value)
    {
        answer.text += "the sensor has " + valueText(service, number, *key.onSensor) + "\n";
    }
    answer.text += (allowed.empty() ? "" : "allowed: " + allowed + "\n") + changesText(service, key);
    if (key.neverInBulk)
    {
        answer.text += "the library does not send it when a scheme is switched, reloaded or reset\n";
    }
    answer.data = toJson(key);
    if (const std::optional<services::Standing> standing = session.camera().standing(number))
    {
        const std::string text = standingText(*standing);
        answer.text += text.empty() ? "" : text + "\n";
        answer.data["standing"] = standingWord(*standing);
    }
    return answer;
}

Answer explainControl(Session& session, const camera::ControlRow& row)
{
    const int count = session.camera().schemeCount();
    const int current = session.camera().currentScheme();
    Answer answer;
    answer.data = toJson(row);
    answer.data.update(schemeJson(current));
    answer.data["inSchemes"] = Json::array();
    std::string others;
    for (int scheme = 0; scheme <= count; ++scheme)
    {
        const std::vector<camera::ControlRow> rows = session.camera().controls(scheme);
        const camera::ControlRow* const other = findControl(rows, row.control.name);
        if (other == nullptr || !other->value)
        {
            continue;
        }
        answer.data["inSchemes"].push_back({{"scheme", scheme}, {"value", *other->value}});
        if (scheme != current && other->value != row.value)
        {
            others += "  " + schemeName(scheme, count) + ": " + valueText(row, *other->value) + "\n";
        }
    }
    const int factory = row.control.allowed.defaultValue;
    if (row.value && factory != *row.value)
    {
        others += "  'reset': " + valueText(row, factory) + "\n";
    }
    answer.text = row.control.name + (row.value ? " = " + valueText(row, *row.value) : "") +
                  ", a control of the device (" + row.control.title + ")";
    if (row.value && row.saved && row.value != row.saved)
    {
        answer.text += ", not saved: 'reload' brings back " + valueText(row, *row.saved);
    }
    const std::string standing = standingText(row.control.standing);
    answer.text += "\nallowed: " + allowedText(row) + "\n" + (standing.empty() ? "" : standing + "\n") +
                   (others.empty() ? "" : "it would change with\n" + others);
    return answer;
}

}  // namespace

Answer runExplain(Session& session, const Words& arguments)
{
    if (arguments.size() > 1)
    {
        return wrongUsage("explain");
    }
    if (arguments.empty())
    {
        return explainScheme(session);
    }
    std::string error;
    const std::vector<camera::ControlRow> controls = session.camera().controls();
    const std::optional<Target> target = parseTarget(controls, arguments[0], error);
    if (!target)
    {
        return Answer::failure({ErrorCode::unknownKey, error});
    }
    return target->control != nullptr ? explainControl(session, *target->control) : explainOne(session, target->key);
}

}  // namespace app
