#pragma once

#include "app/Options.h"

namespace app {

// "sensorcam replay": shows a trace of light to the engine that decides between day and night, and prints what it
// decides. The exit status; a trace that cannot be read is told as a failure.
int replayLight(const ReplayOptions& options, bool json);

}  // namespace app
