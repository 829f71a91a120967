#include "app/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

#include "app/Devices.h"
#include "app/EndSignals.h"
#include "app/EventLoop.h"
#include "app/Failure.h"
#include "app/Models.h"
#include "app/Replay.h"
#include "app/Service.h"
#include "app/box/Bubblewrap.h"
#include "app/box/DeviceBroker.h"
#include "app/box/OwnFiles.h"
#include "app/box/Provision.h"
#include "app/box/StateFolder.h"
#include "app/box/Supervisor.h"
#include "app/box/WorkingFolder.h"
#include "app/cli/Session.h"
#include "app/cli/Shell.h"
#include "app/cli/Terminal.h"
#include "app/remote/SessionClient.h"
#include "app/remote/SessionServer.h"
#include "app/web/Serving.h"
#include "camera/Camera.h"

namespace app {
namespace {

// On a board the camera's own state lies beside the library's files.
constexpr char kInPlaceState[] = "/mnt/mtd/sensorcam";

// A camera that starts or ends has done so by then.
constexpr auto kAnswerLimit = std::chrono::seconds(10);
constexpr auto kAnswerLook = std::chrono::milliseconds(100);

// A camera of exec that has run its lines waits so long for others to have run theirs.
constexpr auto kLastLines = std::chrono::seconds(5);

// Until then whoever took the camera down has been told, by whatever way.
constexpr auto kLastAnswer = std::chrono::milliseconds(500);

LibraryView::Way libraryWay(const Options& options, bool interactive)
{
    using Way = LibraryView::Way;
    if (!options.isShell || options.json)
    {
        return Way::beside;
    }
    return interactive && !options.verbose ? Way::keptBack : Way::between;
}

bool hasPrompt(const Options& options)
{
    return options.isShell && isInteractive(STDOUT_FILENO, options.json);
}

// The documents' folder of the running program, on the real machine.
std::string ownShareFolder()
{
    return shareFolder(std::filesystem::path(programFile()).parent_path().parent_path().string());
}

// By which a camera is reached on this machine, in its state folder; none where it may not make files.
struct OwnSockets
{
    std::optional<web::ListenSocket> http;
    std::optional<web::ListenSocket> sessions;

    // Throws std::runtime_error.
    static OwnSockets in(const StateFolder& state)
    {
        if (access(state.path().c_str(), W_OK) != 0)
        {
            notice(systemError("no other process can join this camera; " + state.path()));
            return {};
        }
        return {web::ListenSocket::atPath(state.path() + "/" + kHttpSocketFile, 0600),
                web::ListenSocket::atPath(state.path() + "/" + kSessionSocketFile, 0600)};
    }

    // Those of another process, which owns their files.
    static OwnSockets inherited(const Options& options)
    {
        return {inherited(options.httpDescriptor), inherited(options.sessionDescriptor)};
    }

    static int descriptorOf(const std::optional<web::ListenSocket>& socket)
    {
        return socket ? socket->descriptor() : -1;
    }

private:
    static std::optional<web::ListenSocket> inherited(int descriptor)
    {
        return descriptor < 0 ? std::nullopt : std::make_optional(web::ListenSocket::inherited(descriptor, 0));
    }
};

// What a process does at its terminal. Any of run may hang.
struct Work
{
    std::function<int()> run;  // the exit status
    std::function<void()> tellSignal = [] {};
};

// Works on a thread of its own, while this one waits for signals and input. endsCamera: it is this process's own.
int runAtTerminal(const Options& options, bool endsCamera,
                  const std::function<Work(Terminal& terminal, LibraryOutput& output)>& workAt)
{
    blockEndSignals();
    signal(SIGPIPE, SIG_IGN);
    const bool interactive = hasPrompt(options);
    EventLoop loop;
    EndSignals signals;
    LibraryOutput output;
    Terminal terminal(loop, signals, output, libraryWay(options, interactive), interactive, endsCamera,
                      WorkingFolder(options.folder));
    const Work work = workAt(terminal, output);
    loop.watch(signals.descriptor(), [&] {
        signals.takeIn();
        work.tellSignal();
        terminal.wake();
        if (!options.inside && terminal.ended())  // in the private tree the limit is the supervisor's
        {
            loop.after(kEndLimit, [] { kill(getpid(), SIGKILL); });
        }
    });
    const int status = loop.runBeside(work.run);
    signals.takeIn();
    const int signal = signals.received();
    const bool isDaemonsEnd = options.isDaemon && (signal == SIGTERM || signal == SIGINT);  // it has no other one
    return signal != 0 && !isDaemonsEnd ? 128 + signal : terminal.answers().status(status);
}

// Until whoever started the camera, at the terminal, lets it end.
int command(const Options& options, Session& session, Terminal& terminal, const std::string& stateFolder)
{
    if (options.isShell)
    {
        return runShell(session, terminal, stateFolder + "/history");
    }
    if (!options.serve && !options.isDaemon)
    {
        return session.runAll(options.commands);
    }
    while (terminal.pause(std::chrono::hours(1)))
    {
    }
    return kExitOk;
}

// What the camera of this process runs on.
struct Ground
{
    std::string share;        // folder of page, schema and a model's documents
    std::string stateFolder;  // as this process sees it
    OwnSockets sockets;
    std::unique_ptr<devices::DeviceSource> devices = nullptr;  // null for a camera without a real one
};

camera::Camera::Setup setupOf(const Options& options, const Ground& ground, std::function<void()> onDown)
{
    camera::Camera::Setup setup = {*options.model,       ground.share,    options.speed,
                                   options.startMinutes, options.inPlace, std::move(onDown)};
    if (*options.model == kDeviceModel)
    {
        setup.systemClock = options.speed == 1.0 && !options.startMinutes;
        setup.texts = ground.stateFolder + "/" + kCurrentLink + "/share";
    }
    return setup;
}

// The camera and all front ends of it.
int runFrontEnds(const Options& options, Ground ground, LibraryOutput& output, Terminal& terminal)
{
    const ServeOptions serve = options.serve.value_or(ServeOptions());
    web::Opened opened = web::open(serve, ground.stateFolder);  // first: a camera that nobody may reach is not started
    OwnSockets& sockets = ground.sockets;
    if (sockets.http)
    {
        opened.own.emplace(std::move(*sockets.http));
    }
    std::atomic<bool> isDown{false};
    const auto onDown = [&] {
        isDown = true;
        terminal.hangUp();
    };
    services::Journal& behind =
        ground.devices ? deviceService(ground.stateFolder, std::move(ground.devices)) : service();
    camera::Camera camera(setupOf(options, ground, onDown), behind);
    terminal.showLibrary();
    web::Service service(camera, serve, std::move(opened), ground.stateFolder, output);
    std::optional<remote::SessionServer> sessions;
    if (sockets.sessions)
    {
        sessions.emplace(
            camera, output, std::move(*sockets.sessions),
            [&](const std::string& user, const std::string& line, bool succeeded) {
                service.audit().add({user, kSessionSocketFile, line, "", succeeded ? kExitOk : kExitCommandFailed});
            });
    }
    terminal.print(service.places());
    std::optional<DeviceWatch> watch;
    services::Device* const device = behind.device();
    if (device != nullptr)
    {
        watch.emplace(*device, camera.events(), [&] { terminal.hangUp(); });
    }
    Session session(camera, terminal, options.json);
    const int status = command(options, session, terminal, ground.stateFolder);
    if (watch && watch->hasOtherControls())
    {
        throw Failure(device->name() + " has other controls now; start its camera again");
    }
    if (isDown && !session.hasQuit())
    {
        session.tellLoss();  // somebody else's reset
    }
    if (isDown)
    {
        std::this_thread::sleep_for(kLastAnswer);
    }
    else if (sessions && !options.serve && !options.isShell && !terminal.ended())
    {
        sessions->finish(kLastLines);
    }
    return isDown ? kExitCommandFailed : status;
}

int runCamera(const Options& options, Ground ground)
{
    return runAtTerminal(options, true, [&](Terminal& terminal, LibraryOutput& output) {
        return Work{[&] {
            try
            {
                const int status = runFrontEnds(options, std::move(ground), output, terminal);
                terminal.showLibrary();  // what the library said at its end
                return status;
            }
            catch (...)
            {
                terminal.showAll();  // it may say why
                throw;
            }
        }};
    });
}

// A session with the camera that another process runs on the folder: this one is no more than its terminal. Nothing when
// that camera ended before it answered, so that there may be another one now.
std::optional<int> runClient(const Options& options, std::unique_ptr<remote::FrameSocket> socket,
                             const std::string& stateFolder)
{
    using remote::SessionClient;
    bool isUnanswered = false;
    sigset_t before;
    sigprocmask(SIG_SETMASK, nullptr, &before);
    const int status = runAtTerminal(options, false, [&](Terminal& terminal, LibraryOutput&) {
        const auto client =
            std::make_shared<SessionClient>(std::move(socket), terminal, options.json, !options.isShell);
        const auto run = [&, client] {
            try
            {
                terminal.showLibrary();
                return client->statusOr(options.isShell ? runShell(*client, terminal, stateFolder + "/history")
                                                        : client->runAll(options.commands));
            }
            catch (const SessionClient::Unanswered&)
            {
                isUnanswered = true;
                return static_cast<int>(kExitCommandFailed);
            }
        };
        return Work{run, [client] { client->tellSignal(); }};
    });
    if (!isUnanswered || status != kExitCommandFailed)  // a signal came too
    {
        return status;
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return std::nullopt;
}

// The folder is the camera's alone: what else lies in it keeps the next one from starting.
void requireOutside(const StateFolder& state, const Options& options)
{
    if (options.serve && !options.serve->socket.empty() && state.wouldHold(options.serve->socket))
    {
        throw Failure("the socket " + options.serve->socket + " would lie in the state folder " + state.path() +
                      ", which is for the camera's own files; name another place with --socket");
    }
}

// Locks the folder for a camera of this process. When one is running there, the status of a client of it.
std::optional<int> lockOrJoin(std::optional<StateFolder>& state, const std::string& path, StateFolder::Kind kind,
                              const Options& options)
{
    auto limit = std::chrono::steady_clock::now() + kAnswerLimit;
    while (true)
    {
        try
        {
            state.emplace(path, kind);
            requireOutside(*state, options);
            return std::nullopt;
        }
        catch (const StateFolder::InUse& inUse)
        {
            if (options.isDaemon || (options.serve && !options.isShell))
            {
                throw Failure(std::string(inUse.what()) + ". It answers HTTP on " + path + "/" + kHttpSocketFile);
            }
            const StateFolder running(path, kind, StateFolder::Lock::ofAnother);
            running.chooseModel(options.model);
            auto socket = remote::SessionClient::open(path + "/" + kSessionSocketFile, options.json, hasPrompt(options),
                                                      kAnswerLimit);
            if (socket != nullptr)
            {
                if (options.setsClock)
                {
                    throw Failure(
                        "the camera on " + path +
                        " is running already, at a time of its own: --speed and --at are for one that starts");
                }
                if (const std::optional<int> status = runClient(options, std::move(socket), path))
                {
                    return status;
                }
                limit = std::chrono::steady_clock::now() + kAnswerLimit;
            }
            if (std::chrono::steady_clock::now() >= limit)
            {
                throw;
            }
        }
        std::this_thread::sleep_for(kAnswerLook);  // it is starting or ending
    }
}

void announceFirstStart(const StateFolder& state, const std::string& model)
{
    notice("first start: making the files of a " + modelTitle(model) + " in " + state.path());
}

// Lays out the tree and remembers the model; the last step, so that an interrupted first start begins anew.
void prepare(StateFolder& state, const std::string& model, const std::string& root, Documents documents)
{
    const bool isNew = !state.model();
    if (isNew)
    {
        announceFirstStart(state, model);
    }
    provision(ownShareFolder(), model, root, documents);
    if (isNew)
    {
        state.rememberModel(model);
    }
}

bool holdsDevice(const std::string& stateFolder)
{
    try
    {
        return !stateFolder.empty() && rememberedModel(stateFolder) == std::string(kDeviceModel);
    }
    catch (const std::runtime_error&)
    {
        return false;  // refused where the folder is taken, with the reason
    }
}

// Whether a camera with a real device is meant.
bool isOnDevice(const Options& options)
{
    const std::string remembering = options.inPlace && hasDeviceLinks() ? kInsideState : options.stateFolder;
    return options.device || options.isDaemon || holdsDevice(remembering);
}

// In the tree that sandboxCommand would make, made by somebody else: a service manager.
int runInDevicesPlace(Options options)
{
    if (!hasDeviceLinks())
    {
        throw Failure("--in-place is for a device's camera only in a file tree of its own, in which /mnt and /hd1 are "
                      "links to /state/current/mnt and /state/current/hd1; without it sensorcam makes one");
    }
    DeviceCamera device(options.device, kInsideState);
    std::optional<StateFolder> state;
    if (const std::optional<int> status = lockOrJoin(state, kInsideState, StateFolder::Kind::chosen, options))
    {
        return *status;
    }
    options.model = state->chooseModel(options.model);
    device.bringUp(*state);
    if (!insideSandbox(Tree::ofDevice))
    {
        throw Failure("/mnt, /hd1 and /tmp do not lead into /state, where the camera's files are");
    }
    return runCamera(options, {ownShareFolder(), kInsideState, OwnSockets::in(*state), device.handOver()});
}

int runInPlace(Options options)
{
    if (options.model == std::string(kDeviceModel))
    {
        return runInDevicesPlace(std::move(options));
    }
    std::optional<StateFolder> state;
    if (const std::optional<int> status = lockOrJoin(state, kInPlaceState, StateFolder::Kind::ofBoard, options))
    {
        return *status;
    }
    options.model = state->chooseModel(options.model);
    prepare(*state, *options.model, "", Documents::keepExisting);
    return runCamera(options, {ownShareFolder(), state->path(), OwnSockets::in(*state)});
}

int runInPrivateTree(Options options)
{
    signal(SIGCHLD, SIG_DFL);   // ignored by whoever started this, no child would have an exit status
    umask(umask(0) | S_IWOTH);  // a folder in which everybody may put something is refused
    std::string path = options.stateFolder.empty() ? "" : absolutePath(options.stateFolder);
    std::optional<DeviceCamera> device;
    if (options.model == std::string(kDeviceModel))
    {
        path = device.emplace(options.device, path).stateFolder();
    }
    else if (path.empty())
    {
        path = defaultStateFolder(options.model.value_or(kModelNames[0]));
    }
    std::optional<StateFolder> locked;
    if (const std::optional<int> status = lockOrJoin(locked, path, StateFolder::Kind::chosen, options))
    {
        return *status;
    }
    StateFolder& state = *locked;
    options.model = state.chooseModel(options.model);
    if (device)
    {
        device->bringUp(state);
    }
    else
    {
        prepare(state, *options.model, state.path(), Documents::refresh);
    }
    const OwnSockets sockets = OwnSockets::in(state);
    options.httpDescriptor = OwnSockets::descriptorOf(sockets.http);
    options.sessionDescriptor = OwnSockets::descriptorOf(sockets.sessions);
    ReportLine line;
    std::optional<web::Opened> opened;
    std::vector<int> inherited = {state.lockDescriptor(), line.copysEnd(), options.httpDescriptor,
                                  options.sessionDescriptor};
    BrokerLine brokerLine;
    std::optional<DeviceBroker> broker;
    if (device)
    {
        options.deviceDescriptor = brokerLine.copys.number();
        inherited.push_back(options.deviceDescriptor);
        broker.emplace(device->source(), std::move(brokerLine.brokers));
    }
    camera::Descriptor root;
    if (options.isShell || !options.serve)  // somebody may name a file
    {
        root = camera::Descriptor(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
        options.folder = WorkingFolder::handOver(root.number());
        inherited.push_back(root.number());
    }
    if (options.serve)
    {
        opened.emplace(web::open(*options.serve, state.path()));
        const std::vector<int> more = web::handOver(*opened, *options.serve);
        inherited.insert(inherited.end(), more.begin(), more.end());
    }
    const std::vector<std::string> arguments = insideArguments(options, state.lockDescriptor(), line.copysEnd());
    const std::string users = options.serve ? web::usersFolder(*options.serve) : "";
    const Tree tree = device ? Tree::ofDevice : Tree::ofModel;
    return superviseCamera(sandboxCommand(state.path(), programFile(), arguments, users, tree), line, inherited,
                           hasPrompt(options));
}

// Outside of the private tree the copy would work on the machine's own files.
int runInside(Options options)
{
    const bool isDevice = options.deviceDescriptor >= 0;
    if (!insideSandbox(isDevice ? Tree::ofDevice : Tree::ofModel) ||
        fcntl(options.lockDescriptor, F_SETFD, FD_CLOEXEC) < 0 || !ReportLine::report(options.supervisorDescriptor))
    {
        throw Failure("--inside is only for the copy that sensorcam starts in its private file tree");
    }
    Ground ground = {shareFolder(kInsidePrefix), kInsideState, OwnSockets::inherited(options)};
    if (isDevice)
    {
        options.model = kDeviceModel;
        ground.devices = std::make_unique<RemoteDevices>(camera::Descriptor(options.deviceDescriptor));
    }
    return runCamera(options, std::move(ground));
}

}  // namespace

int runProgram(Options options)
{
    if (options.inside)
    {
        return runInside(std::move(options));
    }
    if (options.deviceList)
    {
        return listDevices(*options.deviceList, options.json);
    }
    if (options.replay)
    {
        return replayLight(*options.replay, options.json);
    }
    if (isOnDevice(options))
    {
        options.model = kDeviceModel;
    }
    return options.inPlace ? runInPlace(std::move(options)) : runInPrivateTree(std::move(options));
}

}  // namespace app
