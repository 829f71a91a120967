#include "services/linux/PictureFormat.h"

#include <gtest/gtest.h>

#include "tests/unit/services/linux/ScriptedCamera.h"

namespace {

using devices::PictureFormat;
using support::ScriptedCamera;

class PictureFormatTest : public testing::Test
{
protected:
    std::string first(u32 rate)
    {
        const std::unique_ptr<devices::VideoNode> node = camera_.open();
        const std::vector<PictureFormat> formats = devices::pictureFormats(
            [&node](unsigned long request, void* argument) { return node->ioctl(request, argument); }, rate, offered_);
        if (formats.empty())
        {
            return "none";
        }
        const PictureFormat& format = formats.front();
        return devices::codeText(format.code) + " " + std::to_string(format.width) + "x" +
               std::to_string(format.height);
    }

    ScriptedCamera camera_;
    std::string offered_;
};

TEST_F(PictureFormatTest, CompressedAndAsLargeAsMayBe)
{
    camera_.formats = {{V4L2_PIX_FMT_YUYV, {{640, 480, {30}}, {1920, 1080, {30}}}},
                       {V4L2_PIX_FMT_MJPEG, {{640, 480, {30}}, {1280, 720, {30}}, {2560, 1440, {30}}}}};
    EXPECT_EQ("MJPG 1280x720", first(30));
    EXPECT_EQ("YUYV, MJPG", offered_);
}

TEST_F(PictureFormatTest, TheRateComesBeforeTheSize)
{
    camera_.formats = {{V4L2_PIX_FMT_MJPEG, {{640, 480, {15, 60}}, {1280, 720, {15, 30}}, {1920, 1080, {5}}}}};
    EXPECT_EQ("MJPG 640x480", first(60));
    EXPECT_EQ("MJPG 1280x720", first(30));
    EXPECT_EQ("MJPG 1920x1080", first(5));
    EXPECT_EQ("MJPG 1920x1080", first(0));
    EXPECT_EQ("MJPG 1920x1080", first(120));
}

TEST_F(PictureFormatTest, RawWhereOnlyThatIsFastEnough)
{
    camera_.formats = {{V4L2_PIX_FMT_MJPEG, {{1280, 720, {15}}}}, {V4L2_PIX_FMT_NV12, {{320, 240, {30}}}}};
    EXPECT_EQ("NV12 320x240", first(30));
    EXPECT_EQ("MJPG 1280x720", first(15));
    EXPECT_EQ("MJPG 1280x720", first(60));
}

TEST_F(PictureFormatTest, WhatCannotBeShownIsNotChosen)
{
    camera_.formats = {{V4L2_PIX_FMT_H264, {{1280, 720, {30}}}}, {V4L2_PIX_FMT_SRGGB10, {}}};
    EXPECT_EQ("none", first(30));
    EXPECT_EQ("H264, RG10", offered_);
    camera_.formats = {{V4L2_PIX_FMT_MJPEG, {{4096, 2160, {30}}, {0, 0, {30}}}}};
    EXPECT_EQ("none", first(30));
}

TEST_F(PictureFormatTest, ADriverThatNamesNoSizesIsAskedForTheLargest)
{
    camera_.formats = {{V4L2_PIX_FMT_GREY, {}}};
    EXPECT_EQ("GREY 1920x1080", first(30));
}

}  // namespace
