#include "app/box/EndLimit.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "app/EndSignals.h"
#include "app/Failure.h"

namespace app {
namespace {

int openPending(bool atPrompt)
{
    sigset_t set = endSignals();
    if (atPrompt)
    {
        sigdelset(&set, SIGINT);
    }
    return signalfd(-1, &set, SFD_CLOEXEC);
}

}  // namespace

EndLimit::EndLimit(bool atPrompt)
    : atPrompt_(atPrompt),
      pending_(openPending(atPrompt)),
      begun_(eventfd(0, EFD_CLOEXEC)),
      over_(eventfd(0, EFD_CLOEXEC))
{
    if (pending_.number() < 0 || begun_.number() < 0 || over_.number() < 0)
    {
        throw Failure(systemError("cannot wait for signals"));
    }
    watcher_ = std::thread([this] { watch(); });
}

EndLimit::~EndLimit()
{
    eventfd_write(over_.number(), 1);
    watcher_.join();
}

void EndLimit::begin(int signal)
{
    if (!(signal == SIGINT && atPrompt_))
    {
        eventfd_write(begun_.number(), 1);
    }
}

// Looks whether a signal waits, but leaves it to be taken in.
void EndLimit::watch() const
{
    pollfd waits[] = {{over_.number(), POLLIN, 0}, {begun_.number(), POLLIN, 0}, {pending_.number(), POLLIN, 0}};
    while (poll(waits, 3, -1) < 0)
    {
    }
    const auto limit = std::chrono::milliseconds(kEndLimit).count();
    if (poll(waits, 1, static_cast<int>(limit)) == 0)
    {
        kill(getpid(), SIGKILL);
    }
}

}  // namespace app
