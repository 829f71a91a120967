#include "app/cli/KeyText.h"

#include "camera/KeyNames.h"

namespace app {
namespace {

constexpr std::size_t kShortList = 4;  // what fits in a line of a table

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

}  // namespace

std::string keyTitle(int key)
{
    const camera::KeyName* row = camera::findKey(key);
    return row != nullptr ? row->name : "key " + std::to_string(key);
}

std::string allowedText(const services::ImageService& service, int key)
{
    const std::optional<services::ParameterState> state = camera::limitsOfKey(service, key);
    if (!state)
    {
        return kNothing;
    }
    if (state->kind == services::Kind::action)
    {
        return "1 does it";
    }
    if (state->allowed.items.empty())
    {
        std::string text = std::to_string(state->allowed.minimum) + ".." + std::to_string(state->allowed.maximum);
        text = withUnit(text, state->unit);
        return state->allowed.step > 1 ? text + " in steps of " + std::to_string(state->allowed.step) : text;
    }
    std::string text;
    for (int value : state->allowed.items)
    {
        text += (text.empty() ? "" : ", ") + itemText(*state, value);
    }
    return text;
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
    Words words;
    const std::optional<services::ParameterState> state = camera::limitsOfKey(service, key);
    for (int value : state ? state->allowed.items : std::vector<int>())
    {
        const std::string label = state->labelOf(value);
        Error error = {};
        words.push_back(parseValue(service, key, label, error) == value ? label : std::to_string(value));
    }
    return words;
}

std::optional<int> parseValue(const services::ImageService& service, int key, const std::string& text, Error& error)
{
    if (const std::optional<int> number = parseInt(text))
    {
        return number;
    }
    const std::optional<services::ParameterState> state = camera::limitsOfKey(service, key);
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
             keyTitle(key) + ": " + text +
                 (choices.empty() ? " is not a number"
                  : meant.empty() ? " is none of its values"
                                  : " stands for more than one value, so give its number") +
                 "; allowed: " + allowedText(service, key),
             key,
             {},
             state};
    return std::nullopt;
}

std::optional<std::vector<camera::Value>> parseAssignments(const services::ImageService& service,
                                                           const Words& arguments, Error& error)
{
    std::vector<camera::Value> values;
    for (const std::string& argument : arguments)
    {
        const std::optional<Assignment> assignment = parseAssignment(argument);
        if (!assignment)
        {
            error = {ErrorCode::wrongUsage, argument + " is not KEY=VALUE"};
            return std::nullopt;
        }
        std::string unknown;
        const std::optional<int> key = parseKey(assignment->key, unknown);
        if (!key)
        {
            error = {ErrorCode::unknownKey, unknown};
            return std::nullopt;
        }
        const std::optional<int> value = parseValue(service, *key, assignment->value, error);
        if (!value)
        {
            return std::nullopt;
        }
        values.push_back({*key, *value});
    }
    return values;
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
