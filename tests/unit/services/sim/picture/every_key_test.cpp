#include "tests/unit/services/sim/picture/ShootingCamera.h"

#include <gtest/gtest.h>

#include <ostream>

namespace sim {

void PrintTo(const Parameter& parameter, std::ostream* out)
{
    *out << services::commandName(parameter.cmd);
}

}  // namespace sim

namespace {

using namespace std::chrono_literals;

constexpr double kSeen = 0.2;  // of 255, on average; what is the same differs by nothing

// Every parameter that can be set shows in the picture, also one that is added to the table. What each does is measured by
// the tests beside this one.
class EveryKey : public ShootingCamera, public testing::WithParamInterface<sim::Parameter>
{
protected:
    struct State
    {
        std::function<void()> before = [] {};  // brings the camera where the parameter acts
        std::function<void()> then = [] {};    // what shows it, once it is set
        host::Span passes = 60s;               // until the picture is taken
        int highest = kAsAllowed;              // where the highest value shows the same as the lowest
    };
    static constexpr int kAsAllowed = -1;

    // In most states most parameters act: these are the others.
    State stateOf(ia_cmd_e cmd)
    {
        State state;
        switch (cmd)
        {
        case IA_CMD_EXPOSE_MODE:
            state.before = [this] { set(IA_CMD_FIX_GAIN, 12); };
            break;
        case IA_CMD_MAX_SHUTTER:
        case IA_CMD_IRIS_POSITION:
            state.before = [this] { beDim(); };
            break;
        case IA_CMD_MAX_GAIN:
        case IA_CMD_2D_NR_SWITCH:
        case IA_CMD_2D_NR_STRG_A:
        case IA_CMD_3D_NR_SWITCH:
        case IA_CMD_3D_NR_STRG_A:
            state.before = [this] { beNoisy(); };
            break;
        case IA_CMD_2D_NR_MODE:
            state.before = [this] { beNoisy(), set(IA_CMD_2D_NR_STRG_A, 0); };
            break;
        case IA_CMD_2D_NR_STRG_M:
            state.before = [this] { beNoisy(), set(IA_CMD_2D_NR_MODE, 1); };
            break;
        case IA_CMD_3D_NR_MODE:
            state.before = [this] { beNoisy(), set(IA_CMD_3D_NR_STRG_A, 0); };
            break;
        case IA_CMD_3D_NR_STRG_M:
            state.before = [this] { beNoisy(), set(IA_CMD_3D_NR_MODE, 1); };
            break;
        case IA_CMD_FIX_SHUTTER:
        case IA_CMD_FIX_GAIN:
        case IA_CMD_IRIS_UP:
        case IA_CMD_IRIS_DOWN:
            state.before = [this] { set(IA_CMD_EXPOSE_MODE, sim::kManualExposure); };
            break;
        case IA_CMD_IRIS_SIZE:
            state.before = [this] { beDim(), set(IA_CMD_EXPOSE_MODE, sim::kIrisPriority); };
            break;
        case IA_CMD_IRIS_SWITCH:
        case IA_CMD_IRIS_SPEED:
            state.before = [this] { service_->setLight(60000), set(IA_CMD_IN_OUT_SIDE, 0); };
            break;
        case IA_CMD_IN_OUT_SIDE:
            state.before = [this] { service_->setLight(20000); };
            break;
        case IA_CMD_WB_MODE:
            state.highest = 2;
            break;
        case IA_CMD_R_GAIN:
        case IA_CMD_B_GAIN:
            state.before = [this] { set(IA_CMD_WB_MODE, 1); };
            break;
        case IA_CMD_DN_MODE:
            state.highest = sim::kAlwaysNight;
            break;
        case IA_CMD_DELAY:
            state.then = [this] { service_->setLight(1); };
            break;
        case IA_CMD_DTN_THR:
            state.before = [this] { service_->setLight(100); };
            break;
        case IA_CMD_NTD_THR:
            state.before = [this] { service_->setLight(1), pass(60s); };
            state.then = [this] { service_->setLight(100); };
            break;
        case IA_CMD_DTN_H:
            state.before = [this] { byTime(0, 0, 23, 30); };
            break;
        case IA_CMD_DTN_M:
            state.before = [this] { byTime(12, 0, 23, 0); };
            break;
        case IA_CMD_NTD_H:
            state.before = [this] { byTime(0, 0, 0, 30); };
            break;
        case IA_CMD_NTD_M:
            state.before = [this] { byTime(11, 0, 12, 0); };
            break;
        case IA_CMD_IR_SWITCH:
        case IA_CMD_IR_MODE:
        case IA_CMD_IR_AUTO_STRG_NEAR:
        case IA_CMD_IR_AUTO_STRG_MEDIUM:
        case IA_CMD_IR_AUTO_STRG_FAR:
            state.before = [this] { beNight(); };
            break;
        case IA_CMD_IR_MANUAL_STRG_NEAR:
        case IA_CMD_IR_MANUAL_STRG_MEDIUM:
        case IA_CMD_IR_MANUAL_STRG_FAR:
            state.before = [this] { beNight(), set(IA_CMD_IR_MODE, sim::kByHand); };
            break;
        case IA_CMD_WDR_STRG:
            state.before = [this] { set(IA_CMD_WDR_MODE, 1); };
            break;
        case IA_CMD_HLC_STRG:
            state.before = [this] { set(IA_CMD_HLC_SWITCH, 1); };
            break;
        case IA_CMD_BLC_MODE:
        case IA_CMD_BLC_STRG:
            state.before = [this] { set(IA_CMD_BLC_SWITCH, 1); };
            break;
        case IA_CMD_ANTI_SHAKE_STRG:
            state.before = [this] { set(IA_CMD_ANTI_SHAKE_SWITCH, 1), set(IA_CMD_MZ_POSITION, 31424); };
            break;
        case IA_CMD_DEFLG_SWITCH:
            state.before = [this] { beHazy(); };
            break;
        case IA_CMD_DEFLG_STRG:
            state.before = [this] { beHazy(), set(IA_CMD_DEFLG_SWITCH, 1); };
            break;
        case IA_CMD_AUTO_FOCUS_MODE:
        case IA_CMD_PTZ_RUN_STATE:
            state.then = [this] { service_->setDistance(0.7); };
            break;
        case IA_CMD_AUTO_FOCUS_NEAR_LIMIT:
            state.before = [this] { service_->setDistance(0.4); };
            break;
        case IA_CMD_AUTO_FOCUS_SENSITIVITY:
            state.then = [this] { service_->setDistance(0.7); };
            state.passes = 900ms;
            break;
        case IA_CMD_AUTO_FOCUS_ONCE:
        case IA_CMD_FOCUS_NEAR:
        case IA_CMD_FOCUS_FAR:
        case IA_CMD_MF_POSITION:
            state.before = [this] { beBlurred(); };
            break;
        case IA_CMD_DN_AF_MODE:
            state.before = [this] { beBlurred(); };
            state.then = [this] { set(IA_CMD_DN_MODE, sim::kAlwaysNight); };
            break;
        case IA_CMD_LENS_RESET:
            state.before = [this] { set(IA_CMD_MZ_POSITION, 28672), pass(60s); };
            state.passes = 2s;
            break;
        case IA_CMD_ZOOM_IN:
        case IA_CMD_ZOOM_OUT:
            state.before = [this] { set(IA_CMD_MZ_POSITION, 24576), pass(60s); };
            break;
        case IA_CMD_MZOOM_SPEED:
            state.then = [this] { set(IA_CMD_MZ_POSITION, 31424); };
            state.passes = 1s;
            break;
        case IA_CMD_DIGITAL_ZOOM:
            state.then = [this] { set(IA_CMD_MZ_POSITION, 32767); };
            break;
        case IA_CMD_CAP_OFF_ADJ_DIRECTION:
            state.before = [this] { set(IA_CMD_CAP_OFF_ADJ_STEP, 32); };
            break;
        case IA_CMD_CAP_OFF_ADJ_STEP:
            state.then = [this] { set(IA_CMD_CAP_OFF_ADJ_DIRECTION, sim::kRight); };
            break;
        case IA_CMD_CAP_OFF_ADJ_H_MIN:
            state.then = [this] { set(IA_CMD_CAP_OFF_ADJ_H_CUR, -64); };
            break;
        case IA_CMD_CAP_OFF_ADJ_H_MAX:
            state.then = [this] { set(IA_CMD_CAP_OFF_ADJ_H_CUR, 64); };
            break;
        case IA_CMD_CAP_OFF_ADJ_V_MIN:
            state.then = [this] { set(IA_CMD_CAP_OFF_ADJ_V_CUR, -64); };
            break;
        case IA_CMD_CAP_OFF_ADJ_V_MAX:
            state.then = [this] { set(IA_CMD_CAP_OFF_ADJ_V_CUR, 64); };
            break;
        default:
            break;
        }
        return state;
    }

    void beDim()
    {
        service_->setLight(2);
        set(IA_CMD_DN_MODE, sim::kAlwaysDay);
        set(IA_CMD_MAX_GAIN, 0);
        set(IA_CMD_IRIS_SWITCH, 0);
    }

    void beNoisy()
    {
        service_->setLight(0.5);
        set(IA_CMD_DN_MODE, sim::kAlwaysDay);
    }

    void beNight()
    {
        service_->setLight(0);
        set(IA_CMD_DN_MODE, sim::kAlwaysNight);
        holdExposure(6, 8);
    }

    void beHazy()
    {
        services::Weather weather;
        weather.haze = 70;
        service_->setWeather(weather);
    }

    void beBlurred()
    {
        set(IA_CMD_AUTO_FOCUS_MODE, sim::kManualFocus);
        set(IA_CMD_MF_POSITION, service_->lens().inFocus + 600);
        pass(60s);
    }

    void byTime(u32 nightHour, u32 nightMinute, u32 dayHour, u32 dayMinute)
    {
        set(IA_CMD_DN_MODE, sim::kByTime);
        setTimes(nightHour, nightMinute, dayHour, dayMinute);
    }

    // Those of day and night are set together.
    int give(ia_cmd_e cmd, int value)
    {
        const auto field = [this, cmd, value](ia_cmd_e one) { return static_cast<u32>(one == cmd ? value : get(one)); };
        switch (cmd)
        {
        case IA_CMD_DTN_THR:
        case IA_CMD_NTD_THR:
            return setThresholds(field(IA_CMD_DTN_THR), field(IA_CMD_NTD_THR));
        case IA_CMD_DTN_H:
        case IA_CMD_DTN_M:
        case IA_CMD_NTD_H:
        case IA_CMD_NTD_M:
            return setTimes(field(IA_CMD_DTN_H), field(IA_CMD_DTN_M), field(IA_CMD_NTD_H), field(IA_CMD_NTD_M));
        default:
            return set(cmd, value);
        }
    }

    // The third picture of a camera that was switched on and brought to the state.
    cv::Mat pictureWith(int value)
    {
        service_->reset();
        pass(60s);
        const ia_cmd_e cmd = GetParam().cmd;
        const State state = stateOf(cmd);
        state.before();
        pass(60s);
        EXPECT_EQ(0, give(cmd, value));
        state.then();
        pass(state.passes);
        sim::picture::Pipeline pipeline({160, 90});
        const double interval = 1.0 / get(IA_CMD_SENSOR_FPS);
        cv::Mat picture;
        for (int frame = 0; frame < 3; ++frame)
        {
            picture = pipeline.shoot(service_->look(), kMoment + frame * interval, interval);
        }
        return picture;
    }
};

TEST_P(EveryKey, ShowsInThePicture)
{
    const services::AllowedValues allowed = service_->parameter(GetParam().cmd)->allowed;
    const int highest = stateOf(GetParam().cmd).highest;
    const cv::Mat low = pictureWith(allowed.minimum);
    const cv::Mat high = pictureWith(highest == kAsAllowed ? allowed.maximum : highest);
    if (low.size() == high.size())
    {
        EXPECT_GT(difference(low, high), kSeen);
    }
}

// Frozen frames are not drawn at all: a test of the frames themselves shows that.
std::vector<sim::Parameter> thatCanBeSet()
{
    std::vector<sim::Parameter> result;
    for (const sim::Parameter& parameter : sim::parameters())
    {
        if ((parameter.options & sim::kMaySet) != 0 && parameter.kind != sim::Kind::record &&
            parameter.cmd != IA_CMD_FREEZE)
        {
            result.push_back(parameter);
        }
    }
    return result;
}

INSTANTIATE_TEST_SUITE_P(OfTheTable, EveryKey, testing::ValuesIn(thatCanBeSet()));

}  // namespace
