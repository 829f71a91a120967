#include "app/web/ListenSocket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace web {
namespace {

constexpr int kBacklog = 512;  // who finds it full is not heard for a second

[[noreturn]] void fail(const std::string& what, int error = errno)
{
    throw std::system_error(error, std::generic_category(), what);
}

camera::Descriptor openSocket(int family, const std::string& what)
{
    camera::Descriptor made(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (made.number() < 0)
    {
        fail(what);
    }
    return made;
}

// Where a Unix socket lies. An address has room for 107 bytes only, so that of a longer path leads through the open folder.
class SocketPath
{
public:
    explicit SocketPath(const std::string& path)
    {
        std::string shorter = path;
        if (shorter.size() >= sizeof address_.sun_path)
        {
            const std::size_t name = path.rfind('/') + 1;
            folder_ = camera::Descriptor(
                ::open(name == 0 ? "." : path.substr(0, name).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
            shorter = "/proc/self/fd/" + std::to_string(folder_.number()) + "/" + path.substr(name);
            if (folder_.number() < 0 || shorter.size() >= sizeof address_.sun_path)
            {
                fail(path, folder_.number() < 0 ? errno : ENAMETOOLONG);
            }
        }
        address_.sun_family = AF_UNIX;
        shorter.copy(address_.sun_path, shorter.size());
    }

    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&address_); }
    static constexpr socklen_t length() { return sizeof(sockaddr_un); }

private:
    camera::Descriptor folder_;
    sockaddr_un address_ = {};
};

// Only what nobody listens on any more makes room.
void removeOld(const std::string& path, const SocketPath& place)
{
    struct stat old = {};
    if (lstat(path.c_str(), &old) != 0)
    {
        return;
    }
    if (!S_ISSOCK(old.st_mode))
    {
        fail(path, EEXIST);
    }
    const camera::Descriptor probe = openSocket(AF_UNIX, path);
    if (connect(probe.number(), place.address(), SocketPath::length()) == 0 || errno == EAGAIN)
    {
        fail(path, EADDRINUSE);
    }
    if (errno != ECONNREFUSED)  // what cannot be asked may be in use
    {
        fail(path);
    }
    unlink(path.c_str());
}

}  // namespace

ListenSocket::ListenSocket(camera::Descriptor socket, std::string path, int port)
    : socket_(std::move(socket)),
      path_(std::move(path)),
      port_(port)
{
}

ListenSocket::~ListenSocket()
{
    struct stat now = {};
    if (socket_.number() >= 0 && !path_.empty() && lstat(path_.c_str(), &now) == 0 && now.st_dev == device_ &&
        now.st_ino == file_)
    {
        unlink(path_.c_str());
    }
}

ListenSocket ListenSocket::onPort(const std::string& address, int port)
{
    const std::string name = address + " port " + std::to_string(port);
    sockaddr_storage storage = {};
    socklen_t length = 0;
    auto* const four = reinterpret_cast<sockaddr_in*>(&storage);
    auto* const six = reinterpret_cast<sockaddr_in6*>(&storage);
    if (inet_pton(AF_INET, address.c_str(), &four->sin_addr) == 1)
    {
        four->sin_family = AF_INET;
        four->sin_port = htons(static_cast<uint16_t>(port));
        length = sizeof *four;
    }
    else if (inet_pton(AF_INET6, address.c_str(), &six->sin6_addr) == 1)
    {
        six->sin6_family = AF_INET6;
        six->sin6_port = htons(static_cast<uint16_t>(port));
        length = sizeof *six;
    }
    else
    {
        throw std::runtime_error(address + " is not a numeric address");
    }
    camera::Descriptor made = openSocket(storage.ss_family, name);
    const int on = 1;
    setsockopt(made.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    auto* const plain = reinterpret_cast<sockaddr*>(&storage);
    if (bind(made.number(), plain, length) != 0 || listen(made.number(), kBacklog) != 0 ||
        getsockname(made.number(), plain, &length) != 0)
    {
        fail(name);
    }
    return ListenSocket(std::move(made), "", ntohs(storage.ss_family == AF_INET ? four->sin_port : six->sin6_port));
}

ListenSocket ListenSocket::inherited(int descriptor, int port)
{
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return ListenSocket(camera::Descriptor(descriptor), "", port);
}

ListenSocket ListenSocket::atPath(const std::string& path, mode_t mode, std::optional<gid_t> group)
{
    const SocketPath place(path);
    removeOld(path, place);
    camera::Descriptor made = openSocket(AF_UNIX, path);
    // Closed to others before it is there: bind makes the file with the socket's own mode.
    if (fchmod(made.number(), 0600) != 0 || bind(made.number(), place.address(), SocketPath::length()) != 0)
    {
        fail(path);
    }
    ListenSocket whole(std::move(made), path, 0);
    struct stat file = {};
    if (lstat(path.c_str(), &file) != 0)
    {
        fail(path);
    }
    whole.device_ = file.st_dev;
    whole.file_ = file.st_ino;
    if ((group && lchown(path.c_str(), static_cast<uid_t>(-1), *group) != 0) || chmod(path.c_str(), mode) != 0 ||
        listen(whole.descriptor(), kBacklog) != 0)
    {
        fail(path);
    }
    return whole;
}

camera::Descriptor connectTo(const std::string& path)
{
    const SocketPath place(path);
    camera::Descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return connect(made.number(), place.address(), SocketPath::length()) == 0 ? std::move(made) : camera::Descriptor();
}

}  // namespace web
