#include "app/box/LibraryOutput.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "app/Failure.h"
#include "app/Output.h"
#include "app/box/LibraryLines.h"

namespace app {
namespace {

// The report of a failed assertion must come out before the process ends.
std::atomic<bool> isAborting{false};
std::atomic<bool> drained{false};
constexpr timespec kDrainLook = {0, 1000 * 1000};
constexpr int kDrainLooks = 1000;  // a second

}  // namespace

LibraryOutput::LibraryOutput() : before_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
{
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    int ends[2];
    if (descriptor() < 0 || pipe2(ends, O_CLOEXEC) != 0)
    {
        throw Failure(systemError("standard output cannot be used"));
    }
    pipe_ = camera::Descriptor(ends[0]);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    isAborting = false;
    drained = false;
    reader_ = std::thread([this] { readAll(); });
    signal(SIGABRT, onAbort);
}

LibraryOutput::~LibraryOutput()
{
    signal(SIGABRT, SIG_DFL);
    sync();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    // A pause wakes the reader, even if a program that the library started still holds the pipe.
    writeAll(STDOUT_FILENO, std::string(1, kPause));
    reader_.join();
    dup2(descriptor(), STDOUT_FILENO);
}

bool LibraryOutput::aborting()
{
    return isAborting;
}

// Only calls that are allowed in a signal handler; afterwards the process ends as it would have.
void LibraryOutput::onAbort(int)
{
    isAborting = true;
    [[maybe_unused]] const ssize_t sent = write(STDOUT_FILENO, &kPause, 1);
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
        const ssize_t count = read(pipe_.number(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count <= 0)
        {
            return;
        }
        const bool isLast = aborting();
        const std::string bytes(buffer, static_cast<std::size_t>(count));
        const auto pauses = static_cast<unsigned>(std::count(bytes.begin(), bytes.end(), kPause));
        {
            const std::lock_guard<std::mutex> lock(listening_);
            for (Listener* listener : listeners_)
            {
                listener->libraryPrinted(bytes);
            }
        }
        drained = drained || (isLast && pauses != 0);
        const std::lock_guard<std::mutex> lock(mutex_);
        pausesHeard_ += pauses;
        heard_.notify_all();
        if (stopping_ && pauses != 0)
        {
            return;
        }
    }
}

void LibraryOutput::add(Listener& listener)
{
    const std::lock_guard<std::mutex> lock(listening_);
    listeners_.push_back(&listener);
}

void LibraryOutput::remove(Listener& listener)
{
    const std::lock_guard<std::mutex> lock(listening_);
    listeners_.erase(std::find(listeners_.begin(), listeners_.end(), &listener));
}

void LibraryOutput::sync()
{
    std::fflush(stdout);
    unsigned wanted = 0;
    {
        const std::lock_guard<std::mutex> lock(sending_);
        if (write(STDOUT_FILENO, &kPause, 1) != 1)
        {
            return;
        }
        wanted = ++pausesSent_;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    heard_.wait(lock, [&] { return static_cast<int>(pausesHeard_ - wanted) >= 0; });
}

}  // namespace app
