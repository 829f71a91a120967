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

Terminal::Terminal(EventLoop& loop, EndSignals& signals, LibraryOutput& output, LibraryView::Way way, bool interactive,
                   bool endsCamera)
    : loop_(loop),
      signals_(signals),
      output_(output),
      way_(way),
      interactive_(interactive),
      endsCamera_(endsCamera),
      answers_(output.descriptor()),
      view_(way, isatty(way == LibraryView::Way::beside ? STDERR_FILENO : output.descriptor()) != 0),
      holdsLines_(way == LibraryView::Way::keptBack)  // if the start fails, all of them are shown
{
    output_.add(*this);
}

Terminal::~Terminal()
{
    output_.sync();
    output_.remove(*this);
}

void Terminal::notice(const std::string& text)
{
    app::notice(text);
}

int Terminal::columns() const
{
    winsize size = {};
    const bool isKnown = ioctl(answers_.descriptor(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : kColumns;
}

bool Terminal::ended() const
{
    const int signal = signals_.received();
    return hungUp_ || broken() || (signal != 0 && !(signal == SIGINT && interactive_));
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

std::optional<std::deque<std::string>> Terminal::keptLines()
{
    const std::lock_guard<std::mutex> lock(showing_);
    return view_.kept();
}

void Terminal::showLibrary()
{
    output_.sync();
    endEditing();
}

void Terminal::showAll()
{
    output_.sync();
    const std::lock_guard<std::mutex> lock(showing_);
    lines_ = view_.kept() ? view_.keptText() : lines_;
    showLines();
}

void Terminal::beginEditing()
{
    const std::lock_guard<std::mutex> lock(showing_);
    holdsLines_ = true;
}

void Terminal::endEditing()
{
    const std::lock_guard<std::mutex> lock(showing_);
    holdsLines_ = false;
    showLines();
}

std::string Terminal::takeLines()
{
    const std::lock_guard<std::mutex> lock(showing_);
    return std::exchange(lines_, "");
}

void Terminal::libraryPrinted(const std::string& bytes)
{
    const std::lock_guard<std::mutex> lock(showing_);
    lines_ += view_.take(bytes);
    if (!holdsLines_ || LibraryOutput::aborting())
    {
        showLines();
    }
    wake();
}

// Under showing_.
void Terminal::showLines()
{
    const std::string lines = std::exchange(lines_, "");
    if (way_ == LibraryView::Way::beside)
    {
        writeAll(STDERR_FILENO, lines);
    }
    else
    {
        answers_.write(lines);
    }
}

void Terminal::wake()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    isWoken_ = true;
    woken_.notify_all();
}

void Terminal::hangUp()
{
    hungUp_ = true;
    wake();
}

void Terminal::sleepUntil(Clock::time_point end)
{
    std::unique_lock<std::mutex> lock(mutex_);
    woken_.wait_until(lock, end, [this] { return isWoken_; });
    isWoken_ = false;
}

}  // namespace app
