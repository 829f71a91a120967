#pragma once

#include <string>
#include <vector>

// Starting the copy of the program in the private tree and staying beside it.
namespace app {

// Blocks the signals that end a camera in order: SIGINT, SIGTERM and SIGHUP. Programs started afterwards, and
// their threads, begin with them blocked, so that none is lost before somebody asks for it. Call it before the
// first thread starts.
void blockEndSignals();

// Runs command (see sandboxCommand), which writes to infoDescriptor what it started; readDescriptor is the other
// end of that pipe. SIGTERM, SIGHUP and SIGINT from another process are handed to the camera itself, because
// bubblewrap would end it at once; SIGINT from the terminal has reached it already. A camera that does not end
// within ten seconds is killed, bubblewrap with it.
//
// atPrompt: a person types commands, so that SIGINT may mean no more than the end of one of them.
// Returns its exit status, 128 + n after signal n.
int superviseCamera(const std::vector<std::string>& command, int readDescriptor, int infoDescriptor, bool atPrompt);

}  // namespace app
