#include "app/box/DeviceBroker.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include "app/Failure.h"
#include "app/box/ControlMessage.h"

namespace app {
namespace {

using devices::Role;

// A request is a byte, the role and the name of the file behind it, or one of these. An answer is a number: 0, with a
// descriptor, or an error number with a minus.
constexpr char kListen = 'l';       // by a descriptor from which changes are read, a byte each
constexpr char kListenToUse = 'u';  // by the same one

// Changes.
constexpr char kPlugged = 'p';
constexpr char kUsed = 'u';
constexpr std::size_t kRequestMax = 64;

using Pair = std::pair<camera::Descriptor, camera::Descriptor>;

Pair socketPair()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
    {
        throw Failure(systemError("cannot make a pair of sockets"));
    }
    return {camera::Descriptor(ends[0]), camera::Descriptor(ends[1])};
}

// 0, or what is answered where the machine has not what it takes.
template <typename Step>
int attempt(const Step& step)
{
    try
    {
        step();
        return 0;
    }
    catch (const std::exception&)
    {
        return -EMFILE;
    }
}

// The number, and the descriptor unless it is none.
bool sendAnswer(int line, int number, int descriptor)
{
    iovec content = {&number, sizeof number};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptor)] = {};
    msghdr message = {};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    if (descriptor >= 0)
    {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* const part = CMSG_FIRSTHDR(&message);
        part->cmsg_level = SOL_SOCKET;
        part->cmsg_type = SCM_RIGHTS;
        part->cmsg_len = CMSG_LEN(sizeof descriptor);
        std::memcpy(CMSG_DATA(part), &descriptor, sizeof descriptor);
    }
    return sendmsg(line, &message, MSG_NOSIGNAL | MSG_DONTWAIT) == sizeof number;
}

// The descriptor, or the error number with a minus.
int receiveAnswer(int line)
{
    int number = 0;
    int descriptor = -1;
    const Received answer = receiveWithPart(line, &number, sizeof number, SCM_RIGHTS, &descriptor, sizeof descriptor);
    if (answer.length != sizeof number)
    {
        return -ENODEV;  // the broker has ended
    }
    return number < 0 ? number : answer.hasPart ? descriptor : -ENODEV;
}

// One that takes no signal; those that it starts neither.
template <typename Run>
std::thread silentThread(Run run)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(run);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

// Waits until the first can be read; false when that is the second, which ends the waiting.
bool readable(int descriptor, int wake)
{
    pollfd waits[] = {{descriptor, POLLIN, 0}, {wake, POLLIN, 0}};
    while (poll(waits, std::size(waits), -1) < 0 && errno == EINTR)
    {
    }
    return waits[1].revents == 0;
}

}  // namespace

BrokerLine::BrokerLine()
{
    Pair ends = socketPair();
    brokers = std::move(ends.first);
    copys = std::move(ends.second);
}

DeviceBroker::DeviceBroker(devices::DeviceSource& source, camera::Descriptor brokersEnd)
    : source_(source),
      line_(std::move(brokersEnd))
{
    thread_ = silentThread([this] { run(); });
}

DeviceBroker::~DeviceBroker()
{
    shutdown(line_.number(), SHUT_RDWR);  // wakes its thread
    thread_.join();
}

void DeviceBroker::run()
{
    while (answerOne())
    {
    }
    shutdown(line_.number(), SHUT_RDWR);
    attempt([this] { source_.listen(nullptr); });
    attempt([this] { source_.listenToUse(nullptr); });
    const std::lock_guard<std::mutex> lock(mutex_);
    changes_ = camera::Descriptor();
}

// False when the line has ended, or the camera asks without reading the answers.
bool DeviceBroker::answerOne()
{
    char request[kRequestMax];
    const ssize_t count = recv(line_.number(), request, sizeof request, 0);
    if (count < 0 && errno == EINTR)
    {
        return true;
    }
    if (count <= 0)
    {
        return false;
    }
    if (request[0] == kListen && count == 1)
    {
        hearChanges();
        return true;
    }
    if (request[0] == kListenToUse && count == 1)
    {
        return sendAnswer(line_.number(), attempt([this] { source_.listenToUse([this] { tell(kUsed); }); }), -1);
    }
    const std::string file(request + 1, static_cast<std::size_t>(count) - 1);
    const Role role = static_cast<Role>(request[0]);
    const camera::Descriptor opened(devices::findFile(role, file) != nullptr ? source_.open(role, file) : -EINVAL);
    return sendAnswer(line_.number(), std::min(opened.number(), 0), opened.number());
}

void DeviceBroker::hearChanges()
{
    Pair ends;
    const int error = attempt([&] {
        ends = socketPair();
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            changes_ = std::move(ends.first);
        }
        source_.listen([this] { tell(kPlugged); });
    });
    sendAnswer(line_.number(), error, error == 0 ? ends.second.number() : -1);
}

void DeviceBroker::tell(char change)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    // Where there is no room, it has been told often enough.
    send(changes_.number(), &change, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
}

RemoteDevices::RemoteDevices(camera::Descriptor copysEnd)
    : line_(std::move(copysEnd)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      changes_(ask(std::string(1, kListen)))  // now, when the broker is not busy with opening: listening does not wait
{
    if (wake_.number() < 0)
    {
        throw Failure(systemError("cannot wait for devices"));
    }
    ask(std::string(1, kListenToUse));
    thread_ = silentThread([this] { hear(); });
}

RemoteDevices::~RemoteDevices()
{
    eventfd_write(wake_.number(), 1);
    thread_.join();
}

int RemoteDevices::open(Role role, const std::string& file)
{
    return ask(static_cast<char>(role) + file);
}

void RemoteDevices::listen(std::function<void()> changed)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_ = std::move(changed);
}

void RemoteDevices::listenToUse(std::function<void()> used)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    used_ = std::move(used);
}

int RemoteDevices::ask(const std::string& request)
{
    const std::lock_guard<std::mutex> lock(asking_);
    if (send(line_.number(), request.data(), request.size(), MSG_NOSIGNAL) < 0)
    {
        return -ENODEV;
    }
    return receiveAnswer(line_.number());
}

void RemoteDevices::hear()
{
    const int changes = changes_.number();
    while (changes >= 0 && readable(changes, wake_.number()))
    {
        char change = kPlugged;
        const bool isThere = recv(changes, &change, sizeof change, 0) > 0;
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::function<void()>& listener = change == kUsed ? used_ : changed_;
        if (listener)
        {
            listener();
        }
        if (!isThere)
        {
            return;  // the broker has ended, and the devices are gone
        }
    }
}

}  // namespace app
