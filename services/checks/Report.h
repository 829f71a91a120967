#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace portcheck {

// The calls of the port that a check is waiting for. Thread-safe.
class Watch
{
public:
    // Nothing when the check has ended; otherwise the call that has been running for longer than limit.
    std::optional<std::string> waitForEnd(std::chrono::milliseconds limit);

    void checkHasEnded();

private:
    friend class Step;

    struct Running
    {
        std::string what;
        std::chrono::steady_clock::time_point since;
    };

    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    std::list<Running> running_;
    bool ended_ = false;
};

// One call of the port, for as long as it lives on the stack. One at a time on a thread.
class Step
{
public:
    // what: as the report names it, "stop of a thread that waits".
    Step(Watch& watch, std::string what);
    ~Step();
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

private:
    Watch& watch_;
    std::list<Watch::Running>::iterator place_;
};

// What came instead of what was expected: the first few, and how many more. Reentrant.
class Findings
{
public:
    void add(std::string finding);
    // "" without findings.
    std::string text() const;

private:
    std::vector<std::string> shown_;
    int more_ = 0;
};

// What came instead; "" if it was as expected. It may be left behind in a call that never returns, so it owns whatever
// it uses.
using Check = std::function<std::string(Watch&)>;

// Runs checks, prints a line for each, and counts. Host thread only, one object at a time.
class Report
{
public:
    // limit: how long one call of the port may take.
    explicit Report(std::chrono::milliseconds limit);
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    // A part of the port. A part that hangs is not asked again.
    void begin(const char* part);
    // More of the part that was asked last.
    void goOn(const char* heading);
    // expected: a sentence. False unless the check passed.
    bool check(const std::string& expected, Check check);
    void leaveOut(const std::string& expected, const std::string& reason);

    // The last line. The exit status; does not return when something hangs, because it still uses the program.
    int finish();

private:
    const std::chrono::milliseconds limit_;
    std::vector<void (*)(int)> handlersBefore_;
    bool partHangs_ = false;
    bool anyHangs_ = false;
};

}  // namespace portcheck
