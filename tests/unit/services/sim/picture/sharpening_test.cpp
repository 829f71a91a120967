#include "tests/unit/services/sim/picture/LinearPictures.h"

namespace {

class Sharpening : public LinearPictures
{
protected:
    Sharpening() { bare(); }

    static cv::Mat softEdge()
    {
        cv::Mat result = flat(0.1);
        result(cv::Rect(160, 0, 160, kHeight)) = cv::Scalar::all(0.4);
        cv::GaussianBlur(result, result, {7, 7}, 1.2);
        return result;
    }
};

TEST_F(Sharpening, MakesEdgesSteeper)
{
    std::vector<double> steepness;
    for (int value = 0; value <= 100; value += 10)
    {
        set(IA_CMD_SHARPNESS, value);
        steepness.push_back(deviation(processed(linear(chart())), kStripes));
    }
    expectRising(steepness);
    EXPECT_LT(1.2 * steepness.front(), steepness.back());
}

TEST_F(Sharpening, LeavesNoHaloAtItsDefault)
{
    const cv::Rect light(164, 0, 16, kHeight);
    const cv::Rect dark(140, 0, 16, kHeight);
    const auto greatest = [](const cv::Mat& picture, const cv::Rect& place) {
        double result = 0;
        cv::minMaxLoc(picture(place).clone().reshape(1), nullptr, &result);
        return result;
    };
    const auto least = [](const cv::Mat& picture, const cv::Rect& place) {
        double result = 0;
        cv::minMaxLoc(picture(place).clone().reshape(1), &result, nullptr);
        return result;
    };
    const cv::Mat before = processed(linear(softEdge()));
    set(IA_CMD_SHARPNESS, 50);
    const cv::Mat after = processed(linear(softEdge()));
    EXPECT_GE(greatest(before, light) + 8, greatest(after, light));
    EXPECT_LE(least(before, dark) - 8, least(after, dark));
}

TEST_F(Sharpening, LeavesFaintNoise)
{
    const cv::Mat counts = linear(flat(0.18), 0.008);
    const double before = deviation(processed(counts));
    set(IA_CMD_SHARPNESS, 50);
    EXPECT_GT(1.8 * before, deviation(processed(counts)));
}

TEST_F(Sharpening, LeavesMoreNoiseTheGreaterTheGain)
{
    set(IA_CMD_SHARPNESS, 100);
    const cv::Mat counts = linear(flat(0.18), 0.03);
    std::vector<double> noises;
    for (const double gain : {0.0, 12.0, 24.0, 36.0})
    {
        gain_ = gain;
        noises.push_back(deviation(processed(counts)));
    }
    expectFalling(noises);
}

}  // namespace
