#include "GThread.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <string>

#include "KestraTime.h"
#include "tests/unit/platform/ChildProcess.h"
#include "tests/unit/platform/ClockTest.h"
#include "tests/unit/platform/Eventually.h"
#include "tests/unit/platform/StopBeforeSleep.h"

namespace {

using platform_tests::ClockTest;
using platform_tests::eventually;
using platform_tests::kBound;
using platform_tests::StopBeforeSleep;

constexpr long kForever = 1000000000;  // seconds

int sleepForever()
{
    KestraTime::wait(KestraTime(kForever, 0));
    return 0;
}

std::string ownName()
{
    std::string name;
    std::ifstream comm("/proc/thread-self/comm");
    std::getline(comm, name);
    return name;
}

// The name that the kernel shows for a thread made with this one.
std::string kernelNameOf(const char* name)
{
    std::promise<std::string> seen;
    GThread thread(
        sleepForever, name,
        [&] {
            seen.set_value(ownName());
            return 0;
        },
        &GThread::emptyFun);
    thread.start();
    return seen.get_future().get();
}

TEST(GThread, RunsNothingBeforeStart)
{
    std::atomic<int> calls{0};
    const auto count = [&] { return ++calls; };
    {
        GThread thread(count, "idle", count, count);
    }
    EXPECT_EQ(calls, 0);
}

TEST(GThread, CallsTheBodyOverAndOverWhateverItReturns)
{
    std::atomic<int> turns{0};
    GThread thread([&] { return ++turns; }, "turns", &GThread::emptyFun, &GThread::emptyFun);
    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(eventually([&] { return turns > 100; }));
    EXPECT_TRUE(thread.stop());
    const int atStop = turns;
    std::this_thread::yield();
    EXPECT_EQ(turns, atStop);
}

TEST(GThread, CallsTheTwoFurtherFunctionsOnceAtStartAndOnceAtEndOnTheThread)
{
    std::string order;
    const auto add = [&](char c) {
        return [&order, c] {
            order += c;
            return 0;
        };
    };
    std::promise<std::thread::id> id;
    bool first = true;
    const auto body = [&] {
        if (first)
        {
            order += 'b';
            id.set_value(std::this_thread::get_id());
            first = false;
        }
        return sleepForever();
    };
    GThread thread(body, "order", add('s'), add('e'));
    ASSERT_TRUE(thread.start());
    EXPECT_NE(id.get_future().get(), std::this_thread::get_id());
    ASSERT_TRUE(thread.stop());
    EXPECT_EQ(order, "sbe");
}

TEST(GThread, GivesTheKernelItsName)
{
    EXPECT_EQ(kernelNameOf("SensorThread"), "SensorThread");
}

TEST(GThread, CutsTheNameToWhatTheKernelTakes)
{
    EXPECT_EQ(kernelNameOf("ANameOfMoreThanFifteen"), "ANameOfMoreThan");
}

TEST(GThread, NoNameIsAnEmptyOne)
{
    EXPECT_EQ(kernelNameOf(""), "");
    EXPECT_EQ(kernelNameOf(nullptr), "");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // with them nobody survives that
TEST(GThread, DoesNotStartWithoutMemory)
{
    const int status = platform_tests::awaitChild(platform_tests::startChild([] {
        GThread thread(sleepForever, "none", &GThread::emptyFun, &GThread::emptyFun);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_AS, &none);
        for (std::size_t size = 1 << 24; size > 0; size = size > 4096 ? size / 2 : size - 8)
        {
            while (void* volatile taken = std::malloc(size))
            {
                static_cast<void>(taken);
            }
        }
        _exit(thread.start() ? 1 : 42);
    }));
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 42);
}
#endif

TEST(GThread, StopIsHarmlessBeforeStartAndTwice)
{
    GThread thread(sleepForever, "twice", &GThread::emptyFun, &GThread::emptyFun);
    EXPECT_TRUE(thread.stop());
    EXPECT_TRUE(thread.start());
    EXPECT_TRUE(thread.stop());
    EXPECT_TRUE(thread.stop());
}

TEST(GThread, ASecondStartLeavesTheOneThreadRunning)
{
    std::atomic<int> starts{0};
    GThread thread(
        sleepForever, "once", [&] { return ++starts; }, &GThread::emptyFun);
    EXPECT_TRUE(thread.start());
    EXPECT_TRUE(thread.start());
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(starts, 1);
}

TEST(GThread, CanBeStartedAgain)
{
    std::atomic<int> starts{0};
    GThread thread(
        sleepForever, "again", [&] { return ++starts; }, &GThread::emptyFun);
    for (int run = 1; run <= 3; ++run)
    {
        ASSERT_TRUE(thread.start());
        ASSERT_TRUE(thread.stop());
        EXPECT_EQ(starts, run);
    }
}

TEST(GThread, DestructionStops)
{
    std::atomic<bool> ended{false};
    {
        GThread thread(sleepForever, "gone", &GThread::emptyFun, [&] {
            ended = true;
            return 0;
        });
        thread.start();
    }
    EXPECT_TRUE(ended);
}

TEST(GThread, StopOnTheThreadItselfMakesTheTurnTheLastOne)
{
    std::atomic<int> turns{0};
    std::promise<bool> answer;
    std::promise<void> ended;
    GThread* self = nullptr;
    GThread thread(
        [&] {
            ++turns;
            answer.set_value(self->stop());
            return 0;
        },
        "self", &GThread::emptyFun,
        [&] {
            ended.set_value();
            return 0;
        });
    self = &thread;
    ASSERT_TRUE(thread.start());
    EXPECT_FALSE(answer.get_future().get());
    ended.get_future().wait();
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(turns, 1);
}

TEST(GThread, StopInTheLastFunctionIsStillOneOnTheThreadItself)
{
    std::promise<bool> answer;
    GThread* self = nullptr;
    GThread thread(&sleepForever, "last", &GThread::emptyFun, [&] {
        answer.set_value(self->stop());
        return 0;
    });
    self = &thread;
    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.stop());
    EXPECT_FALSE(answer.get_future().get());
}

TEST(GThread, StartsAgainAfterItStoppedItself)
{
    std::atomic<int> turns{0};
    GThread* self = nullptr;
    GThread thread(
        [&] {
            ++turns;
            self->stop();
            return 0;
        },
        "restart", &GThread::emptyFun, &GThread::emptyFun);
    self = &thread;
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(eventually([&] { return turns == 1; }));
    ASSERT_TRUE(eventually([&] {
        thread.start();
        return turns >= 2;
    }));
    EXPECT_TRUE(thread.stop());
}

TEST(GThread, MayBeDestroyedOnItsOwnThread)
{
    std::atomic<bool> mayEnd{false};
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    GThread* thread = nullptr;
    thread = new GThread(
        [&] {
            if (mayEnd)
            {
                delete thread;
            }
            return 0;
        },
        "own end", &GThread::emptyFun,
        [ended] {
            *ended = true;
            return 0;
        });
    ASSERT_TRUE(thread->start());
    mayEnd = true;
    EXPECT_TRUE(eventually([&] { return ended->load(); }));
}

TEST(GThread, StopMayComeFromManyThreadsAtOnce)
{
    GThread thread(sleepForever, "many", &GThread::emptyFun, &GThread::emptyFun);
    ASSERT_TRUE(thread.start());
    std::vector<std::thread> stoppers;
    for (int i = 0; i < 4; ++i)
    {
        stoppers.emplace_back([&] { EXPECT_TRUE(thread.stop()); });
    }
    for (std::thread& stopper : stoppers)
    {
        stopper.join();
    }
}

TEST(GThread, NoStopIsLostHoweverItMeetsTheWait)
{
    GThread thread(sleepForever, "race", &GThread::emptyFun, &GThread::emptyFun);
    for (int run = 0; run < 2000; ++run)
    {
        ASSERT_TRUE(thread.start());
        for (int i = 0; i < run % 7; ++i)
        {
            std::this_thread::yield();
        }
        ASSERT_TRUE(thread.stop());
    }
}

TEST(GThread, AStopBetweenTheLastLookAndTheSleepWakesTheSleeper)
{
    for (const double speed : {0.0, 10.0})
    {
        SCOPED_TRACE(speed);
        host::setClock(speed == 0.0 ? nullptr : std::make_shared<host::ScaledClock>(speed));
        const StopBeforeSleep moment;
        GThread thread(sleepForever, "moment", &GThread::emptyFun, &GThread::emptyFun);
        ASSERT_TRUE(thread.start());
        ASSERT_TRUE(moment.waitUntilHeldUp());
        EXPECT_TRUE(thread.stop());
        EXPECT_FALSE(moment.wasWokenTooEarly());
    }
    host::setClock(nullptr);
}

TEST(GThread, StopEndsAWaitOnAScaledClock)
{
    host::setClock(std::make_shared<host::ScaledClock>(10.0));
    GThread thread(sleepForever, "scaled", &GThread::emptyFun, &GThread::emptyFun);
    EXPECT_TRUE(thread.start());
    EXPECT_TRUE(thread.stop());
    host::setClock(nullptr);
}

TEST_F(ClockTest, StopEndsAWaitOnAClockMovedByHand)
{
    GThread thread(sleepForever, "manual", &GThread::emptyFun, &GThread::emptyFun);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(clock_->monotonic(), host::Span(0));
}

TEST_F(ClockTest, StopEndsAWaitOnAClockThatWasReplacedMeanwhile)
{
    GThread thread(sleepForever, "replaced", &GThread::emptyFun, &GThread::emptyFun);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    host::setClock(nullptr);
    EXPECT_TRUE(thread.stop());
}

TEST_F(ClockTest, StopEndsNoWaitOfAnotherThread)
{
    std::atomic<int> otherTurns{0};
    GThread thread(sleepForever, "one", &GThread::emptyFun, &GThread::emptyFun);
    GThread other(
        [&] {
            ++otherTurns;
            return sleepForever();
        },
        "other", &GThread::emptyFun, &GThread::emptyFun);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(other.start());
    ASSERT_TRUE(clock_->waitForSleepers(2, kBound));
    ASSERT_TRUE(thread.stop());
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    EXPECT_EQ(otherTurns, 1);
}

TEST(GThread, EmptyFunReturnsZero)
{
    EXPECT_EQ(GThread::emptyFun(), 0);
}

}  // namespace
