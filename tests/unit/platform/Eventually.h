#pragma once

#include <chrono>
#include <thread>

namespace platform_tests {

// A minute is never reached unless something is broken.
constexpr std::chrono::milliseconds kBound{60000};

// True as soon as the condition holds, false when the bound is over.
template <typename Condition>
bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + kBound;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace platform_tests
