#include "tests/unit/platform/Waits.h"

#include <time.h>

#include <atomic>
#include <cerrno>
#include <utility>

namespace {

std::atomic<bool> isWatching{false};

// Used while watching only.
std::function<void()> atFirst;
int waits = 0;
std::chrono::nanoseconds asked{0};

}  // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* span, timespec* rest)
{
    if (isWatching)
    {
        asked += std::chrono::seconds(span->tv_sec) + std::chrono::nanoseconds(span->tv_nsec);
        if (++waits == 1 && atFirst)
        {
            atFirst();
            return 0;
        }
    }
    errno = clock_nanosleep(CLOCK_REALTIME, 0, span, rest);
    return errno == 0 ? 0 : -1;
}

namespace platform_tests {

Waits::Waits(std::function<void()> atFirst)
{
    ::atFirst = std::move(atFirst);
    ::waits = 0;
    ::asked = std::chrono::nanoseconds(0);
    isWatching = true;
}

Waits::~Waits()
{
    isWatching = false;
}

int Waits::count() const
{
    return ::waits;
}

std::chrono::nanoseconds Waits::sum() const
{
    return ::asked;
}

}  // namespace platform_tests
