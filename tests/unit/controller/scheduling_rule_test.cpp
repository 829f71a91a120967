#include "tests/support/ControllerFixture.h"

namespace {

constexpr u32 kDayNightState = 153;

// 10:59 at the first look, 11:00 at every later one.
class TurnOfAnHour : public host::RealClock
{
public:
    std::tm localTime() const override
    {
        std::tm local{};
        local.tm_hour = isOver_ ? 11 : 10;
        local.tm_min = isOver_ ? 0 : 59;
        isOver_ = true;
        return local;
    }

private:
    mutable bool isOver_ = false;
};

class SchedulingRule : public support::ControllerFixture
{
protected:
    void bringUpWithoutWindows()
    {
        bringUp();
        for (int i = 0; i < static_cast<int>(g_stSysConf.nSchemeSum); ++i)
        {
            setValue(i, KEY_SCHEME_ENABLE, 0);
        }
    }

    void judge(int& scheme, int& schedule) { EXPECT_EQ(0, c().judgeCurScheme(scheme, schedule)); }

    int judgedScheme(int hour, int minute)
    {
        setTime(hour, minute);
        int scheme = -9;
        int schedule = -9;
        judge(scheme, schedule);
        EXPECT_EQ(scheme == static_cast<int>(g_stSysConf.nSchemeSum) ? 0 : 1, schedule);
        return scheme;
    }
};

TEST_F(SchedulingRule, WindowIsHalfOpen)
{
    bringUpWithoutWindows();
    setWindow(1, true, 8, 0, 18, 0);
    EXPECT_EQ(3, judgedScheme(7, 59));
    EXPECT_EQ(1, judgedScheme(8, 0));
    EXPECT_EQ(1, judgedScheme(17, 59));
    EXPECT_EQ(3, judgedScheme(18, 0));
}

TEST_F(SchedulingRule, HourAndMinuteComeFromOneLookAtTheClock)
{
    bringUpWithoutWindows();
    setWindow(0, true, 10, 0, 10, 59);
    setWindow(1, true, 11, 1, 12, 0);
    int scheme = -9;
    int schedule = -9;
    host::setClock(std::make_shared<TurnOfAnHour>());
    judge(scheme, schedule);
    host::setClock(clock_);
    EXPECT_EQ(3, scheme);
    EXPECT_EQ(0, schedule);
}

TEST_F(SchedulingRule, MinutesCount)
{
    bringUpWithoutWindows();
    setWindow(0, true, 8, 30, 9, 15);
    EXPECT_EQ(3, judgedScheme(8, 29));
    EXPECT_EQ(0, judgedScheme(8, 30));
    EXPECT_EQ(0, judgedScheme(9, 14));
    EXPECT_EQ(3, judgedScheme(9, 15));
}

TEST_F(SchedulingRule, WindowOverMidnightNeverHolds)
{
    bringUpWithoutWindows();
    setWindow(0, true, 22, 0, 6, 0);
    for (int hour = 0; hour < 24; ++hour)
    {
        EXPECT_EQ(3, judgedScheme(hour, 30)) << hour;
    }
}

TEST_F(SchedulingRule, EqualStartAndEndNeverHolds)
{
    bringUpWithoutWindows();
    setWindow(0, true, 12, 0, 12, 0);
    EXPECT_EQ(3, judgedScheme(12, 0));
    EXPECT_EQ(3, judgedScheme(11, 59));
    EXPECT_EQ(3, judgedScheme(12, 1));
}

TEST_F(SchedulingRule, WindowToMidnightHoldsTheLastMinute)
{
    bringUpWithoutWindows();
    setWindow(0, true, 23, 0, 24, 0);
    EXPECT_EQ(0, judgedScheme(23, 59));
    EXPECT_EQ(3, judgedScheme(0, 0));
}

TEST_F(SchedulingRule, LowestOfTwoSchemesWhoseWindowsHoldWins)
{
    bringUpWithoutWindows();
    setWindow(2, true, 0, 0, 24, 0);
    setWindow(1, true, 10, 0, 14, 0);
    EXPECT_EQ(2, judgedScheme(9, 0));
    EXPECT_EQ(1, judgedScheme(12, 0));
    EXPECT_EQ(2, judgedScheme(14, 0));
}

TEST_F(SchedulingRule, DisabledSchemeIsIgnored)
{
    bringUpWithoutWindows();
    setWindow(0, false, 0, 0, 24, 0);
    EXPECT_EQ(3, judgedScheme(12, 0));
}

TEST_F(SchedulingRule, AnyNonzeroEnableCounts)
{
    bringUpWithoutWindows();
    setWindow(0, true, 0, 0, 24, 0);
    setValue(0, KEY_SCHEME_ENABLE, 0xFFFFFFFF);
    EXPECT_EQ(0, judgedScheme(12, 0));
}

TEST_F(SchedulingRule, TimesAreComparedUnsigned)
{
    bringUpWithoutWindows();
    setWindow(0, true, -1, 0, 24, 0);
    EXPECT_EQ(3, judgedScheme(12, 0));
    setWindow(0, true, 0, 0, -1, 0);
    EXPECT_EQ(0, judgedScheme(12, 0));
}

TEST_F(SchedulingRule, WindowIsTakenByPosition)
{
    bringUpWithoutWindows();
    KeyVal* records = ControllerProbe::userKeyVal(c())[1];
    records[0] = {34, 1};
    records[1] = {35, 0};
    records[2] = {36, 0};
    records[3] = {37, 24};
    records[4] = {38, 0};
    EXPECT_EQ(1, judgedScheme(12, 0));
}

TEST_F(SchedulingRule, DefaultSchemeHasNoWindowOfItsOwn)
{
    bringUpWithoutWindows();
    setWindow(3, true, 0, 0, 24, 0);
    int scheme = 0;
    int schedule = 9;
    judge(scheme, schedule);
    EXPECT_EQ(3, scheme);
    EXPECT_EQ(0, schedule);
}

TEST_F(SchedulingRule, WithoutSchemesZeroIsChosen)
{
    detail_ = "(max_scheme=0)";
    bringUp();
    for (const int hour : {0, 12, 23})
    {
        setTime(hour, 0);
        int scheme = 7;
        int schedule = 7;
        judge(scheme, schedule);
        EXPECT_EQ(0, scheme);
        EXPECT_EQ(0, schedule);
    }
}

TEST_F(SchedulingRule, SchemeOfFewerThanFiveRecordsHasNoWindow)
{
    files_.style = "<Style><Tab key=\"t\"><S id=\"8000\" value=\"23\"/></Tab></Style>";
    bringUp();
    ASSERT_EQ(1U, ControllerProbe::keyValSum(c()));
    for (int i = 0; i < 4; ++i)
    {
        ControllerProbe::userKeyVal(c())[i][0].value = i == 3 ? 24 : i == 0 ? 1 : 0;
    }
    EXPECT_EQ(3, judgedScheme(12, 0));
    ControllerProbe::userKeyVal(c())[2][0].value = 1;
    EXPECT_EQ(3, judgedScheme(12, 0));
}

TEST_F(SchedulingRule, SchemeOfFiveRecordsHasAWindow)
{
    files_.parameters.clear();
    files_.extraElements.clear();
    bringUp();
    ASSERT_EQ(5U, ControllerProbe::keyValSum(c()));
    setWindow(0, true, 8, 0, 18, 0);
    EXPECT_EQ(0, judgedScheme(12, 0));
    makeCurrent(0);
    EXPECT_EQ(0, c().paramCheck());
}

TEST_F(SchedulingRule, RuleWithoutRecordsChoosesTheDefaultScheme)
{
    files_.style = "<Style/>";
    bringUp();
    EXPECT_EQ(3, judgedScheme(12, 0));
}

}  // namespace
