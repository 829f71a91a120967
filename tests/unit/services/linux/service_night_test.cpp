#include <cstdio>
#include <fstream>

#include "HostClock.h"
#include "tests/unit/services/linux/ServiceTest.h"

namespace {

// Its seconds pass in milliseconds.
class LinuxNight : public support::ServiceTest
{
protected:
    LinuxNight() { host::setClock(std::make_shared<host::ScaledClock>(100)); }
    ~LinuxNight() override
    {
        service.reset();
        host::setClock(nullptr);
    }

    // As the library sends them, with no delay.
    void setLamps()
    {
        EXPECT_EQ(0, set(IA_CMD_DELAY, 0));
        EXPECT_EQ(0, set(IA_CMD_IR_SWITCH, 1));
        EXPECT_EQ(0, set(IA_CMD_IR_MODE, 0));
        EXPECT_EQ(0, set(IA_CMD_IR_AUTO_STRG_NEAR, 100));
    }

    bool becomesNight(int night)
    {
        return support::comes([&] { return get(IA_CMD_DN_STATE) == night; });
    }

    std::vector<std::int64_t> moves() const
    {
        std::vector<std::int64_t> values;
        for (const auto& settings : filter.sets())
        {
            for (const devices::Setting& setting : settings)
            {
                values.push_back(setting.value);
            }
        }
        return values;
    }
};

TEST_F(LinuxNight, MovesFilterAndLampsOnceAtDusk)
{
    start();
    setLamps();
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 1}));
    lux = 1;
    ASSERT_TRUE(becomesNight(1));
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 0}));
    ASSERT_TRUE(lamps.waitFor({devices::kLampNear, 200}));
    ASSERT_TRUE(camera.waitFor({V4L2_CID_SATURATION, 0}));
    EXPECT_EQ((std::vector<std::int64_t>{1, 0}), moves());
    EXPECT_EQ(100, service->lamps());
    EXPECT_EQ(1, service->light());
}

TEST_F(LinuxNight, PutsTheLampsOutToSeeWhetherItIsDay)
{
    lux = 1;
    start();
    setLamps();
    ASSERT_TRUE(lamps.waitFor({devices::kLampNear, 200}));
    lux = 300;
    ASSERT_TRUE(lamps.waitFor({devices::kLampNear, 0}));
    ASSERT_TRUE(becomesNight(0));
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 1}));
    EXPECT_EQ((std::vector<std::int64_t>{0, 1}), moves());
    EXPECT_EQ(0, service->lamps());
}

TEST_F(LinuxNight, DecidesBeforeAnythingMoves)
{
    settling = std::chrono::milliseconds(50);
    start();
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 2));
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 0}));
    EXPECT_EQ((std::vector<std::int64_t>{0}), moves());
}

TEST_F(LinuxNight, MovesNothingBetweenTheWordsOfAScheme)
{
    settling = std::chrono::milliseconds(1000);
    start();
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 1));
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 1}));
    // By the times of before it would be night for a moment.
    const std::tm now = host::clock()->localTime();
    dn_time_st times{};
    times.n2d_hour = times.d2n_hour = static_cast<u32>(now.tm_hour);
    times.d2n_min = 0;
    times.n2d_min = 59;
    EXPECT_EQ(0, service->call(IA_CMD_DTN_H, IA_CMD_OPT_SET, &times));
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 3));
    times = {};
    EXPECT_EQ(0, service->call(IA_CMD_DTN_H, IA_CMD_OPT_SET, &times));  // no night at all
    EXPECT_EQ(0, set(IA_CMD_IR_SWITCH, 1));
    ASSERT_TRUE(support::comes([this] { return standing(IA_CMD_IR_SWITCH) == services::Standing::applied; }));
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 2));
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 0}));
    EXPECT_EQ((std::vector<std::int64_t>{1, 0}), moves());
}

TEST_F(LinuxNight, TakesNoLightYetForNoLightAtAll)
{
    lightIsSlow = true;
    lux = 300;
    start();
    EXPECT_EQ(0, set(IA_CMD_DELAY, 0));
    EXPECT_EQ(0, get(IA_CMD_DN_STATE));
    EXPECT_EQ(services::Standing::waiting, standing(IA_CMD_SATURATION));
    lightIsSlow = false;
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 1}));
    EXPECT_EQ((std::vector<std::int64_t>{1}), moves());
}

TEST_F(LinuxNight, IsNotAppliedBeforeItIsDecided)
{
    lightIsSlow = true;
    start();
    EXPECT_EQ(services::Standing::applied, standing(IA_CMD_IR_AUTO_STRG_NEAR));
    EXPECT_EQ(0, set(IA_CMD_IR_AUTO_STRG_NEAR, 50));
    EXPECT_EQ(services::Standing::waiting, standing(IA_CMD_IR_AUTO_STRG_NEAR));
    lightIsSlow = false;
    ASSERT_TRUE(becomes(IA_CMD_IR_AUTO_STRG_NEAR, services::Standing::applied));
}

TEST_F(LinuxNight, FollowsTheModeThatIsSet)
{
    start();
    setLamps();
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 2));
    ASSERT_TRUE(becomesNight(1));
    ASSERT_TRUE(lamps.waitFor({devices::kLampNear, 200}));
    EXPECT_EQ(0, set(IA_CMD_IR_MODE, 2));
    EXPECT_EQ(0, set(IA_CMD_IR_MANUAL_STRG_NEAR, 25));
    ASSERT_TRUE(lamps.waitFor({devices::kLampNear, 50}));
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 1));
    ASSERT_TRUE(becomesNight(0));
    ASSERT_TRUE(lamps.waitFor({devices::kLampNear, 0}));
}

TEST_F(LinuxNight, TakesNothingOverThatTheNightHolds)
{
    devices::Board board = nightBoard();
    board.others = devices::Others::takeOver;
    start(board);
    EXPECT_EQ(0, set(IA_CMD_SATURATION, 100));
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 2));
    ASSERT_TRUE(camera.waitFor({V4L2_CID_SATURATION, 0}));
    ASSERT_TRUE(becomes(IA_CMD_SATURATION, services::Standing::applied));
    const std::size_t before = camera.sets().size();
    camera.change({V4L2_CID_SATURATION, 64});
    camera.tell({devices::ControlEvent::Kind::changed, V4L2_CID_SATURATION, 64, {}});
    ASSERT_TRUE(camera.waitForSets(before + 1));
    EXPECT_EQ((std::vector<devices::Setting>{{V4L2_CID_SATURATION, 0}}), camera.sets().back());
    EXPECT_EQ(100, get(IA_CMD_SATURATION));
    EXPECT_TRUE(service->takenOver().empty());
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 1));
    ASSERT_TRUE(becomesNight(0));
    ASSERT_TRUE(becomes(IA_CMD_SATURATION, services::Standing::applied));
    camera.change({V4L2_CID_SATURATION, 64});
    camera.tell({devices::ControlEvent::Kind::changed, V4L2_CID_SATURATION, 64, {}});
    EXPECT_TRUE(support::comes([this] { return get(IA_CMD_SATURATION) == 50; }));
}

TEST_F(LinuxNight, SeesThatLampsAreLitSinceBeforeTheStart)
{
    lux = 300;
    lamps.change({devices::kLampNear, 200});
    start();
    ASSERT_TRUE(becomesNight(1));
    setLamps();
    ASSERT_TRUE(filter.waitFor({devices::kFilter, 1}));
    EXPECT_EQ((std::vector<std::int64_t>{0, 1}), moves());
}

TEST_F(LinuxNight, WritesDownTheLightThatItDecidesBy)
{
    const std::string file = testing::TempDir() + "linux_night_light";
    start();
    service->recordLight(file);
    setLamps();
    ASSERT_TRUE(support::comes([&] {
        std::ifstream in(file);
        const std::vector<daynight::LightPoint> points = daynight::readTrace(in);
        return !points.empty() && points.front().lux == 300 && !points.front().lampsShine;
    }));
    std::remove(file.c_str());
}

// By how the camera exposes, and no sensor.
class LightByExposure : public LinuxNight
{
protected:
    LightByExposure()
    {
        control(V4L2_CID_EXPOSURE_ABSOLUTE, 1, 3'333, 100);
        control(V4L2_CID_EXPOSURE_AUTO, 0, 3, V4L2_EXPOSURE_APERTURE_PRIORITY);
        board.light = devices::kByExposure;
        picture = [this](int& error) {
            error = 0;
            return stream.open();
        };
        host::setClock(std::make_shared<host::ScaledClock>(1000));
        start(board);
        setLamps();
    }

    void control(u32 id, int minimum, int maximum, int value)
    {
        v4l2_query_ext_ctrl control = {};
        control.id = id;
        control.type = V4L2_CTRL_TYPE_INTEGER;
        control.minimum = minimum;
        control.maximum = maximum;
        control.step = 1;
        control.elems = 1;
        stream.controls[id] = control;
        stream.values[id] = value;
    }

    // Of the times: no night at all, or nothing else.
    void setTimes(bool isAlwaysNight)
    {
        dn_time_st times{};
        const std::tm now = host::clock()->localTime();
        if (isAlwaysNight)
        {
            times.d2n_hour = static_cast<u32>((now.tm_hour + 23) % 24);
            times.n2d_hour = static_cast<u32>((now.tm_hour + 22) % 24);
        }
        EXPECT_EQ(0, service->call(IA_CMD_DTN_H, IA_CMD_OPT_SET, &times));
    }

    devices::Board board = nightBoard();
};

TEST_F(LightByExposure, DecidesWhileThePictureIsRead)
{
    setTimes(true);
    ASSERT_TRUE(becomesNight(1)) << "by the times: nobody reads";
    EXPECT_FALSE(service->light());
    const auto reader = service->openPicture();
    stream.give(support::jpegOf(640, 480));
    ASSERT_TRUE(reader->next());
    ASSERT_TRUE(becomesNight(0));
    EXPECT_EQ(1000, service->light());
}

TEST_F(LightByExposure, WhatItDecidedStaysWhenNobodyReads)
{
    setTimes(true);
    ASSERT_TRUE(becomesNight(1));
    auto reader = service->openPicture();
    stream.give(support::jpegOf(640, 480));
    ASSERT_TRUE(reader->next());
    ASSERT_TRUE(becomesNight(0));
    reader.reset();
    ASSERT_TRUE(support::comes([this] { return !service->light(); }));
    const host::Span then = host::clock()->monotonic();
    ASSERT_TRUE(support::comes([&] { return host::clock()->monotonic() - then > 2 * daynight::Engine::kLightGone; }));
    EXPECT_EQ(0, get(IA_CMD_DN_STATE));
}

TEST_F(LightByExposure, AManualExposureSaysNothing)
{
    stream.values[V4L2_CID_EXPOSURE_AUTO] = V4L2_EXPOSURE_MANUAL;
    setTimes(true);
    ASSERT_TRUE(becomesNight(1));
    const auto reader = service->openPicture();
    stream.give(support::jpegOf(640, 480));
    ASSERT_TRUE(reader->next());
    const host::Span then = host::clock()->monotonic();
    ASSERT_TRUE(
        support::comes([&] { return host::clock()->monotonic() - then > 3 * daynight::Engine::kLightSettles; }));
    EXPECT_FALSE(service->light());
    EXPECT_EQ(1, get(IA_CMD_DN_STATE));
}

TEST_F(LinuxNight, LeavesLampsAndFilterAloneUntilSomethingIsSet)
{
    lux = 1;
    start();
    ASSERT_TRUE(becomesNight(1));
    EXPECT_TRUE(filter.sets().empty());
    EXPECT_TRUE(lamps.sets().empty());
}

}  // namespace
