#include "tests/unit/services/sim/picture/ShootingCamera.h"

#include <gtest/gtest.h>

namespace {

using sim::picture::Exposure;
using sim::picture::kFullScale;
using namespace std::chrono_literals;

class ExposureKeys : public ShootingCamera
{
protected:
    std::vector<int> allowed(ia_cmd_e cmd) { return service_->parameter(cmd)->allowed.items; }

    // The brightness of the picture for each value, in their order.
    std::vector<double> brightnesses(ia_cmd_e cmd, const std::vector<int>& values)
    {
        std::vector<double> result;
        for (const int value : values)
        {
            EXPECT_EQ(0, set(cmd, value));
            pass(60s);
            result.push_back(brightness());
        }
        return result;
    }

    static std::vector<double> reversed(std::vector<double> values) { return {values.rbegin(), values.rend()}; }

    // How much brighter, in stops, the exposure wants a picture that is dark but for one bright part.
    double wish(cv::Rect bright)
    {
        cv::Mat linear(90, 160, CV_16UC3, cv::Scalar::all(kFullScale / 40));
        linear(bright) = cv::Scalar::all(kFullScale * 0.9);
        Exposure exposure;
        exposure.next(service_->look(), {}, 0);
        exposure.next(service_->look(), linear, 0.04);
        return exposure.error();
    }

    const cv::Rect centre_{60, 35, 40, 20}, top_{0, 0, 160, 20}, bottom_{0, 70, 160, 20}, left_{0, 0, 40, 90},
        right_{120, 0, 40, 90};
};

TEST_F(ExposureKeys, TheLongestShutterLimitsTheLightAtNight)
{
    service_->setLight(2);
    set(IA_CMD_DN_MODE, sim::kAlwaysDay);
    set(IA_CMD_MAX_GAIN, 0);
    expectRising(reversed(brightnesses(IA_CMD_MAX_SHUTTER, allowed(IA_CMD_MAX_SHUTTER))), 1, 20);
    EXPECT_DOUBLE_EQ(1 / 20000.0, setting_.shutter);
}

TEST_F(ExposureKeys, AFixedShutterDarkensThePictureTheShorterItIs)
{
    service_->setLight(1000);
    holdExposure(4, 0);
    expectRising(reversed(brightnesses(IA_CMD_FIX_SHUTTER, allowed(IA_CMD_FIX_SHUTTER))), 1, 60);
    set(IA_CMD_EXPOSE_MODE, sim::kShutterPriority);
    set(IA_CMD_FIX_SHUTTER, 16);
    shoot();
    EXPECT_DOUBLE_EQ(0.002, setting_.shutter);
    EXPECT_GT(setting_.gain, 0) << "the gain makes up for it";
}

TEST_F(ExposureKeys, TheGreatestGainLimitsTheLightAtNight)
{
    service_->setLight(0.5);
    set(IA_CMD_DN_MODE, sim::kAlwaysDay);
    expectRising(brightnesses(IA_CMD_MAX_GAIN, allowed(IA_CMD_MAX_GAIN)), 1, 20);
}

TEST_F(ExposureKeys, AFixedGainBrightensThePictureTheGreaterItIs)
{
    service_->setLight(5);
    set(IA_CMD_DN_MODE, sim::kAlwaysDay);
    holdExposure(6, 0);
    expectRising(brightnesses(IA_CMD_FIX_GAIN, allowed(IA_CMD_FIX_GAIN)), 1, 60);
    set(IA_CMD_EXPOSE_MODE, sim::kGainPriority);
    set(IA_CMD_FIX_GAIN, 8);
    service_->setLight(300);
    shoot();
    EXPECT_DOUBLE_EQ(24, setting_.gain);
    EXPECT_LT(setting_.shutter, 1 / 100.0) << "the shutter makes up for it";
}

TEST_F(ExposureKeys, TheModeSaysWhatIsFixed)
{
    set(IA_CMD_FIX_SHUTTER, 18);
    set(IA_CMD_FIX_GAIN, 10);
    const auto fixed = [this](int mode) {
        set(IA_CMD_EXPOSE_MODE, mode);
        pass(60s);
        shoot();
        return std::make_pair(setting_.shutter == 0.001, setting_.gain == 30);
    };
    EXPECT_EQ(std::make_pair(false, false), fixed(sim::kAutomaticExposure));
    EXPECT_EQ(std::make_pair(true, false), fixed(sim::kShutterPriority));
    EXPECT_EQ(std::make_pair(false, false), fixed(sim::kIrisPriority));
    EXPECT_EQ(std::make_pair(true, true), fixed(sim::kManualExposure));
    EXPECT_EQ(std::make_pair(false, true), fixed(sim::kGainPriority));
}

TEST_F(ExposureKeys, TheAutomaticExposureKeepsThePictureAsBrightInAnyLight)
{
    const double before = brightness();
    for (const double lux : {30.0, 3000.0, 30000.0, 90000.0})
    {
        service_->setLight(lux);
        EXPECT_NEAR(before, brightness(), 30) << lux << " lux";
    }
}

TEST_F(ExposureKeys, ByDayTheStreetIsNeitherDarkNorBleached)
{
    for (const double lux : {300.0, 3000.0, 30000.0, 90000.0})
    {
        service_->setLight(lux);
        const cv::Mat picture = shoot();
        EXPECT_GT(mean(picture), 105) << lux << " lux";
        EXPECT_LT(mean(picture), 125) << lux << " lux";
        cv::Mat grey;
        cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
        EXPECT_LT(cv::countNonZero(grey > 245), 0.01 * static_cast<double>(grey.total())) << lux << " lux";
    }
}

TEST_F(ExposureKeys, ByNightTheStreetCanBeRead)
{
    service_->setLight(0.05);
    set(IA_CMD_DN_MODE, sim::kAlwaysNight);
    EXPECT_GT(brightness(), 85) << "infrared lamps";
    set(IA_CMD_IR_SWITCH, 0);
    EXPECT_GT(brightness(), 70) << "street lamps alone";
}

TEST_F(ExposureKeys, TheIrisBrightensThePictureTheMoreItIsOpen)
{
    service_->setLight(20);
    set(IA_CMD_DN_MODE, sim::kAlwaysDay);
    set(IA_CMD_MAX_GAIN, 0);
    set(IA_CMD_IRIS_SWITCH, 0);
    expectRising(brightnesses(IA_CMD_IRIS_POSITION, {0, 6, 12, 24, 36, 48, 60, 72, 84, 96}), 1, 60);
}

TEST_F(ExposureKeys, TheSizeOfTheIrisCountsInIrisPriority)
{
    service_->setLight(20);
    set(IA_CMD_DN_MODE, sim::kAlwaysDay);
    set(IA_CMD_MAX_GAIN, 0);
    set(IA_CMD_EXPOSE_MODE, sim::kIrisPriority);
    expectRising(reversed(brightnesses(IA_CMD_IRIS_SIZE, {0, 1, 2, 3, 4, 5, 6, 7, 8})), 1, 60);
}

TEST_F(ExposureKeys, StepsOfTheIrisBrightenAndDarken)
{
    holdExposure(8, 0);
    const double before = brightness();
    set(IA_CMD_IRIS_DOWN, 1);
    pass(60s);
    const double darker = brightness();
    EXPECT_LT(darker, before - 5);
    set(IA_CMD_IRIS_UP, 1);
    set(IA_CMD_IRIS_UP, 1);
    pass(60s);
    EXPECT_GT(brightness(), before + 3);
}

TEST_F(ExposureKeys, TheAutomaticIrisClosesWhenTheShutterCannotBeShorter)
{
    service_->setLight(60000);
    set(IA_CMD_IN_OUT_SIDE, 0);
    set(IA_CMD_IRIS_SWITCH, 0);
    const double open = brightness();
    EXPECT_DOUBLE_EQ(2.8, setting_.stop);
    set(IA_CMD_IRIS_SWITCH, 1);
    EXPECT_LT(brightness(), open - 30);
    EXPECT_GT(setting_.stop, 5.6);
}

TEST_F(ExposureKeys, AFasterIrisIsWhereItShouldBeSooner)
{
    service_->setLight(60000);
    set(IA_CMD_IN_OUT_SIDE, 0);
    std::vector<double> closed;
    for (const int speed : {0, 25, 50, 75, 100})
    {
        set(IA_CMD_IRIS_SPEED, speed);
        Exposure exposure;
        const cv::Mat white(90, 160, CV_16UC3, cv::Scalar::all(kFullScale));
        for (int frame = 0; frame < 20; ++frame)
        {
            exposure.next(service_->look(), white, frame * 0.04);
        }
        closed.push_back(exposure.next(service_->look(), white, 0.8).stop);
    }
    expectRising(closed, 0, 1);
}

TEST_F(ExposureKeys, TheMeteringAreaIsWhatCounts)
{
    const cv::Rect parts[] = {{0, 0, 160, 90}, centre_, top_, bottom_, left_, right_};
    for (int area = 1; area < 6; ++area)
    {
        set(IA_CMD_METER_AREA, 0);
        const double whole = wish(parts[area]);
        set(IA_CMD_METER_AREA, area);
        EXPECT_LT(wish(parts[area]), whole - 0.5) << "bright where it is measured, area " << area;
    }
    set(IA_CMD_METER_AREA, 2);
    EXPECT_GT(wish(bottom_), 2) << "bright elsewhere";
}

TEST_F(ExposureKeys, BacklightCompensationBrightensForItsAreaByItsStrength)
{
    const cv::Rect around[] = {top_, bottom_, top_, right_, left_};  // bright, and outside the area of each choice
    for (int area = 0; area < 5; ++area)
    {
        set(IA_CMD_BLC_MODE, area);
        set(IA_CMD_BLC_SWITCH, 0);
        const double without = wish(around[area]);
        set(IA_CMD_BLC_SWITCH, 1);
        std::vector<double> wishes;
        for (const int strength : {0, 20, 40, 60, 80, 100})
        {
            set(IA_CMD_BLC_STRG, strength);
            wishes.push_back(wish(around[area]));
        }
        EXPECT_NEAR(without, wishes.front(), 1e-9);
        expectRising(wishes, 0, 0.5);
    }
}

TEST_F(ExposureKeys, HighlightCompensationDarkensByItsStrength)
{
    const cv::Rect lamp(30, 30, 20, 15);
    const double without = wish(lamp);
    set(IA_CMD_HLC_SWITCH, 1);
    std::vector<double> wishes;
    for (const int strength : {0, 20, 40, 60, 80, 100})
    {
        set(IA_CMD_HLC_STRG, strength);
        wishes.push_back(wish(lamp));
    }
    EXPECT_DOUBLE_EQ(without, wishes.front());
    expectRising(reversed(wishes), 0, 0.5);
}

TEST_F(ExposureKeys, IndoorsTheShutterIsAWholeNumberOfFlickersOfTheLight)
{
    service_->setLight(20000);
    shoot();
    EXPECT_LT(setting_.shutter, 0.005);
    set(IA_CMD_IN_OUT_SIDE, 0);
    shoot();
    EXPECT_DOUBLE_EQ(0.01, setting_.shutter);
    service_->setLight(120);
    shoot();
    EXPECT_NEAR(0, std::remainder(setting_.shutter, 0.01), 1e-9);
}

TEST_F(ExposureKeys, SeveralExposuresHoldABrighterLight)
{
    holdExposure(4, 4);
    service_->setLight(1000);
    const auto white = [this] {
        sim::picture::Sensor sensor;
        const cv::Mat light(90, 160, CV_32FC3, cv::Scalar::all(100000));
        const sim::picture::View view = service_->look();
        double most = 0;
        cv::minMaxLoc(sensor.expose(light, {}, Exposure::range(view), 0.04).reshape(1), nullptr, &most);
        return most;
    };
    EXPECT_EQ(kFullScale, white());
    set(IA_CMD_WDR_MODE, 1);
    EXPECT_EQ(kFullScale, white()) << "digital: one exposure";
    set(IA_CMD_WDR_MODE, 2);
    EXPECT_EQ(4 * kFullScale, white());
    service_->setModule(2);
    set(IA_CMD_WDR_MODE, 3);
    EXPECT_EQ(16 * kFullScale, white());
}

}  // namespace
