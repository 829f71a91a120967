#pragma once

#include <list>
#include <thread>

#include "app/box/LibraryOutput.h"
#include "app/remote/FrameSocket.h"
#include "app/web/ListenSocket.h"
#include "camera/Camera.h"

namespace remote {

// Of all clients at once; each has a thread and what the library printed for it.
constexpr int kMostSessions = 8;

// Sessions with a running camera for other processes, each on a thread of its own: what one of them runs may last for
// minutes. Host thread only.
class SessionServer
{
public:
    // camera and output must outlive it. Throws std::exception when it cannot be started.
    SessionServer(camera::Camera& camera, app::LibraryOutput& output, web::ListenSocket socket);
    // Interrupts what runs, and waits for it.
    ~SessionServer();
    SessionServer(const SessionServer&) = delete;
    SessionServer& operator=(const SessionServer&) = delete;

private:
    struct Talk;

    void acceptAll();
    void begin(camera::Descriptor client);

    camera::Camera& camera_;
    app::LibraryOutput& output_;
    const web::ListenSocket socket_;
    const camera::Descriptor ending_;
    std::list<Talk> talks_;  // of the accepting thread, until it has ended
    std::thread accepting_;
};

}  // namespace remote
