#include "HeapBlocks.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

}  // extern "C"

namespace {

std::atomic<std::size_t> g_nLargest{0};
std::atomic<std::size_t> g_nRefusedFrom{SIZE_MAX};

// Notes a request; false if it is to fail.
bool isGranted(std::size_t size)
{
    if (size >= g_nRefusedFrom)
    {
        errno = ENOMEM;
        return false;
    }
    std::size_t largest = g_nLargest;
    while (size > largest && !g_nLargest.compare_exchange_weak(largest, size))
    {
    }
    return true;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t size) noexcept
{
    return isGranted(size) ? __libc_malloc(size) : nullptr;
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) noexcept
{
    return isGranted(size) ? __libc_realloc(block, size) : nullptr;
}

}  // extern "C"

namespace support {

std::size_t largestBlock()
{
    return g_nLargest;
}

void forgetLargestBlock()
{
    g_nLargest = 0;
}

RefusedBlocks::RefusedBlocks(std::size_t from)
{
    g_nRefusedFrom = from;
}

RefusedBlocks::~RefusedBlocks()
{
    g_nRefusedFrom = SIZE_MAX;
}

}  // namespace support
