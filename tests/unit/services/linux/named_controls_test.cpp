#include "services/linux/NamedControls.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/unit/services/linux/Webcam.h"

namespace {

using devices::Control;
using services::Kind;
using services::NamedControl;

constexpr u32 kOwn = 0x0098f900;

std::vector<NamedControl> named(const std::vector<Control>& controls, const devices::Values& values = {})
{
    const devices::Description description{"A camera", "", controls, values};
    std::vector<NamedControl> all;
    for (const devices::Named& one : namedControlsOf(description, devices::ControlTable(controls)))
    {
        all.push_back(one.control);
    }
    return all;
}

Control titled(const std::string& title, Control control)
{
    control.name = title;
    return control;
}

TEST(NamedControls, AreThoseThatNoCommandUses)
{
    EXPECT_TRUE(named(support::webcam()).empty());
    EXPECT_EQ(1u, named({support::number(V4L2_CID_WHITE_BALANCE_TEMPERATURE, 2800, 6500, 4600)}).size());
}

TEST(NamedControls, HaveNamesOfLettersDigitsAndUnderlines)
{
    const auto controls =
        named({titled("Hue", support::number(kOwn, 0, 1, 0)),
               titled("Pan, Absolute (\xc3\xa9)", support::number(kOwn + 1, 0, 1, 0)),
               titled("hue", support::number(kOwn + 2, 0, 1, 0)), titled("Hue 2", support::number(kOwn + 3, 0, 1, 0)),
               titled("\xc3\xa9", support::number(kOwn + 4, 0, 1, 0))});
    ASSERT_EQ(5u, controls.size());
    EXPECT_EQ("hue", controls[0].name);
    EXPECT_EQ("Hue", controls[0].title);
    EXPECT_EQ("pan_absolute", controls[1].name);
    EXPECT_EQ("hue_2", controls[2].name);
    EXPECT_EQ("hue_2_2", controls[3].name);
    EXPECT_EQ("control", controls[4].name);
}

TEST(NamedControls, TakeRangeStepAndValueOfTheDevice)
{
    const auto controls = named({support::number(kOwn, -180, 180, 10, 5)}, {{kOwn, -175}});
    ASSERT_EQ(1u, controls.size());
    EXPECT_EQ(Kind::range, controls[0].kind);
    EXPECT_TRUE(controls[0].allowed.contains(-180));
    EXPECT_FALSE(controls[0].allowed.contains(-179));
    EXPECT_EQ(10, controls[0].allowed.defaultValue);
    EXPECT_EQ(-175, controls[0].value);
}

TEST(NamedControls, AreChoicesForMenusAndSwitches)
{
    const auto controls = named({support::menu(kOwn, {1, 3}, 3), support::yesNo(kOwn + 1, true)});
    ASSERT_EQ(2u, controls.size());
    EXPECT_EQ((std::vector<int>{1, 3}), controls[0].allowed.items);
    EXPECT_EQ((std::map<int, std::string>{{1, "1"}, {3, "3"}}), controls[0].labels);
    EXPECT_EQ(Kind::choice, controls[1].kind);
    EXPECT_EQ((std::vector<int>{0, 1}), controls[1].allowed.items);
    EXPECT_EQ(1, controls[1].value);
}

TEST(NamedControls, AreActionsForButtons)
{
    const auto controls = named({support::button(kOwn)});
    ASSERT_EQ(1u, controls.size());
    EXPECT_EQ(Kind::action, controls[0].kind);
    EXPECT_EQ(1, controls[0].allowed.maximum);
}

TEST(NamedControls, LeaveOutWhatCannotBeSetOrIsLongerThanAWord)
{
    Control readOnly = support::number(kOwn, 0, 1, 0);
    readOnly.isSettable = false;
    Control changing = support::number(kOwn, 0, 1, 0);
    changing.isVolatile = true;
    EXPECT_TRUE(named({readOnly}).empty());
    EXPECT_TRUE(named({changing}).empty());
    EXPECT_TRUE(named({support::number(kOwn, 0, INT64_MAX, 0)}).empty());
    EXPECT_TRUE(named({support::number(kOwn, INT64_MIN, 0, 0)}).empty());
    const auto widest = named({support::number(kOwn, INT_MIN, INT_MAX, 0)}, {{kOwn, INT_MAX}});
    ASSERT_EQ(1u, widest.size());
    EXPECT_EQ(INT_MAX, widest[0].value);
    EXPECT_TRUE(widest[0].allowed.contains(INT_MAX));
}

}  // namespace
