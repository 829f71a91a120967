#include "tests/unit/services/sim/picture/ShootingCamera.h"

#include <gtest/gtest.h>

namespace {

using sim::picture::Optics;
using namespace std::chrono_literals;

class LensKeys : public ShootingCamera
{
protected:
    void focusByHand(int position)
    {
        set(IA_CMD_AUTO_FOCUS_MODE, sim::kManualFocus);
        set(IA_CMD_MF_POSITION, position);
        pass(60s);
    }

    void zoomTo(int position)
    {
        set(IA_CMD_MZ_POSITION, position);
        pass(60s);
    }

    void offset(int right, int down)
    {
        set(IA_CMD_CAP_OFF_ADJ_H_CUR, right);
        set(IA_CMD_CAP_OFF_ADJ_V_CUR, down);
    }

    int sharpPosition() { return service_->lens().inFocus; }

    const cv::Rect middle_{100, 60, 120, 60};
};

TEST_F(LensKeys, ThePictureIsSharpestAtTheFocusPositionAndBlursToBothSides)
{
    const int sharp = sharpPosition();
    for (const int side : {-1, 1})
    {
        std::vector<double> nearer;
        for (const int off : {2000, 1500, 1000, 700, 400, 0})
        {
            focusByHand(sharp + side * off);
            nearer.push_back(sharpness());
        }
        expectRising(nearer, 0.1, 3);
    }
}

TEST_F(LensKeys, AutomaticFocusMakesThePictureSharpAndManualFocusLeavesIt)
{
    const double sharp = sharpness();
    focusByHand(sharpPosition() + 1500);
    const double blurred = sharpness();
    EXPECT_LT(blurred, sharp * 0.7);
    pass(60s);
    EXPECT_DOUBLE_EQ(blurred, sharpness());
    set(IA_CMD_AUTO_FOCUS_MODE, sim::kAutomaticFocus);
    pass(60s);
    EXPECT_DOUBLE_EQ(sharp, sharpness());
}

TEST_F(LensKeys, WithFocusAfterZoomThePictureIsMadeSharpWhenTheLensHasZoomed)
{
    set(IA_CMD_AUTO_FOCUS_MODE, sim::kFocusAfterZoom);
    service_->setDistance(0.7);
    pass(60s);
    zoomTo(17000);
    const double sharp = sharpness();
    service_->setDistance(10);
    pass(60s);
    const double blurred = sharpness();
    EXPECT_LT(blurred, sharp * 0.8);
    zoomTo(17100);
    EXPECT_GT(sharpness(), blurred * 1.2);
}

TEST_F(LensKeys, ThePictureStaysBlurredWhileTheCameraTurns)
{
    const double sharp = sharpness();
    set(IA_CMD_PTZ_RUN_STATE, 1);
    service_->setDistance(0.7);
    pass(60s);
    EXPECT_LT(sharpness(), sharp * 0.8);
    set(IA_CMD_PTZ_RUN_STATE, 0);
    pass(60s);
    EXPECT_GT(sharpness(), sharp * 0.85);
}

TEST_F(LensKeys, FocusStepsMoveTheSharpness)
{
    focusByHand(sharpPosition() + 600);
    const double before = sharpness();
    for (int i = 0; i < 5; ++i)
    {
        set(IA_CMD_FOCUS_FAR, 1);
        pass(1s);
    }
    EXPECT_GT(sharpness(), before + 0.5);
    for (int i = 0; i < 8; ++i)
    {
        set(IA_CMD_FOCUS_NEAR, 1);
        pass(1s);
    }
    EXPECT_LT(sharpness(), before - 0.3);
}

TEST_F(LensKeys, FocusingOnceMakesThePictureSharp)
{
    const double sharp = sharpness();
    focusByHand(sharpPosition() + 1500);
    set(IA_CMD_AUTO_FOCUS_ONCE, 1);
    pass(60s);
    EXPECT_DOUBLE_EQ(sharp, sharpness());
}

TEST_F(LensKeys, WhatIsNearerThanTheNearestDistanceStaysBlurred)
{
    set(IA_CMD_AUTO_FOCUS_NEAR_LIMIT, 4);  // 3 m
    service_->setDistance(0.4);
    pass(60s);
    const double blurred = sharpness();
    set(IA_CMD_AUTO_FOCUS_NEAR_LIMIT, 1);  // 0.3 m
    pass(60s);
    EXPECT_GT(sharpness(), blurred + 2);
}

TEST_F(LensKeys, TheMoreSensitiveTheSoonerThePictureIsSharp)
{
    std::vector<double> soon;
    for (const int sensitivity : {0, 1, 2})
    {
        set(IA_CMD_AUTO_FOCUS_SENSITIVITY, sensitivity);
        service_->setDistance(10);
        pass(60s);
        service_->setDistance(0.7);
        pass(900ms);
        soon.push_back(sharpness());
    }
    expectRising(soon, 0.1, 2);
}

TEST_F(LensKeys, TheLensFocusesAfterAChangeOfDayAndNightIfItShould)
{
    for (const bool should : {false, true})
    {
        set(IA_CMD_DN_AF_MODE, should ? 1 : 0);
        set(IA_CMD_DN_MODE, sim::kAlwaysDay);
        focusByHand(sharpPosition() + 1500);
        set(IA_CMD_DN_MODE, sim::kAlwaysNight);
        const double before = sharpness();
        pass(60s);
        EXPECT_EQ(should, sharpness() > before + 2);
    }
}

TEST_F(LensKeys, AClosedIrisMakesMoreOfThePictureSharp)
{
    focusByHand(sharpPosition() + 1000);
    set(IA_CMD_EXPOSE_MODE, sim::kIrisPriority);
    service_->setLight(20000);
    std::vector<double> sharper;
    for (const int size : {0, 2, 4, 6})
    {
        set(IA_CMD_IRIS_SIZE, size);
        pass(60s);
        sharper.push_back(sharpness());
    }
    expectRising(sharper, 0.1, 2);
}

TEST_F(LensKeys, TwiceTheZoomShowsTheMiddleTwiceAsLarge)
{
    cv::Mat wide = shoot();
    for (const int position : {24576, 28672, 30016, 31424})  // 2x, 4x, 8x, 16x
    {
        zoomTo(position);
        cv::Mat expected;
        cv::resize(wide({80, 45, 160, 90}), expected, {320, 180});
        const cv::Mat zoomed = shoot();
        EXPECT_LT(difference(expected, zoomed), difference(wide, zoomed) * 0.6) << position;
        wide = zoomed;
    }
}

TEST_F(LensKeys, EveryZoomPositionShowsALessPart)
{
    double before = 0;
    for (int position = 16384; position <= 31424; position += 160)
    {
        const double zoom = Optics::opticalZoom(position);
        EXPECT_GT(zoom, before);
        before = zoom;
    }
    EXPECT_DOUBLE_EQ(1, Optics::opticalZoom(16384));
    EXPECT_DOUBLE_EQ(4, Optics::opticalZoom(28672));
    EXPECT_DOUBLE_EQ(16, Optics::opticalZoom(31424));
    EXPECT_DOUBLE_EQ(16, Optics::opticalZoom(32767));
}

TEST_F(LensKeys, DigitalZoomEnlargesTheMiddleOfTheLongestLens)
{
    holdExposure(6, 0);
    zoomTo(31424);
    const cv::Mat longest = shoot();
    EXPECT_NE(0, set(IA_CMD_MZ_POSITION, 32767)) << "not without digital zoom";
    set(IA_CMD_DIGITAL_ZOOM, 1);
    zoomTo(32767);
    cv::Mat expected;
    cv::resize(longest({120, 67, 80, 45}), expected, {320, 180});
    const cv::Mat enlarged = shoot();
    EXPECT_LT(difference(expected, enlarged), 20);
    EXPECT_LT(edges(enlarged), edges(longest)) << "it shows nothing finer";
    set(IA_CMD_DIGITAL_ZOOM, 0);
    pass(60s);
    EXPECT_LT(difference(longest, shoot()), 4);
}

TEST_F(LensKeys, ZoomStepsGoInAndOut)
{
    const cv::Mat wide = shoot();
    for (int i = 0; i < 20; ++i)
    {
        set(IA_CMD_ZOOM_IN, 1);
        pass(2s);
    }
    EXPECT_GT(difference(wide, shoot()), 10);
    for (int i = 0; i < 20; ++i)
    {
        set(IA_CMD_ZOOM_OUT, 1);
        pass(2s);
    }
    pass(60s);
    EXPECT_EQ(0, difference(wide, shoot()));
}

TEST_F(LensKeys, AFasterZoomIsNearerAfterASecond)
{
    std::vector<double> after;
    for (int speed = 1; speed <= 8; ++speed)
    {
        zoomTo(16384);
        set(IA_CMD_MZOOM_SPEED, speed);
        set(IA_CMD_MZ_POSITION, 31424);
        pass(1s);
        after.push_back(Optics::framing(service_->look(), {320, 180}).zoom);
    }
    expectRising(after, 0, 0.5);
}

TEST_F(LensKeys, AResetShowsAnotherPictureAndThenTheSameAgain)
{
    zoomTo(28672);
    const cv::Mat before = shoot();
    set(IA_CMD_LENS_RESET, 1);
    pass(2s);
    EXPECT_GT(difference(before, shoot()), 10);
    pass(60s);
    EXPECT_EQ(0, difference(before, shoot()));
}

// A frame of 320 pixels shows a quarter of the pixels of the sensor.
TEST_F(LensKeys, AnOffsetMovesThePictureByItsPixels)
{
    holdExposure(6, 0);
    const cv::Mat before = shoot();
    offset(32, -16);
    const cv::Mat moved = shoot();
    const cv::Rect from = middle_, to = middle_ + cv::Point(8, -4);
    EXPECT_LT(difference(before(from), moved(to)), 5);
    EXPECT_GT(difference(before(from), moved(from)), 8);
}

// How far the picture lies to the right of another and below it, in pixels of the sensor.
cv::Point2d shift(const cv::Mat& from, const cv::Mat& to)
{
    cv::Mat grey[2];
    for (const bool second : {false, true})
    {
        cv::cvtColor(second ? to : from, grey[second], cv::COLOR_BGR2GRAY);
        grey[second].convertTo(grey[second], CV_32F);
    }
    cv::Mat window;
    cv::createHanningWindow(window, from.size(), CV_32F);
    return cv::phaseCorrelate(grey[0], grey[1], window) * 4;
}

TEST_F(LensKeys, ThePictureMovesByItsOffsetOverTheWholeRange)
{
    holdExposure(6, 0);
    const cv::Mat before = shoot();
    for (const int by : {-64, -40, -16, 16, 40, 64})
    {
        offset(by, 0);
        EXPECT_NEAR(by, shift(before, shoot()).x, 2);
        offset(0, by);
        EXPECT_NEAR(by, shift(before, shoot()).y, 2);
    }
}

TEST_F(LensKeys, AGreaterStepMovesThePictureFurther)
{
    holdExposure(6, 0);
    const cv::Mat before = shoot();
    for (const int step : {8, 16, 24, 32})
    {
        offset(0, 0);
        set(IA_CMD_CAP_OFF_ADJ_STEP, step);
        set(IA_CMD_CAP_OFF_ADJ_DIRECTION, sim::kLeft);
        set(IA_CMD_CAP_OFF_ADJ_DIRECTION, sim::kUp);
        const cv::Point2d moved = shift(before, shoot());
        EXPECT_NEAR(-step, moved.x, 2);
        EXPECT_NEAR(-step, moved.y, 2);
    }
}

TEST_F(LensKeys, DirectionAndStepMoveThePictureWithinItsLimits)
{
    const auto framing = [this] { return Optics::framing(service_->look(), {1280, 720}).offset; };
    set(IA_CMD_CAP_OFF_ADJ_STEP, 20);
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, sim::kRight);
    EXPECT_EQ(cv::Point(20, 0), framing());
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, sim::kDown);
    EXPECT_EQ(cv::Point(20, 20), framing());
    set(IA_CMD_CAP_OFF_ADJ_H_MAX, 12);
    set(IA_CMD_CAP_OFF_ADJ_V_MAX, 8);
    EXPECT_EQ(cv::Point(12, 8), framing());
    for (int i = 0; i < 9; ++i)
    {
        set(IA_CMD_CAP_OFF_ADJ_DIRECTION, sim::kLeft);
        set(IA_CMD_CAP_OFF_ADJ_DIRECTION, sim::kUp);
    }
    EXPECT_EQ(cv::Point(-64, -64), framing());
    set(IA_CMD_CAP_OFF_ADJ_H_MIN, -10);
    set(IA_CMD_CAP_OFF_ADJ_V_MIN, -6);
    EXPECT_EQ(cv::Point(-10, -6), framing());
}

TEST_F(LensKeys, TheShakeGrowsWithTheZoomAndStaysWithinWhatIsDrawn)
{
    const cv::Size frame(1280, 720);
    double least = 0;
    for (const int position : {16384, 24576, 28672})
    {
        zoomTo(position);
        double most = 0;
        for (double seconds = 0; seconds < 20; seconds += 0.04)
        {
            const cv::Point2d shake = Optics::shake(service_->look(), frame, seconds);
            most = std::max({most, std::fabs(shake.x), std::fabs(shake.y)});
        }
        EXPECT_GT(most, least);
        EXPECT_LT(most, Optics::margin(frame));
        least = most;
    }
}

}  // namespace
