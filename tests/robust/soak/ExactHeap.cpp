#include "tests/robust/soak/ExactHeap.h"

#include "tests/support/ReplacedHeap.h"

#ifndef SUPPORT_HEAP_IS_REPLACED

// Of the sanitizer's runtime; its header does not come with every compiler.
extern "C" {
std::size_t __sanitizer_get_current_allocated_bytes();
std::size_t __sanitizer_get_allocated_size(const volatile void* block);
}

namespace soak {

std::size_t heapBytes()
{
    return __sanitizer_get_current_allocated_bytes();
}

std::size_t blockBytes(const void* block)
{
    return __sanitizer_get_allocated_size(block);
}

bool heapBytesAreExact()
{
#ifdef __SANITIZE_ADDRESS__
    return true;
#else
    return false;
#endif
}

}  // namespace soak

#else

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace soak {
namespace {

// Stands right before each block.
struct alignas(std::max_align_t) Header
{
    std::size_t bytes;
    void* base;  // what the C library gave
};

// Runs before any constructor: zero-initialised, nothing else.
std::atomic<std::size_t> heap;

Header& headerOf(const void* block)
{
    return static_cast<Header*>(const_cast<void*>(block))[-1];
}

void* allocate(std::size_t size, std::size_t alignment)
{
    const std::size_t around = sizeof(Header) + alignment;
    void* const base = size > SIZE_MAX - around ? nullptr : __libc_malloc(size + around);
    if (base == nullptr)
    {
        errno = ENOMEM;
        return nullptr;
    }
    const auto first = reinterpret_cast<std::uintptr_t>(base) + sizeof(Header);
    void* const block = reinterpret_cast<void*>((first + alignment - 1) / alignment * alignment);
    headerOf(block) = {size, base};
    heap += size;
    return block;
}

void release(void* block)
{
    heap -= headerOf(block).bytes;
    __libc_free(headerOf(block).base);
}

}  // namespace

std::size_t heapBytes()
{
    return heap;
}

std::size_t blockBytes(const void* block)
{
    return headerOf(block).bytes;
}

bool heapBytesAreExact()
{
    return true;
}

}  // namespace soak

namespace support {

void* allocateBlock(std::size_t size, std::size_t alignment)
{
    return soak::allocate(size, std::max(alignment, alignof(soak::Header)));
}

void* resizeBlock(void* block, std::size_t size)
{
    void* const moved = allocateBlock(size, kAnyAlignment);
    if (moved != nullptr)
    {
        std::memcpy(moved, block, std::min(size, soak::blockBytes(block)));
        soak::release(block);
    }
    return moved;
}

void releaseBlock(void* block)
{
    soak::release(block);
}

}  // namespace support

// libraries are to find it here
extern "C" __attribute__((visibility("default"))) std::size_t malloc_usable_size(void* block) noexcept
{
    return block == nullptr ? 0 : soak::blockBytes(block);
}

#endif
