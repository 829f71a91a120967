#pragma once

#include <signal.h>

#include "app/box/EndLimit.h"

namespace app {

// Those that end a camera in order: SIGINT, SIGTERM and SIGHUP.
sigset_t endSignals();

// Those as something to wait for. They must be blocked (blockEndSignals).
// Host thread only.
class EndSignals
{
public:
    // limit: is told what is taken in; may be null, must outlive this.
    explicit EndSignals(EndLimit* limit = nullptr);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    // For poll: readable when a signal waits.
    int descriptor() const { return descriptor_; }

    // The signal that asked for the end of the program; 0 for none. Takes in what waits.
    int received();

    // Takes in what waits; true when a SIGINT was among it and nothing stronger, which is then forgotten: the
    // person wanted to end what was running.
    bool takeInterrupt();

private:
    void takeIn();

    EndLimit* const limit_;
    int descriptor_;
    int received_ = 0;
};

}  // namespace app
