#include "app/cli/ScheduleChart.h"

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

std::string lineWith(const std::string& text, const std::string& part)
{
    const std::size_t found = text.find(part);
    if (found == std::string::npos)
    {
        return "";
    }
    const std::size_t begin = text.rfind('\n', found) + 1;
    return text.substr(begin, text.find('\n', found) - begin);
}

TEST(ScheduleChart, OnALicencePlateCameraDayAndNightFillTheGaps)
{
    camera::Schedule plates = schedule({window(false, 0, 0, 24, 0), window(true, 10, 0, 11, 0)});
    plates.byDayAndNight = true;
    const auto day = camera::stretchesOfDay(plates);
    ASSERT_EQ(day.size(), 3u);
    EXPECT_EQ(day[0].scheme, -1);
    EXPECT_EQ(day[1].scheme, 1);
    const std::string chart = app::drawSchedule(plates);
    EXPECT_NE(chart.find("scheme 0 by day, scheme 1 by night"), std::string::npos);
    EXPECT_EQ(lineWith(chart, "by clock"), "  by clock   ********************11**************************");
}

TEST(ScheduleChart, DrawsAColumnForEveryHalfHour)
{
    camera::Schedule day = schedule({window(true, 8, 0, 18, 0), window(false, 22, 15, 24, 0)});
    day.minutes = 9 * 60;
    const std::string chart = app::drawSchedule(day);
    EXPECT_EQ(lineWith(chart, "scheme 0  "),
              "  scheme 0   ................####################............  08:00-18:00 on");
    EXPECT_EQ(lineWith(chart, "scheme 1  "),
              "  scheme 1   ............................................----  22:15-24:00 off");
    EXPECT_EQ(lineWith(chart, "by clock"), "  by clock   dddddddddddddddd00000000000000000000dddddddddddd");
    EXPECT_EQ(lineWith(chart, "^"), std::string(13 + 18, ' ') + "^ 09:00");
}

TEST(ScheduleChart, FlagsWindowsThatCanNeverHold)
{
    const std::string chart = app::drawSchedule(schedule({window(true, 22, 0, 6, 0)}));
    EXPECT_NE(chart.find("! scheme 0 can never hold"), std::string::npos);
    EXPECT_EQ(app::drawSchedule(schedule({window(true, 6, 0, 22, 0)})).find('!'), std::string::npos);
}

TEST(ScheduleChart, FitsIntoEightyColumnsAtAnyTime)
{
    camera::Schedule day = schedule({window(true, 0, 0, 24, 0), window(false, 22, 0, 6, 0)});
    for (day.minutes = 0; day.minutes < 1440; ++day.minutes)
    {
        std::size_t length = 0;
        for (char c : app::drawSchedule(day))
        {
            length = c == '\n' ? 0 : length + 1;
            ASSERT_LE(length, 80u) << day.minutes;
        }
    }
}

// What a licence-plate camera has to say is the longest.
camera::Schedule longest()
{
    camera::Schedule day = schedule({window(true, 8, 30, 18, 0), window(false, 22, 0, 6, 0)});
    day.byDayAndNight = true;
    day.automatic = false;
    day.minutes = 9 * 60 + 5;
    return day;
}

TEST(ScheduleChart, DrawsHalfHoursInEightyColumns)
{
    EXPECT_EQ(app::drawSchedule(longest()), R"(time 09:05, mode manual (the clock chooses nothing), scheme 0 in force

             00    03    06    09    12    15    18    21    24
  scheme 0   .................###################............  08:30-18:00 on
  scheme 1   ................................................  22:00-06:00 off
  by clock   *****************0000000000000000000************
                               ^ 09:05

  # window on   - window off   d default scheme   * day or night chooses
  Where windows overlap, the lowest scheme wins.
  Outside all windows: scheme 0 by day, 1 by night, sent with KEY_DN_MODE 0.

by the clock:
  00:00-08:30  scheme 0 by day, scheme 1 by night
  08:30-18:00  scheme 0
  18:00-24:00  scheme 0 by day, scheme 1 by night
! scheme 1 can never hold: its window 22:00-06:00 does not end after its start.
  No window runs over midnight; use two schemes, up to 24:00 and from 00:00.
)");
}

TEST(ScheduleChart, DrawsHoursInFortyColumns)
{
    EXPECT_EQ(app::drawSchedule(longest(), 40), R"(time 09:05, mode manual (the clock
  chooses nothing), scheme 0 in force

             00 03 06 09 12 15 18 21 24
  scheme 0   ........##########......
             08:30-18:00 on
  scheme 1   ........................
             22:00-06:00 off
  by clock   *********000000000******
                      ^ 09:05

  # window on   - window off
  d default scheme
  * day or night chooses
  Where windows overlap, the lowest
  scheme wins.
  Outside all windows: scheme 0 by day,
  1 by night, sent with KEY_DN_MODE 0.

by the clock:
  00:00-08:30  scheme 0 by day, scheme 1
               by night
  08:30-18:00  scheme 0
  18:00-24:00  scheme 0 by day, scheme 1
               by night
! scheme 1 can never hold: its window
  22:00-06:00 does not end after its
  start.
  No window runs over midnight; use two
  schemes, up to 24:00 and from 00:00.
)");
}

TEST(ScheduleChart, ListsTheWindowsWhereItHasNoRoom)
{
    camera::Schedule day = schedule({window(true, 8, 0, 18, 0), window(false, 0, 0, 24, 0)});
    EXPECT_EQ(app::drawSchedule(day, 39), R"(time 00:00, mode auto, scheme 0 in
  force

The chart needs a terminal of 40
columns.
  scheme 0   08:00-18:00 on
  scheme 1   00:00-24:00 off
  Where windows overlap, the lowest
  scheme wins.

by the clock:
  00:00-08:00  the default scheme (2)
  08:00-18:00  scheme 0
  18:00-24:00  the default scheme (2)
)");
}

TEST(ScheduleChart, FitsIntoAnyWidth)
{
    camera::Schedule day = longest();
    day.windows.push_back(window(true, 24, 30, 24, 0));
    for (int width = 28; width < 120; ++width)
    {
        for (day.minutes = 0; day.minutes < 1440; day.minutes += 30)
        {
            std::size_t length = 0;
            for (char c : app::drawSchedule(day, width))
            {
                length = c == '\n' ? 0 : length + 1;
                ASSERT_LE(length, static_cast<std::size_t>(width)) << day.minutes;
            }
        }
    }
}

TEST(ScheduleChart, SaysWhyAWindowCanNeverHold)
{
    const struct
    {
        SchemeWindow window;
        const char* line;
    } cases[] = {
        {window(true, 25, 0, 24, 0), "! scheme 0 can never hold: its window 25:00-24:00 starts when the day is over."},
        {window(true, 24, 0, 24, 30), "! scheme 0 can never hold: its window 24:00-24:30 starts when the day is over."},
        {window(false, 0, 0, 0, 0), "! scheme 0 can never hold: its window 00:00-00:00 is empty."},
        {window(true, 10, 60, 11, 0), "! scheme 0 can never hold: its window 10:60-11:00 holds no minute of the day."},
        {window(true, 22, 0, 6, 0), "! scheme 0 can never hold: its window 22:00-06:00 does not end after its start."},
    };
    for (const auto& entry : cases)
    {
        const std::string chart = app::drawSchedule(schedule({entry.window}));
        EXPECT_EQ(lineWith(chart, "!"), entry.line);
        EXPECT_EQ(chart.find("over midnight") != std::string::npos, entry.window.startHour == 22) << chart;
    }
}

TEST(ScheduleChart, TheSchemeAfterTheLastIsTheDefaultOne)
{
    EXPECT_EQ(app::schemeName(-1, 4), "no scheme");
    EXPECT_EQ(app::schemeName(3, 4), "scheme 3");
    EXPECT_EQ(app::schemeName(4, 4), "the default scheme (4)");
    EXPECT_EQ(app::schemeName(0, 0), "scheme 0");
}

}  // namespace
