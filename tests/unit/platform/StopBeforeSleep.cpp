#include "tests/unit/platform/StopBeforeSleep.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>

#include "tests/unit/platform/Eventually.h"

namespace {

enum class State
{
    idle,
    armed,
    heldUp,
    wokenTooEarly,
    asleep,
};

std::atomic<State> state{State::idle};

bool becomes(State from, State to)
{
    return state.compare_exchange_strong(from, to);
}

// The word that the C library's mutexes begin with: above 1 when a thread sleeps until it is free, or is about to.
bool isWaitedFor(const pthread_mutex_t& mutex)
{
    return __atomic_load_n(&mutex.__data.__lock, __ATOMIC_ACQUIRE) > 1;
}

// The one behind this program's.
template <typename Function>
Function* libraryFunction(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#ifdef __USE_TIME_BITS64  // where the C library has two of them
constexpr char kClockWait[] = "__pthread_cond_clockwait64";
#else
constexpr char kClockWait[] = "pthread_cond_clockwait";
#endif

}  // namespace

extern "C" int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                      const timespec* end)
{
    if (becomes(State::armed, State::heldUp))
    {
        platform_tests::eventually([&] { return isWaitedFor(*mutex) || state == State::wokenTooEarly; });
        if (!becomes(State::heldUp, State::asleep))
        {
            return 0;
        }
    }
    return libraryFunction<decltype(pthread_cond_clockwait)>(kClockWait)(condition, mutex, clock, end);
}

extern "C" int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    becomes(State::heldUp, State::wokenTooEarly);
    return libraryFunction<decltype(pthread_cond_broadcast)>("pthread_cond_broadcast")(condition);
}

namespace platform_tests {

StopBeforeSleep::StopBeforeSleep()
{
    state = State::armed;
}

StopBeforeSleep::~StopBeforeSleep()
{
    state = State::idle;
}

bool StopBeforeSleep::waitUntilHeldUp() const
{
    return eventually([] { return state != State::armed; });
}

bool StopBeforeSleep::wasWokenTooEarly() const
{
    return state == State::wokenTooEarly;
}

}  // namespace platform_tests
