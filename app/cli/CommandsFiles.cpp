#include <algorithm>
#include <iterator>
#include <sstream>

#include "KSFile.h"
#include "app/Failure.h"
#include "app/SchemeFile.h"
#include "app/box/DiskFiles.h"
#include "app/cli/Commands.h"
#include "app/cli/Session.h"

namespace app {
namespace {

constexpr char kMarkerFile[] = "/mnt/mtd/sign/Debug.sign";
constexpr char kErrorLog[] = "/mnt/mtd/log/SensorError.log";
constexpr std::size_t kMarkerMax = 4096;      // bytes; two numbers
constexpr std::size_t kLogMax = 1024 * 1024;  // bytes; the library begins a new one much earlier
constexpr int kLogLines = 40;                 // a screen
constexpr auto kLook = std::chrono::milliseconds(2);
constexpr int kLooks = 5000;  // ten seconds; the scheduler's first turn comes after one of the camera's seconds

std::string refusedWindow(int code, const std::string& window)
{
    switch (code)
    {
    case 505:
        return "code 505: its window " + window + " starts after 24:00";
    case 506:
        return "code 506: its window " + window + " ends after 24:00";
    case 507:
        return "code 507: its window " + window + " does not start before it ends";
    default:
        return "code " + std::to_string(code);
    }
}

// What the file should hold now; empty keys do not count.
bool fileHoldsScheme(Session& session, int scheme, std::size_t& count)
{
    const std::vector<KeyVal> records = readSchemeFile(scheme);
    count = records.size();
    for (const KeyVal& record : records)
    {
        if (session.camera().schemeValue(scheme, static_cast<int>(record.key)) != static_cast<int>(record.value))
        {
            return false;
        }
    }
    return !records.empty();
}

std::vector<std::string> linesOf(const std::string& path, std::size_t longest)
{
    std::istringstream stream(readFile(path, longest).value_or(""));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

// The error log with its rotated predecessors, oldest line first.
std::vector<std::string> errorLogLines()
{
    std::vector<std::string> lines;
    for (const char* suffix : {".2", ".1", ""})
    {
        const std::vector<std::string> more = linesOf(kErrorLog + std::string(suffix), kLogMax);
        lines.insert(lines.end(), more.begin(), more.end());
    }
    return lines;
}

// After a factory reset no scheme is in force until the scheduler's next turn.
void waitForFirstScheme(Session& session)
{
    for (int i = 0; i < kLooks && session.camera().currentScheme() < 0 && session.pause(kLook); ++i)
    {
    }
}

}  // namespace

Answer runSave(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("save");
    }
    Camera& camera = session.camera();
    const int scheme = camera.currentScheme();
    if (scheme < 0 || scheme >= camera.schemeCount())
    {
        Answer answer = Answer::failure(schemeName(scheme, camera.schemeCount()) +
                                        " is in force: it has no file, nothing was saved");
        answer.data = {{"scheme", scheme}, {"saved", false}};
        return answer;
    }
    const int code = camera.controller().flush();
    Answer answer;
    answer.data = {{"scheme", scheme}, {"code", code}, {"saved", code == 0}};
    if (code != 0)
    {
        const std::string window = windowText(camera.schedule().windows[static_cast<std::size_t>(scheme)]);
        answer.error = "scheme " + std::to_string(scheme) + " was not saved, " + refusedWindow(code, window) +
                       ". Its values stay in force until the camera ends; mend the window with 'window " +
                       std::to_string(scheme) + " on HH:MM-HH:MM'";
        return answer;
    }
    std::size_t count = 0;
    // A switch by the clock in between makes the comparison meaningless.
    if (camera.currentScheme() == scheme && !fileHoldsScheme(session, scheme, count))
    {
        answer.data["saved"] = false;
        answer.error =
            "scheme " + std::to_string(scheme) + " could not be written; its file is as it was ('log' says more)";
        return answer;
    }
    answer.text = "scheme " + std::to_string(scheme) + " saved (" + counted(count, "value", "values") + ")\n";
    return answer;
}

Answer runReload(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("reload");
    }
    Camera& camera = session.camera();
    const int scheme = camera.currentScheme();
    Answer answer;
    answer.data["scheme"] = scheme;
    if (scheme < 0 || scheme >= camera.schemeCount())
    {
        answer.text = schemeName(scheme, camera.schemeCount()) + " is in force: it has no file to be read again\n";
        return answer;
    }
    if (!camera.controller().resetToLastParameters())
    {
        answer.error = "scheme " + std::to_string(scheme) +
                       " was read again, but the sensor refused one of its values; "
                       "the ones after it were not applied";
        return answer;
    }
    answer.text = "scheme " + std::to_string(scheme) + " is again as it was saved\n";
    return answer;
}

Answer runReset(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("reset");
    }
    Answer answer;
    if (!session.camera().factoryReset())
    {
        session.quit();
        return Answer::failure(
            "the board's files no longer name this camera (/mnt/mtd/code/factory_setting/machineinfo.ini, "
            "/hd1/moduleConfig/moduleConfig.xml): the camera is down. It starts again as a new one");
    }
    waitForFirstScheme(session);
    const int scheme = session.camera().currentScheme();
    answer.text = "factory reset: all scheme files are made anew, " +
                  schemeName(scheme, session.camera().schemeCount()) + " is in force\n";
    answer.data["scheme"] = scheme;
    return answer;
}

Answer runTrace(Session&, const Words& arguments)
{
    Answer answer;
    if (arguments.empty())
    {
        const std::vector<std::string> lines = linesOf(kMarkerFile, kMarkerMax);
        answer.text = lines.empty() ? "trace is off (level 1: assertions only)\n" : "trace level " + lines[0] + "\n";
        answer.data["level"] = lines.empty() ? Json() : Json(lines[0]);
        return answer;
    }
    if (arguments.size() > 1)
    {
        return wrongUsage("trace");
    }
    if (toLower(arguments[0]) == "off")
    {
        if (std::remove(kMarkerFile) != 0 && KSFile::exists(kMarkerFile))
        {
            return Answer::failure(systemError(kMarkerFile));
        }
        answer.text = "trace off (level 1: assertions only)\n";
        answer.data["level"] = nullptr;
        return answer;
    }
    const std::optional<int> level = parseInt(arguments[0]);
    if (!level)
    {
        return wrongUsage("trace");
    }
    // The second line, the assertion switch, is kept.
    const std::vector<std::string> lines = linesOf(kMarkerFile, kMarkerMax);
    std::string text = std::to_string(*level) + "\n" + (lines.size() > 1 ? lines[1] + "\n" : "");
    KSFile file;
    if (!file.open(kMarkerFile, KSFile::modeWrite | KSFile::modeTruncate) ||
        file.write(text.data(), static_cast<unsigned>(text.size())) < 0 || !file.close())
    {
        return Answer::failure(systemError(kMarkerFile));
    }
    answer.text = "trace level " + std::to_string(*level) + "\n";
    answer.data["level"] = *level;
    return answer;
}

Answer runLog(Session&, const Words& arguments)
{
    const std::optional<int> wanted = arguments.empty() ? kLogLines : parseInt(arguments[0]);
    if (arguments.size() > 1 || !wanted || *wanted < 0)
    {
        return wrongUsage("log");
    }
    const std::vector<std::string> lines = errorLogLines();
    const std::size_t count = std::min(lines.size(), static_cast<std::size_t>(*wanted));
    Answer answer;
    answer.data["lines"] = Json::array();
    for (auto line = lines.end() - static_cast<std::ptrdiff_t>(count); line != lines.end(); ++line)
    {
        answer.text += *line + "\n";
        answer.data["lines"].push_back(*line);
    }
    if (lines.empty())
    {
        answer.text = "the error log is empty\n";
    }
    return answer;
}

Answer runStyle(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("style");
    }
    Answer answer;
    const std::string style = session.camera().controller().getUIStyleFile();
    answer.data["style"] = style;
    answer.text = style.empty() || style.back() != '\n' ? style + "\n" : style;
    return answer;
}

Answer runLanguage(Session& session, const Words& arguments)
{
    Answer answer;
    const std::vector<Language>& languages = session.camera().uiFiles().languages();
    if (arguments.empty())
    {
        answer.data["languages"] = Json::array();
        for (const Language& language : languages)
        {
            answer.text += std::to_string(language.id) + "  " + language.code + "  " + language.name + "\n";
            answer.data["languages"].push_back({{"id", language.id}, {"code", language.code}, {"name", language.name}});
        }
        return answer;
    }
    const std::optional<int> id = parseInt(arguments[0]);
    if (arguments.size() > 1 || !id)
    {
        return wrongUsage("language");
    }
    const bool known =
        std::any_of(languages.begin(), languages.end(), [&](const Language& entry) { return entry.id == *id; });
    const std::string texts = session.camera().controller().getUILanguageFile(*id);
    const std::string common = session.camera().controller().getUICommonFile(*id);
    answer.data = {{"id", *id}, {"known", known}, {"texts", texts}, {"common", common}};
    answer.text = texts + "\n" + common + "\n";
    if (!known)
    {
        notice("there is no language " + std::to_string(*id) + "; the camera serves its first one instead");
    }
    return answer;
}

}  // namespace app
