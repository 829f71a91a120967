#include "tests/shipped/footprint/CountingAllocator.h"

#include <execinfo.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>

#include "tests/support/ReplacedHeap.h"

namespace footprint {
namespace {

constexpr int kCallersMax = 24;

// Runs before any constructor: zero-initialised, nothing else.
std::atomic<unsigned long> allocations;
std::atomic<std::size_t> live;
std::atomic<std::size_t> peak;
thread_local unsigned long ofThisThread;

std::atomic<bool> awaitsFirst;
void* callers[kCallersMax];
std::atomic<int> callersKnown;

void add(std::size_t bytes)
{
    const std::size_t now = live += bytes;
    std::size_t highest = peak;
    while (highest < now && !peak.compare_exchange_weak(highest, now))
    {
    }
}

void* counted(void* block)
{
    ++allocations;
    ++ofThisThread;
    if (awaitsFirst.exchange(false))
    {
        callersKnown = backtrace(callers, kCallersMax);
    }
    if (block != nullptr)
    {
        add(malloc_usable_size(block));
    }
    return block;
}

}  // namespace

std::size_t liveBytes()
{
    return live;
}

std::size_t peakBytes()
{
    return peak;
}

void resetPeak()
{
    peak = live.load();
}

unsigned long allocationsOfThisThread()
{
    return ofThisThread;
}

AllocationWatch::AllocationWatch()
    : before_([] {
          void* frame = nullptr;
          backtrace(&frame, 1);  // the first call loads the unwinder, which allocates
          callersKnown = 0;
          awaitsFirst = true;
          return allocations.load();
      }())
{
}

AllocationWatch::~AllocationWatch()
{
    awaitsFirst = false;
}

unsigned long AllocationWatch::total() const
{
    return allocations - before_;
}

std::string AllocationWatch::firstCallers()
{
    awaitsFirst = false;
    std::string text;
    char** const names = backtrace_symbols(callers, callersKnown);
    for (int i = 0; names != nullptr && i < callersKnown; ++i)
    {
        text += names[i];
        text += '\n';
    }
    std::free(names);
    return text;
}

}  // namespace footprint

// ---- the replaced functions ----------------------------------------------------------------------------------------

namespace support {

void* allocateBlock(std::size_t size, std::size_t alignment)
{
    return footprint::counted(allocateFromLibrary(size, alignment));
}

void* resizeBlock(void* block, std::size_t size)
{
    const std::size_t before = malloc_usable_size(block);
    void* const resized = __libc_realloc(block, size);
    if (resized != nullptr)
    {
        footprint::live -= before;
    }
    return footprint::counted(resized);
}

void releaseBlock(void* block)
{
    footprint::live -= malloc_usable_size(block);
    __libc_free(block);
}

}  // namespace support
