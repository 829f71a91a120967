#include "tests/unit/services/sim/picture/LinearPictures.h"

namespace {

// Lights, by what a grey thing looks like in them.
const cv::Scalar kDaylight(1, 1, 1);
const cv::Scalar kCloudy(1.15, 1, 0.9);
const cv::Scalar kBulb(0.38, 1, 1.8);
const cv::Scalar kTube(0.62, 1, 1.19);
const cv::Scalar kSodium(0.165, 1, 2.46);

constexpr double kNeutral = 4;  // of 255

class WhiteBalance : public LinearPictures
{
protected:
    static cv::Mat under(const cv::Scalar& light, double noise = 0.01)
    {
        cv::Mat lit;
        cv::multiply(chart() * 0.5, light, lit);
        return linear(lit, noise);
    }

    double greyUnder(const cv::Scalar& light) { return colour(processed(under(light)), kGrey); }
};

TEST_F(WhiteBalance, GreyInDaylightIsGrey)
{
    EXPECT_GT(kNeutral, greyUnder(kDaylight));
}

TEST_F(WhiteBalance, TheAutomaticTakesAwayTheColourOfTheLight)
{
    set(IA_CMD_IN_OUT_SIDE, 0);
    for (const cv::Scalar& light : {kCloudy, kTube, kBulb})
    {
        EXPECT_GT(kNeutral, greyUnder(light));
    }
}

TEST_F(WhiteBalance, TheAutomaticLeavesAColouredThingItsColour)
{
    cv::Mat meadow = flat(cv::Scalar(0.05, 0.2, 0.08));
    meadow(kGrey) = cv::Scalar::all(0.2);
    EXPECT_GT(kNeutral, colour(processed(linear(meadow, 0.01)), kGrey));
}

TEST_F(WhiteBalance, IndoorsWarmLampsAreExpected)
{
    set(IA_CMD_IN_OUT_SIDE, 1);
    const double outdoors = greyUnder(kBulb);
    set(IA_CMD_IN_OUT_SIDE, 0);
    EXPECT_LT(greyUnder(kBulb) + 10, outdoors);
}

TEST_F(WhiteBalance, TheAutomaticFollowsSlowlyAndTrackingFast)
{
    std::vector<double> left;
    for (const int mode : {4, 0})
    {
        set(IA_CMD_WB_MODE, mode);
        set(IA_CMD_IN_OUT_SIDE, 0);
        sim::picture::Processing camera;
        processed(camera, under(kDaylight));
        cv::Mat picture;
        for (int frame = 0; frame < 8; frame++)
        {
            picture = processed(camera, under(kBulb));
        }
        left.push_back(colour(picture, kGrey));
        for (int frame = 0; frame < 60; frame++)
        {
            picture = processed(camera, under(kBulb));
        }
        EXPECT_GT(kNeutral, colour(picture, kGrey));
    }
    expectRising(left, 10);
}

TEST_F(WhiteBalance, TrackingFollowsAlsoASodiumLamp)
{
    const double automatic = greyUnder(kSodium);
    set(IA_CMD_WB_MODE, 4);
    EXPECT_GT(kNeutral, greyUnder(kSodium));
    EXPECT_LT(30, automatic);
}

TEST_F(WhiteBalance, EachPresetIsForItsLight)
{
    const std::vector<std::pair<int, cv::Scalar>> presets = {{2, kBulb}, {3, kDaylight}, {5, kTube}, {6, kSodium}};
    for (const auto& [mode, light] : presets)
    {
        set(IA_CMD_WB_MODE, mode);
        EXPECT_GT(kNeutral, greyUnder(light)) << mode;
    }
}

TEST_F(WhiteBalance, APresetDoesNotFollow)
{
    set(IA_CMD_WB_MODE, 3);
    EXPECT_LT(30, greyUnder(kBulb));
    set(IA_CMD_WB_MODE, 2);
    EXPECT_GT(0, cast(processed(under(kDaylight)), kRedChannel, kGrey));
    EXPECT_LT(0, cast(processed(under(kDaylight)), kBlueChannel, kGrey));
}

TEST_F(WhiteBalance, OnePushKeepsWhatItFoundWhenItWasPushed)
{
    set(IA_CMD_WB_MODE, 7);
    sim::picture::Processing camera;
    EXPECT_GT(kNeutral, colour(processed(camera, under(kBulb)), kGrey));
    cv::Mat later;
    for (int frame = 0; frame < 30; frame++)
    {
        later = processed(camera, under(kDaylight));
    }
    EXPECT_LT(20, colour(later, kGrey));

    set(IA_CMD_WB_MODE, 3);
    processed(camera, under(kDaylight));
    set(IA_CMD_WB_MODE, 7);
    EXPECT_GT(kNeutral, colour(processed(camera, under(kDaylight)), kGrey));
}

TEST_F(WhiteBalance, TheRedGainMakesThePictureRedder)
{
    bare();
    set(IA_CMD_WB_MODE, 1);
    std::vector<double> casts;
    for (int value = 0; value <= 255; value += 15)
    {
        set(IA_CMD_R_GAIN, value);
        casts.push_back(cast(processed(linear(flat(0.1))), kRedChannel));
    }
    expectRising(casts, 3);
}

TEST_F(WhiteBalance, TheBlueGainMakesThePictureBluer)
{
    bare();
    set(IA_CMD_WB_MODE, 1);
    std::vector<double> casts;
    for (int value = 0; value <= 255; value += 15)
    {
        set(IA_CMD_B_GAIN, value);
        casts.push_back(cast(processed(linear(flat(0.1))), kBlueChannel));
    }
    expectRising(casts, 3);
}

TEST_F(WhiteBalance, ManualGainsInTheMiddleLeaveDaylightAsItIs)
{
    set(IA_CMD_WB_MODE, 1);
    EXPECT_GT(kNeutral, greyUnder(kDaylight));
}

TEST_F(WhiteBalance, TheGainsActInManualModeOnly)
{
    for (const int mode : {0, 2, 3, 4, 5, 6, 7})
    {
        set(IA_CMD_WB_MODE, mode);
        set(IA_CMD_R_GAIN, 128);
        const cv::Mat before = processed(under(kDaylight));
        set(IA_CMD_R_GAIN, 255);
        EXPECT_EQ(0, difference(before, processed(under(kDaylight)))) << mode;
    }
}

TEST_F(WhiteBalance, WhatIsTooBrightIsWhiteInEveryLight)
{
    for (int mode = 1; mode <= 6; mode++)
    {
        set(IA_CMD_WB_MODE, mode);
        EXPECT_GT(kNeutral, colour(processed(linear(flat(4))))) << mode;
    }
}

TEST_F(WhiteBalance, ByNightThereIsNoColour)
{
    view_.night = true;
    for (int mode = 0; mode <= 7; mode++)
    {
        set(IA_CMD_WB_MODE, mode);
        const cv::Mat picture = processed(under(kBulb));
        EXPECT_GE(1, colour(picture, kRed));
        EXPECT_GE(1, colour(picture, kGrey));
    }
}

TEST_F(WhiteBalance, InTheDarkItStaysAsItWas)
{
    set(IA_CMD_IN_OUT_SIDE, 0);
    sim::picture::Processing camera;
    processed(camera, under(kBulb));
    for (int frame = 0; frame < 40; frame++)
    {
        processed(camera, linear(flat(0)));
    }
    EXPECT_GT(kNeutral, colour(processed(camera, under(kBulb)), kGrey));
}

}  // namespace
