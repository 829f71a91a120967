#pragma once

#include <sys/types.h>

#include <cstddef>

namespace app {

// Receives a message of a Unix socket, waiting for it, and the part beside it of that type of SOL_SOCKET, which is as large
// as who sent it (ucred) at most. length: of the content, 0 for the end, below 0 for an error.
struct Received
{
    ssize_t length = -1;
    bool hasPart = false;  // otherwise part is unchanged
};
Received receiveWithPart(int socket, void* content, std::size_t size, int type, void* part, std::size_t partSize);

}  // namespace app
