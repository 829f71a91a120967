#include <algorithm>
#include <map>

#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"

namespace app {
namespace {

Words completeWords(const Words& arguments, std::size_t place, const Words& words)
{
    return arguments.size() == place ? words : Words();
}

Words completeMode(Session&, const Words& arguments)
{
    return completeWords(arguments, 0, {"auto", "manual"});
}

Words completeWindow(Session& session, const Words& arguments)
{
    Words schemes = completeSchemes(session, arguments);
    if (!schemes.empty())
    {
        schemes.pop_back();  // the default scheme has no window
    }
    return arguments.empty() ? schemes : completeWords(arguments, 1, {"on", "off"});
}

Words completeLens(Session&, const Words& arguments)
{
    if (arguments.empty())
    {
        return {"status", "zoom", "focus", "iris", "reset", "wait"};
    }
    if (arguments.size() > 1)
    {
        return {};
    }
    const Words zoom = {"in", "out"};
    const Words focus = {"far", "near", "mode", "once"};
    const Words iris = {"up", "down"};
    const std::string what = toLower(arguments[0]);
    return what == "zoom" ? zoom : what == "focus" ? focus : what == "iris" ? iris : Words();
}

Words completeLight(Session&, const Words& arguments)
{
    return completeWords(arguments, 0, {"sun"});
}

Words completeWeather(Session&, const Words&)
{
    return {"haze=", "wind="};
}

Words completeTrace(Session&, const Words& arguments)
{
    return completeWords(arguments, 0, {"off", "1", "4", "6", "7"});
}

Words completeLanguages(Session& session, const Words& arguments)
{
    Words words;
    for (const camera::Language& language : session.camera().languages())
    {
        words.push_back(std::to_string(language.id));
    }
    return completeWords(arguments, 0, words);
}

Words completeQuit(Session&, const Words& arguments)
{
    return completeWords(arguments, 0, {"--discard"});
}

Words completeHelp(Session&, const Words& arguments)
{
    Words words;
    for (const Command& command : commands())
    {
        words.push_back(command.name);
    }
    return completeWords(arguments, 0, words);
}

bool always(const Words&)
{
    return true;
}

bool withArguments(const Words& arguments)
{
    return !arguments.empty();
}

bool whenItMoves(const Words& arguments)
{
    return !arguments.empty() && toLower(arguments[0]) != "status" && toLower(arguments[0]) != "wait";
}

// A line for each scheme; empty when there is nothing to lose.
std::string unsavedText(camera::Camera& camera)
{
    std::map<int, std::string> lines;
    for (const camera::UnsavedValue& unsaved : camera.unsaved())
    {
        lines[unsaved.scheme] += " " + keyTitle(unsaved.key) + "=" + std::to_string(unsaved.value);
    }
    for (const camera::UnsavedControl& unsaved : camera.unsavedControls())
    {
        lines[unsaved.scheme] += " " + unsaved.name + "=" + std::to_string(unsaved.value);
    }
    std::string text;
    for (const auto& [scheme, values] : lines)
    {
        text += "  scheme " + std::to_string(scheme) + ":" + values + "\n";
    }
    return text;
}

}  // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> table = {
        {"help", "help [COMMAND]", "what the commands do", "", runHelp, completeHelp},
        {"status", "status", "model, time, scheme and scene at a glance", "", runStatus, nullptr},
        {"keys", "keys [TEXT]", "all parameters: number, name, value, range",
         "TEXT shows only keys whose name contains it.\n"
         "A * marks values that the schemes of this model do not keep; they are read from the sensor.\n",
         runKeys, completeKeys},
        {"get", "get [KEY ...]", "values of the current scheme",
         "KEY is a number or a name, in any case, with or without KEY_: 34, brightness, KEY_BRIGHTNESS.\n"
         "Without keys: all values of the current scheme.\n",
         runGet, completeKeys},
        {"set", "set KEY=VALUE ...", "apply values and remember them",
         "Values are applied in order. The first that is refused ends the list: what came before it stays applied,\n"
         "what comes after it is not applied. 'save' makes the values permanent.\n"
         "VALUE is a number, or the label of a choice in any case: mirror=both, wb_mode='One push'. 'keys KEY' "
         "lists\n"
         "the labels.\n",
         runSet, completeAssignments, always},
        {"default", "default KEY ...", "apply factory values and remember them",
         "As 'set' with the values that a factory reset would bring.\n", runDefault, completeKeys, always},
        {"text", "text '(KEY,VALUE)...'", "apply pair text, as 'all' prints it",
         "Keys and values are numbers. The text goes to the library as it is, unless it holds a part of a window that\n"
         "'set' would refuse.\n",
         runText, nullptr, always},
        {"all", "all", "the current scheme as pair text", "", runAll, nullptr},
        {"save", "save", "write the current scheme to its file",
         "Refused, with nothing written, when the scheme's time window is unsound:\n"
         "505 it starts after 24:00, 506 it ends after 24:00, 507 it does not start before it ends.\n",
         runSave, nullptr, always},
        {"reload", "reload", "the current scheme as it was saved last", "", runReload, nullptr, always},
        {"restore", "restore KEY", "send the scheme's value to the sensor again", "", runRestore, completeKeys, always},
        {"reset", "reset", "factory reset: all schemes made anew", "", runReset, nullptr, always},
        {"schemes", "schemes", "the day as a chart: which scheme holds when", "", runSchemes, nullptr},
        {"window", "window N on|off [HH:MM-HH:MM]", "the time window of scheme N",
         "Without times the window keeps its own. The window is saved at once, in the scheme's file and in memory;\n"
         "other values of the scheme that are not saved yet stay unsaved. A window that could not be saved, because\n"
         "it is empty or runs over midnight, is refused and nothing is changed.\n",
         runWindow, completeWindow, always},
        {"scheme", "scheme N", "put scheme N in force",
         "The highest N is the default scheme. In mode auto the clock chooses again within a second.\n", runScheme,
         completeSchemes, always},
        {"mode", "mode [auto|manual]", "whether the clock chooses the scheme", "", runMode, completeMode,
         withArguments},
        {"explain", "explain [KEY]", "why it is so, and what would change it",
         "Without KEY: which scheme is in force and why, until when, what comes next, and where windows overlap.\n"
         "With KEY: its value, where it comes from, and what reload, reset and other schemes would make of it.\n",
         runExplain, completeKeys},
        {"lens", "lens [WHAT ...]", "where the lens is, and moving it",
         "lens                                  positions and what moves\n"
         "lens zoom POSITION|in|out             16384 is 1x, 31424 is 16x\n"
         "lens focus far|near|POSITION|once     steps switch to manual focus; automatic focus takes a position back\n"
         "lens focus mode N                     as KEY_AUTO_FOCUS_MODE, without remembering it\n"
         "lens iris up|down                     steps switch to manual exposure\n"
         "lens reset                            both drives to their ends and back\n"
         "lens wait                             until nothing moves\n",
         runLens, completeLens, whenItMoves},
        {"device", "device", "the real device behind the camera",
         "Its name, whether it is plugged in, which values it has not taken and why, and the controls that it has\n"
         "beyond the keys. 'get', 'set', 'default', 'restore', 'keys' and 'explain' take their names as those of "
         "keys;\n"
         "'control:NAME' is meant where a key has the name.\n",
         runDevice, nullptr},
        {"light", "light [LUX|sun]", "light on the sensor",
         "'light sun' follows the camera's time of day from now on: dark by night, full light at noon.\n", runLight,
         completeLight, withArguments},
        {"weather", "weather [haze=PERCENT] [wind=PERCENT]", "haze and wind",
         "haze=0 is a clear view, haze=100 a fog that hides what is 60 m away.\n"
         "wind=0 is still, wind=100 a storm in the trees.\n",
         runWeather, completeWeather, withArguments},
        {"time", "time [HH:MM]", "the camera's time of day", "", runTime, nullptr, withArguments},
        {"snapshot", "snapshot FILE", "write a frame of the picture, a JPEG, to a file",
         "The file lies in your folder, not the camera's; one that is there is overwritten. Ctrl-C ends the waiting.\n",
         runSnapshot, nullptr},
        {"watch", "watch [SECONDS]", "tell changes of scheme, day or night, light",
         "Changes of the mode and the full hours are told too, and the light when it is five times what it was or a\n"
         "fifth. Goes on for SECONDS of the camera's time (at --speed 600 a day of 86400 takes 144 real seconds), or "
         "until\n"
         "Ctrl-C. With --json every change is a document of its own, and the end is one too.\n",
         runWatch, nullptr},
        {"trace", "trace [N|off]", "debug level of the library",
         "Writes the marker file that the library looks at before every message. Above 3: warnings, above 5: errors\n"
         "and debug lines, above 6: information too. 'off' removes the file.\n",
         runTrace, completeTrace, withArguments},
        {"log", "log [LINES]", "the end of the library's error log, 40 lines", "", runLog, nullptr},
        {"style", "style", "the style document as user interfaces get it", "", runStyle, nullptr},
        {"language", "language [ID]", "user-interface texts; without ID the languages", "", runLanguage,
         completeLanguages},
        {"output", "output [LINES]", "what the library printed, the last 40 lines",
         "At the prompt the library's lines are kept back, the last thousand of them; of a warning, an error or a "
         "failed\n"
         "assertion one line is shown. With --verbose all are shown as they come, and none is kept.\n",
         runOutput, nullptr},
        {"quit", "quit [--discard]", "end the camera, or leave one that runs elsewhere",
         "At the prompt unsaved values are listed first; 'quit' again, or 'quit --discard', discards them. A camera\n"
         "that was running before goes on running, and keeps them.\n",
         runQuit, completeQuit},
    };
    return table;
}

const Command* findCommand(const std::string& name)
{
    const std::string wanted = name == "exit" ? "quit" : name == "?" ? "help" : name;
    const std::vector<Command>& table = commands();
    const auto found = std::find_if(table.begin(), table.end(), [&](const Command& row) { return wanted == row.name; });
    return found == table.end() ? nullptr : &*found;
}

Answer wrongUsage(const char* commandName)
{
    const Command* command = findCommand(commandName);
    return Answer::failure(
        {ErrorCode::wrongUsage, std::string("usage: ") + command->usage + "   ('help " + commandName + "' says more)"});
}

Answer runHelp(Session&, const Words& arguments)
{
    if (arguments.size() > 1)
    {
        return wrongUsage("help");
    }
    Answer answer;
    if (arguments.empty())
    {
        TextTable table;
        answer.data["commands"] = Json::array();
        for (const Command& command : commands())
        {
            table.addRow({command.usage, command.summary});
            answer.data["commands"].push_back(
                {{"name", command.name}, {"usage", command.usage}, {"summary", command.summary}});
        }
        answer.text = table.text();
        return answer;
    }
    const Command* command = findCommand(toLower(arguments[0]));
    if (command == nullptr)
    {
        return Answer::failure({ErrorCode::unknownCommand, "there is no command " + arguments[0]});
    }
    answer.text = std::string(command->usage) + "\n  " + command->summary + "\n" + command->details;
    answer.data = {{"name", command->name},
                   {"usage", command->usage},
                   {"summary", command->summary},
                   {"details", command->details}};
    return answer;
}

Answer runQuit(Session& session, const Words& arguments)
{
    const bool discards = arguments == Words{"--discard"};
    if (!arguments.empty() && !discards)
    {
        return wrongUsage("quit");
    }
    if (session.console().interactive() && session.console().endsCamera() && !discards)
    {
        const std::string unsaved = unsavedText(session.camera());
        if (unsaved != session.toldLoss() && !unsaved.empty())
        {
            session.toldLoss() = unsaved;
            return Answer::failure(
                {ErrorCode::notRun, "these values are not saved:\n" + unsaved +
                                        "'save' keeps those of the scheme in force; 'quit' again discards them"});
        }
    }
    session.quit();
    return {};
}

}  // namespace app
