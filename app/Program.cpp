#include "app/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "app/EndSignals.h"
#include "app/EventLoop.h"
#include "app/Failure.h"
#include "app/Models.h"
#include "app/Service.h"
#include "app/box/Bubblewrap.h"
#include "app/box/Provision.h"
#include "app/box/StateFolder.h"
#include "app/box/Supervisor.h"
#include "app/cli/Session.h"
#include "app/cli/Shell.h"
#include "app/cli/Terminal.h"
#include "app/web/Serving.h"
#include "camera/Camera.h"

namespace app {
namespace {

// On a board the camera's own state lies beside the library's files.
constexpr char kInPlaceState[] = "/mnt/mtd/sensorcam";

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

// The camera and who commands it, from its start to its end. Any of it may hang.
int runFrontEnd(const Options& options, const std::string& share, const std::string& stateFolder, LibraryOutput& output,
                Terminal& terminal)
{
    int status = kExitOk;
    try
    {
        std::optional<web::Opened> opened;  // first: a camera that nobody may reach is not started
        if (options.serve)
        {
            opened = web::open(*options.serve, stateFolder);
        }
        camera::Camera camera({*options.model, share, options.speed, options.startMinutes, options.inPlace}, service());
        terminal.showLibrary();
        if (opened)
        {
            web::serve(camera, *options.serve, std::move(*opened), stateFolder, output, terminal);
        }
        else
        {
            Session session(camera, terminal, options.json);
            status = options.isShell ? runShell(session, terminal, stateFolder + "/history")
                                     : session.runAll(options.commands);
        }
    }
    catch (...)
    {
        terminal.showAll();  // it may say why
        throw;
    }
    terminal.showLibrary();  // what the library said at its end
    return status;
}

// The camera itself, in whatever tree it finds: all of it works on a thread of its own, and this one waits.
int runCamera(const Options& options, const std::string& share, const std::string& stateFolder)
{
    blockEndSignals();
    signal(SIGPIPE, SIG_IGN);
    const bool interactive = hasPrompt(options);
    EventLoop loop;
    EndSignals signals;
    LibraryOutput output;
    Terminal terminal(loop, signals, output, libraryWay(options, interactive), interactive);
    loop.watch(signals.descriptor(), [&] {
        signals.takeIn();
        terminal.wake();
        if (options.inPlace && terminal.ended())  // in the private tree the limit is the supervisor's
        {
            loop.after(kEndLimit, [] { kill(getpid(), SIGKILL); });
        }
    });
    const int status = loop.runBeside([&] { return runFrontEnd(options, share, stateFolder, output, terminal); });
    signals.takeIn();
    return signals.received() != 0 ? 128 + signals.received() : terminal.answers().status(status);
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

int runInPlace(Options options)
{
    StateFolder state(kInPlaceState, StateFolder::Kind::ofBoard);
    options.model = state.chooseModel(options.model);
    prepare(state, *options.model, "", Documents::keepExisting);
    return runCamera(options, ownShareFolder(), state.path());
}

int runInPrivateTree(Options options)
{
    signal(SIGCHLD, SIG_DFL);   // ignored by whoever started this, no child would have an exit status
    umask(umask(0) | S_IWOTH);  // a folder in which everybody may put something is refused
    const std::string wantedModel = options.model.value_or(kModelNames[0]);
    StateFolder state(options.stateFolder.empty() ? defaultStateFolder(wantedModel)
                                                  : absolutePath(options.stateFolder));
    options.model = state.chooseModel(options.model);
    prepare(state, *options.model, state.path(), Documents::refresh);
    ReportLine line;
    std::optional<web::Opened> opened;
    std::vector<int> inherited = {state.lockDescriptor(), line.copysEnd()};
    if (options.serve)
    {
        opened = web::open(*options.serve, state.path());
        const std::vector<int> more = web::handOver(*opened, *options.serve);
        inherited.insert(inherited.end(), more.begin(), more.end());
    }
    const std::vector<std::string> arguments = insideArguments(options, state.lockDescriptor(), line.copysEnd());
    const std::string users = options.serve ? web::usersFolder(*options.serve) : "";
    return superviseCamera(sandboxCommand(state.path(), programFile(), arguments, users), line, inherited,
                           hasPrompt(options));
}

// Outside of the private tree the copy would work on the machine's own files.
int runInside(const Options& options)
{
    if (!insideSandbox() || fcntl(options.lockDescriptor, F_SETFD, FD_CLOEXEC) < 0 ||
        !ReportLine::report(options.supervisorDescriptor))
    {
        throw Failure("--inside is only for the copy that sensorcam starts in its private file tree");
    }
    return runCamera(options, shareFolder(kInsidePrefix), kInsideState);
}

}  // namespace

int runProgram(Options options)
{
    if (options.inside)
    {
        return runInside(options);
    }
    return options.inPlace ? runInPlace(std::move(options)) : runInPrivateTree(std::move(options));
}

}  // namespace app
