#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "app/EventLoop.h"
#include "app/box/LibraryOutput.h"
#include "app/remote/FrameSocket.h"
#include "app/web/ListenSocket.h"
#include "camera/Camera.h"

namespace app {
class Session;
}

namespace remote {

class RemoteConsole;

// Of all clients at once; each has a thread and what the library printed for it.
constexpr int kMostSessions = 8;

// Sessions with a running camera for other processes, each on a thread of its own: what one of them runs may last for
// minutes. Host thread only.
class SessionServer
{
public:
    // Told of each line that was to change something, on its session's thread: the number of the user who sent it, and
    // whether it succeeded.
    using Note = std::function<void(const std::string& user, const std::string& line, bool succeeded)>;

    // camera and output must outlive it. Throws std::exception when it cannot be started.
    SessionServer(camera::Camera& camera, app::LibraryOutput& output, web::ListenSocket socket, Note note);
    // Interrupts what runs, and waits for it.
    ~SessionServer();
    SessionServer(const SessionServer&) = delete;
    SessionServer& operator=(const SessionServer&) = delete;

    // Takes no new sessions, and waits for the end of those that there are, but no longer than that. One at a prompt is
    // waited for only while it runs something.
    void finish(std::chrono::milliseconds limit);

private:
    struct Talk;
    using SharedTalk = std::shared_ptr<Talk>;

    void awaitClients();
    bool acceptOne();
    void begin(camera::Descriptor client);
    void forget(const Talk& talk);
    void talk(Talk& talk);
    void answer(app::Session& session, RemoteConsole& console, const Talk& talk, const Frame& frame);
    bool isAwaited();

    camera::Camera& camera_;
    app::LibraryOutput& output_;
    const web::ListenSocket socket_;
    const Note note_;
    app::EventLoop loop_;
    bool isOver_ = false;  // of the loop

    std::mutex mutex_;
    std::condition_variable changed_;
    // Guarded by mutex_.
    std::list<SharedTalk> talks_;  // changed by the loop's thread alone
    bool isClosed_ = false;

    std::thread accepting_;
};

}  // namespace remote
