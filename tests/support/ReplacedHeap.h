#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__ 1
#endif
#endif

// A sanitizer has to have the heap to itself.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define SUPPORT_HEAP_IS_REPLACED 1
#endif

// malloc and its relatives are replaced for everything in the process, and operator new ends in them: a program that is
// linked with test_heap says here what they do. Called before any constructor; any thread.
namespace support {

// errno is set when there is no memory. The alignment is a power of two, kAnyAlignment what malloc promises.
constexpr std::size_t kAnyAlignment = 0;
void* allocateBlock(std::size_t size, std::size_t alignment);

// A block that was allocated, and more than no bytes. When there is no memory the block stays.
void* resizeBlock(void* block, std::size_t size);

void releaseBlock(void* block);

}  // namespace support

// The C library's own under the names that stay when the public ones are replaced.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace support {

inline void* allocateFromLibrary(std::size_t size, std::size_t alignment)
{
    return alignment == kAnyAlignment ? __libc_malloc(size) : __libc_memalign(alignment, size);
}

}  // namespace support
