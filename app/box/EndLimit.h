#pragma once

#include <chrono>
#include <thread>

#include "camera/Descriptor.h"

namespace app {

// How long an orderly end may take. It takes a turn of the scheduler, a second.
constexpr auto kEndLimit = std::chrono::seconds(10);

// Kills this process when it has not ended kEndLimit after a signal that ends a camera, whatever it waits for: whoever
// reads what it prints may have stopped reading. For a camera without a supervisor. begin on any thread.
class EndLimit
{
public:
    // The signals must be blocked. atPrompt: SIGINT may mean no more than the end of a command, and does not count.
    // Throws Failure.
    explicit EndLimit(bool atPrompt);
    ~EndLimit();
    EndLimit(const EndLimit&) = delete;
    EndLimit& operator=(const EndLimit&) = delete;

    // Somebody has taken in this signal, so that it waits no more.
    void begin(int signal);

private:
    void watch() const;

    const bool atPrompt_;
    const camera::Descriptor pending_;
    const camera::Descriptor begun_;
    const camera::Descriptor over_;
    std::thread watcher_;
};

}  // namespace app
