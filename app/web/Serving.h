#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/Options.h"
#include "app/box/LibraryOutput.h"
#include "app/cli/Console.h"
#include "app/web/ListenSocket.h"
#include "app/web/Users.h"
#include "camera/Camera.h"

namespace web {

// What a server has of the machine, opened where its paths are known.
struct Opened
{
    std::vector<ListenSocket> sockets;
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

// Serves the camera until the console ends.
void serve(camera::Camera& camera, const app::ServeOptions& options, Opened opened, const std::string& stateFolder,
           app::LibraryOutput& output, app::Console& console);

}  // namespace web
