#include "sy_system.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "platform/posix/SystemCall.h"

#ifdef __GLIBC_PREREQ
#if __GLIBC_PREREQ(2, 34)
#define SY_SYSTEM_HAS_CLOSEFROM
#endif
#endif

#ifndef SY_SYSTEM_HAS_CLOSEFROM
#include <dirent.h>

#include <cstdlib>
#endif

extern char** environ;

namespace {

constexpr std::chrono::milliseconds kGrace{300};  // for an orderly end between SIGTERM and SIGKILL

// The command gets no descriptor above 2. Without closefrom, one that another thread opens at this moment and does not
// mark close-on-exec gets through.
void closeAboveTwo(posix_spawn_file_actions_t& actions)
{
#ifdef SY_SYSTEM_HAS_CLOSEFROM
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#else
    DIR* const folder = opendir("/proc/self/fd");
    while (const dirent* entry = folder != nullptr ? readdir(folder) : nullptr)
    {
        const int handle = std::atoi(entry->d_name);
        if (handle > 2 && handle != dirfd(folder))
        {
            posix_spawn_file_actions_addclose(&actions, handle);
        }
    }
    if (folder != nullptr)
    {
        closedir(folder);
    }
#endif
}

// The process id, which is its group's id too; -1 on failure.
pid_t spawnShell(const char* command)
{
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // A group in the background that read from a terminal would stop.
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    closeAboveTwo(actions);
    const char* const arguments[] = {"sh", "-c", command, nullptr};
    pid_t process = -1;
    const int failure =
        posix_spawn(&process, "/bin/sh", &actions, &attributes, const_cast<char* const*>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return failure == 0 ? process : -1;
}

// Ends a group at a deadline unless it is called off before.
class Watchdog
{
public:
    // std::system_error when there is no thread for it, std::bad_alloc when there is no memory.
    Watchdog(pid_t group, std::chrono::seconds limit)
        : group_(group),
          end_(std::chrono::steady_clock::now() + limit),
          thread_([this] { run(); })
    {
    }

    // True when the group was ended. Returns when nothing is sent any more.
    bool callOff()
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            calledOff_ = true;
        }
        changed_.notify_all();
        thread_.join();
        return fired_;
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (changed_.wait_until(lock, end_, [this] { return calledOff_; }))
        {
            return;
        }
        fired_ = true;
        lock.unlock();
        kill(-group_, SIGTERM);
        std::this_thread::sleep_for(kGrace);  // also when the shell itself has gone: its children get it too
        kill(-group_, SIGKILL);
    }

    const pid_t group_;
    const std::chrono::steady_clock::time_point end_;
    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_; fired_ is read after the thread has ended.
    bool calledOff_ = false;
    bool fired_ = false;

    std::thread thread_;
};

// Leaves the ended process unreaped, so that its id, and with it the group's, stays taken.
bool awaitEnd(pid_t process)
{
    siginfo_t info;
    const auto id = static_cast<id_t>(process);
    return host::uninterrupted([&] { return waitid(P_PID, id, &info, WEXITED | WNOWAIT); }) == 0;
}

int reap(pid_t process)
{
    int status = 0;
    if (host::uninterrupted([&] { return waitpid(process, &status, 0); }) != process)
    {
        return kSySystemNotStarted;
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

int sy_system(const char* command, int limitSeconds)
{
    const pid_t process = command != nullptr ? spawnShell(command) : -1;
    if (process < 0)
    {
        return kSySystemNotStarted;
    }
    if (limitSeconds <= 0)
    {
        return reap(process);
    }
    try
    {
        Watchdog watchdog(process, std::chrono::seconds(limitSeconds));
        awaitEnd(process);
        const bool reachedLimit = watchdog.callOff();
        const int status = reap(process);
        return reachedLimit ? kSySystemLimit : status;
    }
    catch (const std::exception&)  // no thread or no memory for the watchdog
    {
        kill(-process, SIGKILL);
        reap(process);
        return kSySystemNotStarted;
    }
}
