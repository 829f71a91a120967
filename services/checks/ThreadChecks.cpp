#include <atomic>
#include <thread>

#include "GThread.h"
#include "KSMutex.h"
#include "KestraTime.h"
#include "services/checks/Parts.h"

namespace portcheck {
namespace {

constexpr std::chrono::milliseconds kLongTurn{300};
constexpr std::chrono::milliseconds kLook{1};
constexpr long kLongWaitSeconds = 86400;
constexpr int kLockers = 4;
constexpr int kLocks = 500;

// What a thread did; it may go on doing so when its check has failed.
struct Turns
{
    std::atomic<int> starts{0};
    std::atomic<int> turns{0};
    std::atomic<int> ends{0};
    std::atomic<bool> inTurn{false};
};

using Body = std::function<void(Turns&)>;

// The result of the body says failure, which nobody looks at.
GThread makeThread(const std::shared_ptr<Turns>& turns, Body body)
{
    return GThread(
        [turns, body = std::move(body)] {
            turns->inTurn = true;
            body(*turns);
            ++turns->turns;
            turns->inTurn = false;
            return -1;
        },
        "portcheck",
        [turns] {
            ++turns->starts;
            return 0;
        },
        [turns] {
            ++turns->ends;
            return 0;
        });
}

template <typename Condition>
void waitUntil(Watch& watch, const char* what, Condition condition)
{
    const Step step(watch, what);
    while (!condition())
    {
        std::this_thread::sleep_for(kLook);
    }
}

bool start(Watch& watch, GThread& thread)
{
    const Step step(watch, "GThread::start");
    return thread.start();
}

bool stop(Watch& watch, GThread& thread)
{
    const Step step(watch, "GThread::stop");
    return thread.stop();
}

std::string checkStopWithoutStart(Watch& watch)
{
    const auto turns = std::make_shared<Turns>();
    GThread thread = makeThread(turns, [](Turns&) {});
    if (!stop(watch, thread))
    {
        return "false before start";
    }
    start(watch, thread);
    stop(watch, thread);
    return stop(watch, thread) ? "" : "false the second time";
}

std::string checkTurns(Watch& watch)
{
    const auto turns = std::make_shared<Turns>();
    GThread thread = makeThread(turns, [](Turns&) { std::this_thread::sleep_for(kLook); });
    if (!start(watch, thread))
    {
        return "it does not start";
    }
    waitUntil(watch, "a third turn of a body that returns -1", [&] { return turns->turns >= 3; });
    stop(watch, thread);
    waitUntil(watch, "the function at the end of a thread", [&] { return turns->ends != 0; });
    return turns->starts == 1 && turns->ends == 1
               ? ""
               : std::to_string(turns->starts) + " beginnings and " + std::to_string(turns->ends) + " ends";
}

std::string checkStopWaits(Watch& watch)
{
    const auto turns = std::make_shared<Turns>();
    GThread thread = makeThread(turns, [](Turns&) { std::this_thread::sleep_for(kLongTurn); });
    start(watch, thread);
    waitUntil(watch, "the first turn", [&] { return turns->inTurn.load(); });
    const bool stopped = stop(watch, thread);
    if (turns->inTurn)
    {
        return "stop returned while the body was running";
    }
    const int turnsAtStop = turns->turns;
    std::this_thread::sleep_for(kLongTurn);
    return turns->turns != turnsAtStop || turns->inTurn ? "the body ran after stop" : !stopped ? "stop is false" : "";
}

std::string checkRestart(Watch& watch)
{
    const auto turns = std::make_shared<Turns>();
    GThread thread = makeThread(turns, [](Turns&) { std::this_thread::sleep_for(kLook); });
    for (int run = 1; run <= 2; ++run)
    {
        if (!start(watch, thread))
        {
            return run == 1 ? "it does not start" : "the second start is false";
        }
        const int before = turns->turns;
        waitUntil(watch, run == 1 ? "the first turn" : "a turn after the second start",
                  [&] { return turns->turns > before; });
        stop(watch, thread);
    }
    return "";
}

std::string checkStopEndsWait(Watch& watch)
{
    const auto turns = std::make_shared<Turns>();
    GThread thread = makeThread(turns, [](Turns&) { KestraTime::wait(KestraTime(kLongWaitSeconds, 0)); });
    start(watch, thread);
    waitUntil(watch, "the first turn", [&] { return turns->inTurn.load(); });
    stop(watch, thread);
    waitUntil(watch, "the end of KestraTime::wait on a thread that is stopped", [&] { return !turns->inTurn; });
    return "";
}

struct Locked
{
    KSMutex mutex;
    std::atomic<int> holders{0};
    std::atomic<int> collisions{0};
};

std::string checkMutex(Watch& watch)
{
    const auto locked = std::make_shared<Locked>();
    std::vector<std::thread> threads;
    for (int i = 0; i < kLockers; ++i)
    {
        threads.emplace_back([&watch, locked] {
            for (int round = 0; round < kLocks; ++round)
            {
                const Step step(watch, "KSMutex::Lock");
                locked->mutex.Lock("portcheck", round);
                locked->collisions += ++locked->holders == 1 ? 0 : 1;
                std::this_thread::yield();
                --locked->holders;
                locked->mutex.Unlock("portcheck", round);
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    return locked->collisions == 0 ? "" : std::to_string(locked->collisions) + " times two held it";
}

}  // namespace

void checkThreads(Report& report)
{
    report.begin("threads");
    report.check("GThread::stop is true before a start and when it comes twice", checkStopWithoutStart);
    report.check("a GThread calls its body over and over, whatever it returns; beginning and end once", checkTurns);
    report.check("GThread::stop returns when the last turn has ended", checkStopWaits);
    report.check("a GThread can be started again after stop", checkRestart);
    report.check("GThread::stop ends a wait early", checkStopEndsWait);
    report.begin("mutex");
    report.check("KSMutex is held by one thread at a time", checkMutex);
}

}  // namespace portcheck
