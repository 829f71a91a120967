#include "SensorPaths.h"
#include "app/cli/Commands.h"
#include "app/cli/ScheduleChart.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"

namespace app {
namespace {

constexpr int kMinutesPerHour = 60;

std::optional<int> schemeNumber(const std::string& text, int highest)
{
    const std::optional<int> number = parseInt(text);
    return number && *number >= 0 && *number <= highest ? number : std::nullopt;
}

SchemeWindow windowOf(bool enabled, const TimeSpanOfDay& span)
{
    const auto word = [](int value) { return static_cast<u32>(value); };
    return {enabled, word(span.startMinutes / kMinutesPerHour), word(span.startMinutes % kMinutesPerHour),
            word(span.endMinutes / kMinutesPerHour), word(span.endMinutes % kMinutesPerHour)};
}

Answer changeWindow(Session& session, int scheme, const SchemeWindow& window)
{
    const camera::WindowResult result = session.camera().setWindow(scheme, window);
    const std::string file = sensorpaths::schemeFile(scheme);
    if (result.stored == camera::Stored::noRecord)
    {
        return Answer::failure({ErrorCode::notFound, file + " is missing or has no window; nothing was changed. "
                                                            "'reset' makes the scheme files anew"});
    }
    if (result.stored != camera::Stored::done)
    {
        return Answer::failure({ErrorCode::notWritten, file + " could not be written; the window is as it was"});
    }
    Answer answer;
    answer.text = "scheme " + std::to_string(scheme) + ": " + windowText(result.window) +
                  (window.enabled ? " on" : " off") + ", saved\n";
    answer.data = windowJson(scheme, result.window);
    return answer;
}

Answer refusedWindow(const SchemeWindow& window, const std::string& message)
{
    Answer answer = Answer::failure({ErrorCode::windowRefused, message});
    const window_check_e check = windowCheck(window);
    if (check != WINDOW_SOUND)
    {
        answer.error->check = check;
    }
    return answer;
}

std::string windowProblem(const TimeSpanOfDay& span)
{
    const window_check_e check = windowCheck(windowOf(true, span));
    if (check == WINDOW_SOUND)
    {
        return "";
    }
    const std::string start = formatTimeOfDay(span.startMinutes);
    const std::string end = formatTimeOfDay(span.endMinutes);
    const std::string why = "the window " + start + "-" + end +
                            " can never hold and would be refused when saved (code " + std::to_string(check) + "): ";
    if (span.startMinutes == span.endMinutes)
    {
        return why + "it is empty";
    }
    if (span.endMinutes == 0)
    {
        return why + "it ends before it starts. The end of the day is 24:00: " + start + "-24:00";
    }
    if (span.startMinutes == camera::kMinutesPerDay)
    {
        return why + "it ends before it starts. The beginning of the day is 00:00: 00:00-" + end;
    }
    return why + "a window does not run over midnight. Use two schemes, " + start + "-24:00 and 00:00-" + end;
}

}  // namespace

Answer runSchemes(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("schemes");
    }
    const camera::Schedule schedule = session.camera().schedule();
    Answer answer;
    answer.text = drawSchedule(schedule, session.console().columns());
    answer.data = toJson(schedule);
    return answer;
}

Answer runWindow(Session& session, const Words& arguments)
{
    const std::string state = arguments.size() < 2 ? "" : toLower(arguments[1]);
    const bool isState = state == "on" || state == "off";
    if (arguments.size() != 3 && !(arguments.size() == 2 && isState))
    {
        return wrongUsage("window");
    }
    const int highest = session.camera().schemeCount() - 1;
    const std::optional<int> scheme = schemeNumber(arguments[0], highest);
    if (!scheme)
    {
        return Answer::failure(
            {ErrorCode::unknownScheme,
             "there is no scheme " + arguments[0] + " with a window; there are 0 to " + std::to_string(highest)});
    }
    if (!isState)
    {
        return wrongUsage("window");
    }
    const SchemeWindow now = session.camera().schedule().windows[static_cast<std::size_t>(*scheme)];
    const bool keepsTimes = arguments.size() == 2;
    const std::optional<TimeSpanOfDay> span = parseTimeSpan(keepsTimes ? windowText(now) : arguments[2]);
    const std::string problem = span ? windowProblem(*span) : "";
    if (keepsTimes && (!span || !problem.empty()))
    {
        return refusedWindow(now, "the window of scheme " + arguments[0] + ", " + windowText(now) +
                                      ", can never hold; give its times too: 'window " + arguments[0] + " " + state +
                                      " HH:MM-HH:MM'. Nothing was changed");
    }
    if (!span)
    {
        return Answer::failure({ErrorCode::badValue, arguments[2] + " is not a window HH:MM-HH:MM between 00:00 and "
                                                                    "24:00; nothing was changed"});
    }
    if (!problem.empty())
    {
        return refusedWindow(windowOf(true, *span), problem + ". Nothing was changed");
    }
    return changeWindow(session, *scheme, windowOf(state == "on", *span));
}

Answer runScheme(Session& session, const Words& arguments)
{
    if (arguments.size() != 1)
    {
        return wrongUsage("scheme");
    }
    camera::Camera& camera = session.camera();
    const std::optional<int> scheme = schemeNumber(arguments[0], camera.schemeCount());
    if (!scheme)
    {
        return Answer::failure({ErrorCode::unknownScheme, "there is no scheme " + arguments[0] + "; there are 0 to " +
                                                              std::to_string(camera.schemeCount()) +
                                                              ", the last being the default scheme"});
    }
    const camera::SchemeResult result = camera.setScheme(*scheme);
    Answer answer;
    answer.text = schemeName(*scheme, camera.schemeCount()) + " is in force\n";
    answer.data = toJson(result);
    if (result.clockChoosesAgain)
    {
        answer.text += "note: the mode is auto, so the clock chooses again within a second; 'mode manual' keeps it\n";
    }
    return answer;
}

Answer runMode(Session& session, const Words& arguments)
{
    const std::string wanted = arguments.empty() ? "" : toLower(arguments[0]);
    if (arguments.size() > 1 || (arguments.size() == 1 && wanted != "auto" && wanted != "manual"))
    {
        return wrongUsage("mode");
    }
    if (arguments.size() == 1)
    {
        session.camera().setMode(wanted == "auto");
    }
    Answer answer;
    const bool isAutomatic = session.camera().mode() != 0;
    answer.data = modeJson(isAutomatic);
    answer.text = isAutomatic ? "auto: the clock chooses the scheme\n"
                              : "manual: the scheme stays until 'scheme N' or 'mode auto'\n";
    return answer;
}

Words completeSchemes(Session& session, const Words& arguments)
{
    Words words;
    if (arguments.empty())
    {
        for (int scheme = 0; scheme <= session.camera().schemeCount(); ++scheme)
        {
            words.push_back(std::to_string(scheme));
        }
    }
    return words;
}

}  // namespace app
