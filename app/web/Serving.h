#pragma once

#include <vector>

#include "app/EndSignals.h"
#include "app/Options.h"
#include "app/box/LibraryOutput.h"
#include "app/web/ListenSocket.h"
#include "camera/Camera.h"

namespace web {

// The sockets that the options name; those that were handed in, if there are any. Throws std::runtime_error.
std::vector<ListenSocket> openSockets(const app::ServeOptions& options);

// "DESCRIPTOR:PORT" of each, for --descriptor.
std::vector<std::string> descriptorTexts(const std::vector<ListenSocket>& sockets);

// Serves the camera until a signal ends it, and shows the library's lines meanwhile. Host thread only.
void serve(camera::Camera& camera, const app::ServeOptions& options, std::vector<ListenSocket> sockets,
           app::EndSignals& signals, app::LibraryOutput& output);

}  // namespace web
