#include "tests/unit/services/sim/picture/ShootingCamera.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

// Day, night and infrared lamps as the picture shows them.
class LightKeys : public ShootingCamera
{
protected:
    bool monochrome() { return chroma(shoot()) < 1; }

    void beNight()
    {
        service_->setLight(0);
        set(IA_CMD_DN_MODE, sim::kAlwaysNight);
        holdExposure(6, 8);
    }

    // The brightness for strengths of one lamp, the others being off.
    std::vector<double> byStrength(ia_cmd_e lamp, const std::vector<ia_cmd_e>& all)
    {
        for (const ia_cmd_e other : all)
        {
            set(other, 0);
        }
        std::vector<double> result;
        for (const int strength : {0, 20, 40, 60, 80, 100})
        {
            set(lamp, strength);
            result.push_back(brightness());
        }
        return result;
    }

    const std::vector<ia_cmd_e> manual_ = {IA_CMD_IR_MANUAL_STRG_NEAR, IA_CMD_IR_MANUAL_STRG_MEDIUM,
                                           IA_CMD_IR_MANUAL_STRG_FAR};
    const std::vector<ia_cmd_e> automatic_ = {IA_CMD_IR_AUTO_STRG_NEAR, IA_CMD_IR_AUTO_STRG_MEDIUM,
                                              IA_CMD_IR_AUTO_STRG_FAR};
};

TEST_F(LightKeys, ThePictureHasColourByDayAndNoneByNight)
{
    EXPECT_FALSE(monochrome());
    set(IA_CMD_DN_MODE, sim::kAlwaysNight);
    EXPECT_TRUE(monochrome());
    set(IA_CMD_DN_MODE, sim::kAlwaysDay);
    EXPECT_FALSE(monochrome());
}

TEST_F(LightKeys, TheThresholdsSayAtWhichLightColourGoesAndComes)
{
    const auto pictureAt = [this](double lux) {
        service_->setLight(lux);
        pass(60s);
        return monochrome();
    };
    EXPECT_FALSE(pictureAt(25));
    setThresholds(40, 90);
    EXPECT_TRUE(pictureAt(25));
    EXPECT_TRUE(pictureAt(70));
    setThresholds(40, 60);
    EXPECT_FALSE(pictureAt(70));
}

TEST_F(LightKeys, ColourGoesWhenTheDelayIsOver)
{
    for (const int delay : {2, 30, 75, 120})
    {
        service_->setLight(300);
        pass(180s);
        set(IA_CMD_DELAY, delay);
        service_->setLight(1);
        pass(std::chrono::seconds(delay - 1));
        EXPECT_FALSE(monochrome()) << delay << " s";
        pass(2s);
        EXPECT_TRUE(monochrome()) << delay << " s";
    }
}

TEST_F(LightKeys, ColourGoesAndComesAtTheTimesThatAreSet)
{
    set(IA_CMD_DN_MODE, sim::kByTime);
    EXPECT_FALSE(monochrome()) << "12:00, night from 18:00 to 6:00";
    setTimes(11, 0, 13, 0);
    EXPECT_TRUE(monochrome());
    setTimes(12, 30, 13, 0);
    EXPECT_FALSE(monochrome());
    setTimes(11, 0, 11, 59);
    EXPECT_FALSE(monochrome());
    setTimes(11, 0, 12, 1);
    EXPECT_TRUE(monochrome());
}

TEST_F(LightKeys, TheLampsLightTheNightWhenTheyAreOn)
{
    beNight();
    const double on = brightness();
    set(IA_CMD_IR_SWITCH, 0);
    EXPECT_LT(brightness(), on - 20);
}

TEST_F(LightKeys, TheLampsDoNotShowByDay)
{
    set(IA_CMD_IR_MODE, sim::kByHand);
    const cv::Mat before = shoot();
    set(IA_CMD_IR_MANUAL_STRG_NEAR, 100);
    EXPECT_EQ(0, difference(before, shoot()));
}

TEST_F(LightKeys, EachLampBrightensByItsStrengthWhenSetByHand)
{
    beNight();
    set(IA_CMD_IR_MODE, sim::kByHand);
    for (const ia_cmd_e lamp : manual_)
    {
        expectRising(byStrength(lamp, manual_), 0.5, 3);
    }
}

TEST_F(LightKeys, EachLampBrightensByItsLimitWhenTheyAreAutomatic)
{
    beNight();
    for (const ia_cmd_e lamp : automatic_)
    {
        expectRising(byStrength(lamp, automatic_), 0.5, 3);
    }
}

TEST_F(LightKeys, TheModeSaysWhichStrengthsCount)
{
    beNight();
    for (const ia_cmd_e lamp : manual_)
    {
        set(lamp, 0);
    }
    const double automatic = brightness();
    set(IA_CMD_IR_MODE, sim::kByZoom);
    const double near = brightness();
    set(IA_CMD_IR_MODE, sim::kByHand);
    const double hand = brightness();
    EXPECT_LT(near, automatic - 2) << "the near lamp alone";
    EXPECT_LT(hand, near - 2) << "none";
}

// What is near lies at the bottom of the picture; the far lamp is a narrow beam.
TEST_F(LightKeys, TheNearLampLightsWhatIsNearAndTheFarOneWhatIsFar)
{
    beNight();
    set(IA_CMD_IR_MODE, sim::kByHand);
    const auto lit = [this](int near, int far) {
        set(IA_CMD_IR_MANUAL_STRG_NEAR, near);
        set(IA_CMD_IR_MANUAL_STRG_MEDIUM, 0);
        set(IA_CMD_IR_MANUAL_STRG_FAR, far);
        const cv::Mat picture = shoot();
        return mean(picture({150, 70, 20, 20})) - mean(picture({220, 150, 60, 20}));
    };
    EXPECT_GT(lit(0, 100), lit(100, 0) + 20);
}

TEST_F(LightKeys, DefogGivesBackPartOfWhatHazeHides)
{
    const auto far = [this] {
        cv::Scalar middle, deviation;
        cv::meanStdDev(shoot()(cv::Rect(20, 40, 110, 60)), middle, deviation);
        return deviation[1];
    };
    service_->setLight(8000);
    const double clear = far();
    services::Weather weather;
    weather.haze = 70;
    service_->setWeather(weather);
    const double hidden = far();
    EXPECT_LT(hidden, clear * 0.8);
    set(IA_CMD_DEFLG_SWITCH, 1);
    std::vector<double> given;
    for (const int strength : {0, 20, 40, 60, 80, 100})
    {
        set(IA_CMD_DEFLG_STRG, strength);
        given.push_back(far());
    }
    EXPECT_NEAR(hidden, given.front(), 1);
    expectRising(given, 0, 5);
    set(IA_CMD_DEFLG_SWITCH, 2);
    EXPECT_GT(far(), hidden + 5) << "by itself, in haze";
}

}  // namespace
