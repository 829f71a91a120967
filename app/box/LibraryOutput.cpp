#include "app/box/LibraryOutput.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "app/Failure.h"

namespace app {
namespace {

constexpr char kLineMark[] = "  | ";
constexpr char kMark = '\0';  // the library prints text; a zero byte in the stream is ours

// A failed assertion of the library ends the process; its report must come out first.
std::atomic<bool> aborting{false};
std::atomic<bool> drained{false};
constexpr timespec kDrainLook = {0, 1000 * 1000};
constexpr int kDrainLooks = 1000;  // a second

bool inColour(LibraryOutput::Way way)
{
    return way != LibraryOutput::Way::keptBack &&
           isatty(way == LibraryOutput::Way::collected ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

}  // namespace

LibraryOutput::LibraryOutput(Way way)
    : way_(way),
      answers_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)),
      lines_(way == Way::standardError ? "" : kLineMark, inColour(way)),
      kept_(kLineMark)
{
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    arrived_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    int ends[2];
    if (answers_.descriptor() < 0 || arrived_ < 0 || pipe2(ends, O_CLOEXEC) != 0)
    {
        throw Failure(systemError("standard output cannot be used"));
    }
    pipe_ = ends[0];
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    aborting = false;
    drained = false;
    reader_ = std::thread([this] { readAll(); });
    signal(SIGABRT, onAbort);
}

LibraryOutput::~LibraryOutput()
{
    signal(SIGABRT, SIG_DFL);
    take();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    // A mark wakes the reader, even if a program that the library started still holds the pipe.
    writeAll(STDOUT_FILENO, std::string(1, kMark));
    reader_.join();
    dup2(answers_.descriptor(), STDOUT_FILENO);
    close(pipe_);
    close(arrived_);
    close(answers_.descriptor());
}

// Only calls that are allowed in a signal handler; afterwards the process ends as it would have.
void LibraryOutput::onAbort(int)
{
    aborting = true;
    [[maybe_unused]] const ssize_t sent = write(STDOUT_FILENO, &kMark, 1);
    for (int i = 0; i < kDrainLooks && !drained; ++i)
    {
        nanosleep(&kDrainLook, nullptr);
    }
}

void LibraryOutput::readAll()
{
    char buffer[4096];
    while (true)
    {
        const ssize_t count = read(pipe_, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0)
        {
            return;
        }
        const std::string bytes(buffer, static_cast<std::size_t>(count));
        tell(bytes);
        const std::lock_guard<std::mutex> lock(mutex_);
        takeIn(bytes);
        const bool hasMark = bytes.find(kMark) != std::string::npos;
        if (aborting)
        {
            writeAll(way_ == Way::standardError ? STDERR_FILENO : answers_.descriptor(), ready_);
            ready_.clear();
            drained = hasMark;
        }
        if (stopping_ && hasMark)
        {
            return;
        }
    }
}

void LibraryOutput::setListener(Listener listener)
{
    const std::lock_guard<std::mutex> lock(listening_);
    listener_ = std::move(listener);
}

void LibraryOutput::tell(const std::string& bytes)
{
    const std::lock_guard<std::mutex> lock(listening_);
    if (!listener_)
    {
        return;
    }
    std::string text = bytes;
    text.erase(std::remove(text.begin(), text.end(), kMark), text.end());
    const std::string lines = plain_.feed(text);
    if (!lines.empty())
    {
        listener_(lines);
    }
}

void LibraryOutput::takeIn(const std::string& bytes)
{
    std::string lines;
    std::size_t begin = 0;
    for (std::size_t mark = bytes.find(kMark); mark != std::string::npos; mark = bytes.find(kMark, begin))
    {
        lines += lines_.feed(bytes.substr(begin, mark - begin));
        lines += lines_.flush();
        begin = mark + 1;
        ++marksSeen_;
    }
    lines += lines_.feed(bytes.substr(begin));
    if (way_ == Way::standardError)
    {
        writeAll(STDERR_FILENO, lines);
    }
    else
    {
        ready_ += way_ == Way::keptBack ? kept_.take(lines) : lines;
    }
    synced_.notify_all();
    if (!ready_.empty())
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t woken = write(arrived_, &one, sizeof one);
    }
}

std::string LibraryOutput::take()
{
    std::fflush(stdout);
    if (write(STDOUT_FILENO, &kMark, 1) == 1)
    {
        const unsigned wanted = ++marksSent_;
        std::unique_lock<std::mutex> lock(mutex_);
        synced_.wait(lock, [&] { return static_cast<int>(marksSeen_ - wanted) >= 0; });
    }
    return takeArrived();
}

std::string LibraryOutput::takeAll()
{
    const std::string shown = take();
    std::string all;
    for (const std::string& line : kept().value_or(std::deque<std::string>()))
    {
        all += kLineMark + line + "\n";
    }
    return all.empty() ? shown : all;
}

std::optional<std::deque<std::string>> LibraryOutput::kept()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return way_ == Way::keptBack ? std::make_optional(kept_.lines()) : std::nullopt;
}

std::string LibraryOutput::takeArrived()
{
    std::uint64_t ignored;
    [[maybe_unused]] const ssize_t cleared = read(arrived_, &ignored, sizeof ignored);
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    text.swap(ready_);
    return text;
}

}  // namespace app
