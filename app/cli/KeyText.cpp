#include "app/cli/KeyText.h"

#include "SensorKeys.h"
#include "camera/KeyNames.h"

namespace app {
namespace {

constexpr std::size_t kShortList = 4;  // what fits in a line of a table

// Schedule keys never reach the service; this is what their window rules make of them. Any other key the device lacks.
std::string scheduleText(int key)
{
    switch (key)
    {
    case KEY_SCHEME_ENABLE:
        return "0 Off, 1 On";
    case KEY_SCHEME_START_HOUR:
    case KEY_SCHEME_END_HOUR:
        return "0..24 h";
    case KEY_SCHEME_START_MIN:
    case KEY_SCHEME_END_MIN:
        return "0..59 min";
    default:
        return "nothing, this camera has no such parameter";
    }
}

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
    const std::optional<services::ParameterState> state = camera::parameterOfKey(service, key);
    if (!state)
    {
        return scheduleText(key);
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
    const std::optional<services::ParameterState> state = camera::parameterOfKey(service, key);
    if (!state || state->kind == services::Kind::action || state->allowed.items.size() <= kShortList)
    {
        return allowedText(service, key);
    }
    return itemText(*state, state->allowed.items.front()) + " .. " + itemText(*state, state->allowed.items.back()) +
           ", " + std::to_string(state->allowed.items.size()) + " values";
}

std::string valueNote(const services::ImageService& service, int key, int value)
{
    if (key == KEY_SCHEME_ENABLE)
    {
        return value == 0 ? "Off" : "On";
    }
    const std::optional<services::ParameterState> state = camera::parameterOfKey(service, key);
    if (!state)
    {
        return "";
    }
    return state->kind == services::Kind::choice ? state->labelOf(value) : state->unit;
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
