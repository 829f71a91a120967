#pragma once

#include <climits>
#include <functional>
#include <string>
#include <vector>

namespace platform_tests {

// The calls by which a file takes another one's place, of the whole test program, while it lives. One at a time, for
// calls on one thread.
class DiskCalls
{
public:
    enum class Mishap
    {
        none,
        failure,  // of that call
        kill,     // of the process, before that call
    };

    // nth: which call meets with the mishap, the first being 1.
    explicit DiskCalls(Mishap mishap = Mishap::none, int nth = 0, int error = 0);
    ~DiskCalls();
    DiskCalls(const DiskCalls&) = delete;
    DiskCalls& operator=(const DiskCalls&) = delete;

    // "fsync file", "fsync folder", "rename", "fchmod" and "unlink" in their order.
    std::vector<std::string> names() const;
};

// Every flock fails with this error while it lives, or only the first ones.
class NoLocks
{
public:
    explicit NoLocks(int error, int times = INT_MAX);
    ~NoLocks();
    NoLocks(const NoLocks&) = delete;
    NoLocks& operator=(const NoLocks&) = delete;
};

// Called at the start of every flock, on its thread, while it lives. One at a time.
class AtEachLock
{
public:
    explicit AtEachLock(std::function<void(int handle)> work);
    ~AtEachLock();
    AtEachLock(const AtEachLock&) = delete;
    AtEachLock& operator=(const AtEachLock&) = delete;
};

}  // namespace platform_tests
