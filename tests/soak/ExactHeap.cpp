#include "ExactHeap.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__ 1
#endif
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

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

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

// The C library's allocator under the names that stay when the public ones are replaced.
extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* block);
}

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

void* allocate(std::size_t size, std::size_t alignment = alignof(Header))
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
    if (block != nullptr)
    {
        heap -= headerOf(block).bytes;
        __libc_free(headerOf(block).base);
    }
}

bool isAlignment(std::size_t alignment)
{
    return alignment != 0 && (alignment & (alignment - 1)) == 0;
}

std::size_t pageBytes()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
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

#pragma GCC visibility push(default)  // libraries are to find them here
extern "C" {

void* malloc(std::size_t size) noexcept
{
    return soak::allocate(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    const bool fits = size == 0 || count <= SIZE_MAX / size;
    void* const block = soak::allocate(fits ? count * size : SIZE_MAX);
    return block == nullptr ? nullptr : std::memset(block, 0, count * size);
}

void free(void* block) noexcept
{
    const int error = errno;
    soak::release(block);
    errno = error;
}

void* realloc(void* block, std::size_t size) noexcept
{
    if (block != nullptr && size == 0)
    {
        soak::release(block);
        return nullptr;
    }
    void* const moved = soak::allocate(size);
    if (block != nullptr && moved != nullptr)
    {
        const std::size_t old = soak::blockBytes(block);
        std::memcpy(moved, block, old < size ? old : size);
        soak::release(block);
    }
    return moved;
}

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    return soak::allocate(size, alignment < alignof(soak::Header) ? alignof(soak::Header) : alignment);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
{
    if (alignment % sizeof(void*) != 0 || !soak::isAlignment(alignment))
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
    return memalign(soak::pageBytes(), size);
}

void* pvalloc(std::size_t size) noexcept
{
    const std::size_t page = soak::pageBytes();
    return memalign(page, (size + page - 1) / page * page);
}

std::size_t malloc_usable_size(void* block) noexcept
{
    return block == nullptr ? 0 : soak::blockBytes(block);
}

}  // extern "C"
#pragma GCC visibility pop

#endif
