#include "app/remote/SessionServer.h"

#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>

#include "app/Failure.h"
#include "app/cli/Session.h"
#include "app/remote/RemoteConsole.h"

namespace remote {
namespace {

constexpr auto kNoRoom = std::chrono::milliseconds(250);  // until it is tried again to accept somebody
constexpr auto kHelloLimit = std::chrono::seconds(2);     // a client says hello as soon as it has connected

// The first frame; nothing when the client has gone.
std::optional<Frame> firstOf(FrameSocket& socket)
{
    std::optional<Frame> first;
    while (!first && socket.receive())
    {
        first = socket.take();
    }
    return first;
}

std::string userOf(const FrameSocket& socket)
{
    ucred peer = {};
    socklen_t length = sizeof peer;
    const bool isKnown = getsockopt(socket.descriptor(), SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0;
    return isKnown ? std::to_string(peer.uid) : "?";
}

}  // namespace

struct SessionServer::Talk
{
    explicit Talk(camera::Descriptor client) : socket(std::move(client), kMostOfHello), user(userOf(socket)) {}

    FrameSocket socket;
    const std::string user;
    std::atomic<bool> isGreeted{false};
    std::atomic<bool> isAtPrompt{false};  // and runs nothing
    std::thread thread;
};

SessionServer::SessionServer(camera::Camera& camera, app::LibraryOutput& output, web::ListenSocket socket, Note note)
    : camera_(camera),
      output_(output),
      socket_(std::move(socket)),
      note_(std::move(note))
{
    awaitClients();
    accepting_ = std::thread([this] { loop_.runUntil([this] { return isOver_; }); });
}

SessionServer::~SessionServer()
{
    loop_.post([this] { isOver_ = true; });
    accepting_.join();
    for (const SharedTalk& talk : talks_)
    {
        talk->socket.shut();
    }
    for (const SharedTalk& talk : talks_)
    {
        talk->thread.join();
    }
}

void SessionServer::finish(std::chrono::milliseconds limit)
{
    loop_.post([this] {
        loop_.forget(socket_.descriptor());
        shutdown(socket_.descriptor(), SHUT_RDWR);  // for each process that has it
        while (acceptOne())                         // who came before
        {
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        isClosed_ = true;
        changed_.notify_all();
    });
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, limit, [this] { return isClosed_ && !isAwaited(); });
}

// Under mutex_.
bool SessionServer::isAwaited()
{
    return std::any_of(talks_.begin(), talks_.end(), [](const SharedTalk& talk) { return !talk->isAtPrompt; });
}

// ---- the loop's thread -----------------------------------------------------------------------------------------

void SessionServer::awaitClients()
{
    loop_.watch(socket_.descriptor(), [this] {
        if (!acceptOne() && errno != EAGAIN && errno != ECONNABORTED)
        {
            loop_.forget(socket_.descriptor());  // no descriptors are left: the client goes on waiting
            loop_.after(kNoRoom, [this] { awaitClients(); });
        }
    });
}

// False, with errno, when there is nobody.
bool SessionServer::acceptOne()
{
    camera::Descriptor client(accept4(socket_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    const bool isThere = client.number() >= 0;
    if (isThere)
    {
        begin(std::move(client));
    }
    return isThere;
}

void SessionServer::begin(camera::Descriptor client)
{
    if (talks_.size() >= kMostSessions)
    {
        FrameSocket(std::move(client))
            .send(Kind::refused,
                  {"the running camera has " + std::to_string(kMostSessions) + " sessions already; end one of them"});
        return;
    }
    const auto begun = std::make_shared<Talk>(std::move(client));
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        talks_.push_back(begun);
    }
    try
    {
        begun->thread = std::thread([this, &own = *begun] {
            try
            {
                talk(own);
            }
            catch (const app::Failure& failure)
            {
                own.socket.send(Kind::refused, {failure.what()});
            }
            catch (const std::exception&)  // of memory; a command's own are its answer
            {
            }
            own.socket.shut();
            loop_.post([this, &own] { forget(own); });
        });
    }
    catch (const std::system_error&)  // no room for a thread
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        talks_.pop_back();
        return;
    }
    loop_.after(kHelloLimit, [silent = std::weak_ptr<Talk>(begun)] {
        const SharedTalk known = silent.lock();
        if (known != nullptr && !known->isGreeted)
        {
            known->socket.shut();
        }
    });
}

void SessionServer::forget(const Talk& talk)
{
    const auto found =
        std::find_if(talks_.begin(), talks_.end(), [&](const SharedTalk& known) { return known.get() == &talk; });
    (*found)->thread.join();
    const std::lock_guard<std::mutex> lock(mutex_);
    talks_.erase(found);
    changed_.notify_all();
}

// ---- a session's thread ----------------------------------------------------------------------------------------

void SessionServer::talk(Talk& talk)
{
    FrameSocket& socket = talk.socket;
    const std::optional<Frame> hello = firstOf(socket);
    if (!hello || hello->kind != Kind::hello)
    {
        return;
    }
    talk.isGreeted = true;
    socket.allow(kMostOfRequest);
    if (hello->part(0) != kVersion)
    {
        socket.send(Kind::refused, {"the running camera is of another version of sensorcam, and cannot be talked to"});
        return;
    }
    const bool hasPrompt = hello->part(2) == "prompt";
    RemoteConsole console(socket, output_, hasPrompt);
    app::Session session(camera_, console, hello->part(1) == "json");
    const camera::Acting acting("shell");
    console.send(Kind::welcome);
    const auto rest = [&](bool isAtPrompt) {
        const std::lock_guard<std::mutex> lock(mutex_);
        talk.isAtPrompt = isAtPrompt;
        changed_.notify_all();
    };
    rest(hasPrompt);
    while (const std::optional<Frame> frame = console.next())
    {
        rest(false);
        answer(session, console, talk, *frame);
        rest(hasPrompt);
    }
}

void SessionServer::answer(app::Session& session, RemoteConsole& console, const Talk& talk, const Frame& frame)
{
    if (frame.kind == Kind::run)
    {
        const std::string line = frame.part(0);
        const bool isWell = session.run(line);
        if (app::isChange(line))
        {
            note_(talk.user, line, isWell);
        }
        console.send(Kind::done, {isWell ? "ok" : "failed", session.hasQuit() ? "quit" : ""});
        return;
    }
    const app::Vocabulary vocabulary = session.vocabulary();
    console.send(Kind::choices,
                 frame.kind == Kind::words ? vocabulary.words(frame.parts) : vocabulary.values(frame.part(0)));
}

}  // namespace remote
