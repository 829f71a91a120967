#include "Supervisor.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Failure.h"
#include "Options.h"

namespace app {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr auto kEndLimit = std::chrono::seconds(10);  // an orderly end takes a turn of the scheduler, a second
constexpr timespec kLook = {0, 200 * 1000 * 1000};    // how often the limit is looked at

sigset_t endSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

pid_t startChild(const std::vector<std::string>& command, int readDescriptor)
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
        sigset_t childEnded;
        sigemptyset(&childEnded);
        sigaddset(&childEnded, SIGCHLD);
        sigprocmask(SIG_UNBLOCK, &childEnded, nullptr);
        close(readDescriptor);
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

// The camera's own process, from bubblewrap's document; 0 when bubblewrap failed before it started one.
pid_t cameraProcess(int readDescriptor)
{
    std::string text;
    char buffer[256];
    for (ssize_t count = read(readDescriptor, buffer, sizeof buffer); count > 0;
         count = read(readDescriptor, buffer, sizeof buffer))
    {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    const nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
    return document.is_object() ? document.value("child-pid", 0) : 0;
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
        if (camera_ <= 0)
        {
            return;
        }
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

int superviseCamera(const std::vector<std::string>& command, int readDescriptor, int infoDescriptor, bool atPrompt)
{
    sigset_t childEnded;
    sigemptyset(&childEnded);
    sigaddset(&childEnded, SIGCHLD);
    sigprocmask(SIG_BLOCK, &childEnded, nullptr);
    const pid_t child = startChild(command, readDescriptor);
    close(infoDescriptor);
    const pid_t camera = cameraProcess(readDescriptor);
    close(readDescriptor);
    const int status = Watch(child, camera, atPrompt).untilEnd();
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace app
