#include "app/cli/KeyText.h"
#include "app/json/Results.h"
#include "app/web/Answers.h"

// What a real device adds.
namespace web {
namespace {

using app::ErrorCode;

camera::DeviceState deviceOf(const Call& call)
{
    const std::optional<camera::DeviceState> device = call.camera.device();
    if (!device)
    {
        throw Refused({ErrorCode::notOnDevice, "there is no real device behind this camera"});
    }
    return *device;
}

// {"hue": 10, "power_line_frequency": "50 Hz"}: a number, or the label of a choice.
std::vector<camera::ControlValue> bodyControls(const Call& call)
{
    const std::vector<camera::ControlRow> rows = call.camera.controls();
    std::vector<camera::ControlValue> values;
    for (const auto& [name, json] : call.body.items())
    {
        const camera::ControlRow* const row = app::findControl(rows, name);
        if (row == nullptr)
        {
            app::Error error = {ErrorCode::unknownKey, "there is no control " + name};
            error.hint = "GET /api/controls lists the controls";
            throw Refused(error);
        }
        app::Error error = {};
        const std::string text = json.is_string() ? json.get<std::string>() : json.dump();
        const std::optional<int> number = app::intOf(json);
        const std::optional<int> value = number ? number : app::parseValue(*row, text, error);
        if (!value || !(number || json.is_string()))
        {
            throw Refused(error);
        }
        values.push_back({row->control.name, *value});
    }
    if (values.empty())
    {
        throw Refused({ErrorCode::badDocument, "the body names no control"});
    }
    return values;
}

app::Error refusedControl(const camera::ControlResult& control)
{
    return {app::codeOf(control.status),
            control.name + " refused: " + app::reasonText(control),
            {},
            control.asked,
            control.allowed};
}

}  // namespace

Response getDevice(const Call& call)
{
    return jsonResponse(app::toJson(deviceOf(call)));
}

Response getControls(const Call& call)
{
    deviceOf(call);
    return jsonResponse(app::toJson(call.camera.controls()));
}

Response patchControls(const Call& call)
{
    deviceOf(call);
    const std::vector<camera::ControlValue> values = bodyControls(call);
    const camera::ControlsResult result =
        queryFlag(call, "dry-run", false) ? call.camera.wouldApplyControls(values) : call.camera.applyControls(values);
    return result.refused ? errorResponse(refusedControl(result.controls[*result.refused]), app::toJson(result))
                          : jsonResponse(app::toJson(result));
}

Response getSchemeControls(const Call& call)
{
    deviceOf(call);
    return jsonResponse(app::toJson(call.camera.controls(schemeOf(call, call.parts[0], true))));
}

Response putSchemeControls(const Call& call)
{
    deviceOf(call);
    const int scheme = schemeOf(call, call.parts[0], false);
    const camera::ControlsResult result = call.camera.setControls(scheme, bodyControls(call));
    const std::string name = "scheme " + std::to_string(scheme);
    if (result.refused)
    {
        app::Error error = refusedControl(result.controls[*result.refused]);
        error.message += result.stored == camera::Stored::sensorRefused ? "; " + name + " is stored all the same"
                                                                        : "; nothing was stored";
        return errorResponse(error, app::toJson(result));
    }
    switch (result.stored)
    {
    case camera::Stored::noRecord:
        return errorResponse({ErrorCode::badValue, "no scheme keeps what only acts; nothing was stored"});
    case camera::Stored::notWritten:
        return errorResponse({ErrorCode::notWritten, "the controls of " + name + " could not be written"});
    default:
        return jsonResponse(app::toJson(result));
    }
}

}  // namespace web
