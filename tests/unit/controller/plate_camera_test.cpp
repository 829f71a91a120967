#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

constexpr u32 kDayNightState = 153;

class PlateCamera : public ControllerFixture
{
protected:
    void SetUp() override
    {
        ControllerFixture::SetUp();
        files_.deviceType = kLprDevice;
        bringUp();
        ASSERT_TRUE(ControllerProbe::lpr(c()));
        // Day/night chose the first scheme.
        ASSERT_EQ(0, current());
        ASSERT_EQ(0, lastSchedule());
    }

    void night() { service_.answerValue(kDayNightState, 1, 1); }
    void day() { service_.answerValue(kDayNightState, 1, 0); }

    // How many records a switch sends that leaves nothing out: all but the schedule and the one-shot keys.
    size_t wholeScheme() { return scheme(0).size() - 5 - 2; }
};

TEST_F(PlateCamera, ChoosesSchemeOneByNightAndZeroByDay)
{
    night();
    turn();
    EXPECT_EQ(1, current());
    EXPECT_EQ(0, last());
    day();
    turn();
    EXPECT_EQ(0, current());
    EXPECT_EQ(1, last());
    EXPECT_EQ(0, lastSchedule());
}

TEST_F(PlateCamera, AnyNonzeroStateIsNight)
{
    service_.answerValue(kDayNightState, 1, static_cast<u32>(-3));
    turn();
    EXPECT_EQ(1, current());
}

TEST_F(PlateCamera, FailedReadingIsDay)
{
    night();
    turn();
    ASSERT_EQ(1, current());
    service_.answerStatus(kDayNightState, 1, -1);
    turn();
    EXPECT_EQ(0, current());
}

TEST_F(PlateCamera, FailedReadingIsDayEvenIfItLeftSomethingBehind)
{
    night();
    turn();
    ASSERT_EQ(1, current());
    service_.answerValue(kDayNightState, 1, 1, -1);
    turn();
    EXPECT_EQ(0, current());
}

TEST_F(PlateCamera, NothingHappensWhileTheStateStays)
{
    turn();
    turn();
    EXPECT_TRUE(service_.sets().empty());
    EXPECT_EQ(2U, service_.count(kDayNightState, 1));
}

TEST_F(PlateCamera, DayNightSwitchSendsTheWholeSchemeWithDayNightModeZero)
{
    setValue(1, KEY_DN_MODE, 2);
    night();
    turn();
    EXPECT_EQ(wholeScheme(), service_.sets().size());
    EXPECT_EQ(1U, service_.count(IA_CMD_DN_MODE, IA_CMD_OPT_SET));
    for (const Sent& sent : service_.sets())
    {
        if (sent.cmd == 144)
        {
            EXPECT_EQ(0U, sent.value);
        }
    }
    EXPECT_EQ(2U, valueOf(1, KEY_DN_MODE));
}

TEST_F(PlateCamera, EnteringAWindowSendsEverythingWithTheSchemesOwnMode)
{
    setWindow(2, true, 11, 0, 13, 0);
    setValue(2, KEY_DN_MODE, 2);
    turn();
    EXPECT_EQ(2, current());
    EXPECT_EQ(1, lastSchedule());
    EXPECT_EQ(wholeScheme(), service_.sets().size());
    EXPECT_EQ(2U, service_.stored(IA_CMD_DN_MODE));
    EXPECT_EQ(0U, service_.count(kDayNightState, 1));
}

TEST_F(PlateCamera, EnteringAWindowOfTheCurrentSchemeSendsEverythingToo)
{
    setWindow(0, true, 11, 0, 13, 0);
    turn();
    EXPECT_EQ(0, current());
    EXPECT_EQ(1, lastSchedule());
    EXPECT_EQ(wholeScheme(), service_.sets().size());
}

TEST_F(PlateCamera, StartingInsideAWindowSendsEverything)
{
    setWindow(2, true, 11, 0, 13, 0);
    // As if nothing had been switched yet, with the window's scheme in force already.
    ControllerProbe::lastSchedule(c()) = 255;
    makeCurrent(2);
    turn();
    EXPECT_EQ(2, current());
    EXPECT_EQ(1, lastSchedule());
    EXPECT_EQ(wholeScheme(), service_.sets().size());
}

TEST_F(PlateCamera, StartingInsideAWindowReportsNoFailureAsASwitchByDifferenceDoes)
{
    setWindow(2, true, 11, 0, 13, 0);
    writeFile(schemeFile(2), bytesOf(scheme(2)));
    construct();
    ASSERT_EQ(255, lastSchedule());
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -7);
    EXPECT_EQ("", outputOf([&] {
                  EXPECT_TRUE(initialise());
                  stopThread();
              }));
    EXPECT_EQ(1U, service_.count(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET));
    EXPECT_EQ(2, current());
    EXPECT_EQ(1, lastSchedule());
}

TEST_F(PlateCamera, FromWindowToWindowSendsOnlyWhatDiffers)
{
    setWindow(2, true, 11, 0, 13, 0);
    setWindow(0, true, 13, 0, 14, 0);
    turn();
    ASSERT_EQ(2, current());
    service_.clearCalls();
    setValue(0, KEY_BRIGHTNESS, 10);
    setTime(13, 0);
    turn();
    EXPECT_EQ(0, current());
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 10}}), service_.sets());
    EXPECT_EQ(1, lastSchedule());
}

TEST_F(PlateCamera, InsideAWindowNothingIsRepeated)
{
    setWindow(2, true, 11, 0, 13, 0);
    turn();
    service_.clearCalls();
    turn();
    turn();
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(PlateCamera, LeavingAllWindowsSwitchesByTheStateEvenToTheCurrentScheme)
{
    setWindow(0, true, 11, 0, 13, 0);
    turn();
    ASSERT_EQ(1, lastSchedule());
    service_.clearCalls();
    setTime(13, 0);
    turn();
    EXPECT_EQ(0, current());
    EXPECT_EQ(0, lastSchedule());
    EXPECT_EQ(wholeScheme(), service_.sets().size());
    EXPECT_EQ(0U, service_.stored(IA_CMD_DN_MODE));
}

TEST_F(PlateCamera, LeavingAllWindowsAtNightGoesToSchemeOne)
{
    setWindow(0, true, 11, 0, 13, 0);
    turn();
    setTime(13, 0);
    night();
    turn();
    EXPECT_EQ(1, current());
}

TEST_F(PlateCamera, BusyBitsKeepBothKindsOfSwitchAndTheScheduleState)
{
    for (const unsigned char bit : {kResetBit, kReloadBit, kSwitchingBit})
    {
        setFlags(kInitialisedBit | bit);
        night();
        turn();
        EXPECT_EQ(0, current()) << int{bit};
        setWindow(2, true, 11, 0, 13, 0);
        turn();
        EXPECT_EQ(0, current()) << int{bit};
        EXPECT_EQ(0, lastSchedule()) << int{bit};
        setWindow(2, false, 11, 0, 13, 0);
        day();
    }
    setFlags(kInitialisedBit);
}

TEST_F(PlateCamera, BusyBitsKeepSchemeAndScheduleStateBehindAWindow)
{
    setWindow(2, true, 11, 0, 13, 0);
    turn();
    ASSERT_EQ(2, current());
    ASSERT_EQ(1, lastSchedule());
    setTime(13, 0);
    night();
    service_.clearCalls();
    for (const unsigned char bit : {kResetBit, kReloadBit, kSwitchingBit})
    {
        setFlags(kInitialisedBit | bit);
        turn();
        EXPECT_EQ(2, current()) << int{bit};
        EXPECT_EQ(0, last()) << int{bit};
        EXPECT_EQ(1, lastSchedule()) << int{bit};
        EXPECT_TRUE(service_.sets().empty()) << int{bit};
    }
    setFlags(kInitialisedBit);
    turn();
    EXPECT_EQ(1, current());
    EXPECT_EQ(0, lastSchedule());
}

TEST_F(PlateCamera, ManualModeReadsNoState)
{
    c().setParamMode(0);
    night();
    turn();
    EXPECT_EQ(0, current());
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(PlateCamera, WindowSwitchIsTracedAndDayNightSwitchIsNot)
{
    const std::string trace = "SCHEME: auto switch_to";
    setDebug(6);
    night();
    EXPECT_EQ(0, timesSaid(outputOf([&] { turn(); }), trace));
    setWindow(2, true, 11, 0, 13, 0);
    EXPECT_EQ(1, timesSaid(outputOf([&] { turn(); }),
                           traced("dbg", kController, "sensorThread", "SCHEME: auto switch_to(2)\n")));
}

TEST_F(PlateCamera, DayNightSwitchByHandRaisesTheFlagAndReturnsZero)
{
    unsigned char seen = 0;
    int seenCurrent = -2;
    service_.onCall([&](const ServiceCall&) {
        seen = flags();
        seenCurrent = current();
    });
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -7);
    EXPECT_EQ("", outputOf([&] { EXPECT_EQ(0, c().LPR_switch_to(1)); }));
    EXPECT_EQ(kInitialisedBit | kSwitchingBit, seen);
    EXPECT_EQ(1, seenCurrent);
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(1, current());
    EXPECT_EQ(0, last());
}

TEST_F(PlateCamera, DayNightSwitchWithoutTheModeKeyAppliesTheSchemeUnchanged)
{
    bringDown();
    wipeTree();
    files_.parameters = {{KEY_BRIGHTNESS, 50}};
    bringUp();
    EXPECT_EQ(0, c().LPR_switch_to(1));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}), service_.sets());
}

TEST_F(PlateCamera, OnlyTheFirstModeRecordIsForcedToZero)
{
    bringDown();
    wipeTree();
    files_.parameters = {{KEY_DN_MODE, 1}, {KEY_DN_MODE, 5}};
    bringUp();
    setValue(1, KEY_DN_MODE, 3);
    c().LPR_switch_to(1);
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_DN_MODE, IA_CMD_OPT_SET, 0}, {IA_CMD_DN_MODE, IA_CMD_OPT_SET, 5}}),
              service_.sets());
}

TEST_F(PlateCamera, DayNightSwitchToAnIndexWithoutASchemeAppliesNothing)
{
    for (const int to : {4, -1, 1000000})
    {
        EXPECT_EQ(0, c().LPR_switch_to(to));
        EXPECT_EQ(kInitialisedBit, flags());
    }
    EXPECT_TRUE(service_.sets().empty());
}

TEST_F(PlateCamera, CameraWithOneSchemeComesThroughTheNight)
{
    bringDown();
    wipeTree();
    detail_ = "(max_scheme=1)";
    night();
    bringUp();
    EXPECT_EQ(1, current());
    turn();
    EXPECT_EQ(1, current());
    day();
    turn();
    EXPECT_EQ(0, current());
}

TEST_F(PlateCamera, CameraWithoutSchemesComesThroughTheNight)
{
    bringDown();
    wipeTree();
    detail_ = "(max_scheme=0)";
    night();
    bringUp();
    EXPECT_EQ(1, current());
    turn();
    day();
    turn();
    EXPECT_EQ(0, current());
}

}  // namespace
