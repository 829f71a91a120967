#include "app/cli/Terminal.h"

#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <utility>

#include "app/Failure.h"

namespace app {
namespace {

constexpr int kColumns = 80;  // where no terminal says how many it has

// Of the library's lines, for a reader that has stopped. Neither the library nor other readers wait for one.
constexpr std::size_t kMostUnshown = 1 << 20;

}  // namespace

Terminal::Terminal(EventLoop& loop, EndSignals& signals, LibraryOutput& output, LibraryView::Way way, bool interactive,
                   bool endsCamera, WorkingFolder folder)
    : loop_(loop),
      signals_(signals),
      output_(output),
      way_(way),
      interactive_(interactive),
      endsCamera_(endsCamera),
      folder_(std::move(folder)),
      answers_(output.descriptor()),
      view_(way, isatty(way == LibraryView::Way::beside ? STDERR_FILENO : output.descriptor()) != 0),
      holdsLines_(way == LibraryView::Way::keptBack),  // if the start fails, all of them are shown
      shower_([this] { showAsTheyCome(); })
{
    output_.add(*this);
}

Terminal::~Terminal()
{
    output_.sync();
    output_.remove(*this);
    {
        const std::lock_guard<std::mutex> lock(showing_);
        isEnding_ = true;
        changed_.notify_all();
    }
    shower_.join();
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
    std::unique_lock<std::mutex> lock(showing_);
    lines_ = view_.kept() ? view_.keptText() : lines_;
    awaitShown(lock);
}

void Terminal::beginEditing()
{
    std::unique_lock<std::mutex> lock(showing_);
    awaitShown(lock);
    holdsLines_ = true;
}

void Terminal::endEditing()
{
    std::unique_lock<std::mutex> lock(showing_);
    awaitShown(lock);
}

std::string Terminal::takeLines()
{
    const std::lock_guard<std::mutex> lock(showing_);
    return takenLines();
}

void Terminal::libraryPrinted(const std::string& bytes)
{
    std::unique_lock<std::mutex> lock(showing_);
    const std::string lines = view_.take(bytes);
    if (leftOut_ == 0 && lines_.size() + lines.size() <= kMostUnshown)
    {
        lines_ += lines;
    }
    else
    {
        leftOut_ += lines.size();
    }
    changed_.notify_all();
    if (LibraryOutput::aborting())
    {
        awaitShown(lock);
    }
    wake();
}

// Until there are no more, those that waited to be taken too.
void Terminal::awaitShown(std::unique_lock<std::mutex>& lock)
{
    holdsLines_ = false;
    changed_.notify_all();
    changed_.wait(lock, [this] { return lines_.empty() && !isShowing_; });
}

// Under showing_.
std::string Terminal::takenLines()
{
    std::string lines = std::exchange(lines_, "");
    if (leftOut_ > 0)
    {
        lines += "(" + std::to_string(leftOut_) + " bytes of the library's lines are left out: nobody read them)\n";
    }
    leftOut_ = 0;
    return lines;
}

// On a thread of its own, which waits for the reader.
void Terminal::showAsTheyCome()
{
    std::unique_lock<std::mutex> lock(showing_);
    const auto hasLines = [this] { return !holdsLines_ && !lines_.empty(); };
    while (changed_.wait(lock, [&] { return hasLines() || isEnding_; }), hasLines())
    {
        const std::string lines = takenLines();
        isShowing_ = true;
        lock.unlock();
        if (way_ == LibraryView::Way::beside)
        {
            writeAll(STDERR_FILENO, lines);
        }
        else
        {
            answers_.write(lines);
        }
        lock.lock();
        isShowing_ = false;
        changed_.notify_all();
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
