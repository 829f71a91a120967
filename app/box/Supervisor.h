#pragma once

#include <string>
#include <vector>

#include "camera/Descriptor.h"

// Starting the copy of the program in the private tree and staying beside it. Host thread only.
namespace app {

// Blocks the signals that end a camera in order: SIGINT, SIGTERM and SIGHUP. Threads that are started afterwards begin
// with them blocked, so that none is lost before somebody asks for it. Call it before the first thread starts.
void blockEndSignals();

// What the copy tells its supervisor: which process it is, the number being the supervisor's.
class ReportLine
{
public:
    // Throws Failure.
    ReportLine();

    // The copy's end, to be inherited.
    int copysEnd() const { return copysEnd_.number(); }

    // Waits for the report. 0 when everyone who could make it has ended. Only the supervisor calls it, and only once.
    int awaitReport();

    // The copy's part. False when copysEnd is none, or the supervisor has gone.
    static bool report(int copysEnd);

private:
    camera::Descriptor supervisorsEnd_;
    camera::Descriptor copysEnd_;
};

// Runs command (see sandboxCommand), whose program inherits the standard descriptors and those named, nothing else,
// and says on line which process it is. Until then each of the signals that end a camera in order ends this process,
// and bubblewrap with it; afterwards SIGTERM, SIGHUP and SIGINT from another process are handed to the camera itself,
// because bubblewrap would end it at once; SIGINT from the terminal has reached it already. A camera that does not end
// within ten seconds is killed, bubblewrap with it.
//
// atPrompt: a person types commands, so that SIGINT may mean no more than the end of one of them.
// Returns its exit status, 128 + n after signal n. Throws Failure.
int superviseCamera(const std::vector<std::string>& command, ReportLine& line, const std::vector<int>& inherited,
                    bool atPrompt);

}  // namespace app
