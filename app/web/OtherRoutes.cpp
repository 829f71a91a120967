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

constexpr char kXml[] = "text/xml; charset=utf-8";

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

}  // namespace

Response getStyle(const Call& call)
{
    return documentResponse(call, kXml, call.camera.style());
}

Response getLanguages(const Call& call)
{
    return jsonResponse(app::toJson(call.camera.languages()));
}

Response getLanguage(const Call& call)
{
    return documentResponse(call, kXml, textsOf(call).texts);
}

Response getCommon(const Call& call)
{
    return documentResponse(call, kXml, textsOf(call).common);
}

Response getDiagnostics(const Call&)
{
    app::Json json = app::traceJson(camera::debugLevel());
    json["assertions"] = camera::assertionsEnd();
    return jsonResponse(json);
}

Response putDiagnostics(const Call& call)
{
    const bool removes = call.body == app::Json{{"marker", false}};
    const bool setsLevel = call.body.contains("level");
    const bool setsAssertions = call.body.contains("assertions");
    if (call.body.size() !=
            static_cast<std::size_t>(setsLevel) + static_cast<std::size_t>(setsAssertions) + (removes ? 1U : 0U) ||
        call.body.empty())
    {
        return errorResponse({ErrorCode::badDocument, "the body has level and assertions, or only marker, false"});
    }
    const std::optional<int> level = setsLevel ? std::optional<int>(bodyNumber(call, "level")) : std::nullopt;
    const std::optional<bool> ends = setsAssertions ? std::optional<bool>(bodyFlag(call, "assertions")) : std::nullopt;
    if (!(removes ? camera::clearDebugLevel() : camera::setDiagnostics(level, ends)))
    {
        return errorResponse({ErrorCode::notWritten, app::systemError(sensorpaths::kDebugMarkerFile)});
    }
    call.api.changed();
    return getDiagnostics(call);
}

Response getTrace(const Call& call)
{
    const auto filter = call.request.query.find("filter");
    Response response;
    response.type = "text/event-stream";
    response.source = call.api.trace().reader(filter == call.request.query.end() ? "" : filter->second);
    return response;
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

// All members are looked at before the first is put into force.
Response putWorld(const Call& call)
{
    services::World& world = worldOf(call);
    std::vector<std::function<void()>> changes;
    std::optional<int> minutes;
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
        else if (name == "distance")
        {
            changes.emplace_back([&world, metres = realNumber(json, name)] { world.setDistance(metres); });
        }
        else if (name == "time")
        {
            minutes = app::parseTimeOfDay(bodyText(call, "time"));
            if (!minutes || *minutes >= camera::kMinutesPerDay)
            {
                return errorResponse({ErrorCode::badValue, "time is a time of day, 00:00 to 23:59"});
            }
        }
        else
        {
            return errorResponse(
                {ErrorCode::badDocument, "the world has no " + name + "; it has light, distance and time"});
        }
    }
    if (minutes && !call.camera.setTimeOfDay(*minutes))
    {
        return errorResponse({ErrorCode::notSettable, "this camera follows the system's clock; nothing was changed"});
    }
    for (const auto& change : changes)
    {
        change();
    }
    call.api.changed();
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
    return documentResponse(call, "application/json", app::jsonLine(openApi(app::Json::parse(text))));
}

}  // namespace web
