#include "app/KeyLimits.h"

#include "SensorKeys.h"
#include "app/KeyNames.h"
#include "app/cli/Parsing.h"

namespace app {
namespace {

constexpr std::size_t kShortList = 4;  // what fits in a line of a table

// Schedule keys never reach the service; this is what their window rules make of them.
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
        return "";
    }
}

std::string withUnit(const std::string& text, const std::string& unit)
{
    return unit.empty() ? text : text + " " + unit;
}

std::string itemText(const sim::ParameterState& state, int value)
{
    const sim::Parameter* row = sim::findParameter(state.cmd);
    const std::string label = row == nullptr ? "" : sim::choiceLabel(*row, value);
    return label.empty() ? std::to_string(value) : std::to_string(value) + " " + label;
}

}  // namespace

std::optional<sim::ParameterState> parameterOfKey(const sim::Service& service, int key)
{
    const KeyName* row = findKey(key);
    if (row == nullptr || row->onlyStored)
    {
        return std::nullopt;
    }
    for (const sim::ParameterState& state : service.state())
    {
        if (state.cmd == row->command)
        {
            return state;
        }
    }
    return std::nullopt;
}

std::string allowedText(const sim::Service& service, int key)
{
    const std::optional<sim::ParameterState> state = parameterOfKey(service, key);
    if (!state)
    {
        return scheduleText(key);
    }
    if (state->kind == sim::Kind::action)
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

std::string allowedShort(const sim::Service& service, int key)
{
    const std::optional<sim::ParameterState> state = parameterOfKey(service, key);
    if (!state || state->kind == sim::Kind::action || state->allowed.items.size() <= kShortList)
    {
        return allowedText(service, key);
    }
    return itemText(*state, state->allowed.items.front()) + " .. " + itemText(*state, state->allowed.items.back()) +
           ", " + std::to_string(state->allowed.items.size()) + " values";
}

Json allowedJson(const sim::Service& service, int key)
{
    Json json = Json::object();
    const std::optional<sim::ParameterState> state = parameterOfKey(service, key);
    if (!state)
    {
        json["text"] = scheduleText(key);
        return json;
    }
    json["unit"] = state->unit;
    if (state->allowed.items.empty())
    {
        json["minimum"] = state->allowed.minimum;
        json["maximum"] = state->allowed.maximum;
        json["step"] = state->allowed.step;
        return json;
    }
    json["choices"] = Json::array();
    const sim::Parameter* row = sim::findParameter(state->cmd);
    for (int value : state->allowed.items)
    {
        json["choices"].push_back({{"value", value}, {"label", row == nullptr ? "" : sim::choiceLabel(*row, value)}});
    }
    return json;
}

std::string valueNote(const sim::Service& service, int key, int value)
{
    if (key == KEY_SCHEME_ENABLE)
    {
        return value == 0 ? "Off" : "On";
    }
    const std::optional<sim::ParameterState> state = parameterOfKey(service, key);
    const sim::Parameter* row = state ? sim::findParameter(state->cmd) : nullptr;
    if (row == nullptr)
    {
        return "";
    }
    return row->kind == sim::Kind::choice ? sim::choiceLabel(*row, value) : state->unit;
}

std::vector<Refusal> refusalsSince(const sim::Service& service, u32 callNumber)
{
    std::vector<Refusal> refusals;
    for (const sim::Call& call : service.calls())
    {
        if (call.number > callNumber && call.opt == IA_CMD_OPT_SET && call.status != sim::kDone)
        {
            const u32 key = sim::keyOfCommand(call.cmd);
            refusals.push_back({static_cast<int>(key != 0 ? key : call.cmd), static_cast<int>(call.cmd),
                                static_cast<int>(call.in[0]), call.status});
        }
    }
    return refusals;
}

std::string reasonText(const sim::Service& service, int key, int value, int status)
{
    const std::string allowed = allowedText(service, key);
    switch (status)
    {
    case sim::kUnknownCommand:
        return "this camera has no such parameter";
    case sim::kNotSupported:
        return "it can only be read";
    case sim::kOutOfRange:
        return std::to_string(value) + " is not allowed; allowed: " + allowed;
    case sim::kLensBusy:
        return "the lens is being reset; wait for it with 'lens wait'. Allowed: " + allowed;
    case sim::kWrongMode:
        return "steps need manual focus (KEY_AUTO_FOCUS_MODE 1) or manual exposure (KEY_EXPOSE_MODE 3)";
    default:
        return "the service answered " + std::to_string(status) + "; allowed: " + allowed;
    }
}

}  // namespace app
