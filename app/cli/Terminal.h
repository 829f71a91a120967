#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "app/EndSignals.h"
#include "app/EventLoop.h"
#include "app/Output.h"
#include "app/box/LibraryOutput.h"
#include "app/box/LibraryView.h"
#include "app/box/WorkingFolder.h"
#include "app/cli/Console.h"

namespace app {

// Standard input, output and error, terminal or not. What it waits for comes from the loop: the thread that calls it is
// another one.
class Terminal : public Console, private LibraryOutput::Listener
{
public:
    // All must outlive it. endsCamera: the camera is this process's own.
    Terminal(EventLoop& loop, EndSignals& signals, LibraryOutput& output, LibraryView::Way way, bool interactive,
             bool endsCamera = true, WorkingFolder folder = {});
    ~Terminal() override;
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool interactive() const override { return interactive_; }
    bool endsCamera() const override { return endsCamera_; }
    void print(const std::string& text) override { answers_.print(text); }
    void notice(const std::string& text) override;
    int columns() const override;
    void showLibrary() override;
    std::optional<std::deque<std::string>> keptLines() override;
    void writeFile(const std::string& file, const std::string& bytes) override { folder_.write(file, bytes); }
    bool pause(std::chrono::microseconds span) override;
    bool takeInterrupt() override { return interactive_ && signals_.takeInterrupt(); }
    bool ended() const override;
    bool broken() const override { return answers_.broken(); }
    bool readerGone() const override { return answers_.readerGone(); }

    // The same, with all lines that were kept back.
    void showAll();

    // To what standard output was.
    Answers& answers() { return answers_; }

    // Waits for input, but for no longer than until something happens. True when there is some to be read.
    bool awaitInput();

    // While a line is edited, what the library prints waits to be taken: only the editor knows where the line is.
    void beginEditing();
    std::string takeLines();
    void endEditing();

    // Something has happened: whoever waits looks again. Thread-safe.
    void wake();

    // The camera has gone: nothing more is to be run. Thread-safe.
    void hangUp();

private:
    using Clock = std::chrono::steady_clock;

    void libraryPrinted(const std::string& bytes) override;
    void awaitShown(std::unique_lock<std::mutex>& lock);
    void showAsTheyCome();
    std::string takenLines();
    void sleepUntil(Clock::time_point end);

    EventLoop& loop_;
    EndSignals& signals_;
    LibraryOutput& output_;
    const LibraryView::Way way_;
    const bool interactive_;
    const bool endsCamera_;
    const WorkingFolder folder_;
    Answers answers_;
    bool asksForInput_ = false;
    std::atomic<bool> hungUp_{false};

    std::mutex mutex_;
    std::condition_variable woken_;
    // Guarded by mutex_.
    bool isWoken_ = false;
    bool hasInput_ = false;

    std::mutex showing_;
    std::condition_variable changed_;
    // Guarded by showing_.
    LibraryView view_;
    std::string lines_;        // to be shown
    std::size_t leftOut_ = 0;  // bytes behind them that there was no room for
    bool holdsLines_;          // they wait to be taken
    bool isShowing_ = false;   // some are being written
    bool isEnding_ = false;

    std::thread shower_;
};

}  // namespace app
