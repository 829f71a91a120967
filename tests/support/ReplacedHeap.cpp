#include "tests/support/ReplacedHeap.h"

#ifdef SUPPORT_HEAP_IS_REPLACED

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

bool isAlignment(std::size_t alignment)
{
    return alignment != 0 && (alignment & (alignment - 1)) == 0;
}

std::size_t pageBytes()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

#pragma GCC visibility push(default)  // libraries are to find them here
extern "C" {

void* malloc(std::size_t size) noexcept
{
    return support::allocateBlock(size, support::kAnyAlignment);
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    if (size != 0 && count > SIZE_MAX / size)
    {
        errno = ENOMEM;
        return nullptr;
    }
    void* const block = support::allocateBlock(count * size, support::kAnyAlignment);
    return block == nullptr ? nullptr : std::memset(block, 0, count * size);
}

void free(void* block) noexcept
{
    const int error = errno;
    if (block != nullptr)
    {
        support::releaseBlock(block);
    }
    errno = error;
}

void* realloc(void* block, std::size_t size) noexcept
{
    if (block == nullptr)
    {
        return support::allocateBlock(size, support::kAnyAlignment);
    }
    if (size == 0)
    {
        support::releaseBlock(block);
        return nullptr;
    }
    return support::resizeBlock(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    return support::allocateBlock(size, alignment);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return support::allocateBlock(size, alignment);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
{
    if (alignment % sizeof(void*) != 0 || !isAlignment(alignment))
    {
        return EINVAL;
    }
    void* const found = support::allocateBlock(size, alignment);
    if (found == nullptr)
    {
        return ENOMEM;
    }
    *block = found;
    return 0;
}

void* valloc(std::size_t size) noexcept
{
    return support::allocateBlock(size, pageBytes());
}

void* pvalloc(std::size_t size) noexcept
{
    const std::size_t page = pageBytes();
    return support::allocateBlock((size + page - 1) / page * page, page);
}

}  // extern "C"
#pragma GCC visibility pop

#endif
