#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "camera/Descriptor.h"

namespace web {

// A socket that accepts connections. Throws std::runtime_error with a text for people when it cannot be had,
// std::system_error where the system says why.
class ListenSocket
{
public:
    // A numeric address; port 0: a free one.
    static ListenSocket onPort(const std::string& address, int port);
    // The path may be as long as any. What a camera that has gone left there is replaced; a socket where one still listens, and anything else that
    // lies there, is refused. Removed with the object. group: whose the file is; nothing: this process's own.
    static ListenSocket atPath(const std::string& path, mode_t mode, std::optional<gid_t> group = {});

    // One that another process made for this one, which owns the descriptor from now on and leaves the path alone.
    // port 0: a Unix socket.
    static ListenSocket inherited(int descriptor, int port);

    ListenSocket(ListenSocket&&) = default;
    ~ListenSocket();

    int descriptor() const { return socket_.number(); }
    bool isLocal() const { return port_ == 0; }
    int port() const { return port_; }

private:
    ListenSocket(camera::Descriptor socket, std::string path, int port);

    camera::Descriptor socket_;
    std::string path_;  // to be removed while it is this file
    dev_t device_ = 0;
    ino_t file_ = 0;
    int port_ = 0;
};

// A connection to whoever listens at path; none when nobody does.
camera::Descriptor connectTo(const std::string& path);

}  // namespace web
