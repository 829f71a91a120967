#include "services/sim/picture/Picture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

#include "tests/unit/services/sim/SimCamera.h"

namespace {

using sim::picture::Picture;

class PictureOfACamera : public SimCamera
{
protected:
    static std::string beginning(const services::Frame& frame) { return frame.jpeg.substr(0, 3); }

    Picture small_{[this] { return service_->look(); }, {160, 90}};
};

TEST_F(PictureOfACamera, ComesFromTheModuleThatTheServiceLoads)
{
    const auto source = service_->openPicture();
    const auto frame = source->next();
    ASSERT_TRUE(frame);
    EXPECT_EQ("\xFF\xD8\xFF", beginning(*frame));
    EXPECT_EQ(1280, frame->width);
    EXPECT_EQ(720, frame->height);
}

bool moduleIsLoaded()
{
    std::ifstream maps("/proc/self/maps");
    const std::string all{std::istreambuf_iterator<char>(maps), {}};
    EXPECT_NE(std::string::npos, all.find("libc")) << "what is loaded cannot be read";
    return all.find("libsensorsim-picture") != std::string::npos;
}

TEST_F(PictureOfACamera, LoadsItsModuleWhenAPictureIsWantedAndNotBefore)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process that has opened no picture yet
    EXPECT_EXIT(
        {
            service_->look();
            const bool before = moduleIsLoaded();
            service_->openPicture();
            std::exit(before ? 1 : moduleIsLoaded() ? 0 : 2);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(PictureOfACamera, SeesWhatTheServiceAnswers)
{
    service_->setLight(3);
    service_->setDistance(4);
    service_->setWeather({30, 70});
    set(IA_CMD_BRIGHTNESS, 61);
    set(IA_CMD_MZ_POSITION, 20000);
    pass(std::chrono::minutes(2));
    const sim::picture::View view = service_->look();
    for (const sim::Parameter& parameter : sim::parameters())
    {
        if (parameter.kind != sim::Kind::record)
        {
            EXPECT_EQ(get(parameter.cmd), view.values.get(parameter.cmd)) << parameter.name;
        }
    }
    EXPECT_EQ(20000, view.lens.zoom);
    EXPECT_EQ(4, view.distance);
    EXPECT_EQ(3, view.lux);
    EXPECT_EQ((12 * 60 + 2) * 60, view.secondsOfDay);
    EXPECT_TRUE(view.night);
    EXPECT_EQ(service_->infrared().near, view.lamps.near);
    EXPECT_EQ(30, view.haze);
    EXPECT_EQ(70, view.wind);
}

TEST_F(PictureOfACamera, HasAReaderOfItsOwnEachTime)
{
    const auto one = service_->openPicture();
    const auto other = service_->openPicture();
    one->stop();
    EXPECT_FALSE(one->next());
    EXPECT_TRUE(other->next());
}

TEST_F(PictureOfACamera, TellsWhatItWasTakenWith)
{
    service_->setLight(4000);
    set(IA_CMD_EXPOSE_MODE, sim::kManualExposure);
    set(IA_CMD_FIX_SHUTTER, 18);
    set(IA_CMD_FIX_GAIN, 3);
    const auto frame = small_.next();
    ASSERT_TRUE(frame);
    EXPECT_DOUBLE_EQ(0.001, frame->exposure);
    EXPECT_DOUBLE_EQ(9, frame->gain);
    EXPECT_DOUBLE_EQ(25, frame->rate);
    EXPECT_DOUBLE_EQ(4000, frame->light);
    EXPECT_DOUBLE_EQ(12 * 3600, frame->time);
    EXPECT_FALSE(frame->night);
    EXPECT_FALSE(frame->frozen);
}

TEST_F(PictureOfACamera, SaysWhenItIsNightOrFrozen)
{
    set(IA_CMD_DN_MODE, sim::kAlwaysNight);
    set(IA_CMD_FREEZE, 1);
    const auto frame = small_.next();
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->night);
    EXPECT_TRUE(frame->frozen);
}

TEST_F(PictureOfACamera, FrozenGivesTheLastFrameAgainAndDrawsNothing)
{
    int stages = 0;
    small_.setWatch([&stages](const char*) { ++stages; });
    const auto last = small_.next();
    ASSERT_TRUE(last);
    EXPECT_GT(stages, 0);
    stages = 0;
    set(IA_CMD_FREEZE, 1);
    set(IA_CMD_UI_MIRROR, 1);
    for (int i = 0; i < 3; ++i)
    {
        const auto frozen = small_.next();
        ASSERT_TRUE(frozen);
        EXPECT_TRUE(frozen->frozen);
        EXPECT_EQ(last->jpeg, frozen->jpeg);
    }
    EXPECT_EQ(0, stages);
    set(IA_CMD_FREEZE, 0);
    const auto next = small_.next();
    ASSERT_TRUE(next);
    EXPECT_FALSE(next->frozen);
    EXPECT_NE(last->jpeg, next->jpeg);
    EXPECT_GT(stages, 0);
}

TEST_F(PictureOfACamera, OpenedFrozenShowsWhatItSawFirst)
{
    set(IA_CMD_FREEZE, 1);
    const auto first = small_.next();
    const auto second = small_.next();
    ASSERT_TRUE(first && second);
    EXPECT_EQ("\xFF\xD8\xFF", beginning(*first));
    EXPECT_EQ(first->jpeg, second->jpeg);
    EXPECT_LT(first->number, second->number);
}

// What is set while nobody waits for a frame is in the next one; while one is drawn, in the one after it.
TEST_F(PictureOfACamera, ShowsWhatWasSetInTheNextFrame)
{
    const auto before = small_.next();
    set(IA_CMD_BEAWAY, 1);
    const auto after = small_.next();
    ASSERT_TRUE(before && after);
    EXPECT_EQ(160, before->width);
    EXPECT_EQ(90, after->width);
}

TEST_F(PictureOfACamera, DrawsNothingButTheFramesThatItIsAskedFor)
{
    int drawn = 0;
    small_.setWatch([&drawn](const char* stage) { drawn += stage == std::string("sensor") ? 1 : 0; });
    EXPECT_EQ(0, drawn);
    for (int frame = 1; frame <= 3; ++frame)
    {
        small_.next();
        EXPECT_EQ(frame, drawn);
    }
    small_.stop();
    small_.next();
    EXPECT_EQ(3, drawn);
}

TEST_F(PictureOfACamera, NumbersItsFramesUpwards)
{
    const auto first = small_.next();
    const auto second = small_.next();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(1u, first->number);
    EXPECT_LT(first->number, second->number);
}

// Of sixty frames a second every second one is drawn at most.
TEST_F(PictureOfACamera, SkipsTheNumbersOfFramesThatItDoesNotDraw)
{
    service_->setModule(2);
    set(IA_CMD_SENSOR_FPS, 60);
    const auto first = small_.next();
    const auto second = small_.next();
    ASSERT_TRUE(first && second);
    EXPECT_DOUBLE_EQ(60, second->rate);
    EXPECT_LE(first->number + 2, second->number);
}

TEST_F(PictureOfACamera, FollowsTheFrameRateOfTheSensor)
{
    EXPECT_DOUBLE_EQ(25, small_.next()->rate);
    set(IA_CMD_SENSOR_FPS, 50);
    EXPECT_DOUBLE_EQ(50, small_.next()->rate);
}

TEST_F(PictureOfACamera, StandsUprightInCorridorView)
{
    set(IA_CMD_BEAWAY, 1);
    const auto frame = small_.next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(90, frame->width);
    EXPECT_EQ(160, frame->height);
}

TEST_F(PictureOfACamera, GivesNothingMoreOnceStopped)
{
    std::thread stopper([this] { small_.stop(); });
    while (small_.next())
    {
    }
    stopper.join();
    EXPECT_FALSE(small_.next());
}

}  // namespace
