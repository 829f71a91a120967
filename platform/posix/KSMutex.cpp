#include "KSMutex.h"

#include <cstdio>
#include <cstdlib>

void KSMutex::Lock(const char* file, int line)
{
    if (isOwner())
    {
        std::fprintf(stderr, "KSMutex: %s:%d locks what this thread locked at %s:%d\n", file, line, file_, line_);
        std::abort();
    }
    mutex_.lock();
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    file_ = file;
    line_ = line;
}

void KSMutex::Unlock(const char* file, int line)
{
    if (!isOwner())
    {
        std::fprintf(stderr, "KSMutex: %s:%d unlocks what this thread has not locked\n", file, line);
        std::abort();
    }
    file_ = "";
    line_ = 0;
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    mutex_.unlock();
}

// Relaxed is enough: a thread asks for its own id only, which nobody else stores.
bool KSMutex::isOwner() const
{
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
}
