#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/Options.h"
#include "app/box/LibraryOutput.h"
#include "app/web/Api.h"
#include "app/web/AuditLog.h"
#include "app/web/HttpServer.h"
#include "app/web/ListenSocket.h"
#include "app/web/Sessions.h"
#include "app/web/Users.h"
#include "camera/Camera.h"

namespace web {

// What a server has of the machine, opened where its paths are known.
struct Opened
{
    std::optional<ListenSocket> own;    // of the state folder, for whose it is
    std::vector<ListenSocket> sockets;  // that the options name
    std::optional<UsersFile> users;
    camera::Descriptor identity;  // certificates and key, in memory; none without TLS
};

// What the options name, or what was handed in, if anything was. The camera's own certificate is made when it is wanted
// and missing. Throws std::runtime_error.
Opened open(const app::ServeOptions& options, const std::string& stateFolder);

// On the real machine; empty without users.
std::string usersFolder(const app::ServeOptions& options);

// Puts into the options what the copy inside needs to find it. The descriptors that it must inherit.
std::vector<int> handOver(const Opened& opened, app::ServeOptions& options);

// Serves the camera as long as it lives.
class Service
{
public:
    // camera and output must outlive it. Throws std::runtime_error.
    Service(camera::Camera& camera, const app::ServeOptions& options, Opened opened, const std::string& stateFolder,
            app::LibraryOutput& output);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Lines that say where, without the state folder's own socket.
    const std::string& places() const { return places_; }

    AuditLog& audit() { return audit_; }

private:
    class Tracing;

    AuditLog audit_;
    std::optional<Sessions> sessions_;
    Api api_;
    const std::unique_ptr<Tracing> tracing_;
    std::string places_;
    std::optional<HttpServer> server_;
};

}  // namespace web
