#pragma once

#include <string>

#include "app/Options.h"

namespace app {

// The whole program after its options were read: prepares the state folder, starts the copy in the private tree
// and stays beside it, or, inside it, runs the camera. The exit status. Throws Failure when there is no camera.
int runProgram(Options options);

}  // namespace app
