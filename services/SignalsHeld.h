#pragma once

#include <pthread.h>

#include <csignal>

namespace services {

// A thread begins with the signals held back that its starter holds back. As long as this lives those are all but the
// faults' own, so that a host's signals reach the host's own threads.
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

}  // namespace services
