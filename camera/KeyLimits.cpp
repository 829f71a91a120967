#include "camera/KeyLimits.h"

#include "SensorKeys.h"
#include "camera/KeyNames.h"
#include "services/CommandNames.h"

namespace camera {
namespace {

// The documents give these keys the same limits, for pages.
services::ParameterState scheduleLimits(int key)
{
    using services::Kind;
    switch (key)
    {
    case KEY_SCHEME_ENABLE:
        return {{}, "Window", "", Kind::choice, {0, 1, 1, 0, {0, 1}}, {{0, "Off"}, {1, "On"}}, 0};
    case KEY_SCHEME_START_HOUR:
        return {{}, "Window start, hour", "h", Kind::range, {0, 24, 1, 0, {}}, {}, 0};
    case KEY_SCHEME_END_HOUR:
        return {{}, "Window end, hour", "h", Kind::range, {0, 24, 1, 24, {}}, {}, 0};
    case KEY_SCHEME_START_MIN:
        return {{}, "Window start, minute", "min", Kind::range, {0, 59, 1, 0, {}}, {}, 0};
    default:
        return {{}, "Window end, minute", "min", Kind::range, {0, 59, 1, 0, {}}, {}, 0};
    }
}

}  // namespace

std::optional<services::ParameterState> parameterOfKey(const services::ImageService& service, int key)
{
    const KeyName* row = findKey(key);
    if (row == nullptr || row->onlyStored)
    {
        return std::nullopt;
    }
    return service.parameter(static_cast<ia_cmd_e>(row->command));
}

std::optional<services::ParameterState> limitsOfKey(const services::ImageService& service, int key)
{
    const KeyName* row = findKey(key);
    return row != nullptr && row->onlyStored ? scheduleLimits(key) : parameterOfKey(service, key);
}

int verdict(const services::ImageService& service, int key, int value)
{
    // A key without a row goes to the service with its number as the command.
    const auto state =
        findKey(key) != nullptr ? limitsOfKey(service, key) : service.parameter(static_cast<ia_cmd_e>(key));
    if (!state)
    {
        return services::kUnknownCommand;
    }
    if (state->kind == services::Kind::reading)
    {
        return services::kNotSupported;
    }
    return state->allowed.contains(value) ? services::kDone : services::kOutOfRange;
}

std::vector<Refusal> refusalsOf(const services::OwnRefusals& own)
{
    std::vector<Refusal> refusals;
    for (const services::Call& call : own.list())
    {
        const u32 key = services::keyOfCommand(call.cmd);
        refusals.push_back({static_cast<int>(key != 0 ? key : call.cmd), static_cast<int>(call.cmd),
                            static_cast<int>(call.in[0]), call.status});
    }
    return refusals;
}

}  // namespace camera
