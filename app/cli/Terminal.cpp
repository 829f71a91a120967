#include "app/cli/Terminal.h"

#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <utility>

#include "app/Failure.h"

namespace app {
namespace {

constexpr int kColumns = 80;  // where no terminal says how many it has

}  // namespace

Terminal::Terminal(EventLoop& loop, EndSignals& signals, LibraryOutput::Way way, bool interactive)
    : loop_(loop),
      signals_(signals),
      interactive_(interactive),
      output_(way, [this] { showArrived(); })
{
}

void Terminal::notice(const std::string& text)
{
    app::notice(text);
}

int Terminal::columns() const
{
    winsize size = {};
    const bool isKnown = ioctl(output_.answers().descriptor(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : kColumns;
}

bool Terminal::ended() const
{
    const int signal = signals_.received();
    return broken() || (signal != 0 && !(signal == SIGINT && interactive_));
}

bool Terminal::pause(std::chrono::microseconds span)
{
    const auto end = Clock::now() + span;
    while (!ended() && signals_.received() == 0)
    {
        if (Clock::now() >= end)
        {
            return true;
        }
        sleepUntil(end);
    }
    return false;
}

// The loop looks at standard input only while it is asked to: otherwise it would spin as long as nobody reads.
bool Terminal::awaitInput()
{
    if (!std::exchange(asksForInput_, true))
    {
        loop_.post([this] {
            loop_.watch(STDIN_FILENO, [this] {
                loop_.forget(STDIN_FILENO);
                {
                    const std::lock_guard<std::mutex> lock(mutex_);
                    hasInput_ = true;
                }
                wake();
            });
        });
    }
    sleepUntil(Clock::time_point::max());
    const std::lock_guard<std::mutex> lock(mutex_);
    asksForInput_ = !hasInput_;
    return std::exchange(hasInput_, false);
}

void Terminal::setEditing(bool editing)
{
    const std::lock_guard<std::mutex> lock(showing_);
    editing_ = editing;
}

void Terminal::showArrived()
{
    {
        const std::lock_guard<std::mutex> lock(showing_);
        if (!editing_)
        {
            answers().write(output_.takeArrived());
        }
    }
    wake();
}

void Terminal::wake()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    isWoken_ = true;
    woken_.notify_all();
}

void Terminal::sleepUntil(Clock::time_point end)
{
    std::unique_lock<std::mutex> lock(mutex_);
    woken_.wait_until(lock, end, [this] { return isWoken_; });
    isWoken_ = false;
}

}  // namespace app
