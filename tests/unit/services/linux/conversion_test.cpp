#include "services/linux/Conversion.h"

#include <gtest/gtest.h>

#include "tests/unit/services/linux/Webcam.h"

namespace {

using devices::Control;
using devices::Conversion;
using devices::Entry;
using devices::Row;
using support::menu;
using support::number;
using support::yesNo;

constexpr u32 kAny = 1;

Row range(Conversion conversion, int least, int middle, int greatest)
{
    return {IA_CMD_BRIGHTNESS, kAny, conversion, least, middle, greatest};
}

template <int N>
Row list(const Entry (&entries)[N])
{
    return {IA_CMD_BRIGHTNESS, kAny, Conversion::list, 0, 0, 0, entries, N};
}

TEST(Control, TheNearestValueIsAWholeStepWithinTheRange)
{
    const Control control = number(kAny, 3, 21, 8, 5);
    EXPECT_EQ(3, control.nearest(-100));
    EXPECT_EQ(3, control.nearest(5));
    EXPECT_EQ(8, control.nearest(6));
    EXPECT_EQ(18, control.nearest(20));
    EXPECT_EQ(18, control.nearest(100)) << "23 would be beyond";
    EXPECT_FALSE(control.contains(21));
    EXPECT_EQ(7, menu(kAny, {1, 3}, 1).nearest(7)) << "one item does not stand for another";
    EXPECT_FALSE(menu(kAny, {1, 3}, 1).contains(2));
}

TEST(Control, TheGreatestValueIsReachedWhereItIsAStep)
{
    const Control control = number(kAny, 0, 10, 5, 5);
    EXPECT_EQ(10, control.nearest(9));
    EXPECT_EQ(10, control.nearest(10));
}

TEST(Percent, FiftyIsTheDevicesDefaultWhereverThatLies)
{
    const Row row = range(Conversion::percent, 0, 50, 100);
    const Control contrast = number(kAny, 0, 95, 32);
    EXPECT_EQ(0, valueOf(row, 0, contrast));
    EXPECT_EQ(16, valueOf(row, 25, contrast));
    EXPECT_EQ(32, valueOf(row, 50, contrast));
    EXPECT_EQ(57, valueOf(row, 70, contrast));
    EXPECT_EQ(95, valueOf(row, 100, contrast));
    EXPECT_EQ(50, wordOf(row, 32, contrast));
    EXPECT_EQ(70, wordOf(row, 57, contrast));
}

TEST(Percent, IsOneLineWhereTheDefaultStandsAtAnEnd)
{
    const Row row = range(Conversion::percent, 0, 50, 100);
    for (const std::int64_t end : {0, 200})
    {
        const Control control = number(kAny, 0, 200, end);
        EXPECT_EQ(100, valueOf(row, 50, control)) << end;
        EXPECT_EQ(50, wordOf(row, 100, control)) << end;
        EXPECT_EQ(end / 2, wordOf(row, end, control)) << end;
    }
}

TEST(Percent, ValuesAreWholeStepsOfTheDevice)
{
    const Row row = range(Conversion::percent, 0, 50, 100);
    const Control control = number(kAny, 3, 20, 8, 5);  // 3, 8, 13, 18
    for (int word = 0; word <= 100; ++word)
    {
        EXPECT_TRUE(control.contains(*valueOf(row, word, control))) << word;
    }
    EXPECT_EQ(18, valueOf(row, 100, control));
}

TEST(Percent, EachValueOfACoarserDeviceHasAWordThatMeansIt)
{
    const Row row = range(Conversion::percent, 0, 50, 100);
    for (const Control& control : {number(kAny, 0, 6, 3), number(kAny, -32, 40, 0), number(kAny, 0, 20, 9),
                                   number(kAny, 0, 3, 0), number(kAny, 10, 10, 10)})
    {
        for (std::int64_t value = control.minimum; value <= control.maximum; ++value)
        {
            EXPECT_EQ(value, valueOf(row, *wordOf(row, value, control), control)) << value << " of " << control.maximum;
        }
    }
}

TEST(Percent, TheWholeRangeOf64BitsIsNoOverflow)
{
    const Row row = range(Conversion::percent, 0, 50, 100);
    const Control control = number(kAny, INT64_MIN, INT64_MAX, 0);
    EXPECT_EQ(INT64_MIN, valueOf(row, 0, control));
    EXPECT_EQ(0, valueOf(row, 50, control));
    EXPECT_EQ(INT64_MAX, valueOf(row, 100, control));
    EXPECT_EQ(0, wordOf(row, INT64_MIN, control));
    EXPECT_EQ(100, wordOf(row, INT64_MAX, control));
}

TEST(Share, RunsFromEndToEnd)
{
    const Row row = range(Conversion::share, 16384, 0, 31424);
    const Control zoom = number(kAny, 100, 1600, 100);
    EXPECT_EQ(100, valueOf(row, 16384, zoom));
    EXPECT_EQ(850, valueOf(row, 23904, zoom));
    EXPECT_EQ(1600, valueOf(row, 31424, zoom));
    EXPECT_EQ(23904, wordOf(row, 850, zoom));
}

TEST(List, TakesTheSecondValueWhereTheMenuLacksTheFirst)
{
    constexpr Entry kEntries[] = {{0, 0, 3}, {3, 1}, {1, 2, 1}, {2, 3}};
    const Row row = list(kEntries);
    const Control all = menu(kAny, {0, 1, 2, 3}, 0);
    const Control some = menu(kAny, {1, 3}, 3);
    EXPECT_EQ(0, valueOf(row, 0, all));
    EXPECT_EQ(2, valueOf(row, 1, all));
    EXPECT_EQ(3, valueOf(row, 0, some));
    EXPECT_EQ(1, valueOf(row, 1, some));
    EXPECT_EQ(2, wordOf(row, 3, all));
    EXPECT_EQ(0, wordOf(row, 3, some)) << "the first entry that means it";
    EXPECT_EQ(3, wordOf(row, 1, some));
}

TEST(List, AWordWhoseValueTheMenuLacksIsNotOffered)
{
    constexpr Entry kEntries[] = {{0, 0}, {1, 1}, {2, 7}};
    const Row row = list(kEntries);
    const Control control = menu(kAny, {0, 1, 3}, 0);
    EXPECT_EQ((std::set<int>{0, 1}), wordsOf(row, control));
    EXPECT_EQ(std::nullopt, valueOf(row, 2, control));
    EXPECT_EQ(std::nullopt, wordOf(row, 3, control)) << "an item that no word means";
}

TEST(List, OfANumberTheNearestWordIsRead)
{
    constexpr Entry kEntries[] = {{0, 160}, {1, 200}, {2, 280}};
    const Row row = list(kEntries);
    const Control control = number(kAny, 100, 2200, 200);
    EXPECT_EQ(1, wordOf(row, 230, control));
    EXPECT_EQ(2, wordOf(row, 2200, control));
}

TEST(List, APassedWordIsAllowedAndStandsForAllOtherValues)
{
    constexpr Entry kEntries[] = {{0, devices::kLeast}, {1, devices::kPass}};
    const Row row = list(kEntries);
    const Control control = number(kAny, 2, 9, 5);
    EXPECT_EQ((std::set<int>{0, 1}), wordsOf(row, control));
    EXPECT_EQ(2, valueOf(row, 0, control));
    EXPECT_EQ(std::nullopt, valueOf(row, 1, control));
    EXPECT_EQ(0, wordOf(row, 2, control));
    EXPECT_EQ(1, wordOf(row, 3, control));
}

TEST(List, DefaultAndEndsAreTheDevicesOwn)
{
    constexpr Entry kEntries[] = {{0, devices::kDefault}, {4, devices::kLeast}, {5, devices::kGreatest}};
    const Row row = list(kEntries);
    const Control gamma = number(kAny, 72, 500, 100);
    EXPECT_EQ(100, valueOf(row, 0, gamma));
    EXPECT_EQ(72, valueOf(row, 4, gamma));
    EXPECT_EQ(500, valueOf(row, 5, gamma));
}

TEST(Shutter, TimesAreTenthsOfAMillisecondAndAtLeastOne)
{
    const Row row = range(Conversion::shutter, 0, 0, 0);
    const Control control = number(kAny, 1, 10000, 157);
    EXPECT_EQ(3333, valueOf(row, 0, control));
    EXPECT_EQ(200, valueOf(row, 6, control));
    EXPECT_EQ(1, valueOf(row, 24, control));
    EXPECT_EQ(1, valueOf(row, 25, control));
    EXPECT_EQ(std::nullopt, valueOf(row, 26, control));
    EXPECT_EQ(std::nullopt, valueOf(row, -1, control));
    EXPECT_EQ(6, wordOf(row, 200, control));
    EXPECT_EQ(0, wordOf(row, 10000, control));
    EXPECT_EQ(24, wordOf(row, 0, control));
}

TEST(Shutter, BetweenTwoTimesTheNearestStopIsRead)
{
    const Row row = range(Conversion::shutter, 0, 0, 0);
    const Control control = number(kAny, 1, 10000, 157);
    EXPECT_EQ(0, wordOf(row, 2400, control)) << "less of a stop to 1/3 s than to 1/6 s, though more of a second";
    EXPECT_EQ(1, wordOf(row, 2300, control));
}

TEST(Shutter, OnlyTimesThatTheDeviceTakesAreOffered)
{
    const Row row = range(Conversion::shutter, 0, 0, 0);
    EXPECT_EQ((std::set<int>{5, 6, 7, 8}), wordsOf(row, number(kAny, 100, 350, 157)));
}

TEST(Bit, IsOneOfTheWordsBits)
{
    const Row row = range(Conversion::bit, 1, 0, 0);
    const Control flip = yesNo(kAny, false);
    EXPECT_EQ(0, valueOf(row, 1, flip));
    EXPECT_EQ(1, valueOf(row, 2, flip));
    EXPECT_EQ(1, valueOf(row, 3, flip));
    EXPECT_EQ(2, wordOf(row, 1, flip));
    EXPECT_EQ((std::set<int>{0, 2}), wordsOf(row, flip));
}

TEST(Bit, OfAControlThatCannotBeOneThereIsOnlyZero)
{
    const Row row = range(Conversion::bit, 0, 0, 0);
    EXPECT_EQ(std::nullopt, valueOf(row, 1, number(kAny, 0, 0, 0)));
    EXPECT_EQ((std::set<int>{0}), wordsOf(row, number(kAny, 0, 0, 0)));
}

TEST(Same, IsTheValueItself)
{
    const Row row = range(Conversion::same, 0, 0, 0);
    const Control rate = menu(kAny, {15, 30}, 30);
    EXPECT_EQ(15, valueOf(row, 15, rate));
    EXPECT_EQ(std::nullopt, valueOf(row, 25, rate));
    EXPECT_EQ(30, wordOf(row, 30, rate));
    EXPECT_EQ((std::set<int>{15, 30}), wordsOf(row, rate));
}

TEST(Press, IsNoState)
{
    const Row row = range(Conversion::press, 0, 0, 0);
    EXPECT_EQ(std::nullopt, valueOf(row, 1, support::button(kAny)));
    EXPECT_EQ(0, wordOf(row, 0, support::button(kAny)));
}

}  // namespace
