#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

constexpr u32 kDayNightState = 153;

using SensorThread = ControllerFixture;

TEST_F(SensorThread, TurnPausesOneSecond)
{
    bringUp();
    const host::Span before = clock_->monotonic();
    turn();
    EXPECT_EQ(std::chrono::seconds(1), clock_->monotonic() - before);
    c().setParamMode(0);
    turn();
    EXPECT_EQ(std::chrono::seconds(2), clock_->monotonic() - before);
}

TEST_F(SensorThread, TurnDuringAFactoryResetDoesNotPause)
{
    bringUp();
    setFlags(kInitialisedBit | kResetBit);
    const host::Span before = clock_->monotonic();
    turn();
    EXPECT_EQ(before, clock_->monotonic());
    setFlags(kInitialisedBit);
}

TEST_F(SensorThread, SwitchesOnceWhenTheWindowEnds)
{
    bringUp();
    setValue(0, KEY_BRIGHTNESS, 10);
    setTime(17, 58);
    turn();
    EXPECT_TRUE(service_.calls().empty());
    setTime(18, 0);
    turn();
    EXPECT_EQ(3, current());
    EXPECT_EQ(0, last());
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}), service_.all());
    for (int i = 0; i < 5; ++i)
    {
        turn();
    }
    EXPECT_EQ(1U, service_.calls().size());
}

TEST_F(SensorThread, OrdinarySwitchLeavesTheScheduleStateAlone)
{
    bringUp();
    setTime(20, 0);
    turn();
    EXPECT_EQ(3, current());
    EXPECT_EQ(255, lastSchedule());
}

TEST_F(SensorThread, SwitchByTheClockSendsOnlyWhatDiffers)
{
    bringUp();
    setWindow(1, true, 18, 0, 20, 0);
    setValue(1, KEY_SATURATION, 9);
    setTime(18, 30);
    turn();
    EXPECT_EQ(1, current());
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_SATURATION, IA_CMD_OPT_SET, 9}}), service_.all());
}

TEST_F(SensorThread, ManualModeNeverSwitches)
{
    bringUp();
    c().setParamMode(0);
    setTime(20, 0);
    turn();
    EXPECT_EQ(0, current());
    EXPECT_TRUE(service_.calls().empty());
    c().setParamMode(1);
    turn();
    EXPECT_EQ(3, current());
}

TEST_F(SensorThread, BusyBitsKeepTheTurnFromSwitching)
{
    for (const unsigned char bit : {kResetBit, kReloadBit, kSwitchingBit})
    {
        bringUp();
        setTime(20, 0);
        setFlags(kInitialisedBit | bit);
        turn();
        EXPECT_EQ(0, current()) << int{bit};
        EXPECT_EQ(255, lastSchedule());
        setFlags(kInitialisedBit);
        turn();
        EXPECT_EQ(3, current());
        setTime(12, 0);
    }
}

TEST_F(SensorThread, OtherBitsDoNotKeepTheTurnFromSwitching)
{
    bringUp();
    setTime(20, 0);
    setFlags(kInitialisingBit | kStoppingBit | kInitialisedBit);
    turn();
    EXPECT_EQ(3, current());
    setFlags(kInitialisedBit);
}

TEST_F(SensorThread, FailingSwitchIsNotTriedAgain)
{
    bringUp();
    setValue(0, KEY_BRIGHTNESS, 10);
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -7);
    setTime(20, 0);
    outputOf([&] { turn(); });
    EXPECT_EQ(3, current());
    service_.clearCalls();
    turn();
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(SensorThread, SwitchIsTracedAboveLevelFive)
{
    bringUp();
    setTime(20, 0);
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { turn(); }));
    setTime(12, 0);
    setDebug(6);
    const std::string output = outputOf([&] { turn(); });
    EXPECT_EQ(1, timesSaid(output, traced("dbg", kController, "sensorThread", "SCHEME: auto switch_to(0)\n")));
    EXPECT_LT(output.find("SCHEME: auto"), output.find("switch_to(): 3 -> 0\n"));
    EXPECT_EQ("", outputOf([&] { turn(); }));
}

TEST_F(SensorThread, TakesNoLock)
{
    bringUp();
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    setTime(20, 0);
    turn();
    EXPECT_EQ(3, current());
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
}

TEST_F(SensorThread, RunningThreadFollowsTheClockThroughADay)
{
    bringUpRunning();
    struct Moment
    {
        int hour;
        int scheme;
    };
    c().setParamMode(0);
    setWindow(1, true, 18, 0, 22, 0);
    c().setParamMode(1);
    for (const Moment& moment : {Moment{0, 3}, Moment{7, 3}, Moment{8, 0}, Moment{17, 0}, Moment{18, 1}, Moment{21, 1},
                                 Moment{22, 3}, Moment{23, 3}})
    {
        setTime(moment.hour, 0);
        ASSERT_TRUE(threadTurn());
        EXPECT_EQ(moment.scheme, current()) << moment.hour;
    }
}

TEST_F(SensorThread, NoTurnBeginsAfterStop)
{
    bringUpRunning();
    stopThread();
    setTime(20, 0);
    clock_->advance(std::chrono::seconds(100));
    EXPECT_EQ(0, current());
}

// ---- day/night state -------------------------------------------------------------------------------------------

TEST_F(SensorThread, FailedDayNightReadingDoesNotReachTheCaller)
{
    bringUp();
    service_.answerValue(kDayNightState, 1, 1, -1);
    int mode = 5;
    EXPECT_FALSE(c().getDNMode(mode));
    EXPECT_EQ(5, mode);
}

}  // namespace
