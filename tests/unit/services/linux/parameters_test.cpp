#include <gtest/gtest.h>

#include "services/linux/ControlIds.h"
#include "services/linux/Parameters.h"
#include "services/linux/Service.h"
#include "tests/unit/services/linux/Webcam.h"

namespace {

using devices::Board;
using devices::Description;
using services::Kind;
using services::ParameterState;

Description describe(std::vector<devices::Control> controls, devices::Values values = {})
{
    return {"A camera", "uvcvideo 6.1", std::move(controls), std::move(values)};
}

std::optional<ParameterState> find(const std::vector<ParameterState>& states, ia_cmd_e cmd)
{
    for (const ParameterState& state : states)
    {
        if (state.cmd == cmd)
        {
            return state;
        }
    }
    return std::nullopt;
}

Board nightBoard()
{
    Board board;
    board.light = "auto";
    board.lamps = {{devices::kLampNear, "near"}};
    board.filter = devices::FilterLines{"gpiochip0", 3, std::nullopt, true, {}};
    return board;
}

std::vector<devices::Control> nightControls()
{
    return {support::number(devices::kLampNear, 0, 255, 0), support::yesNo(devices::kFilter, true)};
}

TEST(ParametersOfACamera, AreThoseThatItHasAControlFor)
{
    const auto states = parametersOf(describe({support::number(V4L2_CID_BRIGHTNESS, -64, 64, 0)}), {});
    ASSERT_EQ(2u, states.size());
    EXPECT_EQ(IA_CMD_BRIGHTNESS, states[0].cmd);
    EXPECT_EQ("Brightness", states[0].name);
    EXPECT_EQ("%", states[0].unit);
    EXPECT_EQ(Kind::range, states[0].kind);
    EXPECT_EQ(IA_CMD_DN_STATE, states[1].cmd);
}

TEST(ParametersOfACamera, HaveTheDevicesDefaultsAndTheValuesOfFirstContact)
{
    const auto states =
        parametersOf(describe({support::number(V4L2_CID_BRIGHTNESS, -64, 64, 0)}, {{V4L2_CID_BRIGHTNESS, 64}}), {});
    EXPECT_EQ(50, states[0].allowed.defaultValue);
    EXPECT_EQ(100, states[0].value);
}

TEST(ParametersOfACamera, AreAChoiceWithALabelForEachValue)
{
    const auto mode = find(parametersOf(describe(support::webcam()), {}), IA_CMD_EXPOSE_MODE);
    ASSERT_TRUE(mode);
    EXPECT_EQ(Kind::choice, mode->kind);
    for (const int item : mode->allowed.items)
    {
        EXPECT_NE("", mode->labelOf(item)) << item;
    }
}

TEST(ParametersOfACamera, AreANumberWhereTheDeviceHasNoStepsOfTheChoice)
{
    const auto gain = find(parametersOf(describe(support::webcam()), {}), IA_CMD_FIX_GAIN);
    ASSERT_TRUE(gain);
    EXPECT_EQ(Kind::range, gain->kind);
    EXPECT_TRUE(gain->labels.empty());
    EXPECT_EQ(20, gain->allowed.maximum);
}

TEST(ParametersOfACamera, NameFrameRatesThatNoSimulatedSensorHas)
{
    const auto rate =
        find(parametersOf(describe({support::menu(devices::kFrameRate, {10, 15, 30}, 30)}), {}), IA_CMD_SENSOR_FPS);
    ASSERT_TRUE(rate);
    EXPECT_EQ((std::vector<int>{10, 15, 30}), rate->allowed.items);
    EXPECT_EQ("15 fps", rate->labelOf(15));
    EXPECT_EQ("30 fps", rate->labelOf(30));
}

TEST(ParametersOfACamera, HoldTheIrisOnce)
{
    const auto states = parametersOf(describe(support::webcam()), {});
    EXPECT_TRUE(find(states, IA_CMD_IRIS_POSITION));
    EXPECT_FALSE(find(states, IA_CMD_IRIS_SIZE));
}

TEST(ParametersOfACamera, HaveStepsOfWhatHasAPosition)
{
    const auto all = parametersOf(describe(support::webcam()), {});
    const auto none = parametersOf(describe({}), {});
    for (const ia_cmd_e cmd : {IA_CMD_IRIS_UP, IA_CMD_IRIS_DOWN, IA_CMD_FOCUS_NEAR, IA_CMD_FOCUS_FAR, IA_CMD_ZOOM_IN,
                               IA_CMD_ZOOM_OUT, IA_CMD_LENS_RESET})
    {
        ASSERT_TRUE(find(all, cmd)) << cmd;
        EXPECT_EQ(Kind::action, find(all, cmd)->kind);
        EXPECT_FALSE(find(none, cmd)) << cmd;
    }
}

TEST(ParametersOfACamera, HaveNoThresholdsWithoutALightSensor)
{
    const auto states = parametersOf(describe(support::webcam()), {});
    EXPECT_FALSE(find(states, IA_CMD_DTN_THR));
    EXPECT_FALSE(find(states, IA_CMD_DELAY));
    const auto mode = find(states, IA_CMD_DN_MODE);
    ASSERT_TRUE(mode);
    EXPECT_EQ((std::vector<int>{1, 2, 3}), mode->allowed.items);
    EXPECT_EQ(1, mode->value);
}

TEST(ParametersOfACamera, KnowNoNightWhereNothingWouldChange)
{
    const auto states = parametersOf(describe({support::number(V4L2_CID_BRIGHTNESS, -64, 64, 0)}), {});
    EXPECT_FALSE(find(states, IA_CMD_DN_MODE));
    EXPECT_FALSE(find(states, IA_CMD_DTN_H));
}

TEST(ParametersOfACamera, DecideByLightWithASensor)
{
    const auto states = parametersOf(describe(nightControls()), nightBoard());
    const auto mode = find(states, IA_CMD_DN_MODE);
    ASSERT_TRUE(mode);
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), mode->allowed.items);
    EXPECT_EQ(0, mode->value);
    EXPECT_EQ(20, find(states, IA_CMD_DTN_THR)->value);
}

TEST(ParametersOfACamera, LightLampsByNightWhateverTheyDoNow)
{
    const auto states = parametersOf(describe(nightControls(), {{devices::kLampNear, 0}}), nightBoard());
    EXPECT_EQ(1, find(states, IA_CMD_IR_SWITCH)->value);
    EXPECT_EQ(100, find(states, IA_CMD_IR_AUTO_STRG_NEAR)->value);
    EXPECT_EQ(50, find(states, IA_CMD_IR_MANUAL_STRG_NEAR)->value);
    EXPECT_EQ((std::vector<int>{0, 2}), find(states, IA_CMD_IR_MODE)->allowed.items);
    EXPECT_FALSE(find(states, IA_CMD_IR_AUTO_STRG_FAR));
}

TEST(ParametersOfACamera, TakeTheMainsOfTheBoard)
{
    Board board;
    for (const int mains : {50, 60})
    {
        board.mains = mains;
        const std::int64_t wished =
            mains == 50 ? V4L2_CID_POWER_LINE_FREQUENCY_50HZ : V4L2_CID_POWER_LINE_FREQUENCY_60HZ;
        const devices::ControlTable table(controlsFor(describe(support::webcam()), board));
        EXPECT_EQ((std::vector<devices::Setting>{{V4L2_CID_POWER_LINE_FREQUENCY, wished}}),
                  table.settings({{IA_CMD_IN_OUT_SIDE, 0}}));
    }
}

}  // namespace
