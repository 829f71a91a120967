#include "tests/unit/services/sim/SimCamera.h"

namespace {

using namespace std::chrono_literals;

class Iris : public SimCamera
{
protected:
    int atRest()
    {
        pass(1min);
        return service_->lens().iris;
    }
};

TEST_F(Iris, PositionGovernsOutsideIrisPriorityAndManualExposure)
{
    for (const int mode : {0, 1, 4})
    {
        ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, mode));
        ASSERT_EQ(0, set(IA_CMD_IRIS_POSITION, 40 + mode));
        ASSERT_EQ(0, set(IA_CMD_IRIS_SIZE, mode));
        EXPECT_EQ(40 + mode, atRest());
        EXPECT_EQ(40 + mode, get(IA_CMD_IRIS_POSITION));
        EXPECT_EQ(mode, get(IA_CMD_IRIS_SIZE));
    }
}

TEST_F(Iris, SizeGovernsInIrisPriorityAndManualExposure)
{
    for (const int mode : {2, 3})
    {
        ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, mode));
        ASSERT_EQ(0, set(IA_CMD_IRIS_SIZE, 8));
        ASSERT_EQ(0, set(IA_CMD_IRIS_POSITION, 40));
        EXPECT_EQ(0, atRest());
        EXPECT_EQ(40, get(IA_CMD_IRIS_POSITION));
        EXPECT_EQ(8, get(IA_CMD_IRIS_SIZE));
        ASSERT_EQ(0, set(IA_CMD_IRIS_SIZE, 0));
        EXPECT_EQ(96, atRest());
    }
}

TEST_F(Iris, ChangingTheExposureModeMovesToWhatGovernsNow)
{
    ASSERT_EQ(0, set(IA_CMD_IRIS_POSITION, 40));
    ASSERT_EQ(0, set(IA_CMD_IRIS_SIZE, 1));
    EXPECT_EQ(40, atRest());
    ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, 3));
    EXPECT_EQ(services::kRunning, status(IA_CMD_IRIS_SIZE));
    EXPECT_EQ(84, atRest());
    ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, 0));
    EXPECT_EQ(40, atRest());
}

TEST_F(Iris, AnExposureModeSetDuringAResetCountsAfterIt)
{
    ASSERT_EQ(0, set(IA_CMD_IRIS_POSITION, 40));
    EXPECT_EQ(40, atRest());
    ASSERT_EQ(0, set(IA_CMD_LENS_RESET, 1));
    ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, 2));
    pass(4s);
    EXPECT_EQ(40, service_->lens().iris);
    EXPECT_EQ(72, atRest());
}

TEST_F(Iris, StepsChangeTheSizeWithinItsEnds)
{
    ASSERT_EQ(0, set(IA_CMD_EXPOSE_MODE, 3));
    for (int i = 0; i < 4; ++i)
    {
        ASSERT_EQ(0, set(IA_CMD_IRIS_UP, 1));
    }
    EXPECT_EQ(0, get(IA_CMD_IRIS_SIZE));
    EXPECT_EQ(96, atRest());
    for (int i = 0; i < 9; ++i)
    {
        ASSERT_EQ(0, set(IA_CMD_IRIS_DOWN, 1));
    }
    EXPECT_EQ(8, get(IA_CMD_IRIS_SIZE));
    EXPECT_EQ(0, atRest());
}

TEST_F(Iris, MovesAtItsSpeed)
{
    ASSERT_EQ(0, set(IA_CMD_IRIS_POSITION, 0));
    EXPECT_EQ(services::kRunning, status(IA_CMD_IRIS_POSITION));
    pass(1s);
    EXPECT_EQ(72 - 24, service_->lens().iris) << "24 steps a second at speed 50";
    EXPECT_EQ(0, get(IA_CMD_IRIS_POSITION)) << "what was set";
}

}  // namespace
