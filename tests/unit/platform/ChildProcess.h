#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace platform_tests {

// Runs work in a process of its own, which then ends without cleaning up.
inline pid_t startChild(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0)
    {
        work();
        _exit(0);
    }
    return child;
}

// The wait status.
inline int awaitChild(pid_t child)
{
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace platform_tests
