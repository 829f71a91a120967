#include "app/remote/RemoteConsole.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "app/Failure.h"
#include "app/box/LibraryLines.h"

namespace remote {
namespace {

// Of what the library printed, for a client that does not take it. The library does not wait for a client.
constexpr std::size_t kMostUnsent = 1 << 20;

}  // namespace

RemoteConsole::RemoteConsole(FrameSocket& socket, app::LibraryOutput& output, bool interactive)
    : socket_(socket),
      output_(output),
      interactive_(interactive),
      woken_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (woken_.number() < 0)
    {
        throw app::Failure(app::systemError("the running camera has no room for a session"));
    }
    output_.add(*this);
}

RemoteConsole::~RemoteConsole()
{
    output_.remove(*this);
}

void RemoteConsole::send(Kind kind, const std::vector<std::string>& parts)
{
    gone_ = gone_ || !socket_.send(kind, parts);
}

void RemoteConsole::showLibrary()
{
    output_.sync();
    sendLibrary();
    send(Kind::showLibrary);
}

std::optional<std::deque<std::string>> RemoteConsole::keptLines()
{
    const std::optional<Frame> answer = ask(Kind::keptLines);
    if (!answer || answer->part(0) != "kept")
    {
        return std::nullopt;
    }
    return std::deque<std::string>(answer->parts.begin() + 1, answer->parts.end());
}

void RemoteConsole::writeFile(const std::string& file, const std::string& bytes)
{
    const std::optional<Frame> answer = ask(Kind::file, {file, bytes});
    const std::string whyNot = answer ? answer->part(0) : "nobody is left to write " + file;
    if (!whyNot.empty())
    {
        throw app::Failure(whyNot);
    }
}

// Nothing when the client has gone.
std::optional<Frame> RemoteConsole::ask(Kind kind, const std::vector<std::string>& parts)
{
    answer_.reset();
    send(kind, parts);
    while (!answer_ && !gone_)
    {
        waitUntil(Clock::time_point::max());
    }
    return answer_;
}

bool RemoteConsole::pause(std::chrono::microseconds span)
{
    const auto end = Clock::now() + span;
    while (!ended() && !interrupted_)
    {
        sendLibrary();
        if (Clock::now() >= end)
        {
            return true;
        }
        waitUntil(end);
    }
    return false;
}

bool RemoteConsole::takeInterrupt()
{
    return std::exchange(interrupted_, false);
}

std::optional<Frame> RemoteConsole::next()
{
    while (!gone_ && !request_)
    {
        sendLibrary();
        waitUntil(Clock::time_point::max());
    }
    return gone_ ? std::nullopt : std::exchange(request_, std::nullopt);
}

// Sends nothing: whoever waits here may be in the middle of an answer.
void RemoteConsole::waitUntil(Clock::time_point end)
{
    pollfd waits[] = {{socket_.descriptor(), POLLIN, 0}, {woken_.number(), POLLIN, 0}};
    timespec span = {};
    const bool isBounded = end != Clock::time_point::max();
    if (isBounded)
    {
        const auto left = std::max<std::chrono::nanoseconds>(end - Clock::now(), {});
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        span = {static_cast<time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
    }
    if (ppoll(waits, 2, isBounded ? &span : nullptr, nullptr) <= 0)
    {
        return;
    }
    eventfd_t ignored;
    eventfd_read(woken_.number(), &ignored);
    if (waits[0].revents == 0)
    {
        return;
    }
    gone_ = !socket_.receive();
    while (std::optional<Frame> frame = socket_.take())
    {
        takeIn(std::move(*frame));
    }
}

void RemoteConsole::takeIn(Frame frame)
{
    switch (frame.kind)
    {
    case Kind::interrupt:
        interrupted_ = true;
        break;
    case Kind::end:
        ended_ = true;
        break;
    case Kind::answer:
        answer_ = std::move(frame);
        break;
    case Kind::run:
        columns_ = std::atoi(frame.part(1).c_str());
        [[fallthrough]];
    case Kind::words:
    case Kind::values:
        interrupted_ = false;  // it was meant for what came before
        request_ = std::move(frame);
        break;
    default:
        gone_ = true;
    }
}

void RemoteConsole::libraryPrinted(const std::string& bytes)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::remove_copy(bytes.begin(), bytes.end(), std::back_inserter(library_), app::kPause);
        if (library_.size() > kMostUnsent)
        {
            library_.clear();
            socket_.shut();
        }
    }
    eventfd_write(woken_.number(), 1);
}

void RemoteConsole::sendLibrary()
{
    std::string bytes;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        bytes.swap(library_);
    }
    if (!bytes.empty())
    {
        send(Kind::library, {bytes});
    }
}

}  // namespace remote
