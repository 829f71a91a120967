#include "tests/unit/services/sim/SimCamera.h"

namespace {

using namespace std::chrono_literals;

class LensSearch : public SimCamera
{
protected:
    void useManualFocus() { ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, 1)); }

    bool sharp() { return service_->lens().focus == service_->lens().inFocus; }
};

TEST_F(LensSearch, ASceneChangeDuringAResetIsSearchedAfterIt)
{
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    pass(1s);
    service_->setDistance(1);
    pass(2999ms);
    EXPECT_TRUE(service_->lens().resetting);
    EXPECT_NEAR(2090, service_->lens().focus, 5) << "the way back is not disturbed";
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, AutomaticFocusChosenDuringAResetSearchesAfterIt)
{
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_MF_POSITION, 9000));
    pass(1min);
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    pass(3s);
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, 0));
    pass(1s);
    EXPECT_EQ(9000, service_->lens().focus);
    EXPECT_FALSE(service_->lens().resetting);
    EXPECT_TRUE(service_->lens().focusMoving);
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, ManualFocusChosenDuringAResetCallsTheSearchOff)
{
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    service_->setDistance(1);
    useManualFocus();
    pass(1min);
    EXPECT_EQ(2090, service_->lens().focus);
}

TEST_F(LensSearch, ADayNightChangeDuringAResetIsSearchedAfterIt)
{
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_DN_AF_MODE, 1));
    service_->setDistance(2);
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    ASSERT_EQ(0, set(IA_CMD_DN_MODE, 2));
    EXPECT_EQ(services::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
    pass(1min);
    EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, AShorterDelayDoesNotDateTheSearchIntoThePast)
{
    ASSERT_EQ(0, set(IA_CMD_DN_AF_MODE, 1));
    ASSERT_EQ(0, set(IA_CMD_DELAY, 60));
    useManualFocus();
    service_->setLight(1);
    pass(40s);
    ASSERT_EQ(0, set(IA_CMD_MF_POSITION, 20000));
    pass(10ms);
    const int before = service_->lens().focus;
    ASSERT_EQ(0, set(IA_CMD_DELAY, 0));
    EXPECT_TRUE(service_->night());
    EXPECT_EQ(before, service_->lens().focus) << "the drive cannot have jumped";
    EXPECT_EQ(services::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, ARunningSearchIsHeldWhilePanTiltZoomRuns)
{
    service_->setDistance(1);
    pass(700ms);
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    const int held = service_->lens().focus;
    EXPECT_NE(2090, held);
    EXPECT_FALSE(service_->lens().focusMoving);
    pass(1min);
    EXPECT_EQ(held, service_->lens().focus);
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 0));
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, FocusingOnceIsHeldToo)
{
    useManualFocus();
    service_->setDistance(2);
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    pass(20ms);
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    pass(1min);
    EXPECT_EQ(services::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
    EXPECT_FALSE(sharp());
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    pass(1min);
    EXPECT_FALSE(sharp()) << "nor does it begin";
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 0));
    EXPECT_EQ(services::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
    pass(1min);
    EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, ASearchAfterADayNightChangeIsHeldToo)
{
    useManualFocus();
    service_->setDistance(2);
    ASSERT_EQ(0, set(IA_CMD_DN_AF_MODE, 1));
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    ASSERT_EQ(0, set(IA_CMD_DN_MODE, 2));
    pass(1min);
    EXPECT_EQ(2090, service_->lens().focus);
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 0));
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, TheSearchAfterAResetIsHeldToo)
{
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    service_->setDistance(1);
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    pass(1min);
    EXPECT_EQ(2090, service_->lens().focus);
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 0));
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, AMovementByHandIsNoSearchAndIsNotHeld)
{
    ASSERT_EQ(0, set(IA_CMD_MF_POSITION, 12000));
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    pass(1min);
    EXPECT_EQ(12000, service_->lens().focus);
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_MF_POSITION, 3000));
    useManualFocus();
    pass(1min);
    EXPECT_EQ(3000, service_->lens().focus) << "the mode that is set already stops nothing";
}

TEST_F(LensSearch, APositionSetWhilePanTiltZoomRunsIsSearchedAfterwards)
{
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    ASSERT_EQ(0, set(IA_CMD_MF_POSITION, 12000));
    pass(1min);
    EXPECT_EQ(12000, service_->lens().focus);
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 0));
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, ANearestDistanceThatChangesIsSearchedAnew)
{
    for (const int mode : {0, 1})
    {
        service_->reset();
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, mode));
        service_->setDistance(0.5);
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
        pass(mode == 0 ? 1min : 20ms);
        EXPECT_FALSE(sharp()) << "nearer than the limit of 1 m";
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_NEAR_LIMIT, 1));
        pass(1min);
        EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
        EXPECT_TRUE(sharp()) << mode;
    }
}

TEST_F(LensSearch, FocusingOnceFollowsWhatChangesMeanwhile)
{
    for (const int mode : {0, 1, 2})
    {
        service_->reset();
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, mode));
        service_->setDistance(3);
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
        pass(20ms);
        ASSERT_EQ(0, set(IA_CMD_MZ_POSITION, 28000));
        EXPECT_EQ(services::kRunning, status(IA_CMD_AUTO_FOCUS_ONCE));
        while (status(IA_CMD_AUTO_FOCUS_ONCE) == services::kRunning && clock_->monotonic() < 10min)
        {
            pass(10ms);
        }
        EXPECT_EQ(28000, service_->lens().zoom) << mode;
        EXPECT_EQ(services::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
        EXPECT_TRUE(sharp()) << mode;
    }
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    service_->setDistance(5);
    pass(1min);
    EXPECT_TRUE(sharp()) << "the object moved";
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    service_->setDistance(0.2);
    pass(1min);
    EXPECT_EQ(services::kFailed, status(IA_CMD_AUTO_FOCUS_ONCE)) << "too near now";
}

TEST_F(LensSearch, WhatStandsAtTheNearLimitItselfIsWithinReach)
{
    useManualFocus();
    for (const double metres : {1.0, 0.999})
    {
        service_->setDistance(metres);
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
        pass(1min);
        EXPECT_EQ(metres < 1 ? sim::kFailed : sim::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE)) << metres;
        EXPECT_EQ(2900, service_->lens().focus) << "sharp at the limit";
    }
}

TEST_F(LensSearch, WhatIsSharpAtTheEndOfTheDriveIsWithinReach)
{
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_NEAR_LIMIT, 1));
    ASSERT_EQ(0, set(IA_CMD_MZ_POSITION, 31424));
    pass(1min);
    for (const double metres : {0.66667, 0.6666})
    {
        service_->setDistance(metres);
        ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
        pass(1min);
        EXPECT_EQ(metres < 0.66666 ? sim::kFailed : sim::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE)) << metres;
        EXPECT_EQ(20000, service_->lens().focus);
    }
}

TEST_F(LensSearch, ASearchThatBeginsSharpGoesToTheNearSideFirst)
{
    useManualFocus();
    ASSERT_TRUE(sharp());
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_ONCE, 1));
    pass(75ms);
    EXPECT_EQ(2090 + 600, service_->lens().focus);
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, NothingOfASearchThatWasCalledOffDuringAResetIsLeftAfterIt)
{
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    useManualFocus();
    pass(3999ms);
    EXPECT_TRUE(service_->lens().focusMoving);
    pass(1ms);
    EXPECT_FALSE(service_->lens().focusMoving);
}

TEST_F(LensSearch, APositionThatTheFocusHasAlreadyIsNoMovement)
{
    ASSERT_EQ(0, set(IA_CMD_MF_POSITION, 2090));
    EXPECT_EQ(2090, get(IA_CMD_MF_POSITION));
    EXPECT_TRUE(service_->lens().focusMoving) << "a search follows";
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, ASearchThatAResetDropsBeginsAnewAfterIt)
{
    service_->setDistance(1);
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    pass(1min);
    EXPECT_TRUE(sharp());
}

TEST_F(LensSearch, NothingSearchesByItselfAfterAResetInManualFocus)
{
    useManualFocus();
    ASSERT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 1));
    ASSERT_EQ(0, set(IA_CMD_MZ_POSITION, 32000));
    ASSERT_EQ(0, set(IA_CMD_MF_POSITION, 5000));
    pass(1min);
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    pass(1min);
    EXPECT_EQ(5000, service_->lens().focus);
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    ASSERT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 0));
    pass(1min);
    EXPECT_EQ(5000, service_->lens().focus);
}

TEST_F(LensSearch, ASearchByItselfThatIsHeldIsNoFailureOfFocusingOnce)
{
    service_->setDistance(1);
    ASSERT_EQ(0, set(IA_CMD_PTZ_RUN_STATE, 1));
    EXPECT_EQ(sim::kIdle, status(IA_CMD_AUTO_FOCUS_ONCE));
}

}  // namespace
