#include "app/Replay.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <sstream>

#include "app/Failure.h"
#include "app/Output.h"
#include "app/json/Json.h"
#include "camera/TextFile.h"
#include "services/daynight/LightTrace.h"

namespace app {
namespace {

constexpr std::size_t kTraceMax = 16 * 1024 * 1024;

struct Decided
{
    host::Span time;  // since the trace's beginning
    bool night;
    std::optional<double> lux;
};

double secondsOf(host::Span span)
{
    return std::chrono::duration<double>(span).count();
}

// "1:02:03", hours without end.
std::string clockOf(host::Span span)
{
    const auto seconds = static_cast<long>(secondsOf(span));
    char text[64];
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return text;
}

const char* nameOf(bool night)
{
    return night ? "night" : "day";
}

Json jsonOf(const std::vector<Decided>& decisions, const daynight::Played& played)
{
    Json list = Json::array();
    for (const Decided& decided : decisions)
    {
        list.push_back({{"seconds", secondsOf(decided.time)},
                        {"night", decided.night},
                        {"lux", decided.lux ? Json(*decided.lux) : Json(nullptr)}});
    }
    return {{"ok", true}, {"decisions", list}, {"switches", played.movements}, {"proofs", played.proofs}};
}

std::string textOf(const std::vector<Decided>& decisions, const daynight::Played& played)
{
    std::string text;
    for (const Decided& decided : decisions)
    {
        char light[64] = "no light measured";
        if (decided.lux)
        {
            std::snprintf(light, sizeof light, "%.1f lux", *decided.lux);
        }
        text += clockOf(decided.time) + " " + nameOf(decided.night) + ", " + light + "\n";
    }
    return text + "switches: " + std::to_string(played.movements) +
           ", lamps put out to look: " + std::to_string(played.proofs) + "\n";
}

std::vector<daynight::LightPoint> traceIn(const std::string& file)
{
    std::istringstream text(camera::readExistingFile(file, kTraceMax));
    try
    {
        return daynight::readTrace(text);
    }
    catch (const std::runtime_error& error)
    {
        throw Failure(file + ": " + error.what());
    }
}

int play(const ReplayOptions& options, bool json)
{
    const std::vector<daynight::LightPoint> trace = traceIn(options.file);
    if (trace.empty())
    {
        throw Failure(options.file + " holds no light");
    }
    daynight::Settings settings;
    settings.nightBelow = options.nightBelow;
    settings.dayAbove = options.dayAbove;
    settings.delay = std::chrono::seconds(options.delay);
    settings.lightComesAndGoes = options.isByExposure;
    daynight::Scene scene;
    scene.lampsLux = options.lampsLux;
    scene.secondsOfDay = options.startMinutes * 60.0;
    scene.delayOfLamps = std::chrono::seconds(1);
    daynight::Engine engine;
    std::vector<Decided> decisions;
    const daynight::Played played = daynight::play(trace, scene, [&](const daynight::Sample& sample) {
        const daynight::Decision decision = engine.look(sample, settings);
        if (decisions.empty() || decisions.back().night != decision.night)
        {
            decisions.push_back({sample.now - trace.front().time, decision.night, sample.lux});
        }
        return decision;
    });
    Answers answers(STDOUT_FILENO);
    answers.print(json ? jsonLine(jsonOf(decisions, played)) : textOf(decisions, played));
    return answers.status(kExitOk);
}

}  // namespace

int replayLight(const ReplayOptions& options, bool json)
{
    try
    {
        return play(options, json);
    }
    catch (const camera::Failure& failure)
    {
        reportFailure(failureText(failure), json, ErrorCode::unreadable);
    }
    catch (const Failure& failure)
    {
        reportFailure(failure.what(), json, ErrorCode::badDocument);
    }
    return kExitCommandFailed;
}

}  // namespace app
