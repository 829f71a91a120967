#include <algorithm>

#include "SensorPaths.h"
#include "app/Failure.h"
#include "app/cli/Parsing.h"
#include "app/json/Results.h"
#include "app/web/Answers.h"
#include "camera/Diagnostics.h"
#include "camera/KeyNames.h"
#include "camera/TextFile.h"
#include "services/CommandNames.h"
#include "services/PlannedFailures.h"

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
        app::Error error = {ErrorCode::notFound, "there is no language " + call.parts[0]};
        error.hint = "GET /api/languages lists the languages";
        throw Refused(error);
    }
    return texts;
}

const services::World& worldOf(const Call& call)
{
    const services::World* const world = call.camera.service().world();
    if (world == nullptr)
    {
        throw Refused({ErrorCode::notSettable, "this camera's surroundings are what they are"});
    }
    return *world;
}

// Lux from 0 on, metres above 0.
double realNumber(const app::Json& json, const std::string& name, bool takesZero)
{
    if (!json.is_number())
    {
        throw Refused({ErrorCode::badDocument, name + " is a number"});
    }
    const double number = json.get<double>();
    if (number < 0 || (number == 0 && !takesZero))
    {
        throw Refused({ErrorCode::badValue, name + (takesZero ? " is a number from 0 on" : " is a number above 0")});
    }
    return number;
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

double speedOf(const app::Json& json)
{
    const double speed = realNumber(json, "speed", false);
    if (speed < camera::Camera::kSlowest || speed > camera::Camera::kFastest)
    {
        char text[64];
        std::snprintf(text, sizeof text, "speed is a number from %g to %g", camera::Camera::kSlowest,
                      camera::Camera::kFastest);
        throw Refused({ErrorCode::badValue, text});
    }
    return speed;
}

int percentOf(const app::Json& json, const std::string& name)
{
    const std::optional<int> percent = app::intOf(json);
    if (!percent || *percent < 0 || *percent > services::Weather::kMost)
    {
        throw Refused(
            {ErrorCode::badValue, name + " is a whole number from 0 to " + std::to_string(services::Weather::kMost)});
    }
    return *percent;
}

app::Error refusalOf(camera::WorldResult result, const std::string& ofClock)
{
    if (result == camera::WorldResult::noFaults)
    {
        return {ErrorCode::notSettable, "this camera's device fails by itself or not at all"};
    }
    app::Error error = {ErrorCode::notSettable, "this camera follows the system's clock; its " + ofClock + " is that"};
    error.hint = "start the camera with --at or --speed, then set it";
    return error;
}

app::Json faultJson(const services::FailureRule& rule)
{
    app::Json json = app::keyJson(static_cast<int>(services::keyOfCommand(rule.cmd.value_or(ia_cmd_e()))));
    json["status"] = rule.status;
    json["after"] = rule.after;
    json["count"] = rule.count;
    return json;
}

// As they are listed, so that a list can be sent back.
bool hasFault(const std::string& member)
{
    return member == "key" || member == "name" || member == "status" || member == "after" || member == "count";
}

unsigned faultCount(const app::Json& fault, const char* name, unsigned otherwise)
{
    const std::optional<std::int64_t> count = app::wholeOf(fault.value(name, app::Json(otherwise)));
    if (!count || *count < 0 || *count > UINT32_MAX)
    {
        throw Refused({ErrorCode::badDocument, std::string(name) + " of a fault is a whole number from 0 on"});
    }
    return static_cast<unsigned>(*count);
}

// [{"key":"brightness","status":-4,"after":0,"count":1}, …]: of the sets of a key, the ones that the device refuses.
std::vector<services::FailureRule> rulesOf(const app::Json& json)
{
    constexpr std::size_t kMost = 100;
    if (!json.is_array() || json.size() > kMost)
    {
        throw Refused({ErrorCode::badDocument, "faults is a list of at most " + std::to_string(kMost)});
    }
    std::vector<services::FailureRule> rules;
    for (const app::Json& fault : json)
    {
        const app::Json key = fault.is_object() ? fault.value("key", app::Json()) : app::Json();
        const std::optional<int> status =
            key.is_null() ? std::nullopt : app::intOf(fault.value("status", app::Json(services::kOutOfRange)));
        if (!(key.is_string() || key.is_number_unsigned()) || !status || *status >= 0)
        {
            throw Refused({ErrorCode::badDocument, "a fault has a key, and a whole number below 0 as its status"});
        }
        for (const auto& [name, value] : fault.items())
        {
            if (!hasFault(name))
            {
                throw Refused(
                    {ErrorCode::badDocument, "a fault has no " + name + "; it has key, status, after and count"});
            }
        }
        const camera::KeyName* const row =
            camera::findKey(keyOf(key.is_string() ? key.get<std::string>() : key.dump()));
        if (row == nullptr || row->onlyStored)
        {
            throw Refused({ErrorCode::unknownKey, "the device has no key " + key.dump()});
        }
        services::FailureRule rule;
        rule.cmd = static_cast<ia_cmd_e>(row->command);
        rule.opt = IA_CMD_OPT_SET;
        rule.status = *status;
        rule.after = faultCount(fault, "after", 0);
        rule.count = faultCount(fault, "count", 1);
        rules.push_back(rule);
    }
    return rules;
}

// The last of them, as many as the query asks for.
Response endOf(const Call& call, std::vector<std::string> lines)
{
    const auto asked = call.request.query.find("lines");
    if (asked != call.request.query.end())
    {
        const int most = wholeNumber(asked->second);
        if (most < 0)
        {
            throw Refused({ErrorCode::badValue, "lines is a whole number from 0 on"});
        }
        const std::size_t left = std::min(lines.size(), static_cast<std::size_t>(most));
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(left));
    }
    return jsonResponse(app::logJson(lines));
}

// What a page shows, all at once.
app::Json state(const Call& call)
{
    std::vector<camera::Value> values;
    for (const camera::KeyName& name : camera::keyNames())
    {
        if (const std::optional<int> value = call.camera.peek(name.key))
        {
            values.push_back({name.key, *value});
        }
    }
    app::Json json = {{"status", statusJson(call.camera)}};
    json.update(app::toJson(values));
    json.update(trialsJson(call.camera));
    return json;
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

Response getLog(const Call& call)
{
    return endOf(call, camera::errorLog());
}

Response getOutput(const Call& call)
{
    return endOf(call, call.api.trace().lines());
}

Response getWorld(const Call& call)
{
    const services::World& world = worldOf(call);
    app::Json json = app::timeJson(call.camera.minutesOfDay());
    json["speed"] = call.camera.speed();
    json["distance"] = world.distance();
    json.update(app::toJson(world.weather()));
    json.update(app::lightJson(call.camera.service().light(), call.camera.night()));
    if (const services::PlannedFailures* const failures = call.camera.service().failures())
    {
        json["faults"] = app::Json::array();
        for (const services::FailureRule& rule : failures->rules())
        {
            json["faults"].push_back(faultJson(rule));
        }
    }
    return jsonResponse(json);
}

Response putWorld(const Call& call)
{
    worldOf(call);
    camera::WorldChange wanted;
    for (const auto& [name, json] : call.body.items())
    {
        if (name == "light" && json == "daylight")
        {
            wanted.daylight = true;
        }
        else if (name == "light")
        {
            wanted.lux = realNumber(json, name, true);
        }
        else if (name == "time")
        {
            wanted.minutes = timeOf(json);
        }
        else if (name == "speed")
        {
            wanted.speed = speedOf(json);
        }
        else if (name == "distance")
        {
            wanted.distance = realNumber(json, name, false);
        }
        else if (name == "haze" || name == "wind")
        {
            (name == "haze" ? wanted.haze : wanted.wind) = percentOf(json, name);
        }
        else if (name == "faults")
        {
            wanted.faults = rulesOf(json);
        }
        else
        {
            return errorResponse(
                {ErrorCode::badDocument,
                 "the world has no " + name + "; it has light, distance, haze, wind, time, speed and faults"});
        }
    }
    const camera::WorldResult result = call.camera.changeWorld(wanted);
    return result == camera::WorldResult::changed
               ? getWorld(call)
               : errorResponse(refusalOf(result, wanted.minutes ? "time of day" : "speed"));
}

// A revision names an event too, the last one before it: who has read something goes on from there.
Response getEvents(const Call& call)
{
    const std::string seen = call.request.header("last-event-id");
    Response response;
    response.type = "text/event-stream";
    response.source =
        call.api.events().reader(seen.substr(0, seen.find('.', seen.find('-'))), [&call] { return state(call); });
    return response;
}

Response getOpenApi(const Call& call)
{
    const std::string text =
        camera::readExistingFile(call.camera.setup().share + "/schema/sensorcam.schema.json", camera::kDocumentMax);
    return documentResponse(call, "application/json", app::jsonLine(openApi(app::Json::parse(text))));
}

}  // namespace web
