#include "app/remote/FrameSocket.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

// A frame: the length of what follows, the kind, and of each part its length and its bytes.
namespace remote {
namespace {

using Length = std::uint32_t;  // both ends are on one machine

void addLength(std::string& text, std::size_t length)
{
    const auto number = static_cast<Length>(length);
    text.append(reinterpret_cast<const char*>(&number), sizeof number);
}

Length lengthAt(const std::string& text, std::size_t place)
{
    Length length = 0;
    std::memcpy(&length, text.data() + place, sizeof length);
    return length;
}

Frame frameOf(const std::string& body)
{
    Frame frame = {body.empty() ? Kind::none : static_cast<Kind>(body[0]), {}};
    for (std::size_t place = 1; place < body.size();)
    {
        const std::size_t left = body.size() - place;
        if (left < sizeof(Length) || left - sizeof(Length) < lengthAt(body, place))
        {
            return {Kind::none, {}};
        }
        frame.parts.push_back(body.substr(place + sizeof(Length), lengthAt(body, place)));
        place += sizeof(Length) + frame.parts.back().size();
    }
    return frame;
}

}  // namespace

bool FrameSocket::send(Kind kind, const std::vector<std::string>& parts)
{
    std::string body(1, static_cast<char>(kind));
    for (const std::string& part : parts)
    {
        addLength(body, part.size());
        body += part;
    }
    std::string frame;
    addLength(frame, body.size());
    frame += body;
    const std::lock_guard<std::mutex> lock(sending_);
    for (std::size_t sent = 0; sent < frame.size();)
    {
        const ssize_t count = ::send(descriptor(), frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR)
        {
            return false;
        }
        sent += static_cast<std::size_t>(count > 0 ? count : 0);
    }
    return true;
}

std::optional<Frame> FrameSocket::take()
{
    if (received_.size() < sizeof(Length) || received_.size() - sizeof(Length) < lengthAt(received_, 0))
    {
        return std::nullopt;
    }
    const std::string body = received_.substr(sizeof(Length), lengthAt(received_, 0));
    received_.erase(0, sizeof(Length) + body.size());
    return frameOf(body);
}

bool FrameSocket::receive()
{
    char buffer[16 << 10];
    ssize_t count = 0;
    do
    {
        count = recv(descriptor(), buffer, sizeof buffer, 0);
    }
    while (count < 0 && errno == EINTR);
    if (count <= 0)
    {
        return false;
    }
    received_.append(buffer, static_cast<std::size_t>(count));
    return received_.size() < sizeof(Length) || lengthAt(received_, 0) <= most_;
}

void FrameSocket::shut()
{
    shutdown(descriptor(), SHUT_RDWR);
}

}  // namespace remote
