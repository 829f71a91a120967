#pragma once

#include <cstddef>

// The whole process's heap to the byte, as asked for and not as an allocator rounds it: two states that hold the same
// objects count the same. Without a sanitizer malloc and its relatives are replaced, and operator new ends in them; a
// sanitizer counts itself. Thread-safe.
namespace soak {

// Bytes asked for and not given back.
std::size_t heapBytes();

// What was asked for a block; it comes from malloc or new.
std::size_t blockBytes(const void* block);

// False where the sanitizer's heapBytes is in the steps of its size classes, while blockBytes stays exact.
bool heapBytesAreExact();

}  // namespace soak
