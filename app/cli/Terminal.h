#pragma once

#include <condition_variable>
#include <mutex>

#include "app/EndSignals.h"
#include "app/EventLoop.h"
#include "app/box/LibraryOutput.h"
#include "app/cli/Console.h"

namespace app {

// Standard input, output and error, terminal or not. What it waits for comes from the loop: the thread that calls it is
// another one.
class Terminal : public Console
{
public:
    // All must outlive it. Throws Failure.
    Terminal(EventLoop& loop, EndSignals& signals, LibraryOutput::Way way, bool interactive);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool interactive() const override { return interactive_; }
    void print(const std::string& text) override { answers().print(text); }
    void notice(const std::string& text) override;
    int columns() const override;
    void showLibrary() override { answers().write(output_.take()); }
    std::optional<std::deque<std::string>> keptLines() override { return output_.kept(); }
    bool pause(std::chrono::microseconds span) override;
    bool takeInterrupt() override { return interactive_ && signals_.takeInterrupt(); }
    bool ended() const override;
    bool broken() const override { return output_.answers().broken(); }
    bool readerGone() const override { return output_.answers().readerGone(); }

    // As showLibrary, with the lines that were kept back.
    void showAll() { answers().write(output_.takeAll()); }

    // To what standard output was.
    Answers& answers() { return output_.answers(); }

    // Waits for input, but for no longer than until something happens. True when there is some to be read.
    bool awaitInput();

    // While a line is edited, what the library prints waits until it is taken: only the editor knows where the line is.
    void setEditing(bool editing);
    std::string takeLines() { return output_.takeArrived(); }

    // Something has happened: whoever waits looks again. Thread-safe.
    void wake();

private:
    using Clock = std::chrono::steady_clock;

    void showArrived();
    void sleepUntil(Clock::time_point end);

    EventLoop& loop_;
    EndSignals& signals_;
    const bool interactive_;
    bool asksForInput_ = false;

    std::mutex mutex_;
    std::condition_variable woken_;
    // Guarded by mutex_.
    bool isWoken_ = false;
    bool hasInput_ = false;

    std::mutex showing_;
    bool editing_ = false;  // guarded by showing_

    LibraryOutput output_;  // the last one: its thread calls showArrived
};

}  // namespace app
