#pragma once

#include <pthread.h>

#include <csignal>

namespace sim::picture {

// The image library starts threads that never end, and they begin with the signals that whoever starts them holds back:
// meanwhile all but those of faults, so that a host's signals reach the host's own threads.
class SignalsHeld
{
public:
    SignalsHeld()
    {
        sigset_t held;
        sigfillset(&held);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP})
        {
            sigdelset(&held, fault);
        }
        pthread_sigmask(SIG_BLOCK, &held, &before_);
    }
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_;
};

}  // namespace sim::picture
