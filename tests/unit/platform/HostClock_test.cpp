#include "HostClock.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <atomic>
#include <limits>
#include <list>
#include <stdexcept>
#include <thread>

#include "GThread.h"
#include "KSDeviceTime.h"
#include "KestraTime.h"
#include "tests/unit/platform/ClockTest.h"
#include "tests/unit/platform/Eventually.h"
#include "tests/unit/platform/Joining.h"

namespace {

using namespace std::chrono_literals;
using host::ManualClock;
using host::RealClock;
using host::ScaledClock;
using host::Span;
using platform_tests::ClockTest;
using platform_tests::Joining;
using platform_tests::kBound;
using platform_tests::LastAdvance;

// How long a wait on the clock takes while somebody wakes it all the time.
Span spanOfDisturbedWait(host::Clock& clock, Span span)
{
    std::atomic<bool> isOver{false};
    Joining waker([&] {
        while (!isOver)
        {
            clock.wake();
            std::this_thread::yield();
        }
    });
    const Span before = clock.monotonic();
    clock.wait(span);
    const Span after = clock.monotonic();
    isOver = true;
    return after - before;
}

class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const char* zone) { setenv("TZ", zone, 1); }
    ~ScopedTimeZone() { unsetenv("TZ"); }
};

// Since 1970, as the clock's wall shows it.
Span wallOf(const host::Clock& clock)
{
    std::tm local = clock.localTime();
    return std::chrono::seconds(timegm(&local));
}

int minutesOf(const std::tm& local)
{
    return local.tm_hour * 60 + local.tm_min;
}

// ---- the clock in force ------------------------------------------------------------------------------------

TEST(HostClock, IsARealOneFromTheStartAndAgainAfterNull)
{
    EXPECT_NE(dynamic_cast<RealClock*>(host::clock().get()), nullptr);
    const auto manual = std::make_shared<ManualClock>(8, 0);
    host::setClock(manual);
    EXPECT_EQ(host::clock(), manual);
    host::setClock(nullptr);
    EXPECT_NE(dynamic_cast<RealClock*>(host::clock().get()), nullptr);
}

TEST_F(ClockTest, DeviceTimeIsTheClocksTimeOfDay)
{
    clock_->setTimeOfDay(23, 59);
    EXPECT_EQ(KSDeviceTime::getCurrentTime().getHour(), 23);
    EXPECT_EQ(KSDeviceTime::getCurrentTime().getMinute(), 59);
    clock_->advance(1min);
    EXPECT_EQ(KSDeviceTime::getCurrentTime().getHour(), 0);
    EXPECT_EQ(KSDeviceTime::getCurrentTime().getMinute(), 0);
}

TEST_F(ClockTest, KestraTimeWaitsTheSumOfSecondsAndMicroseconds)
{
    const KestraTime span(1, 500000);
    EXPECT_EQ(span.getSeconds(), 1);
    EXPECT_EQ(span.getMicroseconds(), 500000);
    KestraTime::wait(span);
    EXPECT_EQ(clock_->monotonic(), 1500ms);
    KestraTime::wait(KestraTime(1, -400000));
    EXPECT_EQ(clock_->monotonic(), 2100ms);
}

TEST_F(ClockTest, KestraTimeTakesEveryNumber)
{
    constexpr long kMost = std::numeric_limits<long>::max();
    KestraTime::wait(KestraTime(-kMost, -kMost));
    KestraTime::wait(KestraTime(-1, 0));
    EXPECT_EQ(clock_->monotonic(), Span(0));
    KestraTime::wait(KestraTime(kMost, kMost));
    EXPECT_GT(clock_->monotonic(), Span(0));
}

// ---- real --------------------------------------------------------------------------------------------------

TEST(RealClock, WaitLastsTheSpan)
{
    RealClock clock;
    const Span before = clock.monotonic();
    clock.wait(20ms);
    EXPECT_GE(clock.monotonic() - before, 20ms);
}

TEST(RealClock, WaitLastsTheSpanHoweverOftenItIsWoken)
{
    RealClock clock;
    EXPECT_GE(spanOfDisturbedWait(clock, 20ms), 20ms);
}

TEST(RealClock, WaitSleepsOnceWithoutPolling)
{
    RealClock clock;
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_THREAD, &before);
    clock.wait(100ms);
    getrusage(RUSAGE_THREAD, &after);
    EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 3);
}

TEST(RealClock, WaitOfNothingReturnsAtOnce)
{
    RealClock clock;
    clock.wait(Span(0));
    clock.wait(-1s);
    clock.wait(Span::min());
}

TEST(RealClock, LocalTimeIsTheSystems)
{
    const std::time_t before = std::time(nullptr);
    std::tm local = RealClock().localTime();
    const std::time_t now = std::mktime(&local);
    EXPECT_GE(now, before);
    EXPECT_LE(now, std::time(nullptr));
}

TEST(RealClock, LocalTimeFollowsAChangeOfTheTimeZone)
{
    int hours[2];
    for (int& difference : hours)
    {
        const ScopedTimeZone zone(&difference == hours ? "UTC0" : "EAST-5");
        const std::tm local = RealClock().localTime();
        const std::time_t now = std::time(nullptr);
        std::tm utc{};
        gmtime_r(&now, &utc);
        difference = (minutesOf(local) - minutesOf(utc) + 24 * 60 + 30) / 60 % 24;
    }
    EXPECT_EQ(hours[0], 0);
    EXPECT_EQ(hours[1], 5);
}

// ---- scaled ------------------------------------------------------------------------------------------------

TEST(ScaledClock, AnHourPassesInTheTwinklingOfAnEye)
{
    ScaledClock clock(1e6);
    const Span before = clock.monotonic();
    clock.wait(1h);
    EXPECT_GE(clock.monotonic() - before, 1h - 1ms);
}

TEST(ScaledClock, WallTimeRunsOnFromWhereItWasSet)
{
    ScaledClock clock(1e-3, 7, 30);
    EXPECT_EQ(minutesOf(clock.localTime()), 7 * 60 + 30);
    clock.setTimeOfDay(23, 59);
    EXPECT_EQ(minutesOf(clock.localTime()), 23 * 60 + 59);
    clock.setTimeOfDay(0, 0);
    EXPECT_EQ(minutesOf(clock.localTime()), 0);
}

TEST(ScaledClock, WallTimeRunsAtTheSpeedAndOverMidnight)
{
    constexpr std::time_t kDay = 24 * 60 * 60;
    ScaledClock clock(1e6, 23, 0);
    Span before[2];
    Span after[2];
    std::time_t seconds[2];
    for (int i = 0; i < 2; ++i)
    {
        before[i] = clock.monotonic();
        std::tm local = clock.localTime();
        seconds[i] = timegm(&local);
        after[i] = clock.monotonic();
        clock.wait(24h);
    }
    EXPECT_GT(seconds[1] / kDay, seconds[0] / kDay);
    const std::chrono::seconds passed(seconds[1] - seconds[0]);
    EXPECT_GE(passed, before[1] - after[0] - 1s);
    EXPECT_LE(passed, after[1] - before[0] + 1s);
}

TEST(ScaledClock, SettingTheWallClockLeavesTheMonotonicTimeAlone)
{
    ScaledClock clock(100, 12, 0);
    Span last = clock.monotonic();
    for (int hour = 0; hour < 24; ++hour)
    {
        clock.setTimeOfDay(23 - hour, 0);
        const Span now = clock.monotonic();
        EXPECT_GE(now, last);
        last = now;
    }
}

TEST(ScaledClock, SettingTheWallClockKeepsTheDay)
{
    ScaledClock clock(1e6, 12, 0);
    clock.wait(72h);
    const Span before = wallOf(clock);
    clock.setTimeOfDay(0, 0);
    EXPECT_GE(wallOf(clock), before - before % 24h);
}

TEST(ScaledClock, WaitLastsTheSpanHoweverOftenItIsWoken)
{
    ScaledClock clock(10);
    EXPECT_GE(spanOfDisturbedWait(clock, 200ms), 200ms);
}

TEST(ScaledClock, RunsSlowerToo)
{
    ScaledClock clock(0.5);
    RealClock real;
    const Span before = real.monotonic();
    clock.wait(10ms);
    EXPECT_GE(real.monotonic() - before, 20ms);
}

TEST(ScaledClock, TakesUpAnotherSpeedAndNeitherTimeLeaps)
{
    ScaledClock clock(1e-3, 12, 0);
    const Span before = clock.monotonic();
    const Span wall = wallOf(clock);
    clock.setSpeed(1e6);
    clock.wait(3h);
    EXPECT_GE(clock.monotonic() - before, 3h);
    EXPECT_GE(wallOf(clock) - wall, 3h);
    clock.setSpeed(1e-3);
    const Span slow = clock.monotonic();
    EXPECT_LT(clock.monotonic() - slow, 1min);
    EXPECT_GE(clock.monotonic(), slow);
    EXPECT_THROW(clock.setSpeed(0), std::invalid_argument);
}

TEST(ScaledClock, AWaitThatHasBegunEndsAtTheNewSpeed)
{
    ScaledClock clock(1e-6);
    std::thread waiting([&clock] { clock.wait(1h); });
    clock.setSpeed(1e9);
    waiting.join();
    EXPECT_GE(clock.monotonic(), 1h);
}

TEST(ScaledClock, TakesNoSpeedThatIsNotAboveZero)
{
    for (const double speed :
         {0.0, -1.0, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
    {
        EXPECT_THROW(ScaledClock{speed}, std::invalid_argument);
    }
}

TEST(ScaledClock, SurvivesAnySpeedAndSpan)
{
    ScaledClock fast(1e300);
    fast.wait(Span::max());
    EXPECT_GE(fast.localTime().tm_year, 100);
    ScaledClock slow(1e-300);
    slow.wait(Span::min());
    EXPECT_EQ(slow.monotonic(), Span(0));
}

// ---- moved by hand -----------------------------------------------------------------------------------------

TEST(ManualClock, StandsStill)
{
    const ManualClock clock(8, 15);
    EXPECT_EQ(clock.monotonic(), Span(0));
    const std::tm local = clock.localTime();
    EXPECT_EQ(minutesOf(local), 8 * 60 + 15);
    EXPECT_EQ(local.tm_sec, 0);
    EXPECT_EQ(local.tm_year, 126);
    EXPECT_EQ(local.tm_mon, 0);
    EXPECT_EQ(local.tm_mday, 1);
    EXPECT_EQ(local.tm_wday, 4);
}

TEST(ManualClock, AdvanceMovesWallAndMonotonicTimeOverMidnight)
{
    ManualClock clock(23, 59);
    clock.advance(61s);
    EXPECT_EQ(clock.monotonic(), 61s);
    const std::tm local = clock.localTime();
    EXPECT_EQ(local.tm_mday, 2);
    EXPECT_EQ(minutesOf(local), 0);
    EXPECT_EQ(local.tm_sec, 1);
}

// A signed word of seconds ends on 19 January 2038.
TEST(ManualClock, CalendarGoesOnAfter2038)
{
    ManualClock clock(8, 15);
    clock.advance(24h * 365 * 15);
    const std::tm local = clock.localTime();
    EXPECT_EQ(local.tm_year, 140);
    EXPECT_EQ(local.tm_mon, 11);
    EXPECT_EQ(local.tm_mday, 28);
    EXPECT_EQ(minutesOf(local), 8 * 60 + 15);
}

TEST(ManualClock, NeverGoesBack)
{
    ManualClock clock(8, 0);
    clock.advance(1s);
    clock.advance(-1s);
    clock.advance(Span::min());
    EXPECT_EQ(clock.monotonic(), 1s);
    clock.advance(Span::max());
    EXPECT_EQ(clock.monotonic(), Span::max());
}

TEST(ManualClock, WaitOnTheThreadThatMadeItMovesIt)
{
    ManualClock clock(8, 0);
    clock.wait(90s);
    EXPECT_EQ(clock.monotonic(), 90s);
    EXPECT_EQ(minutesOf(clock.localTime()), 8 * 60 + 1);
    clock.wait(-1s);
    EXPECT_EQ(clock.monotonic(), 90s);
}

TEST(ManualClock, SettingTheTimeOfDayKeepsTheDay)
{
    ManualClock clock(12, 0);
    const Span noon = wallOf(clock);
    clock.advance(72h);
    clock.setTimeOfDay(23, 0);
    EXPECT_EQ(wallOf(clock), noon + 72h + 11h);
}

TEST(ManualClock, SettingTheTimeOfDayReleasesNobody)
{
    ManualClock clock(8, 0);
    std::atomic<bool> released{false};
    Joining sleeper([&] {
        clock.wait(1s);
        released = true;
    });
    const LastAdvance last(clock);
    ASSERT_TRUE(clock.waitForSleepers(1, kBound));
    clock.advance(500ms);
    clock.setTimeOfDay(20, 30);
    EXPECT_EQ(minutesOf(clock.localTime()), 20 * 60 + 30);
    EXPECT_EQ(clock.monotonic(), 500ms);
    EXPECT_TRUE(clock.waitForSleepers(1, 0ms));
    EXPECT_FALSE(released);
    clock.advance(500ms);
    sleeper.join();
    EXPECT_TRUE(released);
}

TEST(ManualClock, ReleasesASleeperAtItsEndAndNotBefore)
{
    ManualClock clock(8, 0);
    Joining sleeper([&] { clock.wait(1s); });
    const LastAdvance last(clock);
    ASSERT_TRUE(clock.waitForSleepers(1, kBound));
    clock.advance(999999us);
    EXPECT_TRUE(clock.waitForSleepers(1, 0ms));
    clock.advance(1us);
    EXPECT_FALSE(clock.waitForSleepers(1, 0ms));
    sleeper.join();
}

TEST(ManualClock, WaitingForSleepersIsBounded)
{
    ManualClock clock(8, 0);
    EXPECT_FALSE(clock.waitForSleepers(1, 10ms));
    EXPECT_TRUE(clock.waitForSleepers(0, 0ms));
}

TEST(ManualClock, WakeAloneReleasesNobody)
{
    ManualClock clock(8, 0);
    Joining sleeper([&] { clock.wait(1s); });
    const LastAdvance last(clock);
    ASSERT_TRUE(clock.waitForSleepers(1, kBound));
    clock.wake();
    EXPECT_TRUE(clock.waitForSleepers(1, 0ms));
    clock.advance(1s);
    sleeper.join();
}

TEST_F(ClockTest, AThreadJustReleasedIsNotCountedBeforeItSleepsAgain)
{
    std::atomic<int> turns{0};
    GThread thread(
        [&] {
            KestraTime::wait(KestraTime(1, 0));
            std::this_thread::yield();
            ++turns;
            return 0;
        },
        "turns", &GThread::emptyFun, &GThread::emptyFun);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    for (int turn = 1; turn <= 2000; ++turn)
    {
        clock_->advance(1s);
        ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
        ASSERT_EQ(turns, turn);
    }
}

TEST_F(ClockTest, SleepersOfDifferentLengthsAreCountedByTheirEnds)
{
    std::list<Joining> sleepers;
    const LastAdvance last(*clock_);
    for (int seconds = 1; seconds <= 3; ++seconds)
    {
        sleepers.emplace_back([seconds] { KestraTime::wait(KestraTime(seconds, 0)); });
    }
    ASSERT_TRUE(clock_->waitForSleepers(3, kBound));
    for (int left = 2; left >= 0; --left)
    {
        clock_->advance(1s);
        EXPECT_TRUE(clock_->waitForSleepers(left, 0ms));
        EXPECT_FALSE(clock_->waitForSleepers(left + 1, 0ms));
    }
}

TEST(ScaledClock, SaysWhatASpeedMustBe)
{
    try
    {
        ScaledClock clock(0);
        FAIL() << "no exception";
    }
    catch (const std::invalid_argument& error)
    {
        EXPECT_STREQ(error.what(), "the speed of a clock must be above 0");
    }
}

// Each kind of reading on a thread of its own, and one kind of change: what one does must not order what another does.
// All three go on at once, and each kind of reading comes once more behind the last change.
template <typename Change>
void readWhile(ManualClock& clock, Change change)
{
    constexpr int kChanges = 1000;
    std::atomic<int> reading{0};
    std::atomic<bool> changes{true};
    const auto goOn = [&](auto read) {
        read();
        reading.fetch_add(1, std::memory_order_relaxed);
        while (changes.load(std::memory_order_relaxed))
        {
            read();
        }
        read();
    };
    Joining monotonic([&] {
        Span last{0};
        goOn([&] {
            const Span now = clock.monotonic();
            EXPECT_GE(now, last);
            last = now;
        });
    });
    Joining wall([&] { goOn([&] { EXPECT_EQ(clock.localTime().tm_mday, 1); }); });
    while (reading.load(std::memory_order_relaxed) < 2)
    {
        std::this_thread::yield();
    }
    for (int i = 0; i < kChanges; ++i)
    {
        change();
    }
    changes.store(false, std::memory_order_relaxed);
}

TEST(ManualClock, IsReadWhileItMoves)
{
    ManualClock clock(8, 0);
    readWhile(clock, [&] { clock.advance(1us); });
}

TEST(ManualClock, IsReadWhileItIsSet)
{
    ManualClock clock(8, 0);
    readWhile(clock, [&] { clock.setTimeOfDay(9, 30); });
}

TEST(ScaledClock, TheShortestWaitIsOneToo)
{
    ScaledClock clock(1e-4);
    const Span before = clock.monotonic();
    clock.wait(Span(1));
    EXPECT_GE(clock.monotonic() - before, Span(1));
}

TEST(ScaledClock, RunsForThousandsOfYears)
{
    constexpr Span kYears = 24h * 365 * 2000;
    ScaledClock clock(1e13);
    clock.wait(kYears);
    EXPECT_GE(clock.monotonic(), kYears);
}

}  // namespace
