#pragma once

#include <pthread.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <type_traits>

#include "KSMutex.h"
#include "tests/support/ControllerFixture.h"

namespace support {

// The word that the C library's mutexes begin with: 0 free, 1 held, 2 held with a thread that sleeps until it is
// free, or is about to.
inline int lockWord(const KSMutex& mutex)
{
    static_assert(std::is_standard_layout_v<KSMutex> && std::is_standard_layout_v<std::mutex>,
                  "the C library's mutex lies at its beginning");
    static_assert(std::is_same_v<std::mutex::native_handle_type, pthread_mutex_t*>, "std::mutex is such a mutex");
    return __atomic_load_n(&reinterpret_cast<const pthread_mutex_t&>(mutex).__data.__lock, __ATOMIC_ACQUIRE);
}

inline bool isHeld(const KSMutex& mutex)
{
    return lockWord(mutex) != 0;
}

inline bool isWaitedFor(const KSMutex& mutex)
{
    return lockWord(mutex) > 1;
}

// Runs a call on a thread of its own, joined at the end of its life. Free the mutex that it waits for before that.
class WaitingCall
{
public:
    explicit WaitingCall(const std::function<void()>& call)
        : thread_([this, call] {
              call();
              done_ = true;
          })
    {
    }
    ~WaitingCall() { join(); }
    WaitingCall(const WaitingCall&) = delete;
    WaitingCall& operator=(const WaitingCall&) = delete;

    // True once the call sleeps until the mutex is free, which somebody must hold all the time; false if it ends
    // without that.
    bool waitsFor(const KSMutex& mutex)
    {
        eventually([&] { return isWaitedFor(mutex) || done_; });
        return isWaitedFor(mutex) && !done_;
    }

    bool ends()
    {
        return eventually([this] { return done_.load(); });
    }

    bool done() const { return done_; }

    void join()
    {
        if (thread_.joinable())
        {
            thread_.join();
        }
    }

private:
    std::atomic<bool> done_{false};
    std::thread thread_;
};

}  // namespace support
