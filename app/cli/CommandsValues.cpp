#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"
#include "camera/KeyNames.h"

namespace app {
namespace {

bool matches(const camera::KeyName& row, const std::string& wanted)
{
    return toLower(row.name).find(toLower(wanted)) != std::string::npos || std::to_string(row.key) == wanted;
}

std::string valueLine(Session& session, int key, int value)
{
    const std::optional<services::ParameterState> limits = camera::limitsOfKey(session.camera().service(), key);
    const std::string label = !limits                         ? "(kept only: this camera has no such parameter)"
                              : limits->allowed.items.empty() ? ""
                                                              : valueNote(session.camera().service(), key, value);
    return keyTitle(key) + " = " + std::to_string(value) + (label.empty() ? "" : "  " + label) + "\n";
}

// Keys of the current scheme in the order of the key table.
std::vector<int> keysOfScheme(Session& session)
{
    std::vector<int> keys;
    const int scheme = session.camera().currentScheme();
    for (const camera::KeyName& row : camera::keyNames())
    {
        if (session.camera().schemeValue(scheme, row.key))
        {
            keys.push_back(row.key);
        }
    }
    return keys;
}

}  // namespace

Answer runKeys(Session& session, const Words& arguments)
{
    if (arguments.size() > 1)
    {
        return wrongUsage("keys");
    }
    Answer answer;
    std::vector<KeyRow> rows;
    bool foreign = false;
    TextTable table;
    table.addRow({"KEY", "NAME", "VALUE", "ALLOWED"});
    for (const camera::KeyName& row : camera::keyNames())
    {
        if (!arguments.empty() && !matches(row, arguments[0]))
        {
            continue;
        }
        const std::optional<int> value = session.camera().peek(row.key);
        const bool inScheme = session.camera().schemeValue(session.camera().currentScheme(), row.key).has_value();
        table.addRow({std::to_string(row.key), row.name, value ? std::to_string(*value) + (inScheme ? "" : " *") : "-",
                      arguments.empty() ? allowedShort(session.camera().service(), row.key)
                                        : allowedText(session.camera().service(), row.key)});
        foreign = foreign || (value && !inScheme);
        rows.push_back({row.key, value, inScheme, camera::limitsOfKey(session.camera().service(), row.key)});
    }
    std::vector<camera::ControlRow> controls;
    for (const camera::ControlRow& row : session.camera().controls())
    {
        if (arguments.empty() || row.control.name.find(toLower(arguments[0])) != std::string::npos)
        {
            table.addRow({"-", row.control.name, row.value ? std::to_string(*row.value) : "-", allowedText(row)});
            controls.push_back(row);
        }
    }
    if (rows.empty() && controls.empty())
    {
        return Answer::failure({ErrorCode::unknownKey, "no key is named like " + arguments[0]});
    }
    answer.data = toJson(rows);
    if (!controls.empty())
    {
        answer.data.update(toJson(controls));
    }
    answer.text = table.text() + (foreign ? "* not kept in this camera's schemes: the sensor's present value\n" : "");
    if (arguments.empty())
    {
        answer.text += "'keys NAME' lists all values that are allowed\n";
    }
    return answer;
}

Answer runGet(Session& session, const Words& arguments)
{
    const std::vector<camera::ControlRow> controls = session.camera().controls();
    std::vector<int> keys;
    std::vector<camera::ControlRow> named;
    for (const std::string& text : arguments)
    {
        std::string error;
        const std::optional<Target> target = parseTarget(controls, text, error);
        if (!target)
        {
            return Answer::failure({ErrorCode::unknownKey, error});
        }
        if (target->control != nullptr)
        {
            named.push_back(*target->control);
            continue;
        }
        keys.push_back(target->key);
    }
    if (arguments.empty())
    {
        keys = keysOfScheme(session);
        named = controls;
    }
    Answer answer;
    std::vector<camera::Value> values;
    for (int key : keys)
    {
        const std::optional<int> value = session.camera().read(key);
        if (!value)
        {
            const std::string message =
                keyTitle(key) + " cannot be read: neither the current scheme nor the sensor has it";
            if (answer.error)
            {
                answer.error->message += "\n" + message;
                continue;
            }
            answer.error = {ErrorCode::noValue, message, key};
            continue;
        }
        answer.text += valueLine(session, key, *value);
        values.push_back({key, *value});
    }
    answer.data = toJson(values);
    for (const camera::ControlRow& row : named)
    {
        const int value = row.value.value_or(row.control.value);
        answer.text += row.control.name + " = " + valueText(row, value) + "\n";
        answer.data["controls"].push_back({{"control", row.control.name}, {"value", value}});
    }
    return answer;
}

Answer runAll(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("all");
    }
    Answer answer;
    const std::string pairs = session.camera().pairText();
    answer.text = pairs + "\n";
    answer.data = pairsJson(session.camera().currentScheme(), pairs);
    return answer;
}

// A control that is set to what the scheme holds goes to the device again.
Answer restoreControl(Session& session, const camera::ControlRow& control)
{
    const std::string& name = control.control.name;
    if (!control.value)
    {
        return Answer::failure(
            {ErrorCode::noValue, name + " cannot be sent again: the current scheme does not hold it"});
    }
    const camera::ControlResult result = session.camera().applyControls({{name, *control.value}}).controls[0];
    if (result.outcome == camera::Outcome::refused)
    {
        return Answer::failure(
            {codeOf(result.status), name + " refused: " + reasonText(result), {}, result.asked, result.allowed});
    }
    Answer answer;
    answer.text = name + " = " + valueText(control, *control.value) + " sent again\n";
    answer.data = {{"control", name}, {"value", *control.value}};
    return answer;
}

Answer runRestore(Session& session, const Words& arguments)
{
    if (arguments.size() != 1)
    {
        return wrongUsage("restore");
    }
    std::string error;
    const std::vector<camera::ControlRow> controls = session.camera().controls();
    const std::optional<Target> target = parseTarget(controls, arguments[0], error);
    if (!target)
    {
        return Answer::failure({ErrorCode::unknownKey, error});
    }
    if (target->control != nullptr)
    {
        return restoreControl(session, *target->control);
    }
    const int key = target->key;
    using Kind = camera::RestoreResult::Kind;
    const camera::RestoreResult result = session.camera().restore(key);
    if (result.kind == Kind::notHeld)
    {
        return Answer::failure(
            {ErrorCode::noValue, keyTitle(key) + " cannot be sent again: the current scheme does not hold it", key});
    }
    if (result.kind == Kind::refused)
    {
        const services::ImageService& service = session.camera().service();
        return Answer::failure({codeOf(result.status),
                                keyTitle(key) + " refused: " + reasonText(service, key, result.value, result.status),
                                key, result.value, camera::limitsOfKey(service, key)});
    }
    Answer answer;
    answer.text = keyTitle(key) + " = " + valueText(session.camera().service(), key, result.value) + " sent again\n";
    answer.data = valueJson(key, result.value);
    return answer;
}

Words controlNames(Session& session)
{
    Words names;
    for (const camera::ControlRow& row : session.camera().controls())
    {
        std::string error;
        const bool isKey = parseKey(row.control.name, error).has_value();
        names.push_back((isKey ? "control:" : "") + row.control.name);
    }
    return names;
}

Words completeKeys(Session& session, const Words&)
{
    Words words;
    for (const camera::KeyName& row : camera::keyNames())
    {
        words.push_back(row.name);
    }
    const Words names = controlNames(session);
    words.insert(words.end(), names.begin(), names.end());
    return words;
}

}  // namespace app
