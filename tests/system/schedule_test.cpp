#include "tests/support/Simulator.h"
#include "tests/system/SystemCamera.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

// Minute of the day and the scheme from then on.
using Changes = std::vector<std::pair<int, int>>;

constexpr int at(int hour, int minute)
{
    return hour * 60 + minute;
}

class Schedule : public SystemCamera
{
protected:
    // Looks at the scheme in every minute of a day. The camera is in scheme `before` when the day begins.
    Changes dayChanges(int before)
    {
        Changes changes;
        for (int minute = 0; minute < 24 * 60; ++minute)
        {
            turnAt(minute / 60, minute % 60);
            const int now = scheme();
            if (now != before)
            {
                changes.emplace_back(minute, now);
                before = now;
            }
        }
        return changes;
    }
};

TEST_F(Schedule, FixedCameraFollowsItsWindowsThroughTheDay)
{
    install(kFixed);
    start();
    saveWindow(0, 8, 0, 18, 0);
    saveWindow(1, 17, 30, 19, 45);
    saveWindow(2, 6, 15, 8, 30);
    saveWindow(3, 0, 0, 24, 0, 0);
    turnAt(0, 0);
    ASSERT_EQ(4, scheme());
    EXPECT_EQ((Changes{{at(6, 15), 2}, {at(8, 0), 0}, {at(18, 0), 1}, {at(19, 45), 4}}), dayChanges(4));
}

TEST_F(Schedule, NextDayIsLikeTheFirst)
{
    install(kFisheye);
    start();
    saveWindow(0, 9, 0, 17, 0);
    saveWindow(1, 17, 0, 24, 0);
    turnAt(0, 0);
    const Changes first = dayChanges(2);
    EXPECT_EQ((Changes{{at(9, 0), 0}, {at(17, 0), 1}}), first);
    EXPECT_EQ((Changes{{at(0, 0), 2}, {at(9, 0), 0}, {at(17, 0), 1}}), dayChanges(1));
}

TEST_F(Schedule, EightSchemesOfTheDomeTakeTurns)
{
    install(kDome);
    start();
    Changes expected;
    for (int i = 0; i < 8; ++i)
    {
        saveWindow(i, i * 3, 0, i * 3 + 3, 0);
        if (i > 0)
        {
            expected.emplace_back(at(i * 3, 0), i);
        }
    }
    turnAt(0, 0);
    ASSERT_EQ(0, scheme());
    EXPECT_EQ(expected, dayChanges(0));
}

TEST_F(Schedule, FreshCameraStaysInItsFirstScheme)
{
    install(kFixed);
    start();
    ASSERT_EQ(0, scheme());
    EXPECT_EQ(Changes(), dayChanges(0));
}

TEST_F(Schedule, WindowOverMidnightIsRefusedAndNeverHolds)
{
    install(kFixed);
    start();
    c().setParamMode(0);
    c().setParamScheme(0);
    ASSERT_EQ(0, c().setParameters("(8000,1)(8001,22)(8002,0)(8003,6)(8004,0)", true));
    EXPECT_EQ(507, flush());
    c().setParamMode(1);
    turnAt(0, 0);
    ASSERT_EQ(4, scheme());
    EXPECT_EQ(Changes(), dayChanges(4));
}

TEST_F(Schedule, EachSchemeBringsItsOwnValuesAndSendsOnlyThose)
{
    install(kFixed);
    start();
    saveWindow(0, 8, 0, 18, 0);
    saveWindow(1, 18, 0, 20, 0);
    c().setParamMode(0);
    c().setParamScheme(1);
    ASSERT_EQ(0, c().setParameters("(34,70)(2353,71)", true));
    ASSERT_EQ(0, flush());
    c().setParamScheme(0);
    c().setParamMode(1);
    turnAt(17, 59);
    EXPECT_EQ(50, applied(IA_CMD_BRIGHTNESS));
    support::journal().clearCalls();
    turnAt(18, 0);
    EXPECT_EQ(70, applied(IA_CMD_BRIGHTNESS));
    EXPECT_EQ(71, applied(IA_CMD_CONTRAST));
    EXPECT_EQ(2U, support::journal().calls().size());
    support::journal().clearCalls();
    turnAt(20, 0);
    EXPECT_EQ(50, applied(IA_CMD_BRIGHTNESS));
    EXPECT_EQ(2U, support::journal().calls().size());
}

TEST_F(Schedule, ManualModeHoldsThroughTheDay)
{
    install(kFixed);
    start();
    saveWindow(0, 8, 0, 18, 0);
    c().setParamMode(0);
    c().setParamScheme(2);
    EXPECT_EQ(Changes(), dayChanges(2));
    c().setParamMode(1);
    turnAt(12, 0);
    EXPECT_EQ(0, scheme());
}

TEST_F(Schedule, HandPickedSchemeIsUndoneWithinASecond)
{
    install(kFixed);
    start();
    c().setParamScheme(3);
    EXPECT_EQ(3, scheme());
    pass(1s);
    EXPECT_EQ(0, scheme());
}

TEST_F(Schedule, WindowsSurviveARestart)
{
    install(kFixed);
    start();
    saveWindow(0, 8, 0, 18, 0);
    saveWindow(1, 18, 0, 20, 0);
    restart();
    turnAt(19, 0);
    EXPECT_EQ(1, scheme());
    turnAt(21, 0);
    EXPECT_EQ(4, scheme());
}

TEST_F(Schedule, SwitchByTheThreadIsTraced)
{
    install(kFixed);
    start();
    saveWindow(0, 8, 0, 18, 0);
    turnAt(12, 0);
    setDebug(6);
    CapturedOutput output;
    turnAt(20, 0);
    removeDebug();
    EXPECT_NE(std::string::npos, output.take().find("\nSCHEME: auto switch_to(4)\n\033[0m"));
}

// ---- licence-plate camera --------------------------------------------------------------------------------------

class PlateDay : public Schedule
{
protected:
    void SetUp() override
    {
        Schedule::SetUp();
        install(kPlate);
        start();
        support::simulator().setDaylight();
    }
};

TEST_F(PlateDay, NightAndDayChooseTheScheme)
{
    clock_->setTimeOfDay(0, 0);
    pass(60s);
    pass(1s);
    int switches = 0;
    int last = scheme();
    ASSERT_EQ(1, last);
    int toDay = -1;
    int toNight = -1;
    for (int i = 0; i < 24 * 60 - 1; ++i)
    {
        pass(60s);
        const int now = scheme();
        ASSERT_EQ(support::simulator().night() ? 1 : 0, now) << minutesOfDay();
        if (now != last)
        {
            ++switches;
            (now == 0 ? toDay : toNight) = minutesOfDay();
            last = now;
        }
    }
    EXPECT_EQ(2, switches);
    EXPECT_GT(toDay, at(5, 0));
    EXPECT_LT(toDay, at(8, 0));
    EXPECT_GT(toNight, at(16, 0));
    EXPECT_LT(toNight, at(19, 0));
}

TEST_F(PlateDay, EachChangeSendsTheWholeSchemeWithTheModeForcedToByLight)
{
    const size_t parameters = allValues().size();
    support::simulator().setLight(1);
    pass(120s);
    pass(1s);
    ASSERT_EQ(1, scheme());
    support::journal().clearCalls();
    support::simulator().setLight(1000);
    pass(120s);
    pass(1s);
    ASSERT_EQ(0, scheme());
    EXPECT_EQ((std::vector<int>{0}), sent(IA_CMD_DN_MODE));
    EXPECT_EQ(1U, sent(IA_CMD_BRIGHTNESS).size());
    size_t sets = 0;
    for (const services::Call& call : support::journal().calls())
    {
        sets += call.opt == IA_CMD_OPT_SET ? 1 : 0;
    }
    EXPECT_GT(sets, parameters / 2);
    EXPECT_EQ(std::vector<std::string>(), refused());
}

TEST_F(PlateDay, LightBetweenTheThresholdsChangesNothing)
{
    const int between = (value(KEY_DTN_THR) + value(KEY_NTD_THR)) / 2;
    support::simulator().setLight(1000);
    pass(120s);
    pass(1s);
    ASSERT_EQ(0, scheme());
    support::simulator().setLight(between);
    pass(600s);
    pass(1s);
    EXPECT_EQ(0, scheme());
    support::simulator().setLight(0);
    pass(600s);
    pass(1s);
    ASSERT_EQ(1, scheme());
    support::simulator().setLight(between);
    pass(600s);
    pass(1s);
    EXPECT_EQ(1, scheme());
}

TEST_F(PlateDay, WindowHasPrecedenceOverDayAndNight)
{
    saveWindow(2, 20, 0, 21, 0);
    support::simulator().setLight(0);
    pass(600s);
    turnAt(19, 59);
    EXPECT_EQ(1, scheme());
    support::journal().clearCalls();
    turnAt(20, 0);
    EXPECT_EQ(2, scheme());
    // Everything, the mode as the scheme stores it.
    EXPECT_EQ((std::vector<int>{value(KEY_DN_MODE)}), sent(IA_CMD_DN_MODE));
    EXPECT_EQ(1U, sent(IA_CMD_BRIGHTNESS).size());
    turnAt(21, 0);
    EXPECT_EQ(support::simulator().night() ? 1 : 0, scheme());
}

TEST_F(PlateDay, StoredModeOfASchemeIsNotChangedBySwitching)
{
    c().setParamMode(0);
    c().setParamScheme(0);
    ASSERT_EQ(0, c().setParameter(KEY_DN_MODE, 1, true));
    c().setParamMode(1);
    support::simulator().setLight(0);
    pass(600s);
    pass(1s);
    support::simulator().setLight(1000);
    pass(600s);
    pass(1s);
    c().setParamMode(0);
    c().setParamScheme(0);
    EXPECT_EQ(1, value(KEY_DN_MODE));
}

}  // namespace
