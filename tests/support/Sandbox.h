#pragma once

#include <string>

// The private file tree that a test program runs in: /mnt, /hd1 and /tmp are empty folders of its own, the rest
// of the machine is read-only.
namespace support {

// True inside the tree: the program was told its token and finds the same token in the tree.
bool insidePrivateTree();

// Runs the program again, with the same arguments, inside a fresh tree below the build tree, and removes the
// tree. Returns the exit status to pass on; a signal is reported as 128 plus its number.
int runInPrivateTree(char** argv);

}  // namespace support
