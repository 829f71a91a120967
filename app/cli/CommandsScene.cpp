#include <algorithm>

#include "HostClock.h"
#include "app/cli/Commands.h"
#include "app/cli/ScheduleChart.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"

namespace app {
namespace {

constexpr double kLightStep = 5.0;  // a change of the light by this factor is told
constexpr double kDarkest = 0.01;   // lux; below it no change is told

// Real time between two looks: fifteen seconds of the camera's, so that a minute is never missed.
constexpr double kLookCameraSeconds = 15.0;
constexpr double kLongestLook = 0.2;
constexpr double kShortestLook = 0.001;

std::string luxText(std::optional<double> lux)
{
    if (!lux)
    {
        return "light not measured";
    }
    char text[64];
    std::snprintf(text, sizeof text, *lux < 10 ? "%.2f lux" : "%.0f lux", *lux);
    return text;
}

Scene look(camera::Camera& camera)
{
    return {camera.minutesOfDay(), camera.currentScheme(), camera.mode() != 0, camera.night(),
            camera.service().light()};
}

bool lightChanged(std::optional<double> before, std::optional<double> now)
{
    const auto [low, high] = std::minmax({before.value_or(0), now.value_or(0)});
    return high >= std::max(kDarkest, low) * kLightStep;
}

// One change of the scene.
struct Change
{
    const char* event;  // for programs
    std::string text;
};

std::vector<Change> changes(const Scene& told, const Scene& now, int schemeCount)
{
    std::vector<Change> found;
    if (now.night != told.night)
    {
        found.push_back(now.night ? Change{"night", "night"} : Change{"day", "day"});
    }
    if (now.scheme != told.scheme)
    {
        found.push_back({"scheme", "now " + schemeName(now.scheme, schemeCount)});
    }
    if (now.automatic != told.automatic)
    {
        found.push_back({"mode", now.automatic ? "mode auto" : "mode manual"});
    }
    if (found.empty() && lightChanged(told.lux, now.lux))
    {
        found.push_back({"light", "light"});
    }
    if (now.minutes / 60 != told.minutes / 60)
    {
        found.push_back({"hour", "hour"});
    }
    return found;
}

void tell(Session& session, const Scene& scene, const Change& change)
{
    char line[160];
    std::snprintf(line, sizeof line, "%s  %-24s  scheme %d  %-5s  %12s\n", formatTimeOfDay(scene.minutes).c_str(),
                  change.text.c_str(), scene.scheme, scene.night ? "night" : "day", luxText(scene.lux).c_str());
    Answer part;
    part.text = line;
    part.data = watchJson(change.event, scene);
    session.printPart("watch", part);
}

std::chrono::microseconds lookSpan(double speed)
{
    const double seconds = std::max(kShortestLook, std::min(kLongestLook, kLookCameraSeconds / speed));
    return std::chrono::microseconds(static_cast<long>(seconds * 1e6));
}

}  // namespace

Answer runStatus(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("status");
    }
    camera::Camera& camera = session.camera();
    const Scene scene = look(camera);
    const std::string version = camera.version();
    char speed[32];
    std::snprintf(speed, sizeof speed, "%g", camera.speed());
    TextTable table;
    table.addRow({"model", camera.setup().model + ", sensor module " + std::to_string(camera.sensorModule())});
    table.addRow({"version", version.empty() ? "unknown" : version});
    table.addRow({"time", formatTimeOfDay(scene.minutes) + ", speed " + speed});
    table.addRow(
        {"scheme", schemeName(scene.scheme, camera.schemeCount()) + ", mode " + (scene.automatic ? "auto" : "manual")});
    const std::optional<int> lamps = camera.service().lamps();
    table.addRow({"scene", luxText(scene.lux) + (scene.night ? ", night" : ", day") +
                               (lamps ? ", lamps " + std::to_string(*lamps) + " %" : "")});
    Answer answer;
    answer.text = table.text();
    answer.data = toJson(Status{camera.setup().model, camera.sensorModule(), version, scene, camera.schemeCount(),
                                camera.speed(), lamps});
    return answer;
}

Answer runLight(Session& session, const Words& arguments)
{
    camera::Camera& camera = session.camera();
    if (arguments.size() > 1)
    {
        return wrongUsage("light");
    }
    camera::WorldChange wanted;
    wanted.daylight = !arguments.empty() && toLower(arguments[0]) == "sun";
    if (!arguments.empty() && !wanted.daylight)
    {
        wanted.lux = parseNumber(arguments[0]);
        if (!wanted.lux)
        {
            return Answer::failure(
                {ErrorCode::badValue, arguments[0] + " is no light level in lux, from 0 on, and not 'sun'"});
        }
    }
    if (!arguments.empty() && camera.changeWorld(wanted) != camera::WorldResult::changed)
    {
        return Answer::failure({ErrorCode::notSettable, "the light on this camera is what it is; it cannot be set"});
    }
    const std::string how = wanted.daylight ? ", following the sun" : "";
    const std::optional<double> lux = camera.service().light();
    Answer answer;
    answer.text = luxText(lux) + (camera.night() ? ", night" : ", day") + how + "\n";
    answer.data = lightJson(lux, camera.night());
    return answer;
}

Answer runWeather(Session& session, const Words& arguments)
{
    camera::Camera& camera = session.camera();
    const services::World* const world = camera.service().world();
    if (world == nullptr)
    {
        return Answer::failure(
            {ErrorCode::notSettable, "the weather at this camera is what it is; it can neither be told nor set"});
    }
    camera::WorldChange wanted;
    for (const std::string& argument : arguments)
    {
        const std::optional<Assignment> assignment = parseAssignment(argument);
        const std::string name = assignment ? toLower(assignment->key) : "";
        if (name != "haze" && name != "wind")
        {
            return wrongUsage("weather");
        }
        const std::optional<int> value = parseInt(assignment->value);
        if (!value || *value < 0 || *value > services::Weather::kMost)
        {
            return Answer::failure({ErrorCode::badValue, assignment->value + " is no " + name + " in per cent, 0 to " +
                                                             std::to_string(services::Weather::kMost)});
        }
        (name == "haze" ? wanted.haze : wanted.wind) = value;
    }
    if (!arguments.empty())
    {
        camera.changeWorld(wanted);
    }
    const services::Weather weather = world->weather();
    Answer answer;
    answer.text = "haze " + std::to_string(weather.haze) + " %, wind " + std::to_string(weather.wind) + " %\n";
    answer.data = toJson(weather);
    return answer;
}

Answer runTime(Session& session, const Words& arguments)
{
    if (arguments.size() > 1)
    {
        return wrongUsage("time");
    }
    if (!arguments.empty())
    {
        camera::WorldChange wanted;
        wanted.minutes = parseTimeOfDay(arguments[0]);
        if (!wanted.minutes || *wanted.minutes >= camera::kMinutesPerDay)
        {
            return Answer::failure({ErrorCode::badValue, arguments[0] + " is not a time of day from 00:00 to 23:59"});
        }
        if (session.camera().changeWorld(wanted) != camera::WorldResult::changed)
        {
            return Answer::failure(
                {ErrorCode::notSettable,
                 "this camera follows the system's clock; start it with --at or --speed to set its time"});
        }
    }
    Answer answer;
    const int minutes = session.camera().minutesOfDay();
    answer.data = timeJson(minutes);
    answer.text = formatTimeOfDay(minutes) + "\n";
    return answer;
}

Answer runWatch(Session& session, const Words& arguments)
{
    const std::optional<double> limit = arguments.empty() ? std::nullopt : parseNumber(arguments[0]);
    if (arguments.size() > 1 || (!arguments.empty() && !limit))
    {
        return wrongUsage("watch");
    }
    camera::Camera& camera = session.camera();
    const host::Span start = host::clock()->monotonic();
    Scene told = look(camera);
    tell(session, told, {"watching", "watching"});
    bool goesOn = true;
    while (goesOn)
    {
        goesOn = session.console().pause(lookSpan(camera.speed()));
        const double passed = static_cast<double>((host::clock()->monotonic() - start).count()) / 1e6;
        goesOn = goesOn && (!limit || passed < *limit);
        const Scene now = look(camera);
        const std::vector<Change> found = changes(told, now, camera.schemeCount());
        for (const Change& change : found)
        {
            tell(session, now, change);
        }
        told = found.empty() ? Scene{now.minutes, now.scheme, now.automatic, now.night, told.lux} : now;
    }
    // Ctrl-C ends the watch; with exec it ends what follows too.
    Answer answer;
    if (session.console().takeInterrupt())
    {
        answer.text = "\n";
    }
    answer.data = watchJson("end", look(camera));
    return answer;
}

}  // namespace app
