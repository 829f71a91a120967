#include <algorithm>

#include "SensorPaths.h"
#include "app/Failure.h"
#include "app/cli/Commands.h"
#include "app/cli/ScheduleChart.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"
#include "camera/Diagnostics.h"

namespace app {
namespace {

constexpr int kLogLines = 40;  // a screen

std::string refusedWindow(int code, const std::string& window)
{
    switch (code)
    {
    case WINDOW_STARTS_TOO_LATE:
        return "code 505: its window " + window + " starts after 24:00";
    case WINDOW_ENDS_TOO_LATE:
        return "code 506: its window " + window + " ends after 24:00";
    case WINDOW_NOT_FORWARD:
        return "code 507: its window " + window + " does not start before it ends";
    default:
        return "code " + std::to_string(code);
    }
}

// The last lines, 40 or as many as are asked for.
Answer endOf(const char* command, const std::vector<std::string>& lines, const std::string& ifEmpty,
             const Words& arguments)
{
    const std::optional<int> wanted = arguments.empty() ? kLogLines : parseInt(arguments[0]);
    if (arguments.size() > 1 || !wanted || *wanted < 0)
    {
        return wrongUsage(command);
    }
    const std::size_t count = std::min(lines.size(), static_cast<std::size_t>(*wanted));
    const std::vector<std::string> last(lines.end() - static_cast<std::ptrdiff_t>(count), lines.end());
    Answer answer;
    for (const std::string& line : last)
    {
        answer.text += line + "\n";
    }
    answer.data = logJson(last);
    if (lines.empty())
    {
        answer.text = ifEmpty;
    }
    return answer;
}

}  // namespace

Answer runSave(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("save");
    }
    using Kind = camera::SaveResult::Kind;
    const camera::SaveResult result = session.camera().save();
    const std::string scheme = "scheme " + std::to_string(result.scheme);
    Answer answer;
    answer.data = toJson(result);
    switch (result.kind)
    {
    case Kind::noFile:
        answer.error = {ErrorCode::noFile, schemeName(result.scheme, session.camera().schemeCount()) +
                                               " is in force: it has no file, nothing was saved"};
        break;
    case Kind::windowRefused:
        answer.error = {ErrorCode::windowRefused,
                        scheme + " was not saved, " + refusedWindow(result.code, windowText(result.window)) +
                            ". Its values stay in force until the camera ends; mend the window with 'window " +
                            std::to_string(result.scheme) + " on HH:MM-HH:MM'"};
        answer.error->check = result.code;
        break;
    case Kind::notWritten:
        answer.error = {ErrorCode::notWritten,
                        scheme + " could not be written; its file is as it was ('log' says more)"};
        break;
    case Kind::saved:
    {
        std::string what = counted(result.values, "value", "values");
        if (result.controls > 0)
        {
            what += ", " + counted(result.controls, "control", "controls");
        }
        answer.text = scheme + " saved (" + what + ")\n";
        break;
    }
    }
    return answer;
}

Answer runReload(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("reload");
    }
    using Kind = camera::ReloadResult::Kind;
    const camera::ReloadResult result = session.camera().reload();
    const std::string scheme = "scheme " + std::to_string(result.scheme);
    Answer answer;
    answer.data = toJson(result);
    switch (result.kind)
    {
    case Kind::noFile:
        answer.text = schemeName(result.scheme, session.camera().schemeCount()) +
                      " is in force: it has no file to be read again\n";
        break;
    case Kind::refused:
        answer.error = {ErrorCode::deviceRefused, scheme + " was read again, but the sensor refused one of its "
                                                           "values; the ones after it were not applied"};
        break;
    case Kind::reloaded:
        answer.text = scheme + " is again as it was saved\n";
        break;
    }
    return answer;
}

Answer runReset(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("reset");
    }
    try
    {
        session.camera().factoryReset();
    }
    catch (const camera::Failure& failure)
    {
        if (failure.problem() == camera::Problem::boardFilesGone)
        {
            session.quit();
        }
        throw;
    }
    Answer answer;
    const int scheme = session.camera().currentScheme();
    answer.text = "factory reset: all scheme files are made anew, " +
                  schemeName(scheme, session.camera().schemeCount()) + " is in force\n";
    answer.data = schemeJson(scheme);
    return answer;
}

Answer runTrace(Session&, const Words& arguments)
{
    Answer answer;
    if (arguments.empty())
    {
        const std::optional<int> level = camera::debugLevel();
        answer.text =
            level ? "trace level " + std::to_string(*level) + "\n" : "trace is off (level 1: assertions only)\n";
        answer.data = traceJson(level);
        return answer;
    }
    if (arguments.size() > 1)
    {
        return wrongUsage("trace");
    }
    if (toLower(arguments[0]) == "off")
    {
        if (!camera::clearDebugLevel())
        {
            return Answer::failure({ErrorCode::notWritten, systemError(sensorpaths::kDebugMarkerFile)});
        }
        answer.text = "trace off (level 1: assertions only)\n";
        answer.data = traceJson({});
        return answer;
    }
    const std::optional<int> level = parseInt(arguments[0]);
    if (!level)
    {
        return wrongUsage("trace");
    }
    if (!camera::setDiagnostics(level))
    {
        return Answer::failure({ErrorCode::notWritten, systemError(sensorpaths::kDebugMarkerFile)});
    }
    answer.text = "trace level " + std::to_string(*level) + "\n";
    answer.data = traceJson(level);
    return answer;
}

Answer runLog(Session&, const Words& arguments)
{
    return endOf("log", camera::errorLog(), "the error log is empty\n", arguments);
}

Answer runOutput(Session& session, const Words& arguments)
{
    session.console().showLibrary();
    const auto kept = session.console().keptLines();
    const std::deque<std::string> lines = kept.value_or(std::deque<std::string>());
    return endOf("output", {lines.begin(), lines.end()},
                 kept ? "the library has printed nothing\n"
                      : "no lines are kept back here: they are shown as they come\n",
                 arguments);
}

Answer runStyle(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("style");
    }
    Answer answer;
    const std::string style = session.camera().style();
    answer.data = styleJson(style);
    answer.text = style.empty() || style.back() != '\n' ? style + "\n" : style;
    return answer;
}

Answer runLanguage(Session& session, const Words& arguments)
{
    Answer answer;
    const std::vector<camera::Language>& languages = session.camera().languages();
    if (arguments.empty())
    {
        answer.data = toJson(languages);
        for (const camera::Language& language : languages)
        {
            answer.text += std::to_string(language.id) + "  " + language.code + "  " + language.name + "\n";
        }
        return answer;
    }
    const std::optional<int> id = parseInt(arguments[0]);
    if (arguments.size() > 1 || !id)
    {
        return wrongUsage("language");
    }
    const camera::LanguageTexts texts = session.camera().texts(*id);
    answer.data = toJson(*id, texts);
    answer.text = texts.texts + "\n" + texts.common + "\n";
    if (!texts.known)
    {
        session.console().notice("there is no language " + std::to_string(*id) +
                                 "; the camera serves its first one instead");
    }
    return answer;
}

}  // namespace app
