#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "sensorplatform_export.h"

/// A mutex that knows where it was locked. Not recursive. Thread-safe.
class SENSORPLATFORM_API KSMutex
{
public:
    KSMutex() = default;
    KSMutex(const KSMutex&) = delete;
    KSMutex& operator=(const KSMutex&) = delete;

    /// file must outlive the lock (a literal); it and line say in a debugger, and in the message below, who holds
    /// the mutex. Locking it again on the thread that holds it, and unlocking it on one that does not, could
    /// only hang or corrupt: the process ends with both places on standard error.
    void Lock(const char* file, int line);
    void Unlock(const char* file, int line);

private:
    bool isOwner() const;

    std::mutex mutex_;
    std::atomic<std::thread::id> owner_{std::thread::id()};

    /// Guarded by mutex_.
    const char* file_ = "";
    int line_ = 0;
};
