#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using camera::LensStep;

namespace {

class CameraLens : public CameraTest
{
};

TEST_F(CameraLens, MovesAndTellsWhereItIs)
{
    bringUp();
    EXPECT_TRUE(c().setZoom(20000).accepted);
    EXPECT_TRUE(c().lensMovement().zoom);
    for (int second = 0; second < 60 && c().lensMovement().any(); ++second)
    {
        clock_->advance(std::chrono::seconds(1));
    }
    const std::optional<camera::LensState> lens = c().lens();
    ASSERT_TRUE(lens);
    EXPECT_EQ(lens->zoom, 20000);
    EXPECT_TRUE(lens->focus);
    EXPECT_TRUE(lens->focusMode);
    EXPECT_TRUE(lens->sharpness);
    EXPECT_GT(lens->ratio, 1000);
    EXPECT_FALSE(lens->moving.any());
    EXPECT_TRUE(lens->iris);
    EXPECT_TRUE(lens->irisSize);
}

TEST_F(CameraLens, ARefusedMovementSaysWhy)
{
    bringUp();
    EXPECT_TRUE(c().moveLens(LensStep::reset).accepted);
    const camera::LensResult result = c().moveLens(LensStep::zoomIn);
    EXPECT_FALSE(result.accepted);
    ASSERT_TRUE(result.refusal);
    EXPECT_EQ(result.refusal->status, services::kLensBusy);
    EXPECT_EQ(result.refusal->key, KEY_ZOOM_IN);
}

TEST_F(CameraLens, EveryStepReachesTheService)
{
    bringUp();
    for (LensStep step : {LensStep::zoomIn, LensStep::zoomOut, LensStep::focusFar, LensStep::focusNear,
                          LensStep::irisUp, LensStep::irisDown, LensStep::focusOnce})
    {
        EXPECT_TRUE(c().moveLens(step).accepted) << static_cast<int>(step);
    }
    EXPECT_EQ(c().schemeValue(c().currentScheme(), KEY_AUTO_FOCUS_ONCE).value_or(0), 0);
}

}  // namespace
