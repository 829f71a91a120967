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
    int minuteOfDay()
    {
        const std::tm now = clock_->localTime();
        return at(now.tm_hour, now.tm_min);
    }

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
    installModel(kFixed.name);
    start();
    saveWindow(0, 8, 0, 18, 0);
    saveWindow(1, 17, 30, 19, 45);
    saveWindow(2, 6, 15, 8, 30);
    saveWindow(3, 0, 0, 24, 0, 0);
    turnAt(0, 0);
    ASSERT_EQ(4, scheme());
    EXPECT_EQ((Changes{{at(6, 15), 2}, {at(8, 0), 0}, {at(18, 0), 1}, {at(19, 45), 4}}), dayChanges(4));
}

TEST_F(Schedule, NightAndDayChooseTheSchemeOfALicencePlateCamera)
{
    installModel(kPlate.name);
    start();
    simulator().setDaylight();
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
        ASSERT_EQ(simulator().night() ? 1 : 0, now) << minuteOfDay();
        if (now != last)
        {
            ++switches;
            (now == 0 ? toDay : toNight) = minuteOfDay();
            last = now;
        }
    }
    EXPECT_EQ(2, switches);
    EXPECT_GT(toDay, at(5, 0));
    EXPECT_LT(toDay, at(8, 0));
    EXPECT_GT(toNight, at(16, 0));
    EXPECT_LT(toNight, at(19, 0));
}

}  // namespace
