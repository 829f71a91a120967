#include <algorithm>

#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"
#include "camera/KeyNames.h"

namespace app {
namespace {

using Keys = std::vector<camera::KeyResult>;

std::string listText(Keys::const_iterator begin, Keys::const_iterator end)
{
    Words words;
    for (; begin != end; ++begin)
    {
        words.push_back(keyTitle(begin->key) + "=" + std::to_string(begin->asked));
    }
    return words.empty() ? "nothing" : joinWords(words);
}

// The library stops at the first record that a handler refuses and names its key.
Answer refused(Session& session, const camera::ApplyResult& result)
{
    const std::string title = keyTitle(*result.refusedKey);
    Answer answer = Answer::failure({ErrorCode::deviceRefused, title + " refused", *result.refusedKey});
    answer.data = toJson(result);
    if (!result.refused)
    {
        return answer;
    }
    const auto failed = result.keys.begin() + static_cast<std::ptrdiff_t>(*result.refused);
    const services::ImageService& service = session.camera().service();
    const std::string reason = failed->status == services::kDone
                                   ? "the video module refused it"
                                   : reasonText(service, failed->key, failed->asked, failed->status);
    answer.error = {codeOf(failed->status), title + " refused: " + reason + ".", failed->key, failed->asked,
                    failed->allowed};
    if (result.keys.size() > 1)
    {
        answer.error->message += "\n  before it applied: " + listText(result.keys.begin(), failed) +
                                 "\n  after it not applied: " + listText(failed + 1, result.keys.end());
    }
    return answer;
}

std::string appliedLine(Session& session, const camera::ApplyResult& result, const camera::KeyResult& key)
{
    const std::string label = valueNote(session.camera().service(), key.key, key.now);
    std::string line = keyTitle(key.key) + " = " + std::to_string(key.now) + (label.empty() ? "" : " " + label);
    if (key.now != key.asked)
    {
        line += "  (asked for " + valueText(session.camera().service(), key.key, key.asked) + ")";
    }
    else if (key.outcome == camera::Outcome::unchanged)
    {
        line += "  (unchanged, not sent again)";
    }
    else if (!result.schemeKeepsValues)
    {
        line += "  (sent, not remembered)";
    }
    else if (key.before)
    {
        line += "  (was " + valueText(session.camera().service(), key.key, *key.before) + ")";
    }
    return line + "\n";
}

void addNote(Answer& answer, const std::string& note)
{
    answer.text += "note: " + note + "\n";
}

Answer applied(Session& session, const camera::ApplyResult& result)
{
    Answer answer;
    answer.data = toJson(result);
    for (const camera::KeyResult& key : result.keys)
    {
        answer.text += appliedLine(session, result, key);
    }
    // Some handlers report the service's refusal and go on with the video module's answer.
    for (const camera::Refusal& refusal : result.refusals)
    {
        addNote(answer, "the sensor refused " + keyTitle(refusal.key) + "=" + std::to_string(refusal.value) +
                            ", which is stored all the same: " +
                            reasonText(session.camera().service(), refusal.key, refusal.value, refusal.status));
    }
    if (!result.schemeKeepsValues)
    {
        addNote(answer, "the default scheme is in force; it keeps its factory values, so this change is applied to the "
                        "sensor and not remembered. Choose a scheme first ('schemes', 'scheme N', 'mode manual')");
    }
    return answer;
}

// text: the same as pair text, where that is what was typed.
Answer apply(Session& session, const std::vector<camera::Value>& values, const std::string& text = "")
{
    const camera::ApplyResult result = session.camera().apply(values, text);
    if (result.tooMany != 0)
    {
        return Answer::failure({ErrorCode::tooManyValues,
                                std::to_string(values.size()) + " values are too many at once, this camera takes " +
                                    std::to_string(result.tooMany) + "; nothing was applied"});
    }
    return result.ok() ? applied(session, result) : refused(session, result);
}

// Of values that a person lists a key at a time: one that comes twice is a mistake.
Answer applyOnce(Session& session, const std::vector<camera::Value>& values)
{
    for (auto entry = values.begin(); entry != values.end(); ++entry)
    {
        if (std::any_of(values.begin(), entry, [&](const camera::Value& other) { return other.key == entry->key; }))
        {
            return Answer::failure(
                {ErrorCode::wrongUsage, keyTitle(entry->key) + " is given twice; nothing was applied", entry->key});
        }
    }
    return apply(session, values);
}

std::string appliedLine(const std::vector<camera::ControlRow>& rows, const camera::ControlsResult& result,
                        const camera::ControlResult& control)
{
    const camera::ControlRow& row = *findControl(rows, control.name);
    std::string line = control.name + " = " + valueText(row, control.now);
    if (control.outcome == camera::Outcome::unchanged)
    {
        line += "  (unchanged, not sent again)";
    }
    else if (control.outcome == camera::Outcome::notRemembered)
    {
        line += result.schemeKeepsValues ? "  (sent)" : "  (sent, not remembered)";
    }
    else if (control.before)
    {
        line += "  (was " + valueText(row, *control.before) + ")";
    }
    return line + "\n";
}

// Behind the keys, whose answer it goes on.
void applyControls(Session& session, const std::vector<camera::ControlValue>& values, Answer& answer)
{
    const std::vector<camera::ControlRow> rows = session.camera().controls();
    const camera::ControlsResult result = session.camera().applyControls(values);
    Json json = toJson(result);
    if (answer.data.empty())
    {
        answer.data = toJson(camera::ApplyResult{result.scheme, result.schemeKeepsValues, {}, {}, {}, {}, 0});
    }
    answer.data["controls"] = json["controls"];
    const std::size_t reached = result.refused.value_or(result.controls.size());
    for (std::size_t i = 0; i < reached; ++i)
    {
        answer.text += appliedLine(rows, result, result.controls[i]);
    }
    if (result.refused)
    {
        const camera::ControlResult& refused = result.controls[*result.refused];
        answer.error = {codeOf(refused.status),
                        refused.name + " refused: " + reasonText(refused) + ".",
                        {},
                        refused.asked,
                        refused.allowed};
        if (reached + 1 < result.controls.size())
        {
            answer.error->message +=
                "\n  after it not applied: " + counted(result.controls.size() - reached - 1, "control", "controls");
        }
    }
}

Answer applyOnce(Session& session, const Assignments& all)
{
    for (auto entry = all.controls.begin(); entry != all.controls.end(); ++entry)
    {
        if (std::any_of(all.controls.begin(), entry,
                        [&](const camera::ControlValue& other) { return other.name == entry->name; }))
        {
            return Answer::failure({ErrorCode::wrongUsage, entry->name + " is given twice; nothing was applied"});
        }
    }
    Answer answer = all.values.empty() ? Answer() : applyOnce(session, all.values);
    if (answer.ok() && !all.controls.empty())
    {
        applyControls(session, all.controls, answer);
    }
    return answer;
}

}  // namespace

Answer runSet(Session& session, const Words& arguments)
{
    if (arguments.empty())
    {
        return wrongUsage("set");
    }
    Error error = {};
    const auto values = parseAssignments(session.camera(), arguments, error);
    if (!values)
    {
        error.message += "; nothing was applied";
        return Answer::failure(error);
    }
    return applyOnce(session, *values);
}

Answer runDefault(Session& session, const Words& arguments)
{
    if (arguments.empty())
    {
        return wrongUsage("default");
    }
    const std::vector<camera::ControlRow> controls = session.camera().controls();
    Assignments all;
    for (const std::string& argument : arguments)
    {
        std::string error;
        const std::optional<Target> target = parseTarget(controls, argument, error);
        if (!target)
        {
            return Answer::failure({ErrorCode::unknownKey, error + "; nothing was applied"});
        }
        if (target->control != nullptr)
        {
            const services::NamedControl& control = target->control->control;
            all.controls.push_back({control.name, control.allowed.defaultValue});
            continue;
        }
        const int key = target->key;
        const std::optional<int> factory = session.camera().factoryValue(key);
        if (!factory)
        {
            return Answer::failure({ErrorCode::noValue,
                                    keyTitle(key) + " has no factory value: the schemes of this camera do not keep "
                                                    "it; nothing was applied",
                                    key});
        }
        all.values.push_back({key, *factory});
    }
    return applyOnce(session, all);
}

Answer runText(Session& session, const Words& arguments)
{
    if (arguments.size() != 1)
    {
        return wrongUsage("text");
    }
    std::string error;
    const std::optional<std::vector<camera::Value>> pairs = parsePairs(arguments[0], error);
    return pairs ? apply(session, *pairs, arguments[0])
                 : Answer::failure({ErrorCode::badDocument, error + "; nothing was applied"});
}

Words completeAssignments(Session& session, const Words&)
{
    Words words;
    for (const camera::KeyName& row : camera::keyNames())
    {
        words.push_back(std::string(row.name) + "=");
    }
    for (const std::string& name : controlNames(session))
    {
        words.push_back(name + "=");
    }
    return words;
}

}  // namespace app
