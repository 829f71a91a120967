#include "tests/unit/services/sim/SimCamera.h"

#include <algorithm>
#include <limits>

namespace {

using namespace std::chrono_literals;

class DayNightState : public SimCamera
{
protected:
    int state() { return get(IA_CMD_DN_STATE); }

    void makeNight()
    {
        service_->setLight(1);
        pass(10s);
        ASSERT_EQ(1, state());
    }
};

TEST_F(DayNightState, FollowsTheLightAfterTheDelay)
{
    EXPECT_EQ(0, state());
    service_->setLight(5);
    EXPECT_EQ(0, state());
    pass(4999ms);
    EXPECT_EQ(0, state());
    pass(1ms);
    EXPECT_EQ(1, state());
    EXPECT_TRUE(service_->night());
    service_->setLight(100);
    pass(4999ms);
    EXPECT_EQ(1, state());
    pass(1ms);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, DelayIsWhatTheKeySays)
{
    ASSERT_EQ(0, set(IA_CMD_DELAY, 60));
    service_->setLight(5);
    pass(59s);
    EXPECT_EQ(0, state());
    pass(1s);
    EXPECT_EQ(1, state());
    ASSERT_EQ(0, set(IA_CMD_DELAY, 0));
    service_->setLight(100);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, AShortShadowDoesNotCount)
{
    service_->setLight(5);
    pass(4s);
    service_->setLight(100);
    pass(1s);
    service_->setLight(5);
    pass(4s);
    EXPECT_EQ(0, state());
    pass(1s);
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, BetweenTheThresholdsNothingChanges)
{
    service_->setLight(40);
    pass(1h);
    EXPECT_EQ(0, state());
    makeNight();
    service_->setLight(40);
    pass(1h);
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, TheThresholdsThemselvesDoNotSwitch)
{
    service_->setLight(20);
    pass(1h);
    EXPECT_EQ(0, state());
    makeNight();
    service_->setLight(60);
    pass(1h);
    EXPECT_EQ(1, state());
    service_->setLight(60.5);
    pass(1h);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, NewThresholdsAreJudgedAtOnce)
{
    service_->setLight(40);
    pass(1h);
    ASSERT_EQ(0, setThresholds(50, 60));
    pass(4s);
    EXPECT_EQ(0, state());
    pass(1s);
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, CrossedThresholdsDoNotFlicker)
{
    ASSERT_EQ(0, setThresholds(80, 10));
    service_->setLight(50);
    pass(1h);
    EXPECT_EQ(1, state());
    pass(1h);
    EXPECT_EQ(1, state());
    service_->setLight(81);
    pass(1h);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, FixedModesHoldWhateverTheLight)
{
    ASSERT_EQ(0, set(IA_CMD_DN_MODE, 2));
    EXPECT_EQ(1, state());
    pass(1h);
    EXPECT_EQ(1, state());
    ASSERT_EQ(0, set(IA_CMD_DN_MODE, 1));
    EXPECT_EQ(0, state());
    service_->setLight(0);
    pass(1h);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, BackInAutomaticTheLightDecidesAgainAfterTheDelay)
{
    set(IA_CMD_DN_MODE, 2);
    set(IA_CMD_DN_MODE, 0);
    EXPECT_EQ(1, state());
    pass(5s);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, ByTimeSwitchesAtTheMinuteOverADay)
{
    ASSERT_EQ(0, setTimes(18, 30, 6, 15));
    ASSERT_EQ(0, set(IA_CMD_DN_MODE, 3));
    clock_->setTimeOfDay(0, 0);
    for (int minute = 0; minute < 24 * 60; ++minute)
    {
        const bool night = minute < 6 * 60 + 15 || minute >= 18 * 60 + 30;
        ASSERT_EQ(night ? 1 : 0, state()) << minute / 60 << ":" << minute % 60;
        pass(1min);
    }
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, ByTimeANightWithinOneDayIsANightToo)
{
    ASSERT_EQ(0, setTimes(1, 0, 5, 0));
    ASSERT_EQ(0, set(IA_CMD_DN_MODE, 3));
    clock_->setTimeOfDay(0, 59);
    EXPECT_EQ(0, state());
    clock_->setTimeOfDay(1, 0);
    EXPECT_EQ(1, state());
    clock_->setTimeOfDay(5, 0);
    EXPECT_EQ(0, state());
    ASSERT_EQ(0, setTimes(5, 0, 5, 0));
    EXPECT_EQ(0, state()) << "equal times: always day";
}

TEST_F(DayNightState, ByTimeANightMayBeginOrEndAtMidnight)
{
    ASSERT_EQ(0, setTimes(0, 0, 5, 0));
    ASSERT_EQ(0, set(IA_CMD_DN_MODE, 3));
    clock_->setTimeOfDay(23, 59);
    EXPECT_EQ(0, state());
    clock_->setTimeOfDay(0, 0);
    EXPECT_EQ(1, state());
    ASSERT_EQ(0, setTimes(20, 0, 0, 0));
    EXPECT_EQ(0, state());
    clock_->setTimeOfDay(23, 59);
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, DaylightGivesOneNightADay)
{
    ASSERT_EQ(0, set(IA_CMD_DELAY, 10));
    service_->setDaylight();
    int changes = 0;
    int last = state();
    EXPECT_EQ(0, last) << "noon";
    for (int minute = 0; minute < 48 * 60; ++minute)
    {
        pass(1min);
        const int now = state();
        changes += now != last;
        last = now;
        const int hour = clock_->localTime().tm_hour;
        if (hour >= 19 || hour < 5)
        {
            ASSERT_EQ(1, now) << hour;
        }
        if (hour >= 7 && hour < 17)
        {
            ASSERT_EQ(0, now) << hour;
        }
    }
    EXPECT_EQ(4, changes);
}

TEST_F(DayNightState, DaylightIsWorkedOutEvenIfNobodyLookedForHours)
{
    service_->setDaylight();
    pass(10h);
    EXPECT_EQ(1, state()) << "22:00, dark for hours, long past the delay";
    pass(14h);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, DaylightIsDarkAtMidnightAndBrightestAtNoon)
{
    EXPECT_LT(sim::daylight(0), 1);
    EXPECT_NEAR(400, sim::daylight(6 * 3600), 1);
    EXPECT_GT(sim::daylight(12 * 3600), 50000);
    for (int hour = 0; hour < 24; ++hour)
    {
        EXPECT_LE(sim::daylight(hour * 3600.0), sim::daylight(12 * 3600));
    }
}

TEST_F(DayNightState, DaylightRisesWithTheSunAndFadesInTheTwilight)
{
    EXPECT_NEAR(96400, sim::daylight(12 * 3600), 1) << "60 degrees above the horizon";
    EXPECT_NEAR(48400, sim::daylight(8 * 3600), 1) << "30 degrees";
    EXPECT_NEAR(173, sim::daylight(18 * 3600 + 240), 1) << "a degree below it";
    EXPECT_DOUBLE_EQ(0.05, sim::daylight(20 * 3600));
}

TEST_F(DayNightState, NegativeLightAndNoNumberAreDarkness)
{
    service_->setLight(-5);
    EXPECT_EQ(0, service_->light());
    service_->setLight(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(0, service_->light());
}

TEST_F(DayNightState, LightEndsAtAMillionLux)
{
    service_->setLight(1e39);
    EXPECT_EQ(1e6, service_->light());
}

TEST_F(DayNightState, AReplacedClockBeginsAPendingChangeAnew)
{
    pass(1h);
    service_->setLight(5);
    pass(4s);
    const auto other = std::make_shared<host::ManualClock>(3, 0);
    host::setClock(other);
    EXPECT_EQ(0, state());
    other->advance(4999ms);
    EXPECT_EQ(0, state());
    other->advance(1ms);
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, SettingTheTimeOfDayDoesNotSkipTheDelay)
{
    ASSERT_EQ(0, set(IA_CMD_DELAY, 30));
    service_->setDaylight();
    pass(10min);
    EXPECT_EQ(0, state());
    clock_->setTimeOfDay(23, 0);
    EXPECT_EQ(0, state());
    pass(29s);
    EXPECT_EQ(0, state());
    pass(1s);
    EXPECT_EQ(1, state());
    pass(10min);
    clock_->setTimeOfDay(12, 0);
    pass(29s);
    EXPECT_EQ(1, state());
    pass(31s);
    EXPECT_EQ(0, state());
}

TEST_F(DayNightState, ATimeOfDaySetRightAfterALookCountsFromThere)
{
    service_->setDaylight();
    clock_->setTimeOfDay(0, 0);
    pass(60s);
    EXPECT_EQ(1, state()) << "dark for a minute, five seconds are asked for";
}

TEST_F(DayNightState, SettingTheTimeOfDayDoesNotDelayAFixedLight)
{
    service_->setLight(1);
    pass(4s);
    clock_->setTimeOfDay(23, 0);
    EXPECT_EQ(0, state());
    pass(1s);
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, TheLongestSpanIsWorkedOutToo)
{
    service_->setDaylight();
    ASSERT_EQ(0, state());
    pass(host::Span::max() / 2);
    const int first = state();
    EXPECT_TRUE(first == 0 || first == 1);
    pass(host::Span::max() - clock_->monotonic());
    const int last = state();
    EXPECT_TRUE(last == 0 || last == 1);
}

TEST_F(DayNightState, AShorterDelayCountsFromTheFirstDarkMoment)
{
    ASSERT_EQ(0, set(IA_CMD_DELAY, 60));
    service_->setLight(5);
    pass(40s);
    ASSERT_EQ(0, set(IA_CMD_DELAY, 45));
    EXPECT_EQ(0, state());
    pass(5s);
    EXPECT_EQ(1, state());
}

TEST_F(DayNightState, TheLensSearchesAfterAChangeIfTheKeyIsOn)
{
    set(IA_CMD_AUTO_FOCUS_MODE, 1);
    set(IA_CMD_DN_MODE, 2);
    EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
    set(IA_CMD_DN_AF_MODE, 1);
    set(IA_CMD_DN_MODE, 1);
    EXPECT_EQ(services::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
    pass(1min);
    EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
}

TEST_F(DayNightState, WithoutAChangeTheLensDoesNotSearch)
{
    set(IA_CMD_AUTO_FOCUS_MODE, 1);
    set(IA_CMD_DN_AF_MODE, 1);
    pass(1min);
    EXPECT_EQ(sim::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
    service_->setLight(1);
    pass(4999ms);
    EXPECT_EQ(sim::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
    pass(1ms);
    EXPECT_EQ(sim::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
}

class InfraredLamps : public DayNightState
{
protected:
    void expectLamps(int near, int medium, int far)
    {
        const sim::Infrared lamps = service_->infrared();
        EXPECT_EQ(near, lamps.near);
        EXPECT_EQ(medium, lamps.medium);
        EXPECT_EQ(far, lamps.far);
        EXPECT_EQ(std::max({near, medium, far}), service_->lamps());
    }
};

TEST_F(InfraredLamps, AreOffByDayAndWhenSwitchedOff)
{
    set(IA_CMD_IR_MODE, 2);
    expectLamps(0, 0, 0);
    makeNight();
    expectLamps(50, 50, 50);
    set(IA_CMD_IR_SWITCH, 0);
    expectLamps(0, 0, 0);
}

TEST_F(InfraredLamps, ManualStrengthsHold)
{
    makeNight();
    set(IA_CMD_IR_MODE, 2);
    set(IA_CMD_IR_MANUAL_STRG_NEAR, 40);
    set(IA_CMD_IR_MANUAL_STRG_MEDIUM, 10);
    set(IA_CMD_IR_MANUAL_STRG_FAR, 0);
    expectLamps(40, 10, 0);
}

TEST_F(InfraredLamps, AutomaticFillsUpWhatTheLightLeaves)
{
    makeNight();
    service_->setLight(0);
    set(IA_CMD_IR_AUTO_STRG_MEDIUM, 60);
    expectLamps(100, 60, 100);
    service_->setLight(30);
    expectLamps(50, 30, 50);
    set(IA_CMD_DN_MODE, 2);
    service_->setLight(1000);
    expectLamps(0, 0, 0);
}

TEST_F(InfraredLamps, ByZoomOneLampAtATime)
{
    makeNight();
    set(IA_CMD_IR_MODE, 1);
    set(IA_CMD_IR_AUTO_STRG_MEDIUM, 70);
    expectLamps(100, 0, 0);
    set(IA_CMD_MZ_POSITION, 28672);
    pass(1min);
    expectLamps(0, 70, 0);
    set(IA_CMD_MZ_POSITION, 30400);
    pass(1min);
    expectLamps(0, 0, 100);
}

}  // namespace
