#include "SensorPaths.h"
#include "app/Failure.h"
#include "app/cli/Parsing.h"
#include "app/json/Results.h"
#include "app/web/Answers.h"
#include "camera/Diagnostics.h"
#include "camera/TextFile.h"

// Documents, diagnostics, the world, events.
namespace web {
namespace {

using app::ErrorCode;

Response xml(const std::string& text)
{
    return {200, "text/xml; charset=utf-8", text};
}

camera::LanguageTexts textsOf(const Call& call)
{
    const camera::LanguageTexts texts = call.camera.texts(wholeNumber(call.parts[0]));
    if (!texts.known)
    {
        throw Refused({ErrorCode::notFound, "there is no language " + call.parts[0] + "; /api/languages lists them"});
    }
    return texts;
}

services::World& worldOf(const Call& call)
{
    services::World* const world = call.camera.service().world();
    if (world == nullptr)
    {
        throw Refused({ErrorCode::notSettable, "this camera's surroundings are what they are"});
    }
    return *world;
}

double realNumber(const app::Json& json, const std::string& name)
{
    if (!json.is_number())
    {
        throw Refused({ErrorCode::badDocument, name + " is a number"});
    }
    return json.get<double>();
}

int timeOf(const app::Json& json)
{
    const std::optional<int> minutes = json.is_string() ? app::parseTimeOfDay(json.get<std::string>()) : std::nullopt;
    if (!minutes || *minutes >= 24 * 60)
    {
        throw Refused({ErrorCode::badValue, "time is a time of day, 00:00 to 23:59"});
    }
    return *minutes;
}

void setTime(const Call& call, int minutes)
{
    if (!call.camera.setTimeOfDay(minutes))
    {
        throw Refused({ErrorCode::notSettable,
                       "this camera follows the system's clock; start it with --at or --speed to set its time"});
    }
}

}  // namespace

Response getStyle(const Call& call)
{
    return xml(call.camera.style());
}

Response getLanguages(const Call& call)
{
    return jsonResponse(app::toJson(call.camera.languages()));
}

Response getLanguage(const Call& call)
{
    return xml(textsOf(call).texts);
}

Response getCommon(const Call& call)
{
    return xml(textsOf(call).common);
}

Response getDiagnostics(const Call&)
{
    return jsonResponse(app::traceJson(camera::debugLevel()));
}

Response putDiagnostics(const Call& call)
{
    if (!camera::setDebugLevel(bodyNumber(call, "level")))
    {
        return errorResponse({ErrorCode::notWritten, app::systemError(sensorpaths::kDebugMarkerFile)});
    }
    return getDiagnostics(call);
}

Response getLog(const Call&)
{
    return jsonResponse(app::logJson(camera::errorLog()));
}

Response getWorld(const Call& call)
{
    worldOf(call);
    app::Json json = app::timeJson(call.camera.minutesOfDay());
    json["speed"] = call.camera.setup().speed;
    json.update(app::lightJson(call.camera.service().light(), call.camera.night()));
    return jsonResponse(json);
}

// All members are looked at before the first is put into force; the time, the one that may be refused, is the first.
Response putWorld(const Call& call)
{
    services::World& world = worldOf(call);
    std::vector<std::function<void()>> changes;
    for (const auto& [name, json] : call.body.items())
    {
        if (name == "light" && json == "daylight")
        {
            changes.emplace_back([&world] { world.setDaylight(); });
        }
        else if (name == "light")
        {
            changes.emplace_back([&world, lux = realNumber(json, name)] { world.setLight(lux); });
        }
        else if (name == "time")
        {
            changes.insert(changes.begin(), [&call, minutes = timeOf(json)] { setTime(call, minutes); });
        }
        else if (name == "distance")
        {
            changes.emplace_back([&world, metres = realNumber(json, name)] { world.setDistance(metres); });
        }
        else
        {
            return errorResponse(
                {ErrorCode::badDocument, "the world has no " + name + "; it has time, light and distance"});
        }
    }
    for (const auto& change : changes)
    {
        change();
    }
    return getWorld(call);
}

Response getEvents(const Call& call)
{
    Response response;
    response.type = "text/event-stream";
    response.source = call.api.events().reader(call.request.header("last-event-id"));
    return response;
}

Response getOpenApi(const Call& call)
{
    const std::string text =
        camera::readExistingFile(call.camera.setup().share + "/schema/sensorcam.schema.json", camera::kDocumentMax);
    return jsonResponse(openApi(app::Json::parse(text)));
}

}  // namespace web
