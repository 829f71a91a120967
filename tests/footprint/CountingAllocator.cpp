#include "CountingAllocator.h"

#include <execinfo.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

// glibc's allocator under the names that stay when the public ones are replaced.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

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

void released(void* block)
{
    if (block != nullptr)
    {
        live -= malloc_usable_size(block);
    }
}

bool isAlignment(std::size_t alignment)
{
    return alignment != 0 && (alignment & (alignment - 1)) == 0;
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

#pragma GCC visibility push(default)  // libraries are to find them here
extern "C" {

void* malloc(std::size_t size) noexcept
{
    return footprint::counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    return footprint::counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept
{
    const std::size_t before = block == nullptr ? 0 : malloc_usable_size(block);
    void* const grown = __libc_realloc(block, size);
    if (grown != nullptr || size == 0)
    {
        footprint::live -= before;
    }
    return grown == nullptr && size == 0 ? nullptr : footprint::counted(grown);
}

void free(void* block) noexcept
{
    footprint::released(block);
    __libc_free(block);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    return footprint::counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
{
    if (alignment % sizeof(void*) != 0 || !footprint::isAlignment(alignment))
    {
        return EINVAL;
    }
    void* const found = memalign(alignment, size);
    if (found == nullptr)
    {
        return ENOMEM;
    }
    *block = found;
    return 0;
}

void* valloc(std::size_t size) noexcept
{
    return memalign(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), size);
}

void* pvalloc(std::size_t size) noexcept
{
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return memalign(page, (size + page - 1) / page * page);
}

}  // extern "C"
#pragma GCC visibility pop
