#pragma once

#include <string>
#include <vector>

// The private file tree that a test program runs in: /mnt, /hd1 and /tmp are empty folders of its own, the rest
// of the machine is read-only.
namespace support {

// True inside the tree: the program was told its token and finds the same token in the tree.
bool insidePrivateTree();

// A file or folder of the machine that is the same inside, beside sources and build tree, which always are (read-only).
// Neither a private folder itself nor what holds one.
struct SharedPath
{
    std::string path;
    bool isWritable;
};

struct TreeOptions
{
    std::vector<SharedPath> shared;
    bool isInMemory = false;  // quicker than a disk, by far
};

// Runs the program again, with the same arguments, inside a fresh tree below the build tree, and removes the
// tree. Returns the exit status to pass on; a signal is reported as 128 plus its number, a path that cannot be shared
// on standard error as 127. Does not return if SIGINT comes.
int runInPrivateTree(char** argv, const TreeOptions& options = {});

}  // namespace support
