#include <algorithm>
#include <array>

#include "tests/robust/hostile/BlockingFixture.h"
#include "tests/support/TestName.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class Blocked : public BlockingFixture
{
protected:
    void SetUp() override
    {
        BlockingFixture::SetUp();
        bringUpHostile();
    }

    // One after the other, while the gate stays shut.
    void expectComeThrough(const std::vector<HostCall>& calls)
    {
        for (const HostCall& call : calls)
        {
            WaitingCall waiting([&] { call.call(c()); });
            if (!waiting.ends())
            {
                ADD_FAILURE() << call.name;
                gate_->open();
                return;
            }
        }
    }
};

// ---- the sensor thread stands in the service, within its switch ------------------------------------------------

TEST_F(Blocked, ThreadInASwitchHoldsUpNoHostCallButTheTwoSettersThatWaitForIt)
{
    CapturedOutput quiet;
    stopThreadInSwitch();
    std::vector<HostCall> calls = callsWithLock();
    const std::vector<HostCall> others = callsWithoutLock();
    calls.insert(calls.end(), others.begin(), others.end());
    expectComeThrough(calls);
    EXPECT_EQ(kSwitchingBit, flags() & kBusyBits);
    gate_->open();
    EXPECT_TRUE(threadIsThrough());
    EXPECT_EQ(1, current());
}

// The host's setters that must not meet a switch.
class WaitingSetter : public Blocked, public testing::WithParamInterface<HostCall>
{
};

TEST_P(WaitingSetter, WaitsForTheThreadsSwitchAndGoesOnAtTheFirstLookAfterIt)
{
    stopThreadInSwitch();
    WaitingCall setter([this] { GetParam().call(c()); });
    for (int looks = 0; looks < 5; ++looks)
    {
        EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
        clock_->advance(500ms);
    }
    EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
    EXPECT_FALSE(setter.done());
    WaitingCall reader([this] {
        int scheme = 0;
        c().getParamScheme(scheme);
    });
    EXPECT_TRUE(reader.waitsFor(ControllerProbe::mutex(c())));  // contract: the setter waits with the mutex held

    gate_->open();
    EXPECT_TRUE(eventually([this] { return (flags() & kBusyBits) == 0; }));
    EXPECT_TRUE(clock_->waitForSleepers(2, 30s));  // the thread in its pause, the setter in its last half second
    clock_->advance(500ms);
    EXPECT_TRUE(setter.ends());
    EXPECT_TRUE(reader.ends());
    expectWorks();
}

INSTANTIATE_TEST_SUITE_P(Setters, WaitingSetter,
                         testing::Values(HostCall{"setParamScheme", [](ISensorController& c) { c.setParamScheme(2); }},
                                         HostCall{"setParamMode", [](ISensorController& c) { c.setParamMode(0); }}),
                         ByName());

TEST_F(Blocked, SetterThatWaitedSwitchesFromWhereTheThreadWent)
{
    stopThreadInSwitch();
    WaitingCall setter([this] { c().setParamScheme(2); });
    EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
    gate_->open();
    EXPECT_TRUE(clock_->waitForSleepers(2, 30s));
    clock_->advance(500ms);
    EXPECT_TRUE(setter.ends());
    EXPECT_EQ(2, current());
    EXPECT_EQ(1, ControllerProbe::lastScheme(c()));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 20}, {IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 30}}),
              service_.sets());
    expectWorks();
}

// ---- a host call stands in the service -------------------------------------------------------------------------

TEST_F(Blocked, HostInASwitchHoldsUpNothingThatTakesNoLock)
{
    stopNext(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    WaitingCall switching([this] { c().setParamScheme(2); });
    EXPECT_TRUE(gate_->waitForArrivals());
    expectComeThrough(callsWithoutLock());
    EXPECT_FALSE(switching.done());
    gate_->open();
    EXPECT_TRUE(switching.ends());
    expectWorks();
}

TEST_F(Blocked, HostCallsQueueBehindOneThatStandsInTheServiceAndAllGoOn)
{
    stopNext(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    WaitingCall first([this] { c().setParameter(KEY_BRIGHTNESS, 99, true); });
    EXPECT_TRUE(gate_->waitForArrivals());
    CapturedOutput quiet;
    std::vector<std::unique_ptr<WaitingCall>> others;
    for (const HostCall& call : callsWithLock())
    {
        others.push_back(std::make_unique<WaitingCall>([this, call] { call.call(c()); }));
    }
    EXPECT_TRUE(others.back()->waitsFor(ControllerProbe::mutex(c())));
    for (const auto& other : others)
    {
        EXPECT_FALSE(other->done());
    }
    gate_->open();
    EXPECT_TRUE(first.ends());
    for (const auto& other : others)
    {
        EXPECT_TRUE(other->ends());
    }
    expectWorks();
}

TEST_F(Blocked, ClockGoesOnDecidingWhileAHostCallStandsInTheService)
{
    stopNext(IA_CMD_CONTRAST, IA_CMD_OPT_SET);
    WaitingCall setting([this] { c().setParameter(KEY_CONTRAST, 99, true); });
    EXPECT_TRUE(gate_->waitForArrivals());
    for (const auto& [hour, wanted] : {std::pair{18, 1}, {22, 3}, {9, 0}, {18, 1}, {23, 3}, {17, 0}})
    {
        setTime(hour, 0);
        if (!threadTurn())
        {
            gate_->open();
            FAIL() << "the sensor thread waits for the host's call";
        }
        EXPECT_EQ(wanted, current());
        EXPECT_FALSE(setting.done());
    }
    EXPECT_EQ(10U, service_.stored(IA_CMD_BRIGHTNESS));
    gate_->open();
    EXPECT_TRUE(setting.ends());
    expectWorks();
}

TEST_F(Blocked, ThreadMakesItsTurnsWhileAHostSwitchStandsInTheServiceAndDecidesAfterwards)
{
    stopNext(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    WaitingCall switching([this] { c().setParamScheme(2); });
    EXPECT_TRUE(gate_->waitForArrivals());
    setTime(18, 0);
    EXPECT_TRUE(threadTurns(5));
    EXPECT_EQ(2, current());
    gate_->open();
    EXPECT_TRUE(switching.ends());
    EXPECT_TRUE(threadTurn());
    EXPECT_EQ(1, current());
    expectWorks();
}

TEST_F(Blocked, ClockGoesOnDecidingWhileAStyleReadStandsInTheService)
{
    stopNext(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET);
    WaitingCall reading([this] { c().getUIStyleFile(); });
    EXPECT_TRUE(gate_->waitForArrivals());
    setTime(18, 0);
    EXPECT_TRUE(threadTurn());
    EXPECT_EQ(1, current());
    EXPECT_FALSE(reading.done());
    gate_->open();
    EXPECT_TRUE(reading.ends());
    expectWorks();
}

TEST_F(Blocked, ThreadKeepsOutOfAReloadThatStandsInTheService)
{
    c().setParameter(KEY_BRIGHTNESS, 99, true);
    stopNext(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    WaitingCall reloading([this] { EXPECT_TRUE(c().resetToLastParameters()); });
    EXPECT_TRUE(gate_->waitForArrivals());
    setTime(18, 0);
    EXPECT_TRUE(threadTurns(3));
    EXPECT_EQ(0, current());
    gate_->open();
    EXPECT_TRUE(reloading.ends());
    EXPECT_EQ(10U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_TRUE(threadTurn());
    EXPECT_EQ(1, current());
    expectWorks();
}

TEST_F(Blocked, VideoModuleThatStandsInANotificationHoldsUpNeitherClockNorLens)
{
    std::atomic<bool> taken{false};
    video_.onNotify([&](int cmd, int) {
        if (cmd == IA_CMD_UI_MIRROR && !taken.exchange(true))
        {
            gate_->pass();
        }
    });
    WaitingCall setting([this] { c().setParameter(KEY_MIRROR, 2, true); });
    EXPECT_TRUE(gate_->waitForArrivals());
    setTime(18, 0);
    EXPECT_TRUE(threadTurn());
    EXPECT_EQ(1, current());
    EXPECT_TRUE(c().zoomIn());
    EXPECT_FALSE(setting.done());
    gate_->open();
    EXPECT_TRUE(setting.ends());
    video_.onNotify(nullptr);
    expectWorks();
}

// ---- a licence-plate camera reads its day/night state -----------------------------------------------------------

TEST_F(BlockingFixture, ThreadThatStandsInADayNightReadingHoldsUpNoSetter)
{
    files_.deviceType = kLprDevice;
    bringUpHostile();
    service_.answerValue(IA_CMD_DN_STATE, IA_CMD_OPT_GET, 1);
    stopNext(IA_CMD_DN_STATE, IA_CMD_OPT_GET);
    ASSERT_TRUE(clock_->waitForSleepers(1, 30s));
    setTime(23, 0);
    clock_->advance(1s);
    ASSERT_TRUE(gate_->waitForArrivals());
    EXPECT_TRUE(c().setParamScheme(2));
    EXPECT_TRUE(c().setParamMode(1));
    EXPECT_EQ(2, current());
    gate_->open();
    EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
    EXPECT_EQ(1, current());  // the turn goes on with what it read
    setTime(12, 0);
    EXPECT_TRUE(threadTurn());
    EXPECT_EQ(0, current());
}

// ---- starvation --------------------------------------------------------------------------------------------------

TEST_F(Blocked, ThreadIsNotStarvedByCallersThatNeverLeaveTheMutexAlone)
{
    std::atomic<bool> running{true};
    std::vector<std::thread> callers;
    for (int i = 0; i < 8; ++i)
    {
        callers.emplace_back([&, i] {
            for (int round = 0; running; ++round)
            {
                c().setParameter(KEY_CONTRAST, i * 1000 + round, true);
                int value = 0;
                c().getParameter(KEY_GAMMA, value);
            }
        });
    }
    for (int day = 0; day < 10; ++day)
    {
        for (const auto& [hour, wanted] : {std::pair{18, 1}, {22, 3}, {9, 0}})
        {
            setTime(hour, 0);
            EXPECT_TRUE(threadTurn());
            EXPECT_EQ(wanted, current());
        }
    }
    running = false;
    for (std::thread& caller : callers)
    {
        caller.join();
    }
    expectWorks();
}

// Nobody's turn is passed over for ever: each caller comes through while all the others go on calling.
TEST_F(Blocked, EveryCallerComesThroughBesideAllTheOthers)
{
    constexpr int kCallers = 8;
    constexpr int kRoundsEach = 20;
    std::array<std::atomic<int>, kCallers> rounds{};
    std::atomic<bool> running{true};
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i)
    {
        callers.emplace_back([&, i] {
            while (running)
            {
                c().setParameter(KEY_CONTRAST, i * 1000 + rounds[i], true);
                ++rounds[i];
            }
        });
    }
    EXPECT_TRUE(eventually([&] {
        return std::all_of(rounds.begin(), rounds.end(), [](const std::atomic<int>& r) { return r >= kRoundsEach; });
    }));
    running = false;
    for (std::thread& caller : callers)
    {
        caller.join();
    }
    expectWorks();
}

}  // namespace
