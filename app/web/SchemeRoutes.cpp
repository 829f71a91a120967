#include <algorithm>

#include "app/cli/Parsing.h"
#include "app/cli/ScheduleChart.h"
#include "app/json/Results.h"
#include "app/json/Transfer.h"
#include "app/web/Answers.h"
#include "camera/KeyNames.h"

namespace web {
namespace {

using app::ErrorCode;

app::Scene sceneOf(camera::Camera& camera)
{
    return {camera.minutesOfDay(), camera.currentScheme(), camera.mode() != 0, camera.night(),
            camera.service().light()};
}

app::Error refusedWindow(int scheme, int check, const SchemeWindow& window)
{
    const std::string times = app::windowText(window);
    std::string why = "code " + std::to_string(check);
    switch (check)
    {
    case WINDOW_STARTS_TOO_LATE:
        why = times + " starts after 24:00";
        break;
    case WINDOW_ENDS_TOO_LATE:
        why = times + " ends after 24:00";
        break;
    case WINDOW_NOT_FORWARD:
        why = times + " does not start before it ends";
        break;
    default:
        break;
    }
    app::Error error = {ErrorCode::windowRefused, "the window of scheme " + std::to_string(scheme) + ": " + why};
    error.check = check;
    return error;
}

// Of a change that did not reach the scheme's file as it was asked for.
app::Error notStored(int scheme, camera::Stored stored)
{
    const std::string name = "scheme " + std::to_string(scheme);
    switch (stored)
    {
    case camera::Stored::noScheme:
        return {ErrorCode::unknownScheme, "there is no " + name + " with a file"};
    case camera::Stored::valueRefused:
        return {ErrorCode::refusedValue, "one of the values is not allowed; nothing was stored"};
    case camera::Stored::noRecord:
    {
        app::Error error = {ErrorCode::notFound, "the file of " + name + " is missing, or has no such value"};
        error.hint = "POST /api/reset makes missing scheme files anew";
        return error;
    }
    case camera::Stored::sensorRefused:
        return {ErrorCode::deviceRefused, name + " is stored, but the sensor refused one of its values"};
    case camera::Stored::notWritten:
    case camera::Stored::windowRefused:
    case camera::Stored::done:
        break;
    }
    return {ErrorCode::notWritten, name + " could not be written; its file is as it was"};
}

int timeOf(const Call& call, const char* name)
{
    const std::string text = bodyText(call, name);
    const std::optional<int> minutes = app::parseTimeOfDay(text);
    if (!minutes)
    {
        throw Refused({ErrorCode::badValue, std::string(name) + " is a time of day, 00:00 to 24:00, not " + text});
    }
    return *minutes;
}

void setTime(u32& hour, u32& minute, int minutes)
{
    hour = static_cast<u32>(minutes) / 60;
    minute = static_cast<u32>(minutes) % 60;
}

}  // namespace

app::Json statusJson(camera::Camera& camera)
{
    app::Json json =
        app::toJson(app::Status{camera.setup().model, camera.sensorModule(), camera.version(), sceneOf(camera),
                                camera.schemeCount(), camera.speed(), camera.service().lamps()});
    if (const std::optional<camera::DeviceState> device = camera.device())
    {
        json["device"] = app::toJson(*device);
    }
    return json;
}

Response getStatus(const Call& call)
{
    return jsonResponse(statusJson(call.camera));
}

Response getScheme(const Call& call)
{
    return jsonResponse(app::schemeJson(call.camera.currentScheme()));
}

Response putScheme(const Call& call)
{
    const int scheme = schemeOf(call, std::to_string(bodyNumber(call, "scheme")), true);
    return jsonResponse(app::toJson(call.camera.setScheme(scheme)));
}

Response getMode(const Call& call)
{
    return jsonResponse(app::modeJson(call.camera.mode() != 0));
}

Response putMode(const Call& call)
{
    const std::string mode = bodyText(call, "mode");
    if (mode != "auto" && mode != "manual")
    {
        return errorResponse({ErrorCode::badValue, "mode is \"auto\" or \"manual\""});
    }
    call.camera.setMode(mode == "auto");
    return getMode(call);
}

Response getSchemes(const Call& call)
{
    return jsonResponse(app::toJson(call.camera.schedule()));
}

Response getOneScheme(const Call& call)
{
    const int scheme = schemeOf(call, call.parts[0], true);
    std::vector<camera::Value> values;
    for (const camera::KeyName& name : camera::keyNames())
    {
        if (const std::optional<int> value = call.camera.schemeValue(scheme, name.key))
        {
            values.push_back({name.key, *value});
        }
    }
    app::Json json = app::schemeJson(scheme);
    json.update(app::toJson(values));
    return jsonResponse(json);
}

Response putOneScheme(const Call& call)
{
    const int scheme = schemeOf(call, call.parts[0], false);
    const camera::ValuesResult result = call.camera.setValues(scheme, bodyValues(call));
    if (result.stored == camera::Stored::done)
    {
        app::Json json = app::schemeJson(scheme);
        json.update(app::toJson(result));
        return jsonResponse(json);
    }
    if (result.stored == camera::Stored::windowRefused)
    {
        return errorResponse(refusedWindow(scheme, result.check, result.window));
    }
    const auto refused = std::find_if(result.keys.begin(), result.keys.end(), [](const camera::KeyResult& key) {
        return key.outcome == camera::Outcome::refused || key.outcome == camera::Outcome::heldBack;
    });
    if (refused == result.keys.end())
    {
        return errorResponse(notStored(scheme, result.stored));
    }
    app::Error error = refusedValue(call, *refused);
    error.message += result.stored == camera::Stored::sensorRefused
                         ? "; scheme " + std::to_string(scheme) + " is stored all the same"
                         : "; nothing was stored";
    return errorResponse(error, app::toJson(result));
}

Response getWindow(const Call& call)
{
    const int scheme = schemeOf(call, call.parts[0], false);
    return jsonResponse(app::windowJson(scheme, call.camera.schedule().windows[static_cast<std::size_t>(scheme)]));
}

Response putWindow(const Call& call)
{
    const int scheme = schemeOf(call, call.parts[0], false);
    if (call.body.empty())
    {
        return errorResponse({ErrorCode::badDocument, "the body has one or more of enabled, from and to"});
    }
    SchemeWindow window = call.camera.schedule().windows[static_cast<std::size_t>(scheme)];
    for (const auto& [name, json] : call.body.items())
    {
        if (name == "enabled")
        {
            window.enabled = bodyFlag(call, "enabled");
        }
        else if (name == "from")
        {
            setTime(window.startHour, window.startMinute, timeOf(call, "from"));
        }
        else if (name == "to")
        {
            setTime(window.endHour, window.endMinute, timeOf(call, "to"));
        }
        else if (name == "scheme")  // as it was read
        {
            if (bodyNumber(call, "scheme") != scheme)
            {
                return errorResponse({ErrorCode::badValue, "the path names scheme " + std::to_string(scheme)});
            }
        }
        else if (name == "neverHolds")
        {
            bodyFlag(call, "neverHolds");
        }
        else
        {
            return errorResponse({ErrorCode::badDocument, "a window has no " + name + "; it has enabled, from and to"});
        }
    }
    const camera::WindowResult result = call.camera.setWindow(scheme, window);
    if (result.stored == camera::Stored::done)
    {
        return jsonResponse(app::windowJson(scheme, result.window));
    }
    return errorResponse(result.stored == camera::Stored::windowRefused ? refusedWindow(scheme, result.check, window)
                                                                        : notStored(scheme, result.stored));
}

Response save(const Call& call)
{
    using Kind = camera::SaveResult::Kind;
    const camera::SaveResult result = call.camera.save();
    switch (result.kind)
    {
    case Kind::noFile:
        return errorResponse({ErrorCode::noFile, "the scheme in force has no file: nothing was saved"});
    case Kind::windowRefused:
        return errorResponse(refusedWindow(result.scheme, result.code, result.window));
    case Kind::notWritten:
        return errorResponse(notStored(result.scheme, camera::Stored::notWritten));
    case Kind::saved:
        break;
    }
    return jsonResponse(app::toJson(result));
}

Response reload(const Call& call)
{
    using Kind = camera::ReloadResult::Kind;
    const camera::ReloadResult result = call.camera.reload();
    if (result.kind == Kind::refused)
    {
        return errorResponse(
            {ErrorCode::deviceRefused,
             "the scheme was read again, but the sensor refused a value; those behind it were not applied"});
    }
    return jsonResponse(app::toJson(result));
}

Response reset(const Call& call)
{
    call.camera.factoryReset();
    return getStatus(call);
}

Response getExport(const Call& call)
{
    return jsonResponse(app::toJson(call.camera.exported()));
}

Response import(const Call& call)
{
    std::string error;
    const std::optional<camera::Import> wanted = app::importOf(call.body, error);
    if (!wanted)
    {
        return errorResponse({ErrorCode::badDocument, error});
    }
    const bool dryRun = queryFlag(call, "dry-run", false);
    const camera::ImportResult result = dryRun ? call.camera.wouldImport(*wanted) : call.camera.import(*wanted);
    if (!result.failed)
    {
        return jsonResponse(app::toJson(result));
    }
    const camera::ImportResult::Scheme& failed = result.schemes[*result.failed];
    return errorResponse(notStored(failed.scheme, failed.stored), app::toJson(result));
}

Response getPairs(const Call& call)
{
    const std::string pairs = call.camera.pairText();
    call.api.changed();  // it corrects the scheme's records
    return jsonResponse(app::pairsJson(call.camera.currentScheme(), pairs));
}

Response getUnsaved(const Call& call)
{
    app::Json list = app::Json::array();
    for (const camera::UnsavedValue& value : call.camera.unsaved())
    {
        app::Json json = {{"scheme", value.scheme}};
        json.update(app::valueJson(value.key, value.value));
        json["saved"] = value.saved;
        list.push_back(json);
    }
    app::Json json = {{"values", list}};
    for (const camera::UnsavedControl& control : call.camera.unsavedControls())
    {
        json["controls"].push_back({{"scheme", control.scheme},
                                    {"control", control.name},
                                    {"value", control.value},
                                    {"saved", control.saved}});
    }
    return jsonResponse(json);
}

Response explain(const Call& call)
{
    return jsonResponse(app::toJson(call.camera.explain()));
}

}  // namespace web
