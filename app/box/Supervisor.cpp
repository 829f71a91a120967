#include "app/box/Supervisor.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>

#include "app/EndSignals.h"
#include "app/Failure.h"
#include "app/Options.h"
#include "app/box/ControlMessage.h"

namespace app {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr timespec kLook = {0, 200 * 1000 * 1000};  // how often the limit is looked at

// What somebody left open in this process would lead out of the private tree.
void inheritOnly(const std::vector<int>& descriptors)
{
    if (close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC) != 0)
    {
        const long limit = sysconf(_SC_OPEN_MAX);
        for (int descriptor = STDERR_FILENO + 1; descriptor < limit; ++descriptor)
        {
            fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        }
    }
    for (int descriptor : descriptors)
    {
        fcntl(descriptor, F_SETFD, 0);
    }
}

// It begins with the end signals blocked and SIGCHLD not.
pid_t startChild(const std::vector<std::string>& command, const std::vector<int>& inherited)
{
    std::vector<char*> pointers;
    for (const std::string& argument : command)
    {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0)
    {
        const sigset_t blocked = endSignals();
        sigprocmask(SIG_SETMASK, &blocked, nullptr);
        inheritOnly(inherited);
        execvp(pointers[0], pointers.data());
        std::fprintf(stderr, "sensorcam: cannot run %s: %s\n", pointers[0], std::strerror(errno));
        _exit(kExitNoCamera);
    }
    if (child < 0)
    {
        throw Failure(systemError("cannot start a process"));
    }
    return child;
}

// Hands signals on until the child has ended; its wait status.
class Watch
{
public:
    Watch(pid_t child, pid_t camera, bool atPrompt) : child_(child), camera_(camera), atPrompt_(atPrompt) {}

    int untilEnd()
    {
        sigset_t set = endSignals();
        sigaddset(&set, SIGCHLD);
        int status = 0;
        while (waitpid(child_, &status, WNOHANG) == 0)
        {
            siginfo_t info;
            const int signal = sigtimedwait(&set, &info, &kLook);
            if (signal > 0 && signal != SIGCHLD)
            {
                handOn(signal, info);
            }
            if (ending_ && !killed_ && SteadyClock::now() > limit_)
            {
                killBoth();
            }
        }
        return status;
    }

private:
    void handOn(int signal, const siginfo_t& info)
    {
        const bool fromTerminal = signal == SIGINT && info.si_code > 0;
        if (!fromTerminal)
        {
            kill(camera_, signal);
        }
        if (!ending_ && !(signal == SIGINT && atPrompt_))
        {
            ending_ = true;
            limit_ = SteadyClock::now() + kEndLimit;
        }
    }

    // Once, while both numbers are surely theirs: child_ has not been waited for.
    void killBoth()
    {
        killed_ = true;
        for (pid_t process : {camera_, child_})
        {
            kill(process, SIGKILL);  // of one that is stopped, too
        }
    }

    const pid_t child_;
    const pid_t camera_;
    const bool atPrompt_;
    bool ending_ = false;
    bool killed_ = false;
    SteadyClock::time_point limit_;
};

}  // namespace

void blockEndSignals()
{
    const sigset_t set = endSignals();
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

ReportLine::ReportLine()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    {
        throw Failure(systemError("cannot make a pair of sockets"));
    }
    supervisorsEnd_ = camera::Descriptor(ends[0]);
    copysEnd_ = camera::Descriptor(ends[1]);
    const int on = 1;
    if (setsockopt(ends[0], SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0)
    {
        throw Failure(systemError("cannot make a pair of sockets"));
    }
}

int ReportLine::awaitReport()
{
    copysEnd_ = camera::Descriptor();
    char byte = 0;
    ucred sender = {};  // as the kernel names it, in this process's own view
    const Received report =
        receiveWithPart(supervisorsEnd_.number(), &byte, sizeof byte, SCM_CREDENTIALS, &sender, sizeof sender);
    return report.length > 0 ? sender.pid : 0;
}

bool ReportLine::report(int copysEnd)
{
    const camera::Descriptor line(copysEnd);
    return send(copysEnd, ".", 1, MSG_NOSIGNAL) == 1;
}

int superviseCamera(const std::vector<std::string>& command, ReportLine& line, const std::vector<int>& inherited,
                    bool atPrompt)
{
    sigset_t childEnded;
    sigemptyset(&childEnded);
    sigaddset(&childEnded, SIGCHLD);
    sigprocmask(SIG_BLOCK, &childEnded, nullptr);
    const pid_t child = startChild(command, inherited);
    const pid_t camera = line.awaitReport();
    int status = 0;
    if (camera > 0)
    {
        blockEndSignals();
        status = Watch(child, camera, atPrompt).untilEnd();
    }
    else
    {
        waitpid(child, &status, 0);
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace app
