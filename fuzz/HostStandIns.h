#pragma once

#include <functional>

// Parts of the host in place of the framework's own: an input must do the same every time it is run, and fast.
//   GThread    makes a turn only when asked to
//   sy_system  does in this process what the one command of the library asks of a shell
//   fsync      returns at once
namespace fuzz {

// One turn of the thread that was started last, if it runs.
void turnOfThread();

bool threadRuns();

// From here on GThread::start fails.
void refuseThreads(bool refuse);

// From here on a shell command fails and does nothing.
void refuseCommands(bool refuse);
bool commandsRefused();

}  // namespace fuzz
