#include "camera/Schedule.h"

#include <gtest/gtest.h>

namespace {

SchemeWindow window(bool enabled, unsigned startHour, unsigned startMinute, unsigned endHour, unsigned endMinute)
{
    return {enabled, startHour, startMinute, endHour, endMinute};
}

camera::Schedule schedule(std::vector<SchemeWindow> windows)
{
    return {std::move(windows), false, true, 0, 0};
}

TEST(Schedule, AWindowHoldsFromItsStartUpToBeforeItsEnd)
{
    const SchemeWindow day = window(true, 8, 0, 18, 0);
    EXPECT_FALSE(camera::windowHolds(day, 7 * 60 + 59));
    EXPECT_TRUE(camera::windowHolds(day, 8 * 60));
    EXPECT_TRUE(camera::windowHolds(day, 17 * 60 + 59));
    EXPECT_FALSE(camera::windowHolds(day, 18 * 60));
    EXPECT_FALSE(camera::windowHolds(window(false, 8, 0, 18, 0), 9 * 60));
}

TEST(Schedule, WindowsOverMidnightAndEmptyOnesNeverHold)
{
    EXPECT_TRUE(windowNeverHolds(window(true, 22, 0, 6, 0)));
    EXPECT_TRUE(windowNeverHolds(window(true, 8, 0, 8, 0)));
    EXPECT_TRUE(windowNeverHolds(window(false, 8, 0, 8, 0)));
    EXPECT_TRUE(windowNeverHolds(window(true, 24, 0, 24, 30)));
    EXPECT_FALSE(windowNeverHolds(window(true, 0, 0, 24, 0)));
}

TEST(Schedule, TheLowestSchemeWinsWhereWindowsOverlap)
{
    const auto day = camera::stretchesOfDay(schedule({window(true, 8, 0, 12, 0), window(true, 6, 0, 18, 30)}));
    ASSERT_EQ(day.size(), 5u);
    const int schemes[] = {2, 1, 0, 1, 2};
    const int starts[] = {0, 360, 480, 720, 1110};
    for (std::size_t i = 0; i < day.size(); ++i)
    {
        EXPECT_EQ(day[i].scheme, schemes[i]);
        EXPECT_EQ(day[i].startMinutes, starts[i]);
    }
    EXPECT_EQ(day.back().endMinutes, 1440);
}

TEST(Schedule, OverlapsAreTheStretchesInWhichSeveralWindowsHold)
{
    const auto overlaps = camera::overlapsOfDay(schedule({window(true, 8, 0, 12, 0), window(true, 6, 0, 18, 30),
                                                          window(true, 11, 30, 13, 0), window(false, 0, 0, 24, 0)}));
    ASSERT_EQ(overlaps.size(), 3u);
    const std::vector<int> schemes[] = {{0, 1}, {0, 1, 2}, {1, 2}};
    const int starts[] = {480, 690, 720};
    const int ends[] = {690, 720, 780};
    for (std::size_t i = 0; i < overlaps.size(); ++i)
    {
        EXPECT_EQ(overlaps[i].schemes, schemes[i]);
        EXPECT_EQ(overlaps[i].startMinutes, starts[i]);
        EXPECT_EQ(overlaps[i].endMinutes, ends[i]);
    }
    EXPECT_TRUE(camera::overlapsOfDay(schedule({window(true, 8, 0, 12, 0), window(true, 12, 0, 13, 0)})).empty());
    EXPECT_EQ(camera::overlapsOfDay(schedule({window(true, 0, 0, 24, 0), window(true, 0, 0, 24, 0)}))[0].endMinutes,
              1440);
}

TEST(Schedule, MinutesBeyondTheHourCountAsTheLibraryCountsThem)
{
    // 10:75 is 1075, which lies after 10:59 and before 11:00.
    EXPECT_FALSE(camera::windowHolds(window(true, 10, 75, 12, 0), 10 * 60 + 59));
    EXPECT_TRUE(camera::windowHolds(window(true, 10, 75, 12, 0), 11 * 60));
}

TEST(Schedule, WithoutWindowsSchemeZeroIsInForce)
{
    const auto day = camera::stretchesOfDay(schedule({}));
    ASSERT_EQ(day.size(), 1u);
    EXPECT_EQ(day[0].scheme, 0);
}

TEST(Schedule, AWindowIsRefusedForTheFirstThingThatIsWrongWithIt)
{
    EXPECT_EQ(windowCheck(window(true, 8, 0, 18, 0)), WINDOW_SOUND);
    EXPECT_EQ(windowCheck(window(true, 23, 0, 24, 0)), WINDOW_SOUND);
    EXPECT_EQ(windowCheck(window(true, 10, 99, 12, 0)), WINDOW_SOUND);
    EXPECT_EQ(windowCheck(window(true, 25, 0, 26, 0)), WINDOW_STARTS_TOO_LATE);
    EXPECT_EQ(windowCheck(window(true, 8, 0, 24, 1)), WINDOW_ENDS_TOO_LATE);
    EXPECT_EQ(windowCheck(window(false, 22, 0, 6, 0)), WINDOW_NOT_FORWARD);
    EXPECT_EQ(windowCheck(window(true, 8, 0, 8, 0)), WINDOW_NOT_FORWARD);
}

}  // namespace
