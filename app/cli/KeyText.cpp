#include "app/cli/KeyText.h"

#include <algorithm>

#include "camera/KeyNames.h"

namespace app {
namespace {

constexpr std::size_t kShortList = 4;  // what fits in a line of a table

constexpr char kControl[] = "control:";

constexpr char kNothing[] = "nothing, this camera has no such parameter";

std::string withUnit(const std::string& text, const std::string& unit)
{
    return unit.empty() ? text : text + " " + unit;
}

std::string itemText(const services::ParameterState& state, int value)
{
    const std::string label = state.labelOf(value);
    return label.empty() ? std::to_string(value) : std::to_string(value) + " " + label;
}

std::string allowedOf(const services::ParameterState& state)
{
    if (state.kind == services::Kind::action)
    {
        return "1 does it";
    }
    if (state.allowed.items.empty())
    {
        std::string text = std::to_string(state.allowed.minimum) + ".." + std::to_string(state.allowed.maximum);
        text = withUnit(text, state.unit);
        return state.allowed.step > 1 ? text + " in steps of " + std::to_string(state.allowed.step) : text;
    }
    std::string text;
    for (int value : state.allowed.items)
    {
        text += (text.empty() ? "" : ", ") + itemText(state, value);
    }
    return text;
}

// The value that text means; state: nothing when it is not known what is allowed.
std::optional<int> meantValue(const std::optional<services::ParameterState>& state, const std::string& title,
                              const std::string& text, Error& error)
{
    if (const std::optional<int> number = parseInt(text))
    {
        return number;
    }
    const std::vector<int> choices = state ? state->allowed.items : std::vector<int>();
    std::vector<int> meant;
    for (int value : choices)
    {
        if (!text.empty() && toLower(state->labelOf(value)) == toLower(text))
        {
            meant.push_back(value);
        }
    }
    if (meant.size() == 1)
    {
        return meant.front();
    }
    error = {ErrorCode::badValue,
             title + ": " + text +
                 (choices.empty() ? " is not a number"
                  : meant.empty() ? " is none of its values"
                                  : " stands for more than one value, so give its number") +
                 "; allowed: " + (state ? allowedOf(*state) : kNothing),
             {},
             {},
             state};
    return std::nullopt;
}

Words wordsOf(const std::optional<services::ParameterState>& state)
{
    Words words;
    for (int value : state ? state->allowed.items : std::vector<int>())
    {
        const std::string label = state->labelOf(value);
        Error error = {};
        words.push_back(meantValue(state, "", label, error) == value ? label : std::to_string(value));
    }
    return words;
}

}  // namespace

std::string keyTitle(int key)
{
    const camera::KeyName* row = camera::findKey(key);
    return row != nullptr ? row->name : "key " + std::to_string(key);
}

std::string allowedText(const services::ImageService& service, int key)
{
    const std::optional<services::ParameterState> state = camera::limitsOfKey(service, key);
    return state ? allowedOf(*state) : kNothing;
}

std::string allowedShort(const services::ImageService& service, int key)
{
    const std::optional<services::ParameterState> state = camera::limitsOfKey(service, key);
    if (!state || state->kind == services::Kind::action || state->allowed.items.size() <= kShortList)
    {
        return allowedText(service, key);
    }
    return itemText(*state, state->allowed.items.front()) + " .. " + itemText(*state, state->allowed.items.back()) +
           ", " + std::to_string(state->allowed.items.size()) + " values";
}

std::string valueNote(const services::ImageService& service, int key, int value)
{
    const std::optional<services::ParameterState> state = camera::limitsOfKey(service, key);
    if (!state)
    {
        return "";
    }
    return state->kind == services::Kind::choice ? state->labelOf(value) : state->unit;
}

std::string valueText(const services::ImageService& service, int key, int value)
{
    const std::optional<services::ParameterState> state = camera::limitsOfKey(service, key);
    return state ? itemText(*state, value) : std::to_string(value);
}

Words valueWords(const services::ImageService& service, int key)
{
    return wordsOf(camera::limitsOfKey(service, key));
}

std::optional<int> parseValue(const services::ImageService& service, int key, const std::string& text, Error& error)
{
    const std::optional<int> value = meantValue(camera::limitsOfKey(service, key), keyTitle(key), text, error);
    if (!value)
    {
        error.key = key;
    }
    return value;
}

// ---- controls ----------------------------------------------------------------------------------------------

const camera::ControlRow* findControl(const std::vector<camera::ControlRow>& controls, const std::string& text)
{
    const std::string lower = toLower(text);
    const std::string name = lower.rfind(kControl, 0) == 0 ? lower.substr(sizeof kControl - 1) : lower;
    const auto found = std::find_if(controls.begin(), controls.end(),
                                    [&](const camera::ControlRow& row) { return row.control.name == name; });
    return found == controls.end() ? nullptr : &*found;
}

std::optional<Target> parseTarget(const std::vector<camera::ControlRow>& controls, const std::string& text,
                                  std::string& error)
{
    const bool isControl = toLower(text).rfind(kControl, 0) == 0;
    if (const std::optional<int> key = isControl ? std::nullopt : parseKey(text, error))
    {
        return Target{*key, nullptr};
    }
    if (const camera::ControlRow* const control = findControl(controls, text))
    {
        return Target{0, control};
    }
    if (isControl)
    {
        error = "there is no " + text + "; 'device' lists the controls";
    }
    return std::nullopt;
}

std::string allowedText(const camera::ControlRow& control)
{
    return allowedOf(camera::limitsOf(control.control));
}

std::string valueText(const camera::ControlRow& control, int value)
{
    return itemText(camera::limitsOf(control.control), value);
}

Words valueWords(const camera::ControlRow& control)
{
    return wordsOf(camera::limitsOf(control.control));
}

std::optional<int> parseValue(const camera::ControlRow& control, const std::string& text, Error& error)
{
    return meantValue(camera::limitsOf(control.control), control.control.name, text, error);
}

std::string reasonText(const camera::ControlResult& result)
{
    if (result.status == services::kUnknownCommand)
    {
        return "the device has no such control";
    }
    if (result.status == services::kOutOfRange && result.allowed)
    {
        return std::to_string(result.asked) + " is not allowed; allowed: " + allowedOf(*result.allowed);
    }
    return "the service answered " + std::to_string(result.status);
}

std::string standingText(services::Standing standing)
{
    switch (standing)
    {
    case services::Standing::applied:
        return "";
    case services::Standing::waiting:
        return "waiting: on its way to the device";
    case services::Standing::held:
        return "held: an automatic of the device is on; sent when it is off";
    case services::Standing::busy:
        return "busy: not while the device is used; tried again";
    case services::Standing::stalled:
        return "stalled: the device fails or does not answer; tried again";
    case services::Standing::refused:
        return "refused: the device does not take this value";
    case services::Standing::overruled:
        return "overruled: another program has set another value";
    case services::Standing::lost:
        return "lost: the device is unplugged; sent when it is back";
    }
    return "";
}

std::optional<Assignments> parseAssignments(camera::Camera& camera, const Words& arguments, Error& error)
{
    const std::vector<camera::ControlRow> controls = camera.controls();
    Assignments all;
    for (const std::string& argument : arguments)
    {
        const std::optional<Assignment> assignment = parseAssignment(argument);
        if (!assignment)
        {
            error = {ErrorCode::wrongUsage, argument + " is not KEY=VALUE"};
            return std::nullopt;
        }
        std::string unknown;
        const std::optional<Target> target = parseTarget(controls, assignment->key, unknown);
        if (!target)
        {
            error = {ErrorCode::unknownKey, unknown};
            return std::nullopt;
        }
        const std::optional<int> value = target->control != nullptr
                                             ? parseValue(*target->control, assignment->value, error)
                                             : parseValue(camera.service(), target->key, assignment->value, error);
        if (!value)
        {
            return std::nullopt;
        }
        if (target->control != nullptr)
        {
            all.controls.push_back({target->control->control.name, *value});
        }
        else
        {
            all.values.push_back({target->key, *value});
        }
    }
    return all;
}

std::string reasonText(const services::ImageService& service, int key, int value, int status)
{
    const std::string allowed = allowedText(service, key);
    switch (status)
    {
    case services::kUnknownCommand:
        return "this camera has no such parameter";
    case services::kNotSupported:
        return "it can only be read";
    case services::kOutOfRange:
        return std::to_string(value) + " is not allowed; allowed: " + allowed;
    case services::kLensBusy:
        return "the lens is being reset; wait for it with 'lens wait'. Allowed: " + allowed;
    case services::kWrongMode:
        return "steps need manual focus (KEY_AUTO_FOCUS_MODE 1) or manual exposure (KEY_EXPOSE_MODE 3)";
    default:
        return "the service answered " + std::to_string(status) + "; allowed: " + allowed;
    }
}

}  // namespace app
