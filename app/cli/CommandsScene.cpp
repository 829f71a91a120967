#include <cmath>

#include "HostClock.h"
#include "app/cli/Commands.h"
#include "app/cli/ScheduleChart.h"
#include "app/cli/Session.h"

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

// What watch compares from one look to the next.
struct Scene
{
    int minutes;
    int scheme;
    int mode;
    bool night;
    std::optional<double> lux;
};

Scene look(camera::Camera& camera)
{
    return {camera.minutesOfDay(), camera.currentScheme(), camera.mode(), camera.night(), camera.service().light()};
}

Json sceneJson(const Scene& scene)
{
    return {{"time", formatTimeOfDay(scene.minutes)},
            {"scheme", scene.scheme},
            {"mode", scene.mode != 0 ? "auto" : "manual"},
            {"night", scene.night},
            {"lux", jsonOf(scene.lux)}};
}

bool lightChanged(std::optional<double> before, std::optional<double> now)
{
    const auto [low, high] = std::minmax({before.value_or(0), now.value_or(0)});
    return high >= std::max(kDarkest, low) * kLightStep;
}

// "scheme 0 -> 1", "night", "light", "time", one per change.
Words changes(const Scene& told, const Scene& now, int schemeCount)
{
    Words events;
    if (now.night != told.night)
    {
        events.push_back(now.night ? "night" : "day");
    }
    if (now.scheme != told.scheme)
    {
        events.push_back("now " + schemeName(now.scheme, schemeCount));
    }
    if (now.mode != told.mode)
    {
        events.push_back(now.mode != 0 ? "mode auto" : "mode manual");
    }
    if (events.empty() && lightChanged(told.lux, now.lux))
    {
        events.push_back("light");
    }
    if (now.minutes / 60 != told.minutes / 60)
    {
        events.push_back("hour");
    }
    return events;
}

void tell(Session& session, const Scene& scene, const std::string& event)
{
    char line[160];
    std::snprintf(line, sizeof line, "%s  %-24s  scheme %d  %-5s  %12s\n", formatTimeOfDay(scene.minutes).c_str(),
                  event.c_str(), scene.scheme, scene.night ? "night" : "day", luxText(scene.lux).c_str());
    Answer part;
    part.text = line;
    part.data = {{"event", event}};
    part.data.update(sceneJson(scene));
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
    std::snprintf(speed, sizeof speed, "%g", camera.setup().speed);
    TextTable table;
    table.addRow({"model", camera.setup().model + ", sensor module " + std::to_string(camera.sensorModule())});
    table.addRow({"version", version.empty() ? "unknown" : version});
    table.addRow({"time", formatTimeOfDay(scene.minutes) + ", speed " + speed});
    table.addRow(
        {"scheme", schemeName(scene.scheme, camera.schemeCount()) + ", mode " + (scene.mode != 0 ? "auto" : "manual")});
    const std::optional<int> lamps = camera.service().lamps();
    table.addRow({"scene", luxText(scene.lux) + (scene.night ? ", night" : ", day") +
                               (lamps ? ", lamps " + std::to_string(*lamps) + " %" : "")});
    Answer answer;
    answer.text = table.text();
    answer.data = {{"model", camera.setup().model}, {"module", camera.sensorModule()}, {"version", version}};
    answer.data.update(sceneJson(scene));
    answer.data["defaultScheme"] = camera.schemeCount();
    answer.data["speed"] = camera.setup().speed;
    answer.data["lamps"] = jsonOf(lamps);
    return answer;
}

Answer runLight(Session& session, const Words& arguments)
{
    camera::Camera& camera = session.camera();
    if (arguments.size() > 1)
    {
        return wrongUsage("light");
    }
    services::World* const world = camera.service().world();
    if (!arguments.empty() && world == nullptr)
    {
        return Answer::failure("the light on this camera is what it is; it cannot be set");
    }
    std::string how;
    if (!arguments.empty() && toLower(arguments[0]) == "sun")
    {
        world->setDaylight();
        how = ", following the sun";
    }
    else if (!arguments.empty())
    {
        const std::optional<double> lux = parseNumber(arguments[0]);
        if (!lux)
        {
            return Answer::failure(arguments[0] + " is no light level in lux, from 0 on, and not 'sun'");
        }
        world->setLight(*lux);
    }
    const std::optional<double> lux = camera.service().light();
    Answer answer;
    answer.text = luxText(lux) + (camera.night() ? ", night" : ", day") + how + "\n";
    answer.data = {{"lux", jsonOf(lux)}, {"night", camera.night()}};
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
        const std::optional<int> minutes = parseTimeOfDay(arguments[0]);
        if (!minutes || *minutes >= camera::kMinutesPerDay)
        {
            return Answer::failure(arguments[0] + " is no time of day from 00:00 to 23:59");
        }
        if (!session.camera().setTimeOfDay(*minutes))
        {
            return Answer::failure(
                "this camera follows the system's clock; start it with --at or --speed to set its time");
        }
    }
    Answer answer;
    answer.data["time"] = formatTimeOfDay(session.camera().minutesOfDay());
    answer.text = formatTimeOfDay(session.camera().minutesOfDay()) + "\n";
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
    tell(session, told, "watching");
    bool goesOn = true;
    while (goesOn)
    {
        goesOn = session.pause(lookSpan(camera.setup().speed));
        const double passed = static_cast<double>((host::clock()->monotonic() - start).count()) / 1e6;
        goesOn = goesOn && (!limit || passed < *limit);
        const Scene now = look(camera);
        const Words events = changes(told, now, camera.schemeCount());
        for (const std::string& event : events)
        {
            tell(session, now, event);
        }
        told = events.empty() ? Scene{now.minutes, now.scheme, now.mode, now.night, told.lux} : now;
    }
    // Ctrl-C ends the watch; with exec it ends what follows too.
    Answer answer;
    if (session.interactive() && session.signals().takeInterrupt())
    {
        answer.text = "\n";
    }
    answer.data = sceneJson(look(camera));
    answer.data["event"] = "end";
    return answer;
}

}  // namespace app
