#include "services/linux/V4l2Description.h"

#include <gtest/gtest.h>

#include "services/linux/ControlIds.h"
#include "tests/unit/services/linux/ScriptedDriver.h"

namespace {

using devices::Control;
using devices::ControlType;
using support::answer;
using support::ScriptedDriver;

std::string clean(const std::string& text)
{
    return devices::cleanText(text.data(), text.size());
}

std::vector<Control> controlsOf(ScriptedDriver& driver)
{
    std::vector<Control> controls;
    EXPECT_EQ(0, devices::queryControls(driver.ioctl(), controls));
    return controls;
}

TEST(CleanText, EndsAtTheFirstNulOrTheLastByte)
{
    EXPECT_EQ("Gain", clean(std::string("Gain\0junk", 9)));
    EXPECT_EQ("Gain", clean("Gain"));
    EXPECT_EQ("", clean(""));
}

TEST(CleanText, WhatCannotBeShownIsASpace)
{
    EXPECT_EQ("a b c", clean("a\nb\x7F"
                             "c"));
    EXPECT_EQ("a b", clean("a\xC2\x9B"
                           "b")
                             .substr(0, 1) +
                         " b");
    EXPECT_EQ("[31m", clean("\x1B[31m"));
    EXPECT_EQ("x", clean(" \t x \r\n"));
}

TEST(CleanText, KeepsWholeCharactersAndDropsTruncatedOnes)
{
    EXPECT_EQ("Sch\xC3\xA4rfe", clean("Sch\xC3\xA4rfe"));
    EXPECT_EQ("\xF0\x9F\x93\xB7", clean("\xF0\x9F\x93\xB7"));
    EXPECT_EQ("Sch", clean("Sch\xC3"));
    EXPECT_EQ("x", clean("x\xF0\x9F\x93"));
    EXPECT_EQ("a", clean("a\xC0\x80"));
    EXPECT_EQ("a", clean("a\xED\xA0\x80")) << "half of a pair";
    EXPECT_EQ("a", clean("a\xE2\x80\xAE")) << "turns what follows round";
    EXPECT_EQ("a", clean("a\xEF\xBF\xBF")) << "no character of a document";
    EXPECT_EQ("a", clean("a\xF5\x80\x80\x80"));
}

TEST(Describe, ANumberIsTakenAsItIs)
{
    const std::optional<Control> control =
        devices::describe(answer(5, V4L2_CTRL_TYPE_INTEGER, "Brightness", -10, 20, 5, 0));
    ASSERT_TRUE(control);
    EXPECT_EQ("Brightness", control->name);
    EXPECT_EQ(ControlType::number, control->type);
    EXPECT_EQ(-10, control->minimum);
    EXPECT_EQ(20, control->maximum);
    EXPECT_EQ(5, control->step);
    EXPECT_EQ(0, control->defaultValue);
    EXPECT_TRUE(control->isSettable && control->isReadable && !control->isVolatile && !control->is64Bits);
}

TEST(Describe, WhatIsNotOneNumberIsLeftOut)
{
    for (const u32 type : {V4L2_CTRL_TYPE_CTRL_CLASS, V4L2_CTRL_TYPE_STRING, V4L2_CTRL_TYPE_BITMASK, V4L2_CTRL_TYPE_U8})
    {
        EXPECT_FALSE(devices::describe(answer(5, type, "x", 0, 1, 1, 0))) << type;
    }
    EXPECT_FALSE(devices::describe(answer(5, 77, "x", 0, 1, 1, 0)));
    EXPECT_FALSE(devices::describe(answer(5, V4L2_CTRL_TYPE_INTEGER, "x", 0, 1, 1, 0, V4L2_CTRL_FLAG_DISABLED)));
    v4l2_query_ext_ctrl array = answer(5, V4L2_CTRL_TYPE_INTEGER, "x", 0, 1, 1, 0);
    array.elems = 4;
    array.nr_of_dims = 1;
    EXPECT_FALSE(devices::describe(array));
}

TEST(Describe, ARangeThatMakesNoSenseIsMendedOrRefused)
{
    EXPECT_FALSE(devices::describe(answer(5, V4L2_CTRL_TYPE_INTEGER, "x", 7, 6, 1, 7)));
    const std::optional<Control> control = devices::describe(answer(5, V4L2_CTRL_TYPE_INTEGER, "x", 0, 9, 0, 50));
    ASSERT_TRUE(control);
    EXPECT_EQ(1, control->step);
    EXPECT_EQ(9, control->defaultValue);
    const std::optional<Control> widest =
        devices::describe(answer(5, V4L2_CTRL_TYPE_INTEGER64, "x", INT64_MIN, INT64_MAX, UINT64_MAX, 0));
    ASSERT_TRUE(widest);
    EXPECT_EQ(INT64_MAX, widest->step);
    EXPECT_EQ(INT64_MAX - 1, widest->nearest(INT64_MAX)) << "one step above the minimum";
    const std::optional<Control> narrow =
        devices::describe(answer(5, V4L2_CTRL_TYPE_INTEGER, "x", INT64_MIN, INT64_MAX, 1, 0));
    ASSERT_TRUE(narrow);
    EXPECT_EQ(INT32_MIN, narrow->minimum);
    EXPECT_EQ(INT32_MAX, narrow->maximum);
}

TEST(QueryControls, AMenuHasHolesAndItsEndsAreItems)
{
    ScriptedDriver driver;
    driver.add(answer(5, V4L2_CTRL_TYPE_MENU, "Exposure", 0, 3, 1, 0));
    driver.items[5] = {{1, "Manual Mode"}, {3, "Aperture\nPriority"}};
    const std::vector<Control> controls = controlsOf(driver);
    ASSERT_EQ(1u, controls.size());
    EXPECT_EQ((std::map<std::int64_t, std::string>{{1, "Manual Mode"}, {3, "Aperture Priority"}}), controls[0].items);
    EXPECT_EQ(1, controls[0].minimum);
    EXPECT_EQ(1, controls[0].defaultValue) << "the one it claims is a hole";
}

TEST(QueryControls, AMenuOfNumbersShowsThem)
{
    ScriptedDriver driver;
    driver.add(answer(5, V4L2_CTRL_TYPE_INTEGER_MENU, "Bias", 0, 0, 1, 0));
    const std::int64_t value = -2000;
    driver.items[5] = {{0, std::string(reinterpret_cast<const char*>(&value), sizeof value)}};
    EXPECT_EQ("-2000", controlsOf(driver)[0].items.at(0));
}

TEST(QueryControls, AMenuWithoutItemsIsNone)
{
    ScriptedDriver driver;
    driver.add(answer(5, V4L2_CTRL_TYPE_MENU, "Empty", 0, 3, 1, 0));
    EXPECT_TRUE(controlsOf(driver).empty());
}

TEST(QueryControls, AMenuThatClaimsBillionsOfItemsIsAskedForAFew)
{
    ScriptedDriver driver;
    driver.add(answer(5, V4L2_CTRL_TYPE_MENU, "Long", INT64_MIN, INT64_MAX, 1, 0));
    for (u32 i = 0; i < 1000; ++i)
    {
        driver.items[5][i] = "item";
    }
    EXPECT_EQ(devices::kMaxMenuItems, controlsOf(driver)[0].items.size());
    driver.items[5] = {{900, "far"}};
    driver.asked.clear();
    EXPECT_TRUE(controlsOf(driver).empty());
    EXPECT_EQ(devices::kMaxMenuIndexes + 2u, driver.asked.size());
}

TEST(QueryControls, AListThatGoesRoundEnds)
{
    int asked = 0;
    const devices::Ioctl round = [&](unsigned long, void* argument) {
        ++asked;
        *static_cast<v4l2_query_ext_ctrl*>(argument) = answer(7, V4L2_CTRL_TYPE_INTEGER, "x", 0, 1, 1, 0);
        return 0;
    };
    std::vector<Control> controls;
    EXPECT_EQ(0, devices::queryControls(round, controls));
    EXPECT_EQ(1u, controls.size());
    EXPECT_EQ(2, asked);
}

TEST(QueryControls, AListWithoutEndIsCut)
{
    u32 id = 0;
    const devices::Ioctl endless = [&](unsigned long, void* argument) {
        *static_cast<v4l2_query_ext_ctrl*>(argument) = answer(++id, V4L2_CTRL_TYPE_INTEGER, "x", 0, 1, 1, 0);
        return 0;
    };
    std::vector<Control> controls;
    EXPECT_EQ(0, devices::queryControls(endless, controls));
    EXPECT_EQ(devices::kMaxControls, controls.size());
}

TEST(QueryControls, AnErrorInTheMiddleIsNotTheEndOfTheList)
{
    ScriptedDriver driver;
    std::vector<Control> controls;
    for (const int error : {ETIMEDOUT, ENODEV, EIO})
    {
        driver.errors[VIDIOC_QUERY_EXT_CTRL] = error;
        EXPECT_EQ(error, devices::queryControls(driver.ioctl(), controls));
    }
    driver.errors[VIDIOC_QUERY_EXT_CTRL] = ENOTTY;
    EXPECT_EQ(0, devices::queryControls(driver.ioctl(), controls)) << "a node that has none";
}

TEST(QueryFrameRate, ListsTheRatesOfTheFormatInForce)
{
    ScriptedDriver driver;
    driver.intervals = {{1, 30}, {1001, 15000}, {1, 5}, {0, 1}, {1, 0}, {1, 4000000000u}};
    std::optional<Control> rate;
    EXPECT_EQ(0, devices::queryFrameRate(driver.ioctl(), rate));
    ASSERT_TRUE(rate);
    EXPECT_EQ((std::map<std::int64_t, std::string>{{1, "1"}, {5, "5"}, {15, "15"}, {30, "30"}}), rate->items);
    EXPECT_EQ(devices::kFrameRate, rate->id);
    driver.intervals.clear();
    EXPECT_EQ(0, devices::queryFrameRate(driver.ioctl(), rate));
    EXPECT_FALSE(rate);
    driver.errors[VIDIOC_G_PARM] = ENOTTY;
    EXPECT_EQ(0, devices::queryFrameRate(driver.ioctl(), rate));
    EXPECT_FALSE(rate);
}

}  // namespace
