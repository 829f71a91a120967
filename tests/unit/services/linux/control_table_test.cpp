#include "services/linux/ControlTable.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "services/linux/ControlIds.h"
#include "tests/unit/services/linux/Webcam.h"

namespace {

using devices::Control;
using devices::ControlTable;
using devices::Setting;
using devices::Values;
using devices::Words;
using support::menu;
using support::number;
using support::webcam;
using support::yesNo;

std::optional<std::int64_t> settingOf(const ControlTable& table, const Words& words, u32 control)
{
    for (const Setting& setting : table.settings(words))
    {
        if (setting.id == control)
        {
            return setting.value;
        }
    }
    return std::nullopt;
}

// A board that has a device for every row.
std::vector<Control> everything()
{
    std::vector<Control> controls = webcam();
    const std::vector<Control> more = {
        menu(V4L2_CID_EXPOSURE_METERING, {0, 1, 2}, 0),
        yesNo(V4L2_CID_AUTOGAIN, true),
        number(V4L2_CID_RED_BALANCE, 0, 1023, 400),
        number(V4L2_CID_BLUE_BALANCE, 0, 1023, 600),
        yesNo(V4L2_CID_COLOR_KILLER, false),
        menu(V4L2_CID_COLORFX, {0, 1, 2}, 0),
        yesNo(V4L2_CID_WIDE_DYNAMIC_RANGE, false),
        yesNo(V4L2_CID_IMAGE_STABILIZATION, false),
        yesNo(V4L2_CID_HFLIP, false),
        yesNo(V4L2_CID_VFLIP, false),
        number(V4L2_CID_ROTATE, 0, 270, 0, 90),
        menu(V4L2_CID_AUTO_FOCUS_RANGE, {0, 1, 2}, 0),
        support::button(V4L2_CID_AUTO_FOCUS_START),
        menu(devices::kFrameRate, {15, 25, 30}, 30),
        number(devices::kLampNear, 0, 255, 0),
        number(devices::kLampMedium, 0, 255, 0),
        number(devices::kLampFar, 0, 1, 0),
        yesNo(devices::kFilter, true),
    };
    controls.insert(controls.end(), more.begin(), more.end());
    return controls;
}

TEST(ControlTable, HasTheCommandsThatTheDeviceHas)
{
    const ControlTable table(webcam());
    const std::vector<ia_cmd_e> expected = {
        IA_CMD_BRIGHTNESS,  IA_CMD_SATURATION,  IA_CMD_CONTRAST, IA_CMD_SHARPNESS,     IA_CMD_EXPOSE_MODE,
        IA_CMD_MAX_SHUTTER, IA_CMD_FIX_SHUTTER, IA_CMD_FIX_GAIN, IA_CMD_IRIS_POSITION, IA_CMD_IRIS_SIZE,
        IA_CMD_WB_MODE,     IA_CMD_BLC_SWITCH,  IA_CMD_BLC_STRG, IA_CMD_IN_OUT_SIDE,   IA_CMD_AUTO_FOCUS_MODE,
        IA_CMD_MF_POSITION, IA_CMD_MZ_POSITION, IA_CMD_GAMMA};
    EXPECT_EQ(expected, table.commands());
    EXPECT_EQ(std::nullopt, table.allowed(IA_CMD_UI_MIRROR));
    EXPECT_TRUE(table.controlsOf(IA_CMD_UI_MIRROR).empty());
    EXPECT_TRUE(ControlTable({}).commands().empty());
}

TEST(ControlTable, EachRowsWordsAreSentAndReadBackAsTheSameValue)
{
    const std::vector<Control> controls = everything();
    for (const devices::Row& row : devices::rows())
    {
        const Control* const control = findControl(controls, row.control);
        if (control == nullptr)
        {
            EXPECT_TRUE(row.control == V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE || row.control == V4L2_CID_ANALOGUE_GAIN)
                << row.cmd;
            continue;
        }
        std::set<int> words = wordsOf(row, *control);
        if (isRange(row))
        {
            words = {row.least,  row.least + 1,    (row.least + row.greatest) / 3,
                     row.middle, row.greatest - 1, row.greatest};
        }
        EXPECT_FALSE(words.empty()) << row.cmd;
        for (const int word : words)
        {
            if (const std::optional<std::int64_t> value = valueOf(row, word, *control))
            {
                EXPECT_TRUE(control->contains(*value)) << row.cmd << ": " << word;
                const std::optional<int> back = wordOf(row, *value, *control);
                ASSERT_TRUE(back) << row.cmd << ": " << word;
                EXPECT_EQ(value, valueOf(row, *back, *control)) << row.cmd << ": " << word;
            }
        }
    }
}

TEST(ControlTable, EachCommandAllowsTheDevicesDefaultAndAllThatItOffers)
{
    const ControlTable table(everything());
    for (const ia_cmd_e cmd : table.commands())
    {
        const std::optional<services::AllowedValues> allowed = table.allowed(cmd);
        ASSERT_TRUE(allowed) << cmd;
        EXPECT_TRUE(allowed->contains(allowed->defaultValue)) << cmd;
        EXPECT_LT(allowed->minimum, allowed->maximum) << cmd;
        EXPECT_FALSE(table.controlsOf(cmd).empty()) << cmd;
    }
}

TEST(ControlTable, TheDefaultsAreTheWordsOfTheDevicesOwn)
{
    const ControlTable table(webcam());
    EXPECT_EQ(50, table.allowed(IA_CMD_BRIGHTNESS)->defaultValue);
    EXPECT_EQ(0, table.allowed(IA_CMD_EXPOSE_MODE)->defaultValue);
    EXPECT_EQ(0, table.allowed(IA_CMD_WB_MODE)->defaultValue);
    EXPECT_EQ(1, table.allowed(IA_CMD_BLC_SWITCH)->defaultValue);
    EXPECT_EQ(50, table.allowed(IA_CMD_BLC_STRG)->defaultValue);
    EXPECT_EQ(0, table.allowed(IA_CMD_GAMMA)->defaultValue);
    EXPECT_EQ(0, table.allowed(IA_CMD_AUTO_FOCUS_MODE)->defaultValue);
}

TEST(ControlTable, AWordThatSaysNothingLeavesItsControlAlone)
{
    const ControlTable table(webcam());
    EXPECT_TRUE(table.settings({}).empty());
    EXPECT_EQ((std::vector<Setting>{{V4L2_CID_BRIGHTNESS, 12}}), table.settings({{IA_CMD_BRIGHTNESS, 59}}));
    EXPECT_EQ(std::nullopt, settingOf(table, {{IA_CMD_WB_MODE, 1}}, V4L2_CID_WHITE_BALANCE_TEMPERATURE))
        << "the temperature of manual white balance is set by itself";
}

TEST(ControlTable, EachControlIsSetOnceWhateverHasAPartInIt)
{
    const ControlTable table(everything());
    Words words = {{IA_CMD_DN_STATE, 1}};
    for (const ia_cmd_e cmd : table.commands())
    {
        words[cmd] = table.allowed(cmd)->defaultValue;
    }
    std::set<u32> controls;
    for (const Setting& setting : table.settings(words))
    {
        EXPECT_TRUE(controls.insert(setting.id).second) << setting.id;
    }
    EXPECT_GT(controls.size(), 25u);
}

TEST(ControlTable, ANightHasNoColourAndTheDaysSaturationComesBack)
{
    const ControlTable table(everything());
    const Words day = {{IA_CMD_SATURATION, 60}, {IA_CMD_DN_STATE, 0}};
    const Words night = {{IA_CMD_SATURATION, 60}, {IA_CMD_DN_STATE, 1}};
    EXPECT_EQ(77, settingOf(table, day, V4L2_CID_SATURATION));
    EXPECT_EQ(0, settingOf(table, day, V4L2_CID_COLOR_KILLER));
    EXPECT_EQ(1, settingOf(table, day, devices::kFilter));
    EXPECT_EQ(0, settingOf(table, night, V4L2_CID_SATURATION));
    EXPECT_EQ(1, settingOf(table, night, V4L2_CID_COLOR_KILLER));
    EXPECT_EQ(V4L2_COLORFX_BW, settingOf(table, night, V4L2_CID_COLORFX));
    EXPECT_EQ(0, settingOf(table, night, devices::kFilter));
}

TEST(ControlTable, ALampIsLitAtNightOnlyAndOnlyWhenItIsSwitchedOn)
{
    const ControlTable table(everything());
    Words words = {{IA_CMD_DN_STATE, 1},
                   {IA_CMD_IR_SWITCH, 1},
                   {IA_CMD_IR_MODE, 2},
                   {IA_CMD_IR_MANUAL_STRG_NEAR, 40},
                   {IA_CMD_IR_AUTO_STRG_NEAR, 80}};
    EXPECT_EQ(102, settingOf(table, words, devices::kLampNear));
    words[IA_CMD_IR_MODE] = 0;
    EXPECT_EQ(204, settingOf(table, words, devices::kLampNear));
    words[IA_CMD_IR_SWITCH] = 0;
    EXPECT_EQ(0, settingOf(table, words, devices::kLampNear));
    words[IA_CMD_IR_SWITCH] = 1;
    words[IA_CMD_DN_STATE] = 0;
    EXPECT_EQ(0, settingOf(table, words, devices::kLampNear));
}

TEST(ControlTable, BacklightCompensationThatIsSwitchedOffIsTheLeastStrength)
{
    const ControlTable table(webcam());
    EXPECT_EQ(0, settingOf(table, {{IA_CMD_BLC_SWITCH, 0}, {IA_CMD_BLC_STRG, 100}}, V4L2_CID_BACKLIGHT_COMPENSATION));
    EXPECT_EQ(2, settingOf(table, {{IA_CMD_BLC_SWITCH, 1}, {IA_CMD_BLC_STRG, 100}}, V4L2_CID_BACKLIGHT_COMPENSATION));
    EXPECT_EQ(0, table.word(IA_CMD_BLC_SWITCH, {{V4L2_CID_BACKLIGHT_COMPENSATION, 0}}));
    EXPECT_EQ(1, table.word(IA_CMD_BLC_SWITCH, {{V4L2_CID_BACKLIGHT_COMPENSATION, 2}}));
    EXPECT_EQ(100, table.word(IA_CMD_BLC_STRG, {{V4L2_CID_BACKLIGHT_COMPENSATION, 2}}));
}

TEST(ControlTable, AMirrorOffersOnlyTheFlipsThatAreThere)
{
    const std::vector<int> both = {0, 1, 2, 3};
    const std::vector<int> one = {0, 2};
    const ControlTable two({yesNo(V4L2_CID_HFLIP, false), yesNo(V4L2_CID_VFLIP, true)});
    EXPECT_EQ(both, two.allowed(IA_CMD_UI_MIRROR)->items);
    EXPECT_EQ(2, two.allowed(IA_CMD_UI_MIRROR)->defaultValue);
    EXPECT_EQ((std::vector<Setting>{{V4L2_CID_HFLIP, 1}, {V4L2_CID_VFLIP, 0}}), two.settings({{IA_CMD_UI_MIRROR, 1}}));
    EXPECT_EQ(3, two.word(IA_CMD_UI_MIRROR, {{V4L2_CID_HFLIP, 1}, {V4L2_CID_VFLIP, 1}}));
    EXPECT_EQ(one, ControlTable({yesNo(V4L2_CID_VFLIP, false)}).allowed(IA_CMD_UI_MIRROR)->items);
}

TEST(ControlTable, WhiteBalancesOfAFixedColourNeedATemperature)
{
    const std::vector<int> withTemperature = {0, 1, 2, 3, 4, 5, 6};
    const std::vector<int> without = {0, 1, 4};
    const ControlTable table(webcam());
    EXPECT_EQ(withTemperature, table.allowed(IA_CMD_WB_MODE)->items);
    EXPECT_EQ(0, settingOf(table, {{IA_CMD_WB_MODE, 3}}, V4L2_CID_AUTO_WHITE_BALANCE));
    EXPECT_EQ(5500, settingOf(table, {{IA_CMD_WB_MODE, 3}}, V4L2_CID_WHITE_BALANCE_TEMPERATURE));
    EXPECT_EQ(without, ControlTable({yesNo(V4L2_CID_AUTO_WHITE_BALANCE, true)}).allowed(IA_CMD_WB_MODE)->items);
}

TEST(ControlTable, PresetsOfWhiteBalanceAreUsedInsteadOfTheSwitch)
{
    const ControlTable table(
        {yesNo(V4L2_CID_AUTO_WHITE_BALANCE, true), menu(V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE, {0, 1, 2, 6}, 1)});
    EXPECT_EQ((std::vector<Setting>{{V4L2_CID_AUTO_N_PRESET_WHITE_BALANCE, V4L2_WHITE_BALANCE_DAYLIGHT}}),
              table.settings({{IA_CMD_WB_MODE, 3}}));
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4}), table.allowed(IA_CMD_WB_MODE)->items);
}

TEST(ControlTable, GainPriorityNeedsAGainThatCanBeAutomatic)
{
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), ControlTable(webcam()).allowed(IA_CMD_EXPOSE_MODE)->items);
    const ControlTable table(everything());
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4}), table.allowed(IA_CMD_EXPOSE_MODE)->items);
    EXPECT_EQ(0, settingOf(table, {{IA_CMD_EXPOSE_MODE, 4}}, V4L2_CID_AUTOGAIN));
    EXPECT_EQ(3, settingOf(table, {{IA_CMD_EXPOSE_MODE, 4}}, V4L2_CID_EXPOSURE_AUTO));
    EXPECT_EQ((std::vector<int>{0, 4}),
              ControlTable({yesNo(V4L2_CID_AUTOGAIN, true)}).allowed(IA_CMD_EXPOSE_MODE)->items);
}

TEST(ControlTable, AControlThatCannotBeSetIsNoDevice)
{
    Control brightness = number(V4L2_CID_BRIGHTNESS, 0, 255, 128);
    brightness.isSettable = false;
    EXPECT_TRUE(ControlTable({brightness}).commands().empty());
}

TEST(ControlTable, AMenuWhereOthersHaveANumberIsNoDevice)
{
    EXPECT_TRUE(ControlTable({menu(V4L2_CID_BRIGHTNESS, {0, 3}, 0)}).commands().empty());
}

TEST(ControlTable, AButtonIsPressedAndNeverSet)
{
    const ControlTable table(everything());
    EXPECT_EQ(V4L2_CID_AUTO_FOCUS_START, table.button(IA_CMD_AUTO_FOCUS_ONCE));
    EXPECT_EQ(std::nullopt, table.button(IA_CMD_BRIGHTNESS));
    EXPECT_EQ(std::nullopt, settingOf(table, {{IA_CMD_AUTO_FOCUS_ONCE, 1}}, V4L2_CID_AUTO_FOCUS_START));
}

TEST(ControlTable, TheWordsOfADeviceAsItIsFoundAreAllowed)
{
    const std::vector<Control> controls = everything();
    const ControlTable table(controls);
    for (const bool greatest : {false, true})
    {
        Values values;
        for (const Control& control : controls)
        {
            values[control.id] = greatest ? control.maximum : control.minimum;
        }
        for (const ia_cmd_e cmd : table.commands())
        {
            const std::optional<int> word = table.word(cmd, values);
            if (word)
            {
                EXPECT_TRUE(table.allowed(cmd)->contains(*word)) << cmd << " = " << *word;
            }
        }
    }
}

}  // namespace
