#pragma once

#include <functional>
#include <thread>
#include <utility>

#include "HostClock.h"

namespace platform_tests {

// A thread that is joined when the test leaves it, by a failed assertion too. Its function ends by itself.
class Joining
{
public:
    explicit Joining(std::function<void()> work) : thread_(std::move(work)) {}
    ~Joining() { join(); }
    Joining(const Joining&) = delete;
    Joining& operator=(const Joining&) = delete;

    void join()
    {
        if (thread_.joinable())
        {
            thread_.join();
        }
    }

private:
    std::thread thread_;
};

// Lets the sleepers of a clock go at the end of a test: a Joining made before it would wait for them for ever.
class LastAdvance
{
public:
    explicit LastAdvance(host::ManualClock& clock) : clock_(clock) {}
    ~LastAdvance() { clock_.advance(host::Span::max()); }
    LastAdvance(const LastAdvance&) = delete;
    LastAdvance& operator=(const LastAdvance&) = delete;

private:
    host::ManualClock& clock_;
};

}  // namespace platform_tests
