#include "app/remote/SessionServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>

#include "app/cli/Session.h"
#include "app/remote/RemoteConsole.h"

namespace remote {
namespace {

constexpr auto kNoRoom = std::chrono::milliseconds(250);  // until it is tried again to accept somebody

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

void answer(app::Session& session, RemoteConsole& console, const Frame& frame)
{
    if (frame.kind == Kind::run)
    {
        const bool isWell = session.run(frame.part(0));
        console.send(Kind::done, {isWell ? "ok" : "failed", session.hasQuit() ? "quit" : ""});
        return;
    }
    const app::Vocabulary vocabulary = session.vocabulary();
    console.send(Kind::choices,
                 frame.kind == Kind::words ? vocabulary.words(frame.parts) : vocabulary.values(frame.part(0)));
}

void talk(camera::Camera& camera, app::LibraryOutput& output, FrameSocket& socket)
{
    const std::optional<Frame> hello = firstOf(socket);
    if (!hello || hello->kind != Kind::hello)
    {
        return;
    }
    if (hello->part(0) != kVersion)
    {
        socket.send(Kind::refused, {"the running camera is of another version of sensorcam, and cannot be talked to"});
        return;
    }
    RemoteConsole console(socket, output, hello->part(2) == "prompt");
    app::Session session(camera, console, hello->part(1) == "json");
    const camera::Acting acting("shell");
    console.send(Kind::welcome);
    while (const std::optional<Frame> frame = console.next())
    {
        answer(session, console, *frame);
    }
}

}  // namespace

struct SessionServer::Talk
{
    explicit Talk(camera::Descriptor client) : socket(std::move(client)) {}

    FrameSocket socket;
    std::atomic<bool> isOver{false};
    std::thread thread;
};

SessionServer::SessionServer(camera::Camera& camera, app::LibraryOutput& output, web::ListenSocket socket)
    : camera_(camera),
      output_(output),
      socket_(std::move(socket)),
      ending_(eventfd(0, EFD_CLOEXEC)),
      accepting_([this] { acceptAll(); })
{
}

SessionServer::~SessionServer()
{
    eventfd_write(ending_.number(), 1);
    accepting_.join();
    for (Talk& talk : talks_)
    {
        talk.socket.shut();
    }
    for (Talk& talk : talks_)
    {
        talk.thread.join();
    }
}

void SessionServer::acceptAll()
{
    while (true)
    {
        pollfd waits[] = {{ending_.number(), POLLIN, 0}, {socket_.descriptor(), POLLIN, 0}};
        poll(waits, 2, -1);
        if (waits[0].revents != 0)
        {
            return;
        }
        camera::Descriptor client(accept4(socket_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
        if (client.number() >= 0)
        {
            begin(std::move(client));
        }
        else if (errno != EAGAIN && errno != ECONNABORTED)
        {
            std::this_thread::sleep_for(kNoRoom);  // no descriptors are left: the client goes on waiting
        }
    }
}

void SessionServer::begin(camera::Descriptor client)
{
    talks_.remove_if([](Talk& talk) {
        const bool isOver = talk.isOver;
        if (isOver)
        {
            talk.thread.join();
        }
        return isOver;
    });
    if (talks_.size() >= kMostSessions)
    {
        FrameSocket(std::move(client))
            .send(Kind::refused,
                  {"the running camera has " + std::to_string(kMostSessions) + " sessions already; end one of them"});
        return;
    }
    Talk& begun = talks_.emplace_back(std::move(client));
    try
    {
        begun.thread = std::thread([this, &begun] {
            try
            {
                talk(camera_, output_, begun.socket);
            }
            catch (const std::exception&)  // of memory; a command's own are its answer
            {
            }
            begun.socket.shut();
            begun.isOver = true;
        });
    }
    catch (const std::system_error&)  // no room for a thread
    {
        talks_.pop_back();
    }
}

}  // namespace remote
