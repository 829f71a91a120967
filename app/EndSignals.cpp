#include "app/EndSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include "app/Failure.h"

namespace app {

sigset_t endSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

EndSignals::EndSignals(EndLimit* limit) : limit_(limit)
{
    const sigset_t set = endSignals();
    descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0)
    {
        throw Failure(systemError("cannot wait for signals"));
    }
}

EndSignals::~EndSignals()
{
    close(descriptor_);
}

void EndSignals::takeIn()
{
    signalfd_siginfo info;
    while (read(descriptor_, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
    {
        // SIGTERM and SIGHUP stand; SIGINT gives way to them.
        if (received_ == 0 || received_ == SIGINT)
        {
            received_ = static_cast<int>(info.ssi_signo);
            if (limit_ != nullptr)
            {
                limit_->begin(received_);
            }
        }
    }
}

int EndSignals::received()
{
    takeIn();
    return received_;
}

bool EndSignals::takeInterrupt()
{
    takeIn();
    if (received_ != SIGINT)
    {
        return false;
    }
    received_ = 0;
    return true;
}

}  // namespace app
