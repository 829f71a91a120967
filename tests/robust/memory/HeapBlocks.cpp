#include "tests/robust/memory/HeapBlocks.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "tests/support/ReplacedHeap.h"

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

namespace support {

void* allocateBlock(std::size_t size, std::size_t alignment)
{
    return isGranted(size) ? allocateFromLibrary(size, alignment) : nullptr;
}

void* resizeBlock(void* block, std::size_t size)
{
    return isGranted(size) ? __libc_realloc(block, size) : nullptr;
}

void releaseBlock(void* block)
{
    __libc_free(block);
}

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
