#include "tests/unit/services/sim/picture/LinearPictures.h"

namespace {

class Processing : public LinearPictures
{
protected:
    Processing() { bare(); }

    // A picture whose four quarters differ: from the top left, line by line.
    static cv::Mat quarters()
    {
        cv::Mat result = flat(0.05);
        result(cv::Rect(160, 0, 160, 96)) = cv::Scalar::all(0.15);
        result(cv::Rect(0, 96, 160, 96)) = cv::Scalar::all(0.3);
        result(cv::Rect(160, 96, 160, 96)) = cv::Scalar::all(0.6);
        return result;
    }

    // Which of the quarters, 0 to 3, is where.
    static std::vector<int> order(const cv::Mat& picture)
    {
        std::vector<double> lights;
        for (int i = 0; i < 4; i++)
        {
            const int width = picture.cols / 2;
            const int height = picture.rows / 2;
            lights.push_back(brightness(picture, {i % 2 * width + 4, i / 2 * height + 4, width - 8, height - 8}));
        }
        std::vector<int> result;
        for (const double light : lights)
        {
            result.push_back(static_cast<int>(
                std::count_if(lights.begin(), lights.end(), [light](double other) { return other < light; })));
        }
        return result;
    }

    std::vector<int> seen() { return order(processed(linear(quarters()))); }
};

using Order = std::vector<int>;

TEST_F(Processing, ShowsThePictureUprightAndAsLargeAsItIs)
{
    const cv::Mat picture = processed(linear(quarters()));
    EXPECT_EQ(kSize, picture.size());
    EXPECT_EQ(CV_8UC3, picture.type());
    EXPECT_EQ((Order{0, 1, 2, 3}), order(picture));
}

TEST_F(Processing, MirrorsByTheDirectionThatIsSet)
{
    const Order orders[] = {{0, 1, 2, 3}, {1, 0, 3, 2}, {2, 3, 0, 1}, {3, 2, 1, 0}};
    for (int mirror = 0; mirror < 4; mirror++)
    {
        set(IA_CMD_UI_MIRROR, mirror);
        EXPECT_EQ(orders[mirror], seen()) << mirror;
    }
}

TEST_F(Processing, CorridorViewTurnsThePictureUpright)
{
    set(IA_CMD_BEAWAY, 1);
    const cv::Mat picture = processed(linear(quarters()));
    EXPECT_EQ(cv::Size(kHeight, kWidth), picture.size());
    EXPECT_EQ((Order{2, 0, 3, 1}), order(picture));
}

TEST_F(Processing, InCorridorViewAMirrorAlongTheSensorsLinesIsOneUpAndDown)
{
    set(IA_CMD_BEAWAY, 1);
    set(IA_CMD_UI_MIRROR, 1);
    EXPECT_EQ((Order{3, 1, 2, 0}), seen());
    set(IA_CMD_UI_MIRROR, 2);
    EXPECT_EQ((Order{0, 2, 1, 3}), seen());
}

TEST_F(Processing, AntiShakeUndoesMoreOfTheShakeTheStrongerItIs)
{
    set(IA_CMD_ANTI_SHAKE_SWITCH, 1);
    const auto shaken = [](const cv::Point2d& shake) {
        cv::Mat result;
        const cv::Matx23d moved(1, 0, shake.x, 0, 1, shake.y);
        cv::warpAffine(quarters(), result, moved, kSize, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
        return linear(result);
    };
    const cv::Point2d shake(8, -4);
    std::vector<double> left;
    for (int strength = 0; strength <= 100; strength += 25)
    {
        set(IA_CMD_ANTI_SHAKE_STRG, strength);
        shake_ = {};
        const cv::Mat resting = processed(linear(quarters()));
        shake_ = shake;
        left.push_back(difference(resting, processed(shaken(shake))));
    }
    expectFalling(left);
    EXPECT_GT(0.2 * left.front(), left.back());
}

TEST_F(Processing, WithoutAntiShakeThePictureIsNotCut)
{
    const cv::Mat resting = processed(linear(chart()));
    set(IA_CMD_ANTI_SHAKE_STRG, 100);
    shake_ = {6, -4};
    EXPECT_EQ(0, difference(resting, processed(linear(chart()))));
}

TEST_F(Processing, TellsOfEachStageOnce)
{
    sim::picture::Processing camera;
    std::vector<std::string> stages;
    camera.setWatch([&stages](const char* stage) { stages.emplace_back(stage); });
    processed(camera, linear(chart()));
    EXPECT_EQ(
        (std::vector<std::string>{"white balance", "developing", "anti-shake", "3D noise reduction", "tone mapping",
                                  "tone curve", "2D noise reduction", "sharpness", "mirror and colours"}),
        stages);
}

TEST_F(Processing, EverythingAtOnceStillShowsThePicture)
{
    for (const sim::Parameter& parameter : sim::parameters())
    {
        set(parameter.cmd, parameter.maximum);
    }
    set(IA_CMD_FREEZE, 0);
    set(IA_CMD_BRIGHTNESS, 50);
    clip_ = 65535;
    sim::picture::Processing camera;
    cv::Mat picture;
    for (int frame = 0; frame < 3; frame++)
    {
        picture = processed(camera, linear(chart() * 4, 0.02, frame, clip_));
    }
    EXPECT_EQ(cv::Size(kHeight, kWidth), picture.size());
    EXPECT_LT(20, deviation(picture, {{0, 0}, picture.size()}));
}

}  // namespace
