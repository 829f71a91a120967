#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <utility>

// A client that says exactly what a test wants it to say.
namespace web_tests {

constexpr int kPatience = 30'000;  // milliseconds, before a test gives up

class Connection
{
public:
    static Connection toPort(int port)
    {
        Connection made = unconnected();
        made.connectTo(port);
        return made;
    }
    // Has its descriptor, and goes nowhere yet.
    static Connection unconnected() { return Connection(AF_INET); }
    void connectTo(int port)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connectTo(reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }

    // ownPath: what the client's own end is bound to.
    static Connection toPath(const std::string& path, const std::string& ownPath = "")
    {
        const sockaddr_un address = unixAddress(path);
        const sockaddr_un own = unixAddress(ownPath);
        Connection made(AF_UNIX);
        if (!ownPath.empty())
        {
            EXPECT_EQ(bind(made.socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0)
                << std::strerror(errno);
        }
        made.connectTo(reinterpret_cast<const sockaddr*>(&address), sizeof address);
        return made;
    }

    Connection(Connection&& other) noexcept : socket_(std::exchange(other.socket_, -1)), read_(std::move(other.read_))
    {
    }
    ~Connection()
    {
        if (socket_ >= 0)
        {
            close(socket_);
        }
    }

    int descriptor() const { return socket_; }

    void say(const std::string& text)
    {
        std::size_t sent = 0;
        while (sent < text.size())
        {
            const ssize_t count = send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count <= 0)
            {
                return;  // the server does not listen any more: its answer says why
            }
            sent += static_cast<std::size_t>(count);
        }
    }

    // Reads until text is there, and returns all up to its end; what came when the server closed instead.
    std::string until(const std::string& text)
    {
        while (read_.find(text) == std::string::npos && more())
        {
        }
        const std::size_t found = read_.find(text);
        const std::size_t end = found == std::string::npos ? read_.size() : found + text.size();
        std::string part = read_.substr(0, end);
        read_.erase(0, end);
        return part;
    }

    std::string untilClosed()
    {
        while (more())
        {
        }
        return std::exchange(read_, "");
    }

    // An answer with a length: its head and its body.
    std::string answer()
    {
        std::string head = until("\r\n\r\n");
        const std::size_t length = head.find("Content-Length: ");
        if (length == std::string::npos)
        {
            return head;
        }
        const std::size_t size = std::stoul(head.substr(length + std::strlen("Content-Length: ")));
        while (read_.size() < size && more())
        {
        }
        head += read_.substr(0, size);
        read_.erase(0, size);
        return head;
    }

    // Says nothing more, and goes on listening.
    void endSaying() { shutdown(socket_, SHUT_WR); }

    bool isClosed() { return read_.empty() && !more(); }

private:
    explicit Connection(int family) : socket_(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}

    void connectTo(const sockaddr* address, socklen_t length)
    {
        EXPECT_EQ(connect(socket_, address, length), 0) << std::strerror(errno);
    }

    static sockaddr_un unixAddress(const std::string& path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path);
        return address;
    }

    bool more()
    {
        pollfd wait = {socket_, POLLIN, 0};
        if (poll(&wait, 1, kPatience) <= 0)
        {
            ADD_FAILURE() << "nothing came, and the connection stayed open";
            return false;
        }
        char buffer[4096];
        const ssize_t count = recv(socket_, buffer, sizeof buffer, 0);
        read_.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }

    int socket_;
    std::string read_;
};

}  // namespace web_tests
