#include "services/linux/V4l2Stream.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/unit/services/linux/ScriptedCamera.h"

namespace {

using devices::V4l2Stream;
using support::jpegOf;
using support::ScriptedCamera;

// Tells what it was given.
class FakeEncoder : public devices::picture::Encoder
{
public:
    std::string encode(const devices::picture::RawPicture& picture) override
    {
        return std::string(reinterpret_cast<const char*>(picture.bytes), 4) + " " + std::to_string(picture.width) +
               "x" + std::to_string(picture.height) + " by " + std::to_string(picture.stride) +
               (picture.isFullRange ? " full" : "");
    }
};

std::unique_ptr<devices::picture::Encoder> loadFake()
{
    return std::make_unique<FakeEncoder>();
}

std::unique_ptr<devices::picture::Encoder> loadNone()
{
    throw std::runtime_error("no encoder");
}

class V4l2StreamTest : public testing::Test
{
protected:
    void open(u32 rate = 0, const V4l2Stream::Load& load = loadFake)
    {
        node_ = camera_.open();
        stream_ = std::make_unique<V4l2Stream>(*node_, rate, load);
    }

    std::string failure(u32 rate = 0, const V4l2Stream::Load& load = loadFake)
    {
        try
        {
            open(rate, load);
            return "none";
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
    }

    ScriptedCamera camera_;
    std::unique_ptr<devices::VideoNode> node_;
    std::unique_ptr<V4l2Stream> stream_;
};

TEST_F(V4l2StreamTest, GivesWhatTheCameraCompressedAndLeavesTheDeviceAsItWas)
{
    open();
    EXPECT_TRUE(camera_.isStreaming());
    EXPECT_FALSE(stream_->take());
    camera_.give(jpegOf(640, 480));
    camera_.give(jpegOf(640, 480), 0, 3);
    EXPECT_EQ(1u, stream_->take()->steps);
    const std::optional<V4l2Stream::Picture> picture = stream_->take();
    ASSERT_TRUE(picture);
    EXPECT_EQ(4u, picture->steps);
    EXPECT_EQ(640, picture->width);
    EXPECT_EQ(480, picture->height);
    EXPECT_EQ("\xFF\xD8", picture->jpeg.substr(0, 2));
    stream_.reset();
    EXPECT_FALSE(camera_.isStreaming());
    EXPECT_EQ(0u, camera_.mapped());
}

TEST_F(V4l2StreamTest, TheRateInForceOutlivesAFormatAndAWishedOneReplacesIt)
{
    camera_.formats = {{V4L2_PIX_FMT_MJPEG, {{640, 480, {30, 15, 10}}}}};
    open(15);
    EXPECT_EQ(15u, camera_.rate());
    EXPECT_EQ(15, stream_->rate());
    stream_.reset();
    open();
    EXPECT_EQ(15u, camera_.rate());
}

TEST_F(V4l2StreamTest, RawPicturesAreEncoded)
{
    camera_.formats = {{V4L2_PIX_FMT_YUYV, {{8, 4, {}}}}};
    open();
    camera_.give("abcd" + std::string(60, '-'));
    EXPECT_EQ("abcd 8x4 by 16", stream_->take()->jpeg);
    stream_.reset();
    camera_.formats = {{V4L2_PIX_FMT_NV12, {{8, 4, {}}}}};
    camera_.quantization = V4L2_QUANTIZATION_FULL_RANGE;
    open();
    camera_.give("abcd" + std::string(44, '-'));
    EXPECT_EQ("abcd 8x4 by 8 full", stream_->take()->jpeg);
}

TEST_F(V4l2StreamTest, WithoutTheEncoderOnlyRawPicturesCannotBeHad)
{
    camera_.formats = {{V4L2_PIX_FMT_MJPEG, {{640, 480, {15}}}}, {V4L2_PIX_FMT_YUYV, {{320, 240, {30}}}}};
    open(30, loadNone);
    EXPECT_EQ(V4L2_PIX_FMT_MJPEG, camera_.format().pixelformat);
    stream_.reset();
    camera_.formats = {{V4L2_PIX_FMT_YUYV, {{320, 240, {30}}}}};
    EXPECT_EQ("no encoder", failure(30, loadNone));
}

TEST_F(V4l2StreamTest, TornAndEmptyBuffersAreNoPictures)
{
    open();
    camera_.give("");
    camera_.give(jpegOf(640, 480).substr(0, 20));
    camera_.give(jpegOf(640, 480), V4L2_BUF_FLAG_ERROR);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_FALSE(stream_->take());
        EXPECT_TRUE(stream_->gaveOnlyBroken());
    }
    camera_.give(jpegOf(640, 480));
    EXPECT_EQ(4u, stream_->take()->steps);
    EXPECT_FALSE(stream_->gaveOnlyBroken());
    stream_.reset();
    camera_.formats = {{V4L2_PIX_FMT_GREY, {{8, 4, {}}}}};
    open();
    camera_.give(std::string(31, '-'));
    EXPECT_FALSE(stream_->take());
}

TEST_F(V4l2StreamTest, ABufferThatClaimsMoreThanItHoldsIsCut)
{
    camera_.bufferLength = 40;
    open();
    camera_.give(jpegOf(640, 480, std::string(100, 'x')));
    EXPECT_FALSE(stream_->take());
}

TEST_F(V4l2StreamTest, WhatTheDriverDoesNotHaveEndsIt)
{
    open();
    camera_.give(jpegOf(640, 480), 0, 0, 4);
    EXPECT_THROW(stream_->take(), std::runtime_error);
}

TEST_F(V4l2StreamTest, AnUnpluggedCameraIsCalledSo)
{
    open();
    camera_.fail(VIDIOC_DQBUF, ENODEV);
    try
    {
        stream_->take();
        FAIL();
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_STREQ("the camera was unplugged", error.what());
    }
}

TEST_F(V4l2StreamTest, ABufferIsLostNowAndThenButNotEachTime)
{
    open();
    camera_.fail(VIDIOC_DQBUF, EIO);
    for (int i = 0; i < 20; ++i)
    {
        EXPECT_FALSE(stream_->take());
    }
    EXPECT_THROW(stream_->take(), std::runtime_error);
}

TEST_F(V4l2StreamTest, BuffersThatAreLostBetweenPicturesDoNotAddUp)
{
    open();
    for (int picture = 0; picture < 3; ++picture)
    {
        camera_.fail(VIDIOC_DQBUF, EIO);
        for (int i = 0; i < 15; ++i)
        {
            EXPECT_FALSE(stream_->take());
        }
        camera_.fail(VIDIOC_DQBUF, 0);
        camera_.give(jpegOf(640, 480));
        EXPECT_TRUE(stream_->take());
    }
}

TEST_F(V4l2StreamTest, ReasonsSayWhatToDo)
{
    for (const unsigned long request : {VIDIOC_S_FMT, VIDIOC_REQBUFS, VIDIOC_STREAMON})
    {
        camera_.fail(request, EBUSY);
        EXPECT_EQ("another program takes the pictures of this camera: end it there, and they come here again",
                  failure());
        EXPECT_EQ(0u, camera_.mapped());
        camera_.fail(request, 0);
    }
    camera_.fail(VIDIOC_STREAMON, ENOSPC);
    EXPECT_NE(std::string::npos, failure().find("the USB bus has no room"));
    camera_.fail(VIDIOC_QUERYCAP, ENODEV);
    EXPECT_EQ("the camera is not plugged in", failure());
}

TEST_F(V4l2StreamTest, WhatGivesNoPicturesIsSaid)
{
    camera_.capabilities = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING;
    EXPECT_EQ("this device gives no pictures", failure());
    camera_.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    camera_.formats = {{V4L2_PIX_FMT_H264, {{640, 480, {}}}}};
    EXPECT_EQ("the camera gives its pictures in no form that can be shown here, but as H264", failure());
}

TEST_F(V4l2StreamTest, ADriverWithoutBuffersIsRefused)
{
    camera_.buffers = 0;
    EXPECT_NE("none", failure());
    camera_.buffers = 2;
    camera_.bufferLength = 0;
    EXPECT_NE("none", failure());
    EXPECT_EQ(0u, camera_.mapped());
}

}  // namespace
