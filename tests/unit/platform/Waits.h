#pragma once

#include <chrono>
#include <functional>

namespace platform_tests {

// The sleeps of the whole test program while it lives. One at a time, for calls on one thread.
class Waits
{
public:
    // atFirst is called in the place of the first sleep.
    explicit Waits(std::function<void()> atFirst = {});
    ~Waits();
    Waits(const Waits&) = delete;
    Waits& operator=(const Waits&) = delete;

    int count() const;
    std::chrono::nanoseconds sum() const;  // as asked for
};

}  // namespace platform_tests
