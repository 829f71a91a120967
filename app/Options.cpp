#include "app/Options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "app/Failure.h"
#include "app/Models.h"
#include "app/Output.h"
#include "app/box/Bubblewrap.h"
#include "app/box/StateFolder.h"
#include "app/cli/Parsing.h"
#include "app/cli/Shell.h"
#include "app/web/Guard.h"
#include "app/web/Users.h"
#include "camera/Camera.h"
#include "services/linux/ControlIds.h"

namespace app {
namespace {

constexpr char kDescription[] =
    "sensorcam - a network camera without hardware: the image-control library, real style documents and an\n"
    "image-adjust service that behaves like a sensor, in a private file tree of its own. With --device it keeps the\n"
    "settings of a camera that is plugged into this machine.\n"
    "Without a subcommand it prints the address of a page, http://127.0.0.1:8080/ or at the next free port, and at a\n"
    "terminal, without --json, opens a prompt; elsewhere there is the page alone, until a signal ends it. Where a "
    "camera\n"
    "runs already on the folder, the prompt joins it, and no page is added.\n";

constexpr char kFooter[] =
    "\nExamples:\n"
    "  sensorcam                                        a fixed camera: the prompt, and a page in a browser\n"
    "  sensorcam exec 'set brightness=60' save          change a value and keep it\n"
    "  sensorcam exec 'get brightness'                  60, also after a restart\n"
    "  sensorcam --json exec 'get' | jq .               all values, for programs\n"
    "  sensorcam --model dome --state ~/dome shell      another camera beside it\n"
    "  sensorcam --model lpr --speed 600 --at 05:00 exec 'light sun' 'watch 72000'\n"
    "                                                   twenty hours of a licence-plate camera in two minutes\n"
    "  sensorcam devices                                the cameras that are plugged into this machine\n"
    "  sensorcam --device /dev/video0 shell             one of them; it keeps what is set there\n"
    "\n"
    "Files: a camera lives below its state folder, by default ${XDG_STATE_HOME:-~/.local/state}/sensorcam/<model>, a\n"
    "device's in devices/<identity> there.\n"
    "Nothing outside of it is touched. Delete the folder and the camera is new.\n"
    "\n"
    "Exit status: 0 success, 1 a command failed, its answer could not be written, or the camera went down, 2 wrong\n"
    "usage, 3 the camera could not be started, or has to be started again, 128+n ended by signal n; but 0 of a daemon\n"
    "after SIGTERM or SIGINT. 141 (SIGPIPE): whoever read the answers has gone.\n";

std::string checkSpeed(const std::string& text)
{
    const std::optional<double> speed = parseNumber(text);
    return speed && *speed >= camera::Camera::kSlowest && *speed <= camera::Camera::kFastest
               ? ""
               : text + " is not a speed from 0.1 to 3600";
}

std::string checkTime(const std::string& text)
{
    const std::optional<int> minutes = parseTimeOfDay(text);
    return minutes && *minutes < 24 * 60 ? "" : text + " is not a time of day from 00:00 to 23:59";
}

std::string checkModel(const std::string& text)
{
    return isModelName(text) ? "" : text + " is not a camera model; the models are " + modelList();
}

bool asksForJson(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--json") == 0)
        {
            return true;
        }
    }
    return false;
}

// What CLI11 fills in and that needs more than a name to become an Options.
struct RawOptions
{
    std::string model;
    std::string speed;
    std::string startTime;
    std::string device;
    std::string light;
    std::vector<std::string> lamps;
    std::string filter;
    std::string board;
    std::string schemesBy;
    std::string others;
    bool prompt = false;

    bool namesDevice() const { return !device.empty() || !board.empty(); }
    // What a board file says itself.
    bool namesParts() const
    {
        return !light.empty() || !lamps.empty() || !filter.empty() || !schemesBy.empty() || !others.empty();
    }
};

// What parse throws for this text; empty when it takes it.
template <typename Parse>
std::string mistakeOf(const Parse& parse)
{
    try
    {
        parse();
        return "";
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
}

void addDeviceOptions(CLI::App& cli, Options& options, RawOptions& raw)
{
    cli.add_option("--device", raw.device,
                   "Camera that is plugged in: its node, a link to it, its identity or serial number")
        ->type_name("NAME");
    cli.add_option(
           "--light", raw.light,
           "Its light sensor, by name, or auto for the only one there is; exposure for none: the light is judged by "
           "how the camera exposes while its picture is read")
        ->type_name("NAME");
    cli.add_option("--lamp", raw.lamps, "A lamp of it: near=LED, medium=LED or far=LED; may be repeated")
        ->allow_extra_args(false)
        ->check([](const std::string& text) {
            std::map<u32, std::string> lamps;
            return mistakeOf([&] { devices::parseLamp(text, lamps); });
        })
        ->type_name("LAMP");
    cli.add_option("--filter", raw.filter,
                   "The line of its infrared-cut filter, gpiochip0:3 or gpiochip0:3,low, or the two that move it by "
                   "pulses, gpiochip0:3:4,100ms")
        ->check([](const std::string& text) { return mistakeOf([&] { devices::parseFilter(text); }); })
        ->type_name("LINES");
    cli.add_option("--board", raw.board, "File that says all this, a line 'name = value' each")->type_name("FILE");
    cli.add_option("--schemes-by", raw.schemesBy,
                   "What decides between its schemes 0 and 1: clock (the default) or light")
        ->check([](const std::string& text) {
            return text == "light" || text == "clock" ? "" : text + " is neither clock nor light";
        })
        ->type_name("WHAT");
    cli.add_option("--others", raw.others,
                   "What another program sets at it: put-back (the default), take-over or leave")
        ->check([](const std::string& text) { return mistakeOf([&] { devices::parseOthers(text); }); })
        ->type_name("WHAT");
    cli.add_option("--device-descriptor", options.deviceDescriptor)->group("");
}

// Of options that have been checked.
std::optional<DeviceOptions> deviceOf(const RawOptions& raw)
{
    if (!raw.namesDevice())
    {
        return std::nullopt;
    }
    DeviceOptions device;
    device.camera = raw.device;
    device.boardFile = raw.board;
    if (!raw.light.empty())
    {
        device.light = raw.light;
    }
    for (const std::string& lamp : raw.lamps)
    {
        devices::parseLamp(lamp, device.lamps);
    }
    if (!raw.filter.empty())
    {
        device.filter = devices::parseFilter(raw.filter);
    }
    if (!raw.schemesBy.empty())
    {
        device.schemesByLight = raw.schemesBy == "light";
    }
    if (!raw.others.empty())
    {
        device.others = devices::parseOthers(raw.others);
    }
    return device;
}

// Why these options cannot stand together; empty when they can.
std::string deviceProblem(const RawOptions& raw)
{
    if (raw.namesDevice() && !raw.model.empty())
    {
        return "--model is for a camera without hardware; --device and --board name one that is plugged in";
    }
    if (!raw.board.empty() && (!raw.device.empty() || raw.namesParts()))
    {
        return "--board names a file that says everything; --device, --light, --lamp, --filter, --schemes-by and "
               "--others cannot be added";
    }
    return !raw.namesDevice() && raw.namesParts()
               ? "--light, --lamp, --filter, --schemes-by and --others belong to a camera that --device names"
               : "";
}

void addOptions(CLI::App& cli, Options& options, RawOptions& raw)
{
    cli.add_option("--model", raw.model, "Camera model: " + modelList() + " (a state folder keeps its model)")
        ->check(checkModel)
        ->type_name("MODEL");
    CLI::Option* state =
        cli.add_option("--state", options.stateFolder, "Folder of the camera's files")->type_name("DIR");
    cli.add_option("--speed", raw.speed, "Camera seconds in a real second, 0.1 to 3600; default 1")
        ->check(checkSpeed)
        ->type_name("N");
    cli.add_option("--at", raw.startTime, "Time of day to start at; default the real one")
        ->check(checkTime)
        ->type_name("HH:MM");
    cli.add_flag("--json", options.json, "Answer with JSON, one document a command, and print nothing else");
    cli.add_flag("--verbose", options.verbose, "Show at the prompt what the library prints, as it prints it");
    cli.add_flag("--in-place", options.inPlace,
                 "Use the real /mnt/mtd, /hd1 and /tmp instead of a private tree: for a board, or for a container "
                 "that is thrown away. Documents that are there already are kept")
        ->excludes(state);
    addDeviceOptions(cli, options, raw);
    cli.add_flag("--inside", options.inside)->group("");
    cli.add_option("--lock-descriptor", options.lockDescriptor)->group("");
    cli.add_option("--supervisor-descriptor", options.supervisorDescriptor)->group("");
    cli.add_option("--http-descriptor", options.httpDescriptor)->group("");
    cli.add_option("--session-descriptor", options.sessionDescriptor)->group("");
    cli.add_option("--folder", options.folder)->group("");
}

constexpr int kDefaultPort = 8080;

CLI::App* addServe(CLI::App& cli, ServeOptions& serve, RawOptions& raw)
{
    CLI::App* serving = cli.add_subcommand("serve", "Answer HTTP until a signal ends it");
    serving->fallthrough();
    serving->add_option("--port", serve.port, "TCP port; 8080 unless --socket is given, 0 for a free one")
        ->check(CLI::Range(0, 65535))
        ->type_name("N");
    serving
        ->add_option(
            "--bind", serve.address,
            "Address of this machine's own; default 127.0.0.1. Others than 127.0.0.1 and ::1 let other machines "
            "in, and need --users and --cert or --self-signed")
        ->default_val("127.0.0.1")
        ->type_name("ADDRESS");
    serving->add_option("--users", serve.users, "File of those who may come in through the port; passwd makes it")
        ->type_name("FILE");
    CLI::Option* certificate =
        serving->add_option("--cert", serve.certificate, "Certificates for TLS, PEM, the camera's own first")
            ->type_name("FILE");
    CLI::Option* key = serving->add_option("--key", serve.key, "The certificate's key, PEM")->type_name("FILE");
    certificate->needs(key);
    key->needs(certificate);
    serving
        ->add_flag("--self-signed", serve.selfSigned,
                   "TLS with a certificate that the camera makes once, and keeps in its state folder")
        ->excludes(certificate);
    CLI::Option* socket =
        serving->add_option("--socket", serve.socket, "Path of a Unix socket, for whoever may open it")
            ->type_name("PATH");
    serving->add_option("--socket-mode", serve.socketMode, "Who may open the socket: 600 (the default) or 660")
        ->check(CLI::IsMember({"600", "660", "0600", "0660"}))
        ->needs(socket)
        ->type_name("MODE");
    serving->add_option("--socket-group", serve.socketGroup, "Group of the socket, by name or number")
        ->needs(socket)
        ->type_name("GROUP");
    serving->add_option("--allow-origin", serve.origins, "Origin of a page that may use the camera: http://HOST:PORT")
        ->transform([](const std::string& text) {
            const std::optional<std::string> origin = web::originOf(text);
            return origin ? *origin : throw CLI::ValidationError(text + " is not http://HOST:PORT");
        })
        ->type_name("ORIGIN");
    serving->add_flag("--prompt", raw.prompt)->group("");
    serving->add_option("--descriptor", serve.descriptors)->group("");
    serving->add_option("--identity-descriptor", serve.identityDescriptor)->group("");
    return serving;
}

// Why the camera must not be served so; empty when it may.
std::string serveProblem(const ServeOptions& serve)
{
    const bool hasPort = serve.port || !serve.descriptors.empty();
    if (!hasPort && (!serve.users.empty() || serve.hasTls()))
    {
        return "--users, --cert and --self-signed are for a port; a Unix socket is guarded by the mode of its file";
    }
    if (web::isLoopback(serve.address) || (!serve.users.empty() && serve.hasTls()))
    {
        return "";
    }
    std::string missing = serve.users.empty() ? " --users FILE (sensorcam passwd makes one)" : "";
    if (!serve.hasTls())
    {
        missing += std::string(missing.empty() ? "" : " and") + " --cert FILE --key FILE, or --self-signed";
    }
    return "--bind " + serve.address + " lets other machines in: it needs" + missing;
}

CLI::App* addPasswd(CLI::App& cli, PasswordOptions& password)
{
    CLI::App* passwd = cli.add_subcommand(
        "passwd", "Set a user's password in a file for serve --users. It is read from the terminal, or a line of "
                  "standard input");
    CLI::Option* role =
        passwd->add_option("--role", password.role, "viewer (the default for a new user), operator or administrator")
            ->check(CLI::IsMember({"viewer", "operator", "administrator"}))
            ->type_name("ROLE");
    passwd->add_flag("--delete", password.isDelete, "Take the user out of the file")->excludes(role);
    passwd->add_option("FILE", password.file, "The file; made when it is missing")->required();
    passwd->add_option("NAME", password.name, "The user's name")->required()->check([](const std::string& name) {
        return web::isUserName(name) ? ""
                                     : name + " cannot be a user's name: letters, digits and ._- alone, at most 32";
    });
    return passwd;
}

CLI::App* addReplay(CLI::App& cli, ReplayOptions& replay)
{
    constexpr int kMostLux = 100'000;
    constexpr int kMostSeconds = 3600;
    CLI::App* replaying = cli.add_subcommand(
        "replay", "Show a trace of light, as light in a device's state folder, to what decides between day and night");
    replaying->add_option("--night-below", replay.nightBelow, "Lux below which it is night; default 20")
        ->check(CLI::Range(0, kMostLux))
        ->type_name("LUX");
    replaying->add_option("--day-above", replay.dayAbove, "Lux above which it is day; default 60")
        ->check(CLI::Range(0, kMostLux))
        ->type_name("LUX");
    replaying->add_option("--delay", replay.delay, "Seconds for which the light must be beyond them; default 5")
        ->check(CLI::Range(0, kMostSeconds))
        ->type_name("SECONDS");
    replaying->add_option("--lamps", replay.lampsLux, "Lux that the lamps give on the sensor; default 0")
        ->check(CLI::Range(0, kMostLux))
        ->type_name("LUX");
    replaying->add_flag("--by-exposure", replay.isByExposure, "The light was the camera's exposure and no sensor's");
    replaying->add_option("FILE", replay.file, "The trace")->required();
    replaying->fallthrough();
    return replaying;
}

// Of a terminal, which would stop it when it asks for a line.
bool inBackground()
{
    const pid_t inFront = tcgetpgrp(STDIN_FILENO);
    return inFront >= 0 && inFront != getpgrp();
}

// An option that was given an empty text, which CLI11 hands to no check; empty: none.
std::string emptyOption(const CLI::App& command)
{
    for (const CLI::Option* const option : command.get_options())
    {
        const std::vector<std::string>& texts = option->results();
        if (option->get_type_size() > 0 && std::find(texts.begin(), texts.end(), "") != texts.end())
        {
            return option->get_name();
        }
    }
    return "";
}

// The command line, as it fills the options in.
class CommandLine
{
public:
    CommandLine()
    {
        addOptions(cli_, options_, raw_);
        cli_.footer(kFooter);
        cli_.set_version_flag("--version", std::string("sensorcam ") + SENSORCAM_VERSION);
        cli_.require_subcommand(0, 1);
        shell_ = cli_.add_subcommand("shell", "Open a prompt; without a terminal, read commands from standard input");
        shell_->fallthrough();
        CLI::App* const exec =
            cli_.add_subcommand("exec", "Run commands, each argument one command line, and end. Stops at the "
                                        "first command that fails; 'help' lists the commands");
        exec->add_option("COMMAND", options_.commands, "Command lines, as at the prompt")->required();
        exec->positionals_at_end();
        exec_ = exec;
        serving_ = addServe(cli_, serve_, raw_);
        CLI::App* const daemon =
            cli_.add_subcommand("daemon", "Keep a device's settings without a terminal, until a signal ends it; "
                                          "exec and shell join it. systemd is told when all is applied");
        daemon_ = daemon;
        daemon->fallthrough();
        CLI::App* const list = cli_.add_subcommand("devices", "List the cameras that are plugged in, for --device");
        devices_ = list;
        list->fallthrough();
        list->add_option("--identity", deviceList_.identityOf, "Print the identity of this node's camera alone")
            ->type_name("NODE");
        replay_ = addReplay(cli_, replayed_);
        passwd_ = addPasswd(cli_, password_);
    }

    // What CLI11 finds wrong is a CLI::ParseError, and what only asks for a text a CLI::Success, which has it printed.
    void parse(int argc, char** argv) { cli_.parse(argc, argv); }
    std::string textFor(const CLI::Success& asked, int& status) const
    {
        std::ostringstream text;
        status = cli_.exit(asked, text, text);
        return text.str();
    }

    // After parse.
    Options options()
    {
        const bool isBare = cli_.get_subcommands().empty();
        options_.isShell = shell_->parsed() || raw_.prompt ||
                           (isBare && isInteractive(STDOUT_FILENO, options_.json) && !inBackground());
        options_.serve = serving_->parsed() || isBare ? std::make_optional(served()) : std::nullopt;
        options_.password = passwd_->parsed() ? std::make_optional(password_) : std::nullopt;
        options_.deviceList = devices_->parsed() ? std::make_optional(deviceList_) : std::nullopt;
        options_.isDaemon = daemon_->parsed();
        options_.device = deviceOf(raw_);
        options_.model = raw_.model.empty() ? std::nullopt : std::make_optional(raw_.model);
        options_.setsClock = !raw_.speed.empty() || !raw_.startTime.empty();
        options_.speed = raw_.speed.empty() ? 1.0 : *parseNumber(raw_.speed);
        options_.startMinutes = raw_.startTime.empty() ? std::nullopt : parseTimeOfDay(raw_.startTime);
        if (replay_->parsed())
        {
            options_.replay = replayed_;
            options_.replay->startMinutes = options_.startMinutes.value_or(replayed_.startMinutes);
        }
        return options_;
    }

    // What is wrong with options that could be read; empty when nothing is.
    std::string mistake() const
    {
        for (const CLI::App* const command :
             {static_cast<const CLI::App*>(&cli_), serving_, devices_, replay_, passwd_})
        {
            const std::string name = emptyOption(*command);
            if (!name.empty())
            {
                return name + " needs a value";
            }
        }
        if (!options_.stateFolder.empty() && absolutePath(options_.stateFolder) == "/")
        {
            return "--state / would be the machine itself; name a folder for the camera";
        }
        const std::string problem = deviceProblem(raw_);
        if (!problem.empty())
        {
            return problem;
        }
        if (daemon_->parsed() && !raw_.namesDevice() && options_.stateFolder.empty() && !options_.inPlace &&
            !options_.inside)
        {
            return "daemon needs a device: --device NAME, --board FILE, or --state DIR of a device's camera";
        }
        return serving_->parsed() ? serveProblem(served()) : "";
    }

private:
    ServeOptions served() const
    {
        ServeOptions serve = serve_;
        serve.orNextPort = !serving_->parsed();
        if (serve.socket.empty() && !serve.port && serve.descriptors.empty())
        {
            serve.port = kDefaultPort;
        }
        return serve;
    }

    Options options_;
    RawOptions raw_;
    ServeOptions serve_;
    PasswordOptions password_;
    DeviceListOptions deviceList_;
    ReplayOptions replayed_;
    CLI::App cli_{kDescription, "sensorcam"};
    CLI::App* shell_;
    const CLI::App* daemon_;
    const CLI::App* devices_;
    const CLI::App* exec_;
    const CLI::App* serving_;
    const CLI::App* replay_;
    const CLI::App* passwd_;
};

std::optional<Options> refuse(const std::string& mistake, bool json, int& status)
{
    reportFailure(mistake + "\nTry: sensorcam --help", json, ErrorCode::wrongUsage);
    status = kExitUsage;
    return std::nullopt;
}

// For the copy inside, which has sockets and not their places.
std::vector<std::string> serveArguments(const ServeOptions& serve, bool hasPrompt)
{
    std::vector<std::string> arguments = {"serve", "--bind", serve.address};
    if (hasPrompt)
    {
        arguments.push_back("--prompt");
    }
    if (!serve.users.empty())
    {
        const std::string name = std::filesystem::path(serve.users).filename().string();
        arguments.insert(arguments.end(), {"--users", std::string(kInsideUsers) + "/" + name});
    }
    if (serve.identityDescriptor >= 0)
    {
        arguments.insert(arguments.end(), {"--identity-descriptor", std::to_string(serve.identityDescriptor)});
    }
    for (const std::string& origin : serve.origins)
    {
        arguments.insert(arguments.end(), {"--allow-origin", origin});
    }
    for (const std::string& descriptor : serve.descriptors)
    {
        arguments.insert(arguments.end(), {"--descriptor", descriptor});
    }
    return arguments;
}

}  // namespace

std::optional<Options> readOptions(int argc, char** argv, int& status)
{
    CommandLine line;
    try
    {
        line.parse(argc, argv);
    }
    catch (const CLI::Success& asked)
    {
        Answers answers(STDOUT_FILENO);
        answers.print(line.textFor(asked, status));
        status = answers.status(status);
        return std::nullopt;
    }
    catch (const CLI::ParseError& error)
    {
        return refuse(error.what(), asksForJson(argc, argv), status);
    }
    const Options options = line.options();
    const std::string mistake = line.mistake();
    return mistake.empty() ? std::make_optional(options) : refuse(mistake, options.json, status);
}

std::vector<std::string> insideArguments(const Options& options, int lockDescriptor, int supervisorDescriptor)
{
    char speed[64];
    std::snprintf(speed, sizeof speed, "%.6f", options.speed);
    std::vector<std::string> arguments = {"--inside",
                                          "--lock-descriptor",
                                          std::to_string(lockDescriptor),
                                          "--supervisor-descriptor",
                                          std::to_string(supervisorDescriptor),
                                          "--http-descriptor",
                                          std::to_string(options.httpDescriptor),
                                          "--session-descriptor",
                                          std::to_string(options.sessionDescriptor),
                                          "--speed",
                                          speed};
    if (options.deviceDescriptor >= 0)
    {
        arguments.insert(arguments.end(), {"--device-descriptor", std::to_string(options.deviceDescriptor)});
    }
    else
    {
        arguments.insert(arguments.end(), {"--model", *options.model});
    }
    if (options.startMinutes)
    {
        arguments.insert(arguments.end(), {"--at", formatTimeOfDay(*options.startMinutes)});
    }
    if (options.json)
    {
        arguments.push_back("--json");
    }
    if (options.verbose)
    {
        arguments.push_back("--verbose");
    }
    if (!options.folder.empty())
    {
        arguments.insert(arguments.end(), {"--folder", options.folder});
    }
    if (options.serve)
    {
        const std::vector<std::string> more = serveArguments(*options.serve, options.isShell);
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    arguments.push_back(options.isDaemon ? "daemon" : options.isShell ? "shell" : "exec");
    if (!options.isShell && !options.isDaemon)
    {
        arguments.push_back("--");
        arguments.insert(arguments.end(), options.commands.begin(), options.commands.end());
    }
    return arguments;
}

}  // namespace app
