#include "camera/KeyLimits.h"

#include "camera/KeyNames.h"
#include "services/CommandNames.h"

namespace camera {

std::optional<services::ParameterState> parameterOfKey(const services::ImageService& service, int key)
{
    const KeyName* row = findKey(key);
    if (row == nullptr || row->onlyStored)
    {
        return std::nullopt;
    }
    return service.parameter(static_cast<ia_cmd_e>(row->command));
}

int verdict(const services::ImageService& service, int key, int value)
{
    const KeyName* row = findKey(key);
    if (row != nullptr && row->onlyStored)
    {
        return services::kDone;
    }
    // A key without a row goes to the service with its number as the command.
    const auto state = service.parameter(static_cast<ia_cmd_e>(row != nullptr ? row->command : static_cast<u32>(key)));
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
