#include "KSMutex.h"

#include <cstdio>
#include <cstdlib>

void KSMutex::Lock(const char* file, int line)
{
    if (owner_ == std::this_thread::get_id())
    {
        std::fprintf(stderr, "KSMutex: %s:%d locks what this thread locked at %s:%d\n", file, line, file_, line_);
        std::abort();
    }
    mutex_.lock();
    owner_ = std::this_thread::get_id();
    file_ = file;
    line_ = line;
}

void KSMutex::Unlock(const char* file, int line)
{
    if (owner_ != std::this_thread::get_id())
    {
        std::fprintf(stderr, "KSMutex: %s:%d unlocks what this thread has not locked\n", file, line);
        std::abort();
    }
    file_ = "";
    line_ = 0;
    owner_ = std::thread::id();
    mutex_.unlock();
}
