#pragma once

#include <signal.h>

#include <atomic>
#include <chrono>

#include "camera/Descriptor.h"

namespace app {

// How long an orderly end may take, then the program is killed, whatever it waits for: whoever reads what it prints may
// have stopped reading. The end itself takes a turn of the scheduler, a second.
constexpr auto kEndLimit = std::chrono::seconds(10);

// Those that end a camera in order: SIGINT, SIGTERM and SIGHUP.
sigset_t endSignals();

// Those as something to wait for. They must be blocked (blockEndSignals).
class EndSignals
{
public:
    // Throws Failure.
    EndSignals();

    // For the loop: readable when a signal waits.
    int descriptor() const { return descriptor_.number(); }

    // Takes in what waits. One thread at a time.
    void takeIn();

    // The signal taken in that asked for the end of the program; 0 for none. Thread-safe.
    int received() const { return received_; }

    // True when that is a SIGINT, which is then forgotten: the person wanted to end what was running. Thread-safe.
    bool takeInterrupt();

private:
    const camera::Descriptor descriptor_;
    std::atomic<int> received_{0};
};

}  // namespace app
