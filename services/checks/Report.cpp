#include "services/checks/Report.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string_view>
#include <thread>
#include <utility>

namespace portcheck {
namespace {

constexpr std::size_t kFindingsShown = 3;
constexpr std::chrono::milliseconds kLook{20};  // how often the watching thread looks
constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// What the handler of a crash has to say: plain arrays, since it can trust nothing else.
char checkUnderWay[256];
thread_local char stepUnderWay[256];

std::atomic<int> passed{0};
std::atomic<int> failed{0};
std::atomic<int> leftOut{0};

template <std::size_t N>
void copyText(char (&to)[N], const std::string& from)
{
    std::snprintf(to, N, "%s", from.c_str());
}

void printCounts()
{
    std::printf("portcheck: %d passed, %d failed, %d left out\n", passed.load(), failed.load(), leftOut.load());
    std::fflush(stdout);
}

void printFailure(const char* expected, const char* came)
{
    ++failed;
    std::printf("FAILED    %s: %s\n", expected, came);
    std::fflush(stdout);
}

// What came may hold anything, the contents of a file among it.
std::string inOneLine(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return std::iscntrl(byte) != 0; }, ' ');
    return text;
}

// Nothing here is promised to work in a handler. Without it there would be no report at all, and the process ends.
void onCrash(int number)
{
    std::signal(number, SIG_DFL);
    char came[sizeof stepUnderWay + 64];
    const char* const where = *stepUnderWay == '\0' ? "no call of the port" : stepUnderWay;
    std::snprintf(came, sizeof came, "crash, signal %d, in %s", number, where);
    printFailure(checkUnderWay, came);
    printCounts();
    std::_Exit(1);
}

struct Run
{
    Check check;
    Watch watch;
    std::string came;  // read when the watch says that the check has ended

    void perform()
    {
        try
        {
            came = check(watch);
        }
        catch (const std::exception& exception)
        {
            came = std::string("exception ") + exception.what();
        }
        watch.checkHasEnded();
    }
};

}  // namespace

std::optional<std::string> Watch::waitForEnd(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!changed_.wait_for(lock, kLook, [this] { return ended_; }))
    {
        const auto now = std::chrono::steady_clock::now();
        for (const Running& running : running_)
        {
            if (now - running.since > limit)
            {
                return running.what;
            }
        }
    }
    return std::nullopt;
}

void Watch::checkHasEnded()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

Step::Step(Watch& watch, std::string what) : watch_(watch)
{
    copyText(stepUnderWay, what);
    const std::lock_guard<std::mutex> lock(watch.mutex_);
    place_ =
        watch.running_.insert(watch.running_.end(), Watch::Running{std::move(what), std::chrono::steady_clock::now()});
}

Step::~Step()
{
    *stepUnderWay = '\0';
    const std::lock_guard<std::mutex> lock(watch_.mutex_);
    watch_.running_.erase(place_);
}

void Findings::add(std::string finding)
{
    if (shown_.size() < kFindingsShown)
    {
        shown_.push_back(std::move(finding));
        return;
    }
    ++more_;
}

std::string Findings::text() const
{
    std::string text;
    for (const std::string& finding : shown_)
    {
        text += (text.empty() ? "" : "; ") + finding;
    }
    return more_ == 0 ? text : text + "; and " + std::to_string(more_) + " more";
}

Report::Report(std::chrono::milliseconds limit) : limit_(limit)
{
    passed = failed = leftOut = 0;
    for (const int number : kCrashSignals)
    {
        handlersBefore_.push_back(std::signal(number, onCrash));
    }
}

Report::~Report()
{
    for (std::size_t i = 0; i < handlersBefore_.size(); ++i)
    {
        std::signal(kCrashSignals[i], handlersBefore_[i]);
    }
}

void Report::begin(const char* part)
{
    partHangs_ = false;
    goOn(part);
}

void Report::goOn(const char* heading)
{
    std::printf("portcheck: %s\n", heading);
}

bool Report::check(const std::string& expected, Check check)
{
    if (partHangs_)
    {
        leaveOut(expected, "a call before it hangs");
        return false;
    }
    copyText(checkUnderWay, expected);
    const auto run = std::make_shared<Run>();
    run->check = std::move(check);
    std::thread thread([run] { run->perform(); });
    const std::optional<std::string> hanging = run->watch.waitForEnd(limit_);
    if (hanging)
    {
        thread.detach();
        partHangs_ = anyHangs_ = true;
        const std::string seconds = std::to_string(limit_.count() / 1000);
        printFailure(expected.c_str(), (*hanging + " did not come back within " + seconds + " s").c_str());
        return false;
    }
    thread.join();
    if (!run->came.empty())
    {
        printFailure(expected.c_str(), inOneLine(run->came).c_str());
        return false;
    }
    ++passed;
    std::printf("passed    %s\n", expected.c_str());
    return true;
}

void Report::leaveOut(const std::string& expected, const std::string& reason)
{
    ++leftOut;
    std::printf("left out  %s: %s\n", expected.c_str(), reason.c_str());
}

int Report::finish()
{
    printCounts();
    const int status = failed == 0 ? 0 : 1;
    if (anyHangs_)
    {
        std::_Exit(status);
    }
    return status;
}

}  // namespace portcheck
