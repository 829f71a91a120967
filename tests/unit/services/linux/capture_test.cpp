#include "services/linux/Capture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <stdexcept>
#include <thread>

#include "tests/unit/services/linux/ScriptedCamera.h"

namespace {

using devices::Capture;
using devices::Surroundings;
using services::Frame;
using services::PictureSource;
using std::chrono::milliseconds;
using support::jpegOf;
using support::ScriptedCamera;

constexpr milliseconds kLong{60'000};
constexpr milliseconds kShort{20};

class CaptureTest : public testing::Test
{
protected:
    CaptureTest()
    {
        times_.start = times_.stall = times_.silence = kLong;
        times_.exposure = milliseconds(0);
    }

    ~CaptureTest() override { camera_.release(); }

    std::unique_ptr<PictureSource> open()
    {
        if (!capture_)
        {
            capture_ = std::make_unique<Capture>(
                [this](int& error) {
                    error = absent_;
                    return absent_ == 0 ? camera_.open() : nullptr;
                },
                [this] {
                    Surroundings around;
                    around.time = 43'200;
                    around.light = 17;
                    around.night = true;
                    around.rate = rate_;
                    around.isStuck = isStuck_;
                    return around;
                },
                times_);
        }
        return capture_->open();
    }

    std::string failureOfOpen()
    {
        try
        {
            open();
            return "none";
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
    }

    static std::string endOf(PictureSource& source)
    {
        try
        {
            while (source.next())
            {
            }
            return "none";
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
    }

    ScriptedCamera camera_;
    Capture::Times times_;
    std::atomic<int> absent_{0};
    std::atomic<u32> rate_{0};
    std::atomic<bool> isStuck_{false};
    std::unique_ptr<Capture> capture_;
};

TEST_F(CaptureTest, AFrameSaysWhatItWasTakenWith)
{
    v4l2_query_ext_ctrl time = {};
    time.type = V4L2_CTRL_TYPE_INTEGER;
    time.minimum = 1;
    time.maximum = 3'333;
    time.step = 1;
    time.default_value = 200;
    time.elems = 1;
    time.id = V4L2_CID_EXPOSURE_ABSOLUTE;
    camera_.controls[time.id] = time;
    camera_.values[time.id] = 250;
    time.id = V4L2_CID_GAIN;
    time.minimum = 100;
    time.maximum = 200;
    camera_.controls[time.id] = time;
    camera_.values[time.id] = 150;
    const auto source = open();
    EXPECT_FALSE(capture_->exposure());
    camera_.give(jpegOf(640, 480));
    const std::optional<Frame> frame = source->next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(1u, frame->number);
    EXPECT_EQ(43'200, frame->time);
    EXPECT_EQ(640, frame->width);
    EXPECT_EQ(480, frame->height);
    EXPECT_EQ(17, frame->light);
    EXPECT_TRUE(frame->night);
    EXPECT_EQ(30, frame->rate);
    EXPECT_DOUBLE_EQ(0.025, frame->exposure);
    EXPECT_DOUBLE_EQ(30, frame->gain);
    ASSERT_TRUE(capture_->exposure());
    EXPECT_DOUBLE_EQ(0.025, capture_->exposure()->seconds);
    source->stop();
}

TEST_F(CaptureTest, SaysWhetherTheExposureFollowsTheLight)
{
    v4l2_query_ext_ctrl control = {};
    control.type = V4L2_CTRL_TYPE_INTEGER;
    control.minimum = 1;
    control.maximum = 3'333;
    control.step = 1;
    control.elems = 1;
    control.id = V4L2_CID_EXPOSURE_ABSOLUTE;
    camera_.controls[control.id] = control;
    camera_.values[control.id] = 100;
    control.id = V4L2_CID_EXPOSURE_AUTO;
    control.minimum = 0;
    control.maximum = 3;
    camera_.controls[control.id] = control;
    for (const auto& [mode, isAutomatic] : std::map<int, bool>{{V4L2_EXPOSURE_AUTO, true},
                                                               {V4L2_EXPOSURE_MANUAL, false},
                                                               {V4L2_EXPOSURE_SHUTTER_PRIORITY, false},
                                                               {V4L2_EXPOSURE_APERTURE_PRIORITY, true}})
    {
        camera_.values[V4L2_CID_EXPOSURE_AUTO] = mode;
        const auto source = open();
        camera_.give(jpegOf(640, 480));
        ASSERT_TRUE(source->next());
        ASSERT_TRUE(capture_->exposure());
        EXPECT_EQ(isAutomatic, capture_->exposure()->isAutomatic) << mode;
    }
}

TEST_F(CaptureTest, ADeviceThatIsStuckIsNotAskedHowItExposes)
{
    v4l2_query_ext_ctrl time = {};
    time.type = V4L2_CTRL_TYPE_INTEGER;
    time.minimum = 1;
    time.maximum = 3'333;
    time.step = 1;
    time.elems = 1;
    time.id = V4L2_CID_EXPOSURE_ABSOLUTE;
    camera_.controls[time.id] = time;
    camera_.values[time.id] = 100;
    const auto source = open();
    camera_.give(jpegOf(640, 480));
    ASSERT_TRUE(source->next());
    ASSERT_TRUE(capture_->exposure());
    isStuck_ = true;
    camera_.hang(VIDIOC_G_EXT_CTRLS);
    camera_.give(jpegOf(640, 480));
    ASSERT_TRUE(source->next());
    EXPECT_FALSE(capture_->exposure());
    camera_.release();
    isStuck_ = false;
    camera_.give(jpegOf(640, 480));
    ASSERT_TRUE(source->next());
    EXPECT_TRUE(capture_->exposure());
}

TEST(LightOfExposure, IsThatOfTimeAndGainWhileTheyAreAutomatic)
{
    EXPECT_DOUBLE_EQ(500, devices::lightOf({0.02, 0, true}).value_or(0));
    EXPECT_DOUBLE_EQ(50, devices::lightOf({0.02, 20, true}).value_or(0));
    EXPECT_FALSE(devices::lightOf({0.02, 0, false}));
    EXPECT_FALSE(devices::lightOf({0, 20, true}));
}

TEST_F(CaptureTest, ReadersShareTheDeviceAndEachCountsItsOwn)
{
    const auto one = open();
    camera_.give(jpegOf(640, 480));
    EXPECT_EQ(1u, one->next()->number);
    const auto other = open();
    camera_.give(jpegOf(640, 480));
    EXPECT_EQ(1u, other->next()->number);
    EXPECT_EQ(2u, one->next()->number);
    EXPECT_EQ(1, camera_.opened());
}

TEST_F(CaptureTest, TheDeviceIsFreeWhileNobodyReads)
{
    auto one = open();
    auto other = open();
    one.reset();
    EXPECT_TRUE(camera_.isStreaming());
    other.reset();
    camera_.awaitClosed();
    EXPECT_FALSE(camera_.isStreaming());
    EXPECT_FALSE(capture_->exposure());
    one = open();
    camera_.give(jpegOf(640, 480));
    EXPECT_EQ(1u, one->next()->number);
    EXPECT_EQ(2, camera_.opened());
}

TEST_F(CaptureTest, HowTheDeviceExposesIsNotAskedForEachFrame)
{
    v4l2_query_ext_ctrl time = {};
    time.type = V4L2_CTRL_TYPE_INTEGER;
    time.id = V4L2_CID_EXPOSURE_ABSOLUTE;
    time.minimum = 1;
    time.maximum = 3'333;
    time.step = 1;
    time.elems = 1;
    camera_.controls[time.id] = time;
    camera_.values[time.id] = 250;
    times_.exposure = kLong;
    const auto source = open();
    camera_.give(jpegOf(640, 480));
    ASSERT_TRUE(source->next());
    camera_.fail(VIDIOC_G_EXT_CTRLS, EIO);
    camera_.give(jpegOf(640, 480));
    const std::optional<Frame> frame = source->next();
    ASSERT_TRUE(frame);
    EXPECT_DOUBLE_EQ(0.025, frame->exposure);
}

TEST_F(CaptureTest, TheThreadSleepsWhileNoPictureComesAlsoAfterAReaderHasLeft)
{
    open().reset();
    camera_.awaitClosed();
    const auto source = open();
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(milliseconds(300));
    EXPECT_LT((std::clock() - before) * 1'000 / CLOCKS_PER_SEC, 50) << "milliseconds of the processor's time";
}

TEST_F(CaptureTest, StopEndsTheWaitForAFrame)
{
    const auto source = open();
    std::thread reader([&] { EXPECT_FALSE(source->next()); });
    source->stop();
    reader.join();
    camera_.give(jpegOf(640, 480));
    EXPECT_FALSE(source->next());
}

TEST_F(CaptureTest, StopDoesNotWaitForADeviceThatHangs)
{
    const auto source = open();
    camera_.hang(VIDIOC_DQBUF);
    camera_.give(jpegOf(640, 480));
    camera_.awaitHanging();
    std::thread reader([&] { EXPECT_FALSE(source->next()); });
    source->stop();
    reader.join();
    camera_.release();
}

TEST_F(CaptureTest, ADeviceThatDoesNotBeginIsNotWaitedForWithoutEnd)
{
    times_.start = kShort;
    camera_.hang(VIDIOC_STREAMON);
    EXPECT_EQ("the camera does not answer", failureOfOpen());
    camera_.release();
}

TEST_F(CaptureTest, ADeviceThatFallsSilentInACallEndsThePicture)
{
    times_.silence = kShort;
    const auto source = open();
    camera_.hang(VIDIOC_DQBUF);
    camera_.give(jpegOf(640, 480));
    camera_.awaitHanging();
    EXPECT_EQ("the camera does not answer", endOf(*source));
    EXPECT_FALSE(source->next());
    camera_.release();
}

TEST_F(CaptureTest, AStreamWithoutPicturesEnds)
{
    times_.stall = kShort;
    const auto source = open();
    EXPECT_EQ("the camera has given no picture for 0 s", endOf(*source));
    EXPECT_FALSE(source->next());
}

TEST_F(CaptureTest, AStreamOfBrokenPicturesEnds)
{
    times_.stall = kShort;
    camera_.give("torn");
    const auto source = open();
    EXPECT_EQ("the camera has given only broken pictures for 0 s", endOf(*source));
}

TEST_F(CaptureTest, AnUnpluggedCameraEndsThePictureForAllAndComesBack)
{
    auto one = open();
    auto other = open();
    absent_ = ENODEV;
    camera_.fail(VIDIOC_DQBUF, ENODEV);
    EXPECT_EQ("the camera was unplugged", endOf(*one));
    EXPECT_EQ("the camera was unplugged", endOf(*other));
    EXPECT_EQ("the camera is not plugged in", failureOfOpen());
    absent_ = 0;
    camera_.awaitClosed();
    camera_.fail(VIDIOC_DQBUF, 0);
    one = open();
    camera_.give(jpegOf(640, 480));
    EXPECT_EQ(1u, one->next()->number);
}

TEST_F(CaptureTest, AnotherProgramAtTheDeviceIsNamed)
{
    camera_.fail(VIDIOC_REQBUFS, EBUSY);
    EXPECT_EQ("another program takes the pictures of this camera: end it there, and they come here again",
              failureOfOpen());
}

TEST_F(CaptureTest, AWishedRateIsSetWhilePicturesAreRead)
{
    camera_.formats = {{V4L2_PIX_FMT_MJPEG, {{640, 480, {30, 15}}}}};
    const auto source = open();
    camera_.give(jpegOf(640, 480));
    EXPECT_EQ(30, source->next()->rate);
    rate_ = 15;
    double rate = 0;
    for (std::uint64_t number = 1; rate != 15; ++number)
    {
        camera_.give(jpegOf(640, 480));
        const std::optional<Frame> frame = source->next();
        ASSERT_TRUE(frame);
        EXPECT_LT(number, frame->number);
        rate = frame->rate;
    }
    EXPECT_EQ(15u, camera_.rate());
    EXPECT_EQ(1, camera_.opened());
}

TEST_F(CaptureTest, ADeviceThatDoesNotSayHowItExposesIsAskedOnce)
{
    camera_.fail(VIDIOC_G_EXT_CTRLS, ETIMEDOUT);
    const auto source = open();
    camera_.give(jpegOf(640, 480));
    const std::optional<Frame> frame = source->next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(0, frame->exposure);
    EXPECT_EQ(0, frame->gain);
    EXPECT_FALSE(capture_->exposure());
}

TEST_F(CaptureTest, AReaderMayOutliveIt)
{
    const auto source = open();
    capture_.reset();
    EXPECT_EQ("the camera is ending", endOf(*source));
    EXPECT_FALSE(source->next());
}

}  // namespace
