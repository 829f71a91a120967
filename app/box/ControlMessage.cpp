#include "app/box/ControlMessage.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace app {
namespace {

// The largest part that is received: who sent it.
constexpr std::size_t kPartMax = sizeof(ucred);

}  // namespace

Received receiveWithPart(int socket, void* content, std::size_t size, int type, void* part, std::size_t partSize)
{
    iovec place = {content, size};
    alignas(cmsghdr) char control[CMSG_SPACE(kPartMax)] = {};
    msghdr message = {};
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = CMSG_LEN(partSize);
    Received received;
    do
    {
        received.length = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    }
    while (received.length < 0 && errno == EINTR);
    const cmsghdr* const header = received.length >= 0 ? CMSG_FIRSTHDR(&message) : nullptr;
    received.hasPart = header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == type &&
                       header->cmsg_len == CMSG_LEN(partSize);
    if (received.hasPart)
    {
        std::memcpy(part, CMSG_DATA(header), partSize);
    }
    return received;
}

}  // namespace app
