// vm-camera FILE: plugs the USB camera that FILE describes into this machine, by the virtual USB host controller vhci-hcd,
// whose USB/IP requests it answers. Reads commands from standard input, a line each:
//   stall CONTROL [CODE]   the control can no longer be set; CODE is UVC's reason, none: the camera will not say why
//   hang CONTROL           whoever sets the control waits
//   unplug-at CONTROL      setting the control pulls the plug
//   pause                  no more pictures come
//   tear                   pictures break off in the middle
//   heal                   all of that is over
//   change CONTROL VALUE   by itself, as an automatic does
//   unplug, plug           after it was plugged in, every control has its default value
// What happens to it is said on standard output, a line each. Ends with its input.

#include "tests/vm/programs/UvcCamera.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace vm {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostData = 4096;  // of a request to the device; a camera is sent a few bytes at a time
constexpr std::size_t kMostTransfers = 64;
constexpr std::size_t kLongestCommand = 128;
constexpr std::size_t kPayloadHeader = 2;
constexpr int kPorts = 8;  // of the controller's high-speed half

// The first word of a USB/IP message.
constexpr std::uint32_t kSubmit = 1, kUnlink = 2, kSubmitted = 3, kUnlinked = 4;

// A USB/IP message begins with twelve words; the last two of a submitted transfer are the setup packet.
using Header = std::array<std::uint32_t, 12>;

struct Unplugged
{
};

// The cable: one end of a pair of sockets, whose other end the controller has.
class Cable
{
public:
    Cable() = default;
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;
    ~Cable() { pull(); }

    void plug()
    {
        pull();
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        {
            throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
        }
        socket_ = ends[0];
        const bool attached = attach(ends[1]);
        close(ends[1]);
        if (!attached)
        {
            throw std::runtime_error(std::string("no port of the controller takes it: ") + std::strerror(errno));
        }
    }

    void pull()
    {
        if (socket_ >= 0)
        {
            close(socket_);
            socket_ = -1;
        }
    }

    int descriptor() const { return socket_; }

    void read(void* to, std::size_t size) const
    {
        move(size, [this, to](std::size_t at, std::size_t left) {
            return ::read(socket_, static_cast<char*>(to) + at, left);
        });
    }

    void write(const void* from, std::size_t size) const
    {
        move(size, [this, from](std::size_t at, std::size_t left) {
            return ::write(socket_, static_cast<const char*>(from) + at, left);
        });
    }

private:
    // A port whose last device has only just been pulled out is not free yet.
    static bool attach(int end)
    {
        const int file = open("/sys/devices/platform/vhci_hcd.0/attach", O_WRONLY | O_CLOEXEC);
        bool attached = false;
        for (int port = 0; port < kPorts && file >= 0 && !attached; ++port)
        {
            char text[64];
            const int device = 1 << 16 | (port + 2);
            const int size = std::snprintf(text, sizeof text, "%d %d %d 3", port, end, device);
            attached = ::write(file, text, static_cast<std::size_t>(size)) == size;
        }
        const int reason = errno;
        if (file >= 0)
        {
            close(file);
        }
        errno = reason;
        return attached;
    }

    template <class Some>
    static void move(std::size_t size, Some some)
    {
        for (std::size_t at = 0; at < size;)
        {
            const ssize_t moved = some(at, size - at);
            if (moved <= 0)
            {
                throw Unplugged();
            }
            at += static_cast<std::size_t>(moved);
        }
    }

    int socket_ = -1;
};

class Device
{
public:
    explicit Device(Description description) : camera_(std::move(description)) { plug(); }

    // Until the input ends.
    void run();

private:
    struct Transfer
    {
        std::uint32_t number;
        std::size_t length;
    };

    void plug();
    void unplug();
    void serve();
    void submitted(const Header& header);
    void cancelled(std::uint32_t number, std::uint32_t which);
    void answer(std::uint32_t number, int status, const Bytes& data, std::size_t taken);
    bool takeCommands();
    void command(const std::string& line);
    void stream();
    int untilNextPicture() const;

    UvcCamera camera_;
    Cable cable_;
    std::string typed_;
    std::deque<Transfer> waiting_;  // for pictures
    std::uint32_t hanging_ = 0;     // the number of the transfer that is never answered
    Bytes picture_;
    std::size_t sent_ = 0;  // of the picture
    bool odd_ = false;      // the picture: a bit in every payload alternates
    bool isPaused_ = false;
    bool isTearing_ = false;
    int pictures_ = 0;
    Clock::time_point next_;
};

void Device::plug()
{
    camera_.powerOn();
    cable_.plug();
    std::puts("plugged in");
}

void Device::unplug()
{
    cable_.pull();
    waiting_.clear();
    hanging_ = 0;
    picture_.clear();
    pictures_ = 0;
    std::puts("unplugged");
}

void Device::run()
{
    for (;;)
    {
        pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {cable_.descriptor(), POLLIN, 0}};
        if (poll(watched, 2, untilNextPicture()) < 0 && errno != EINTR)
        {
            throw std::runtime_error("poll");
        }
        if (watched[0].revents != 0 && !takeCommands())
        {
            return;
        }
        try
        {
            if (watched[1].revents != 0 && watched[1].fd == cable_.descriptor())
            {
                serve();
            }
            stream();
        }
        catch (const Unplugged&)
        {
            unplug();
        }
    }
}

void Device::serve()
{
    Header header;
    cable_.read(header.data(), sizeof header);
    switch (ntohl(header[0]))
    {
    case kSubmit:
        return submitted(header);
    case kUnlink:
        return cancelled(ntohl(header[1]), ntohl(header[5]));
    default:
        throw std::runtime_error("not a USB/IP message");
    }
}

void Device::submitted(const Header& header)
{
    const std::uint32_t number = ntohl(header[1]);
    const bool fromDevice = ntohl(header[3]) != 0;
    const std::uint32_t endpoint = ntohl(header[4]);
    const std::size_t length = ntohl(header[6]);
    Bytes data;
    if (!fromDevice)
    {
        if (length > kMostData)
        {
            throw std::runtime_error("more data than a camera is ever sent");
        }
        data.resize(length);
        cable_.read(data.data(), length);
    }
    if (endpoint == 1 && fromDevice && waiting_.size() < kMostTransfers)
    {
        waiting_.push_back({number, length});
        return;
    }
    if (endpoint != 0)
    {
        return answer(number, -EPIPE, {}, 0);
    }
    std::array<std::uint8_t, 8> setup;
    std::memcpy(setup.data(), &header[10], sizeof setup);
    const Answer given = camera_.control(setup, data);
    switch (given.kind)
    {
    case Answer::Kind::Done:
        return answer(number, 0, given.data, data.size());
    case Answer::Kind::Stall:
        return answer(number, -EPIPE, {}, 0);
    case Answer::Kind::Never:
        hanging_ = number;
        return;
    case Answer::Kind::Unplug:
        throw Unplugged();
    }
}

void Device::cancelled(std::uint32_t number, std::uint32_t which)
{
    bool found = which == hanging_ && hanging_ != 0;
    hanging_ = found ? 0 : hanging_;
    for (auto transfer = waiting_.begin(); transfer != waiting_.end(); ++transfer)
    {
        if (transfer->number == which)
        {
            waiting_.erase(transfer);
            found = true;
            break;
        }
    }
    Header header{htonl(kUnlinked), htonl(number)};
    header[5] = htonl(static_cast<std::uint32_t>(found ? -ECONNRESET : 0));
    cable_.write(header.data(), sizeof header);
    if (waiting_.empty() && pictures_ > 0)
    {
        std::printf("stopped after %d pictures\n", std::exchange(pictures_, 0));
        picture_.clear();
    }
}

// Taken is how many bytes of a request to the device arrived.
void Device::answer(std::uint32_t number, int status, const Bytes& data, std::size_t taken)
{
    Header header{htonl(kSubmitted), htonl(number)};
    header[5] = htonl(static_cast<std::uint32_t>(status));
    header[6] = htonl(static_cast<std::uint32_t>(data.empty() ? taken : data.size()));
    cable_.write(header.data(), sizeof header);
    cable_.write(data.data(), data.size());
}

int Device::untilNextPicture() const
{
    if (waiting_.empty() || isPaused_)
    {
        return -1;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next_ - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left) + 1;
}

// A transfer takes one payload: a header and a piece of the picture.
void Device::stream()
{
    while (!waiting_.empty() && !isPaused_)
    {
        if (picture_.empty())
        {
            if (Clock::now() < next_)
            {
                return;
            }
            next_ = Clock::now() + std::chrono::nanoseconds(100) * camera_.frameInterval();
            picture_ = camera_.picture();
            picture_.resize(picture_.size() / (isTearing_ ? 2 : 1));
            sent_ = 0;
        }
        const Transfer transfer = waiting_.front();
        waiting_.pop_front();
        if (transfer.length <= kPayloadHeader)
        {
            throw std::runtime_error("a transfer without room for a picture");
        }
        const std::size_t size = std::min(transfer.length - kPayloadHeader, picture_.size() - sent_);
        const bool last = sent_ + size == picture_.size();
        Bytes payload{kPayloadHeader, static_cast<std::uint8_t>(0x80 | (last ? 2 : 0) | (odd_ ? 1 : 0))};
        const auto from = picture_.begin() + static_cast<std::ptrdiff_t>(sent_);
        payload.insert(payload.end(), from, from + static_cast<std::ptrdiff_t>(size));
        answer(transfer.number, 0, payload, 0);
        sent_ += size;
        if (last)
        {
            picture_.clear();
            odd_ = !odd_;
            ++pictures_;
        }
    }
}

// False when there will be no more.
bool Device::takeCommands()
{
    char bytes[kLongestCommand];
    const ssize_t size = read(STDIN_FILENO, bytes, sizeof bytes);
    if (size <= 0)
    {
        return false;
    }
    typed_.append(bytes, static_cast<std::size_t>(size));
    for (std::size_t end = typed_.find('\n'); end != std::string::npos; end = typed_.find('\n'))
    {
        const std::string line = typed_.substr(0, end);
        typed_.erase(0, end + 1);
        try
        {
            command(line);
        }
        catch (const std::runtime_error& reason)
        {
            std::printf("%s: %s\n", line.c_str(), reason.what());
        }
    }
    if (typed_.size() > kLongestCommand)
    {
        throw std::runtime_error("a command is too long");
    }
    return true;
}

void Device::command(const std::string& line)
{
    std::istringstream words(line);
    std::string what, control;
    long number = 0;
    words >> what >> control >> number;
    if (what == "stall")
    {
        camera_.setFault(control, {Fault::Kind::Stall, static_cast<int>(number)});
    }
    else if (what == "hang")
    {
        camera_.setFault(control, {Fault::Kind::Hang});
    }
    else if (what == "unplug-at")
    {
        camera_.setFault(control, {Fault::Kind::Unplug});
    }
    else if (what == "heal")
    {
        camera_.clearFaults();
        isPaused_ = isTearing_ = false;
    }
    else if (what == "pause")
    {
        isPaused_ = true;
    }
    else if (what == "tear")
    {
        isTearing_ = true;
    }
    else if (what == "change")
    {
        camera_.change(control, number);
    }
    else if (what == "unplug")
    {
        unplug();
        return;
    }
    else if (what == "plug")
    {
        plug();
        return;
    }
    else
    {
        throw std::runtime_error("no such command");
    }
    std::printf("%s: done\n", line.c_str());
}

}  // namespace

}  // namespace vm

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::signal(SIGPIPE, SIG_IGN);
    try
    {
        std::ifstream file(argc == 2 ? argv[1] : "");
        if (!file)
        {
            throw std::runtime_error("vm-camera needs the file that describes the camera");
        }
        vm::Device(vm::readDescription(file)).run();
        return 0;
    }
    catch (const std::exception& reason)
    {
        std::fprintf(stderr, "vm-camera: %s\n", reason.what());
        return 1;
    }
}
