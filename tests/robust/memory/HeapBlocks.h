#pragma once

#include <cstddef>

// The program's allocator: malloc and its relatives are replaced for everything in the process, and operator new ends in
// them.
namespace support {

// Bytes of the largest block that anybody got since the last forgetLargestBlock.
std::size_t largestBlock();
void forgetLargestBlock();

// While it lives, there is no memory for blocks of so many bytes or more.
class RefusedBlocks
{
public:
    explicit RefusedBlocks(std::size_t from);
    ~RefusedBlocks();
    RefusedBlocks(const RefusedBlocks&) = delete;
    RefusedBlocks& operator=(const RefusedBlocks&) = delete;
};

}  // namespace support
