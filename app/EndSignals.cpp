#include "app/EndSignals.h"

#include <sys/signalfd.h>

#include "app/Failure.h"

namespace app {
namespace {

int openSignals()
{
    const sigset_t set = endSignals();
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

sigset_t endSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

EndSignals::EndSignals() : descriptor_(openSignals())
{
    if (descriptor() < 0)
    {
        throw Failure(systemError("cannot wait for signals"));
    }
}

void EndSignals::takeIn()
{
    signalfd_siginfo info;
    while (read(descriptor(), &info, sizeof info) == static_cast<ssize_t>(sizeof info))
    {
        // SIGTERM and SIGHUP stand; SIGINT gives way to them.
        int before = received_;
        while ((before == 0 || before == SIGINT) &&
               !received_.compare_exchange_weak(before, static_cast<int>(info.ssi_signo)))
        {
        }
    }
}

bool EndSignals::takeInterrupt()
{
    int interrupt = SIGINT;
    return received_.compare_exchange_strong(interrupt, 0);
}

}  // namespace app
