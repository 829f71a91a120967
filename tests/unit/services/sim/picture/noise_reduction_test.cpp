#include "tests/unit/services/sim/picture/LinearPictures.h"

namespace {

const std::vector<int> kLevels = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
const cv::Rect kInside(8, 8, 144, 80);  // of the grey place

class NoiseReduction : public LinearPictures
{
protected:
    NoiseReduction() { bare(); }

    cv::Mat after(sim::picture::Processing& camera, int frames, const cv::Mat& light, double noise = 0.06)
    {
        cv::Mat picture;
        for (int frame = 0; frame < frames; frame++)
        {
            picture = processed(camera, linear(light, noise, ++seed_));
        }
        return picture;
    }

    cv::Mat after(int frames, const cv::Mat& light, double noise = 0.06)
    {
        sim::picture::Processing camera;
        return after(camera, frames, light, noise);
    }

    // The noise of the grey place with each level.
    std::vector<double> noises(u32 levelCommand, int frames)
    {
        std::vector<double> result;
        for (const int level : kLevels)
        {
            seed_ = 0;
            set(levelCommand, level);
            result.push_back(deviation(after(frames, chart()), kInside));
        }
        return result;
    }

    int seed_ = 0;
};

TEST_F(NoiseReduction, InTwoDimensionsTakesMoreAwayTheHigherItsLevel)
{
    set(IA_CMD_2D_NR_SWITCH, 1);
    set(IA_CMD_2D_NR_MODE, 1);
    const std::vector<double> left = noises(IA_CMD_2D_NR_STRG_M, 1);
    expectFalling(left);
    EXPECT_LT(left.back(), 0.5 * left.front());
}

TEST_F(NoiseReduction, InTwoDimensionsByItselfTakesMoreAwayTheHigherItsLevel)
{
    set(IA_CMD_2D_NR_SWITCH, 1);
    gain_ = 24;
    expectFalling(noises(IA_CMD_2D_NR_STRG_A, 1));
}

TEST_F(NoiseReduction, InThreeDimensionsTakesMoreAwayTheHigherItsLevel)
{
    set(IA_CMD_3D_NR_SWITCH, 1);
    set(IA_CMD_3D_NR_MODE, 1);
    const std::vector<double> left = noises(IA_CMD_3D_NR_STRG_M, 24);
    expectFalling(left);
    EXPECT_LT(left.back(), 0.4 * left.front());
}

TEST_F(NoiseReduction, InThreeDimensionsByItselfTakesMoreAwayTheHigherItsLevel)
{
    set(IA_CMD_3D_NR_SWITCH, 1);
    gain_ = 24;
    expectFalling(noises(IA_CMD_3D_NR_STRG_A, 24));
}

TEST_F(NoiseReduction, ByItselfTakesMoreAwayTheGreaterTheGain)
{
    for (const auto& [command, frames] : {std::pair<u32, int>{IA_CMD_2D_NR_SWITCH, 1}, {IA_CMD_3D_NR_SWITCH, 24}})
    {
        bare();
        set(command, 1);
        std::vector<double> left;
        for (const double gain : {0.0, 12.0, 24.0, 36.0})
        {
            seed_ = 0;
            gain_ = gain;
            left.push_back(deviation(after(frames, chart()), kInside));
        }
        expectFalling(left);
    }
}

TEST_F(NoiseReduction, ByHandDoesNotLookAtTheGain)
{
    for (const u32 command : {IA_CMD_2D_NR_MODE, IA_CMD_3D_NR_MODE})
    {
        set(IA_CMD_2D_NR_SWITCH, 1);
        set(IA_CMD_3D_NR_SWITCH, 1);
        set(IA_CMD_2D_NR_MODE, 1);
        set(IA_CMD_3D_NR_MODE, 1);
        seed_ = 0;
        gain_ = 0;
        const cv::Mat picture = after(3, chart());
        seed_ = 0;
        gain_ = 12;
        EXPECT_EQ(0, difference(picture, after(3, chart())));
        seed_ = 0;
        set(command, 0);
        EXPECT_LT(0, difference(picture, after(3, chart())));
    }
}

TEST_F(NoiseReduction, ThatIsOffDoesNothing)
{
    const cv::Mat before = after(3, chart());
    for (const u32 level : {IA_CMD_2D_NR_STRG_A, IA_CMD_2D_NR_STRG_M, IA_CMD_3D_NR_STRG_A, IA_CMD_3D_NR_STRG_M})
    {
        set(level, 10);
    }
    seed_ = 0;
    EXPECT_EQ(0, difference(before, after(3, chart())));
}

TEST_F(NoiseReduction, InTwoDimensionsLeavesEdges)
{
    const cv::Rect edge(140, 8, 40, 80);
    cv::Mat halves = flat(0.05);
    halves(cv::Rect(160, 0, 160, kHeight)) = cv::Scalar::all(0.5);
    const double before = edges(after(1, halves, 0), edge);
    set(IA_CMD_2D_NR_SWITCH, 1);
    set(IA_CMD_2D_NR_MODE, 1);
    set(IA_CMD_2D_NR_STRG_M, 10);
    EXPECT_LT(0.95 * before, edges(after(1, halves, 0), edge));
}

TEST_F(NoiseReduction, InThreeDimensionsLeavesWhatRestsAsSharpAsItIs)
{
    const double before = deviation(after(1, chart(), 0), kStripes);
    set(IA_CMD_3D_NR_SWITCH, 1);
    set(IA_CMD_3D_NR_MODE, 1);
    set(IA_CMD_3D_NR_STRG_M, 10);
    EXPECT_NEAR(before, deviation(after(24, chart(), 0.02), kStripes), 0.05 * before);
}

TEST_F(NoiseReduction, InThreeDimensionsNothingTrailsBehindWhatMoves)
{
    set(IA_CMD_3D_NR_SWITCH, 1);
    set(IA_CMD_3D_NR_MODE, 1);
    set(IA_CMD_3D_NR_STRG_M, 10);
    sim::picture::Processing camera;
    after(camera, 12, flat(0.18), 0.03);
    cv::Mat picture;
    constexpr int kStep = 8;
    constexpr int kFrames = 20;
    const auto carAt = [](int frame) { return cv::Rect(kStep * frame, 60, 48, 40); };
    for (int frame = 0; frame < kFrames; frame++)
    {
        cv::Mat street = flat(0.18);
        street(carAt(frame)) = cv::Scalar(0.4, 0.5, 0.45);
        picture = after(camera, 1, street, 0.03);
    }
    const cv::Rect car = carAt(kFrames - 1);
    const cv::Rect behind(car.x - 3 * kStep, car.y, 3 * kStep, car.height);
    const cv::Rect road(0, 150, 320, 40);
    EXPECT_NEAR(brightness(picture, road), brightness(picture, behind), 2);
    EXPECT_NEAR(brightness(processed(linear(flat(cv::Scalar(0.4, 0.5, 0.45))))), brightness(picture, car), 8);
}

TEST_F(NoiseReduction, InThreeDimensionsAlsoWhatDiffersInColourAloneLeavesNoTrail)
{
    set(IA_CMD_3D_NR_SWITCH, 1);
    set(IA_CMD_3D_NR_MODE, 1);
    set(IA_CMD_3D_NR_STRG_M, 10);
    set(IA_CMD_WB_MODE, 3);
    const cv::Scalar green(0.05, 0.3, 0.1);
    cv::Scalar red(0.05, 0.1, 0.3);
    const double bright = brightness(processed(linear(flat(green))));
    while (brightness(processed(linear(flat(red)))) < bright)
    {
        red *= 1.01;
    }
    sim::picture::Processing camera;
    after(camera, 12, flat(green), 0.02);
    after(camera, 12, flat(red), 0.02);
    EXPECT_GT(8, difference(after(1, flat(green), 0.02), after(camera, 1, flat(green), 0.02)));
}

TEST_F(NoiseReduction, InThreeDimensionsANewSceneIsThereAtOnce)
{
    set(IA_CMD_3D_NR_SWITCH, 1);
    set(IA_CMD_3D_NR_MODE, 1);
    set(IA_CMD_3D_NR_STRG_M, 10);
    sim::picture::Processing camera;
    after(camera, 12, chart(), 0.03);
    cv::Mat turned;
    cv::flip(chart(), turned, -1);
    const cv::Mat fresh = after(1, turned, 0.03);
    EXPECT_GT(6, difference(fresh, after(camera, 1, turned, 0.03)));
}

TEST_F(NoiseReduction, InThreeDimensionsAPictureOfAnotherSizeBeginsAnew)
{
    set(IA_CMD_3D_NR_SWITCH, 1);
    set(IA_CMD_WB_MODE, 3);
    sim::picture::Processing camera;
    after(camera, 3, chart());
    const cv::Mat half = linear(chart())(cv::Rect(0, 0, 160, 96)).clone();
    EXPECT_EQ(0, difference(processed(half), processed(camera, half)));
}

}  // namespace
