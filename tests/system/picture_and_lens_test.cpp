#include "tests/support/Simulator.h"
#include "tests/system/SystemCamera.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class PictureAndLens : public SystemCamera
{
protected:
    void SetUp() override
    {
        SystemCamera::SetUp();
        install(kFixed);
        start();
        c().setParamMode(0);
    }

    // Until the lens is still; the sensor thread turns meanwhile.
    void settle()
    {
        for (int i = 0; i < 120; ++i)
        {
            pass(1s);
        }
        ASSERT_FALSE(support::simulator().lens().resetting);
    }
};

TEST_F(PictureAndLens, ZoomPositionAndRatioGoTogether)
{
    const std::map<int, int> ratios = {{16384, 1000}, {24576, 2000}, {20480, 1500}, {31424, 16000}};
    for (const auto& [position, ratio] : ratios)
    {
        EXPECT_TRUE(c().setZoomValue(position));
        settle();
        int read = 0;
        int readRatio = 0;
        EXPECT_TRUE(c().getZoomValue(read, readRatio));
        EXPECT_EQ(position, read);
        EXPECT_EQ(ratio, readRatio);
    }
}

TEST_F(PictureAndLens, MovementIsReportedByExecutionStatus)
{
    EXPECT_TRUE(c().setZoomValue(31424));
    int status = -1;
    EXPECT_TRUE(c().getCmdExecStatus(IA_CMD_MZ_POSITION, status));
    EXPECT_EQ(services::kRunning, status);
    settle();
    EXPECT_TRUE(c().getCmdExecStatus(IA_CMD_MZ_POSITION, status));
    EXPECT_EQ(services::kIdle, status);
    EXPECT_FALSE(c().getCmdExecStatus(77777, status));
}

TEST_F(PictureAndLens, FocusStepsSwitchToManualFocusFirst)
{
    settle();
    int mode = -1;
    ASSERT_TRUE(c().setFocusMode(0));
    const int before = support::simulator().lens().focus;
    EXPECT_TRUE(c().focusNear());
    EXPECT_TRUE(c().getFocusMode(mode));
    EXPECT_EQ(1, mode);
    settle();
    EXPECT_GT(support::simulator().lens().focus, before);
    EXPECT_TRUE(c().focusFar());
    settle();
    EXPECT_EQ(before, support::simulator().lens().focus);
    // The stored mode is untouched: these controls bypass the schemes.
    EXPECT_EQ(0, value(KEY_AUTO_FOCUS_MODE));
}

TEST_F(PictureAndLens, IrisStepsSwitchToManualExposureFirst)
{
    settle();
    const int before = support::simulator().lens().iris;
    EXPECT_TRUE(c().irisDown());
    settle();
    EXPECT_LT(support::simulator().lens().iris, before);
    EXPECT_EQ(3, applied(IA_CMD_EXPOSE_MODE));
    EXPECT_TRUE(c().irisUp());
    settle();
    EXPECT_EQ(before, support::simulator().lens().iris);
}

TEST_F(PictureAndLens, ModesComeBackFromTheScheme)
{
    c().focusNear();
    c().irisUp();
    EXPECT_EQ(1, applied(IA_CMD_AUTO_FOCUS_MODE));
    EXPECT_TRUE(c().restoreAeMode());
    EXPECT_EQ(value(KEY_AUTO_FOCUS_MODE), applied(IA_CMD_AUTO_FOCUS_MODE));
    EXPECT_EQ(value(KEY_EXPOSE_MODE), applied(IA_CMD_EXPOSE_MODE));
}

TEST_F(PictureAndLens, BusyLensRefusesAndTheSchemeKeepsItsValue)
{
    EXPECT_EQ(0, c().setParameters("(1616,1)", false));
    const int stored = value(KEY_MZ_POSITION);
    CapturedOutput quiet;
    EXPECT_EQ(-1568, c().setParameter(KEY_MZ_POSITION, 20000, true));
    EXPECT_EQ(stored, value(KEY_MZ_POSITION));
    EXPECT_FALSE(c().zoomIn());
    settle();
    EXPECT_EQ(0, c().setParameter(KEY_MZ_POSITION, 20000, true));
}

TEST_F(PictureAndLens, OneShotFocusRunsWhenTheUserAsks)
{
    EXPECT_EQ(0, c().setParameters("(1539,1)", false));
    EXPECT_EQ((std::vector<int>{1}), sent(IA_CMD_AUTO_FOCUS_ONCE));
}

TEST_F(PictureAndLens, CorridorViewExchangesTheMirrorForTheVideoModule)
{
    ASSERT_EQ(0, c().setParameter(KEY_MIRROR, 1, true));
    EXPECT_EQ(1, video_.mirror());
    ASSERT_EQ(0, c().setParameter(KEY_BEAWAY, 1, true));
    EXPECT_EQ(2, video_.mirror());
    EXPECT_EQ(1, video_.corridor());
    EXPECT_EQ(1, applied(IA_CMD_UI_MIRROR));
    ASSERT_EQ(0, c().setParameter(KEY_MIRROR, 2, true));
    EXPECT_EQ(1, video_.mirror());
    EXPECT_EQ(1, applied(IA_CMD_UI_MIRROR));
    int mirror = 0;
    EXPECT_TRUE(c().getMirrorValue(mirror));
    EXPECT_EQ(2, mirror);
    ASSERT_EQ(0, c().setParameter(KEY_BEAWAY, 0, true));
    EXPECT_EQ(2, video_.mirror());
    EXPECT_EQ(0, video_.corridor());
}

TEST_F(PictureAndLens, ThresholdsAndTimesArriveAsRecords)
{
    ASSERT_EQ(0, c().setParameter(KEY_NTD_THR, 77, true));
    EXPECT_EQ(77, applied(IA_CMD_NTD_THR));
    EXPECT_EQ(value(KEY_DTN_THR), applied(IA_CMD_DTN_THR));
    ASSERT_EQ(0, c().setParameter(KEY_NTD_M, 33, true));
    EXPECT_EQ(33, applied(IA_CMD_NTD_M));
    EXPECT_EQ(value(KEY_DTN_H), applied(IA_CMD_DTN_H));
    EXPECT_EQ(value(KEY_DTN_M), applied(IA_CMD_DTN_M));
    EXPECT_EQ(value(KEY_NTD_H), applied(IA_CMD_NTD_H));
}

TEST_F(PictureAndLens, ValueThatTheSensorDoesNotAllowIsCorrectedBeforeItIsShown)
{
    // The scheme file carries a shutter that this module never had.
    std::string bytes = readFile(schemeFile(0));
    for (size_t at = 0; at < bytes.size(); at += 8)
    {
        u32 key = 0;
        std::memcpy(&key, bytes.data() + at, 4);
        if (key == KEY_MAX_SHUTTER)
        {
            bytes[at + 4] = 77;
        }
    }
    writeFile(schemeFile(0), bytes);
    CapturedOutput quiet;
    stop();
    start();
    const int shown = allValues().at(KEY_MAX_SHUTTER);
    EXPECT_NE(77, shown);
    const sim::AllowedValues allowed =
        sim::allowedValues(*sim::findParameter(IA_CMD_MAX_SHUTTER), *sim::findModule(c().getSensorType()));
    EXPECT_TRUE(allowed.contains(shown));
    EXPECT_EQ(shown, value(KEY_MAX_SHUTTER));
}

TEST_F(PictureAndLens, FailingServiceStopsTheListThere)
{
    services::FailureRule rule;
    rule.cmd = IA_CMD_CONTRAST;
    rule.status = -9;
    support::failures().add(rule);
    EXPECT_EQ(-2353, c().setParameters("(34,61)(2353,62)(2337,63)", true));
    EXPECT_EQ(61, value(KEY_BRIGHTNESS));
    EXPECT_EQ(50, value(KEY_CONTRAST));
    EXPECT_EQ(50, value(KEY_SATURATION));
}

TEST_F(PictureAndLens, ReloadBringsBackWhatWasSavedLast)
{
    ASSERT_EQ(0, c().setParameters("(34,61)", true));
    ASSERT_EQ(0, flush());
    ASSERT_EQ(0, c().setParameters("(34,70)(2353,71)", true));
    EXPECT_TRUE(c().resetToLastParameters());
    EXPECT_EQ(61, value(KEY_BRIGHTNESS));
    EXPECT_EQ(50, value(KEY_CONTRAST));
    EXPECT_EQ(61, applied(IA_CMD_BRIGHTNESS));
    EXPECT_EQ(50, applied(IA_CMD_CONTRAST));
}

TEST_F(PictureAndLens, SensorCheckReadsAndWritesRegisters)
{
    std::string text = "(20,1,4711)";
    EXPECT_EQ(0, c().SensorCheck(text));
    EXPECT_EQ("(20,1,4711)", text);
    text = "(20,2,0)";
    EXPECT_EQ(0, c().SensorCheck(text));
    EXPECT_EQ("4711", text);
    text = "(3,1,1)";
    EXPECT_NE(0, c().SensorCheck(text));
}

TEST_F(PictureAndLens, LiveValuesCanBeRead)
{
    unsigned statistic = 0;
    EXPECT_TRUE(c().getAFStatistic(statistic));
    EXPECT_EQ(static_cast<unsigned>(support::simulator().lens().contrast), statistic);
    int mode = -1;
    EXPECT_TRUE(c().getDNMode(mode));
    EXPECT_EQ(0, mode);
    EXPECT_TRUE(c().setPTZRunState(1));
    EXPECT_EQ(1, applied(IA_CMD_PTZ_RUN_STATE));
    int focus = -1;
    EXPECT_TRUE(c().getFocusValue(focus));
    EXPECT_EQ(support::simulator().lens().focus, focus);
}

}  // namespace
