#include "tests/unit/services/sim/SimCamera.h"

#include <algorithm>
#include <limits>

namespace {

using namespace std::chrono_literals;

class LensMotion : public SimCamera
{
protected:
    void useManualFocus() { ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, 1)); }

    // Passes time until the command is done, at most a minute; the time that it took.
    host::Span waitFor(ia_cmd_e cmd)
    {
        const host::Span start = clock_->monotonic();
        while (status(cmd) == services::kRunning && clock_->monotonic() - start < 1min)
        {
            pass(10ms);
        }
        return clock_->monotonic() - start;
    }
};

TEST_F(LensMotion, PowerOnIsWideSharpAndAtRest)
{
    const sim::LensState lens = service_->lens();
    EXPECT_EQ(16384, lens.zoom);
    EXPECT_EQ(lens.inFocus, lens.focus);
    EXPECT_EQ(72, lens.iris);
    EXPECT_FALSE(lens.zoomMoving || lens.focusMoving || lens.irisMoving || lens.resetting);
}

TEST_F(LensMotion, ZoomTakesTheTimeThatItsSpeedSays)
{
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_MZOOM_SPEED, 2));
    EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 20384));
    EXPECT_EQ(16384, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(services::kRunning, status(IA_CMD_MZ_POSITION));
    pass(500ms);
    EXPECT_EQ(17384, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(services::kRunning, status(IA_CMD_ZOOM_IN));
    pass(1499ms);
    EXPECT_EQ(services::kRunning, status(IA_CMD_MZ_POSITION));
    pass(1ms);
    EXPECT_EQ(20384, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(services::kIdle, status(IA_CMD_MZ_POSITION));
    EXPECT_EQ(services::kIdle, status(IA_CMD_MF_POSITION)) << "manual focus stays";
}

TEST_F(LensMotion, ANewZoomTargetStartsFromWhereTheLensIs)
{
    useManualFocus();
    set(IA_CMD_MZOOM_SPEED, 1);
    set(IA_CMD_MZ_POSITION, 26384);
    pass(2s);
    EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 17384));
    EXPECT_EQ(18384, get(IA_CMD_MZ_POSITION));
    pass(500ms);
    EXPECT_EQ(17884, get(IA_CMD_MZ_POSITION));
    pass(500ms);
    EXPECT_EQ(17384, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(services::kIdle, status(IA_CMD_MZ_POSITION));
}

TEST_F(LensMotion, ZoomStepsAddUpAndStopAtTheEnds)
{
    useManualFocus();
    EXPECT_EQ(0, set(IA_CMD_ZOOM_IN, 1));
    EXPECT_EQ(0, set(IA_CMD_ZOOM_IN, 1));
    pass(5s);
    EXPECT_EQ(16384 + 2 * 320, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(0, get(IA_CMD_ZOOM_IN));
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(0, set(IA_CMD_ZOOM_OUT, 1));
    }
    pass(5s);
    EXPECT_EQ(16384, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(0, set(IA_CMD_ZOOM_IN, 0));
    EXPECT_EQ(services::kIdle, status(IA_CMD_ZOOM_IN));
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_ZOOM_IN, 2));
}

TEST_F(LensMotion, ZoomGoesBeyondSixteenTimesOnlyWithDigitalZoom)
{
    useManualFocus();
    EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 31424));
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_MZ_POSITION, 31425));
    EXPECT_EQ(31424, describe(IA_CMD_MZ_POSITION).reserved2);
    EXPECT_EQ(31424, correct(IA_CMD_MZ_POSITION, 40000));
    ASSERT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 1));
    EXPECT_EQ(32767, describe(IA_CMD_MZ_POSITION).reserved2);
    EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 32767));
    pass(1min);
    EXPECT_EQ(32767, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 0));
    EXPECT_EQ(services::kRunning, status(IA_CMD_MZ_POSITION));
    pass(1min);
    EXPECT_EQ(31424, get(IA_CMD_MZ_POSITION));
}

TEST_F(LensMotion, ZoomStepsEndWithTheGlassUnlessDigitalZoomIsOn)
{
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_MZ_POSITION, 31400));
    pass(1min);
    EXPECT_EQ(0, set(IA_CMD_ZOOM_IN, 1));
    pass(1min);
    EXPECT_EQ(31424, get(IA_CMD_MZ_POSITION));
    ASSERT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 1));
    EXPECT_EQ(0, set(IA_CMD_ZOOM_IN, 1));
    pass(1min);
    EXPECT_EQ(31424 + 320, get(IA_CMD_MZ_POSITION));
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(0, set(IA_CMD_ZOOM_IN, 1));
    }
    pass(1min);
    EXPECT_EQ(32767, get(IA_CMD_MZ_POSITION));
}

TEST_F(LensMotion, FocusStepsNeedManualFocus)
{
    for (const int mode : {0, 2})
    {
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, mode));
        EXPECT_EQ(services::kWrongMode, set(IA_CMD_FOCUS_NEAR, 1));
        EXPECT_EQ(services::kWrongMode, set(IA_CMD_FOCUS_FAR, 1));
        EXPECT_EQ(0, set(IA_CMD_FOCUS_FAR, 0)) << "no step, no mode needed";
    }
    useManualFocus();
    const int before = get(IA_CMD_MF_POSITION);
    EXPECT_EQ(0, set(IA_CMD_FOCUS_NEAR, 1));
    EXPECT_EQ(services::kRunning, status(IA_CMD_FOCUS_NEAR));
    pass(1s);
    EXPECT_EQ(before + 100, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(0, set(IA_CMD_FOCUS_FAR, 1));
    EXPECT_EQ(0, set(IA_CMD_FOCUS_FAR, 1));
    pass(1s);
    EXPECT_EQ(before - 100, get(IA_CMD_MF_POSITION));
}

TEST_F(LensMotion, IrisStepsNeedManualExposureOrIrisPriority)
{
    for (const int mode : {0, 1, 4})
    {
        ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, mode));
        EXPECT_EQ(services::kWrongMode, set(IA_CMD_IRIS_UP, 1));
        EXPECT_EQ(services::kWrongMode, set(IA_CMD_IRIS_DOWN, 1));
    }
    for (const int mode : {2, 3})
    {
        ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, mode));
        EXPECT_EQ(0, set(IA_CMD_IRIS_UP, 1));
        EXPECT_EQ(services::kRunning, status(IA_CMD_IRIS_UP));
        pass(10s);
        EXPECT_EQ(84, service_->lens().iris);
        EXPECT_EQ(1, get(IA_CMD_IRIS_SIZE));
        EXPECT_EQ(0, set(IA_CMD_IRIS_DOWN, 1));
        pass(10s);
        EXPECT_EQ(2, get(IA_CMD_IRIS_SIZE));
    }
}

TEST_F(LensMotion, IrisSpeedChangesTheTime)
{
    set(IA_CMD_IRIS_SPEED, 100);
    set(IA_CMD_IRIS_POSITION, 28);
    EXPECT_EQ(1s, waitFor(IA_CMD_IRIS_POSITION));
    set(IA_CMD_IRIS_SPEED, 0);
    set(IA_CMD_IRIS_POSITION, 32);
    EXPECT_EQ(1s, waitFor(IA_CMD_IRIS_POSITION));
}

TEST_F(LensMotion, AutomaticFocusFollowsTheZoom)
{
    EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 28000));
    waitFor(IA_CMD_MZ_POSITION);
    EXPECT_EQ(services::kRunning, status(IA_CMD_MF_POSITION)) << "begins to search when the zoom has come to rest";
    waitFor(IA_CMD_MF_POSITION);
    const sim::LensState lens = service_->lens();
    EXPECT_EQ(lens.inFocus, lens.focus);
    EXPECT_NE(2090, lens.focus);
}

TEST_F(LensMotion, ASearchGoesPastTheSharpPositionAndComesBack)
{
    service_->setDistance(1.5);
    const int goal = service_->lens().inFocus;
    int greatest = 0;
    for (int i = 0; i < 300; ++i)
    {
        pass(10ms);
        greatest = std::max(greatest, get(IA_CMD_MF_POSITION));
    }
    EXPECT_GT(greatest, goal + 400);
    EXPECT_EQ(goal, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(services::kIdle, status(IA_CMD_MF_POSITION));
}

TEST_F(LensMotion, AutomaticFocusTakesBackAPositionSetByHand)
{
    EXPECT_EQ(0, set(IA_CMD_MF_POSITION, 12000));
    pass(1300ms);
    EXPECT_EQ(12000, get(IA_CMD_MF_POSITION));
    waitFor(IA_CMD_MF_POSITION);
    EXPECT_EQ(service_->lens().inFocus, get(IA_CMD_MF_POSITION));
}

TEST_F(LensMotion, ManualFocusStopsASearchAndKeepsPositions)
{
    service_->setDistance(1);
    pass(700ms);
    useManualFocus();
    const int stopped = get(IA_CMD_MF_POSITION);
    EXPECT_NE(2090, stopped);
    EXPECT_NE(service_->lens().inFocus, stopped);
    pass(1min);
    EXPECT_EQ(stopped, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(0, set(IA_CMD_MF_POSITION, 9000));
    pass(1min);
    EXPECT_EQ(9000, get(IA_CMD_MF_POSITION));
}

TEST_F(LensMotion, SensitivityShortensTheWaitBeforeASearch)
{
    host::Span spans[3];
    for (int sensitivity = 0; sensitivity < 3; ++sensitivity)
    {
        service_->reset();
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_SENSITIVITY, sensitivity));
        service_->setDistance(2);
        spans[sensitivity] = waitFor(IA_CMD_MF_POSITION);
    }
    EXPECT_EQ(500ms, spans[0] - spans[1]);
    EXPECT_EQ(300ms, spans[1] - spans[2]);
}

TEST_F(LensMotion, FocusWaitsWhilePanTiltZoomRunsAndSearchesAfterwards)
{
    EXPECT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    service_->setDistance(2);
    pass(1min);
    EXPECT_EQ(2090, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 0));
    EXPECT_EQ(services::kRunning, status(IA_CMD_MF_POSITION));
    waitFor(IA_CMD_MF_POSITION);
    EXPECT_EQ(service_->lens().inFocus, get(IA_CMD_MF_POSITION));
}

TEST_F(LensMotion, FocusingOnceWorksInManualFocusAndReportsItsEnd)
{
    useManualFocus();
    service_->setDistance(2);
    EXPECT_EQ(2090, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    EXPECT_EQ(services::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
    waitFor(IA_CMD_AUTO_FOCUS_ONCE);
    EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
    EXPECT_EQ(service_->lens().inFocus, get(IA_CMD_MF_POSITION));
}

TEST_F(LensMotion, FocusingOnceFailsOnWhatIsTooNear)
{
    useManualFocus();
    service_->setDistance(0.5);
    set(IA_CMD_AUTO_FOCUS_ONCE, 1);
    waitFor(IA_CMD_AUTO_FOCUS_ONCE);
    EXPECT_EQ(services::kFailed, status(IA_CMD_AUTO_FOCUS_ONCE)) << "nearer than the limit of 1 m";
    EXPECT_EQ(2900, get(IA_CMD_MF_POSITION)) << "sharp at the limit";
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_NEAR_LIMIT, 1));
    set(IA_CMD_AUTO_FOCUS_ONCE, 1);
    waitFor(IA_CMD_AUTO_FOCUS_ONCE);
    EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
    set(IA_CMD_MZ_POSITION, 31424);
    set(IA_CMD_AUTO_FOCUS_ONCE, 1);
    waitFor(IA_CMD_AUTO_FOCUS_ONCE);
    EXPECT_EQ(services::kFailed, status(IA_CMD_AUTO_FOCUS_ONCE)) << "the drive does not reach it at 16x";
    set(IA_CMD_MF_POSITION, 100);
    EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE)) << "forgotten with the next movement";
}

TEST_F(LensMotion, ContrastPeaksWhereThePictureIsSharp)
{
    useManualFocus();
    for (const int zoom : {16384, 24000, 31424})
    {
        set(IA_CMD_MZ_POSITION, zoom);
        pass(1min);
        const int sharp = service_->lens().inFocus;
        int last = 0;
        for (int position = sharp - 1000; position <= sharp + 1000; position += 100)
        {
            ASSERT_EQ(0, set(IA_CMD_MF_POSITION, position));
            pass(10s);
            const int contrast = get(IA_CMD_AF_STATISTIC);
            EXPECT_EQ(position <= sharp, contrast > last) << zoom << " " << position;
            last = contrast;
        }
        set(IA_CMD_MF_POSITION, sharp);
        pass(10s);
        EXPECT_EQ(61000, get(IA_CMD_AF_STATISTIC));
    }
}

TEST_F(LensMotion, ContrastFallsWithTheDistanceOfTheObject)
{
    useManualFocus();
    const int sharp = get(IA_CMD_AF_STATISTIC);
    service_->setDistance(1);
    EXPECT_LT(get(IA_CMD_AF_STATISTIC), sharp);
}

TEST_F(LensMotion, AnObjectIsNeverNearerThanACentimetreNorFartherThanInfinity)
{
    for (const double metres : {-1.0, 0.0, std::numeric_limits<double>::quiet_NaN()})
    {
        service_->setDistance(metres);
        EXPECT_EQ(20000, service_->lens().inFocus);
    }
    service_->setDistance(std::numeric_limits<double>::infinity());
    EXPECT_EQ(2000, service_->lens().inFocus);
}

TEST_F(LensMotion, ResetTakesFourSecondsAndReturns)
{
    useManualFocus();
    set(IA_CMD_MZ_POSITION, 20000);
    set(IA_CMD_MF_POSITION, 5000);
    pass(1min);
    EXPECT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    EXPECT_EQ(services::kRunning, status(IA_CMD_LENS_RESET));
    EXPECT_TRUE(service_->lens().resetting);
    pass(2s);
    EXPECT_EQ(16384, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(0, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(0, service_->lens().iris);
    pass(1999ms);
    EXPECT_EQ(services::kRunning, status(IA_CMD_LENS_RESET));
    pass(1ms);
    EXPECT_EQ(services::kIdle, status(IA_CMD_LENS_RESET));
    EXPECT_EQ(20000, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(5000, get(IA_CMD_MF_POSITION));
    EXPECT_EQ(72, get(IA_CMD_IRIS_POSITION));
}

TEST_F(LensMotion, EveryMovementIsRefusedWhileTheLensIsReset)
{
    set(IA_CMD_EXPOSE_MODE, 3);
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    const std::pair<ia_cmd_e, int> movements[] = {
        {IA_CMD_MF_POSITION, 500},   {IA_CMD_FOCUS_NEAR, 1}, {IA_CMD_FOCUS_FAR, 1}, {IA_CMD_AUTO_FOCUS_ONCE, 1},
        {IA_CMD_MZ_POSITION, 20000}, {IA_CMD_ZOOM_IN, 1},    {IA_CMD_ZOOM_OUT, 1},  {IA_CMD_LENS_RESET, 1},
        {IA_CMD_IRIS_POSITION, 10},  {IA_CMD_IRIS_SIZE, 1},  {IA_CMD_IRIS_UP, 1},   {IA_CMD_IRIS_DOWN, 1}};
    for (const auto& [cmd, value] : movements)
    {
        EXPECT_EQ(services::kLensBusy, set(cmd, value)) << services::commandName(cmd);
    }
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_MF_POSITION, -1)) << "the value is judged first";
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 10)) << "only the lens is busy";
    EXPECT_EQ(0, set(IA_CMD_MZOOM_SPEED, 1));
    pass(4s);
    for (const auto& [cmd, value] : movements)
    {
        EXPECT_EQ(0, set(cmd, value)) << services::commandName(cmd);
        pass(1min);
    }
}

TEST_F(LensMotion, AResetInAutomaticFocusEndsSharp)
{
    set(IA_CMD_LENS_RESET, 1);
    pass(1min);
    EXPECT_EQ(service_->lens().inFocus, get(IA_CMD_MF_POSITION));
}

TEST_F(LensMotion, LeavingDigitalZoomDuringAResetEndsWithinTheOpticalRange)
{
    useManualFocus();
    set(IA_CMD_DIGITAL_ZOOM, 1);
    set(IA_CMD_MZ_POSITION, 32000);
    pass(1min);
    set(IA_CMD_LENS_RESET, 1);
    EXPECT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 0));
    pass(1min);
    EXPECT_EQ(31424, get(IA_CMD_MZ_POSITION));
}

TEST_F(LensMotion, LeavingDigitalZoomRunsAtTheZoomSpeedDuringAResetToo)
{
    useManualFocus();
    for (const int speed : {1, 4})
    {
        set(IA_CMD_DIGITAL_ZOOM, 1);
        set(IA_CMD_MZ_POSITION, 32424);
        pass(1min);
        set(IA_CMD_MZOOM_SPEED, speed);
        ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
        EXPECT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 0));
        pass(4s);
        EXPECT_EQ(32424, get(IA_CMD_MZ_POSITION));
        EXPECT_EQ(host::Span{1s} / speed, waitFor(IA_CMD_MZ_POSITION)) << speed;
        EXPECT_EQ(31424, get(IA_CMD_MZ_POSITION));
    }
}

TEST_F(LensMotion, LeavingDigitalZoomLeavesAZoomToTheEndOfTheGlassAlone)
{
    useManualFocus();
    set(IA_CMD_DIGITAL_ZOOM, 1);
    set(IA_CMD_MZOOM_SPEED, 1);
    set(IA_CMD_MZ_POSITION, 31424);
    pass(40ms);
    set(IA_CMD_MZOOM_SPEED, 4);
    EXPECT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 0));
    EXPECT_EQ(host::Span{15s}, waitFor(IA_CMD_MZ_POSITION));
    EXPECT_EQ(31424, get(IA_CMD_MZ_POSITION));
}

TEST_F(LensMotion, AReplacedClockEndsEveryMovement)
{
    pass(1h);
    set(IA_CMD_MZ_POSITION, 30000);
    set(IA_CMD_LENS_RESET, 1);
    host::setClock(std::make_shared<host::ManualClock>(3, 0));
    EXPECT_EQ(30000, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(services::kIdle, status(IA_CMD_LENS_RESET));
    EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 20000));
    EXPECT_EQ(services::kRunning, status(IA_CMD_MZ_POSITION));
}

}  // namespace
