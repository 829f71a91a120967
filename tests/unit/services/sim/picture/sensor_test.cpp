#include "services/sim/picture/Sensor.h"

#include <gtest/gtest.h>

#include <cmath>

#include "services/sim/picture/Processing.h"

namespace {

using sim::picture::kFullScale;
using sim::picture::Sensor;
using sim::picture::Setting;

constexpr double kInterval = 0.04;

class SensorOfACamera : public testing::Test
{
protected:
    static cv::Mat light(double lux) { return cv::Mat(90, 160, CV_32FC3, cv::Scalar::all(lux)); }

    const cv::Mat& expose(double lux, const Setting& setting)
    {
        return sensor_.expose(light(lux), setting, 1, kInterval);
    }

    static double mean(const cv::Mat& linear) { return cv::mean(linear)[1]; }

    static double noise(const cv::Mat& linear)
    {
        cv::Scalar middle, deviation;
        cv::meanStdDev(linear, middle, deviation);
        return deviation[1];
    }

    static Setting with(double shutter, double gain, double stop)
    {
        Setting setting;
        setting.shutter = shutter;
        setting.gain = gain;
        setting.stop = stop;
        return setting;
    }

    Sensor sensor_;
};

TEST_F(SensorOfACamera, CountsLightByShutterGainAndIris)
{
    const double once = mean(expose(50, with(0.01, 0, 2)));
    EXPECT_NEAR(2 * once, mean(expose(100, with(0.01, 0, 2))), once * 0.02);
    EXPECT_NEAR(2 * once, mean(expose(50, with(0.02, 0, 2))), once * 0.02);
    EXPECT_NEAR(2 * once, mean(expose(50, with(0.01, 6.0206, 2))), once * 0.02);
    EXPECT_NEAR(once / 4, mean(expose(50, with(0.01, 0, 4))), once * 0.02);
}

TEST_F(SensorOfACamera, SeesNothingThroughAClosedIris)
{
    Setting setting = with(0.02, 0, 16);
    setting.passes = 0;
    EXPECT_LT(mean(expose(10000, setting)), 2);
}

TEST_F(SensorOfACamera, EndsAtFullScale)
{
    double most = 0;
    cv::minMaxLoc(expose(1e6, with(0.04, 20, 1.6)).reshape(1), nullptr, &most);
    EXPECT_EQ(kFullScale, most);
}

// As bright each time, with ever less light and more gain.
TEST_F(SensorOfACamera, IsTheNoisierTheGreaterTheGain)
{
    double before = 0;
    for (double gain = 0; gain <= 60; gain += 6)
    {
        const double now = noise(expose(100 / std::pow(10, gain / 20), with(0.01, gain, 2)));
        EXPECT_GT(now, before * 1.2) << gain << " dB";
        before = now;
    }
}

TEST_F(SensorOfACamera, HasTheNoiseOfLight)
{
    const double dim = noise(expose(8, with(0.01, 12, 2))), bright = noise(expose(32, with(0.01, 12, 2)));
    EXPECT_NEAR(2, bright / dim, 0.2);
}

TEST_F(SensorOfACamera, HasOtherNoiseInEachFrame)
{
    const cv::Mat first = expose(50, with(0.01, 30, 2)).clone();
    EXPECT_GT(cv::norm(first, expose(50, with(0.01, 30, 2)), cv::NORM_INF), 0);
}

// What moves leaves a trace.
TEST_F(SensorOfACamera, GathersTheLightOfSeveralFramesWithALongShutter)
{
    const Setting slow = with(4 * kInterval, 0, 4);
    const double dark = mean(expose(0, slow));
    const double settled = mean(Sensor().expose(light(20), slow, 1, kInterval));
    double before = dark;
    for (int frame = 0; frame < 3; ++frame)
    {
        const double now = mean(expose(20, slow));
        EXPECT_GT(now, before + settled * 0.1);
        EXPECT_LT(now, settled * 0.9);
        before = now;
    }
    const Setting fast = with(kInterval, 0, 2);
    EXPECT_NEAR(settled, mean(expose(20, fast)), settled * 0.05) << "and a short one begins afresh";
}

}  // namespace
