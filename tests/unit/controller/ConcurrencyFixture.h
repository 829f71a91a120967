#pragma once

#include <optional>
#include <set>

#include "tests/support/Callers.h"
#include "tests/support/ControllerFixture.h"

namespace support {

// Threads of a test, and the calls that each of them makes.
constexpr int kCallers = 4;
constexpr int kRounds = 60;

// Nothing here looks at speed: every test runs a fixed amount of work on several threads, and checks what holds
// in any order. Run them under a thread sanitizer too.
class ConcurrencyFixture : public ControllerFixture
{
protected:
    // The sensor thread makes turns as fast as the clock is pushed, with the time going to and fro.
    void SetUp() override
    {
        ControllerFixture::SetUp();
        bringUp();
        setValue(0, KEY_BRIGHTNESS, 10);
        setValue(1, KEY_BRIGHTNESS, 20);
        setValue(2, KEY_BRIGHTNESS, 30);
        setWindow(1, true, 18, 0, 22, 0);
        startThread();
        pusher_.emplace([this, hour = 0]() mutable {
            hour = (hour + 7) % 24;
            clock_->setTimeOfDay(hour, 0);
            clock_->advance(std::chrono::seconds(1));
        });
    }

    void TearDown() override
    {
        pusher_.reset();
        ControllerFixture::TearDown();
    }

    // Three different schemes come by, or the bound is over.
    bool threadSwitches()
    {
        std::set<int> seen;
        return eventually([&] {
            int scheme = 0;
            c().getParamScheme(scheme);
            seen.insert(scheme);
            return seen.size() >= 3;
        });
    }

    std::optional<Repeated> pusher_;
};

}  // namespace support
