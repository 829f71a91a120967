#include "services/RecordingVideo.h"

#include <gtest/gtest.h>

namespace {

TEST(RecordingVideo, KeepsNoticesInOrderWithNames)
{
    services::RecordingVideo video;
    EXPECT_EQ(0, video.notifyParam(IA_CMD_WDR_BRACKET, 0));
    EXPECT_EQ(0, video.notifyParam(IA_CMD_UI_MIRROR, 2));
    EXPECT_EQ(0, video.notifyParam(4711, -5));
    const auto notices = video.notices();
    ASSERT_EQ(3u, notices.size());
    EXPECT_STREQ("IA_CMD_WDR_BRACKET", notices[0].name);
    EXPECT_EQ(2384, notices[1].cmd);
    EXPECT_STREQ("IA_CMD_UI_MIRROR", notices[1].name);
    EXPECT_EQ(2, notices[1].value);
    EXPECT_STREQ("unknown", notices[2].name);
    EXPECT_EQ(-5, notices[2].value);
}

TEST(RecordingVideo, KeepsTheStateOfThePicture)
{
    services::RecordingVideo video;
    EXPECT_EQ(0, video.mirror() + video.corridor() + video.wideDynamic() + video.antiShake());
    video.notifyParam(IA_CMD_UI_MIRROR, 3);
    video.notifyParam(IA_CMD_BEAWAY, 1);
    video.notifyParam(IA_CMD_WDR_MODE, 2);
    video.notifyParam(IA_CMD_ANTI_SHAKE_SWITCH, 1);
    EXPECT_EQ(3, video.mirror());
    EXPECT_EQ(1, video.corridor());
    EXPECT_EQ(2, video.wideDynamic());
    EXPECT_EQ(1, video.antiShake());
    video.clear();
    EXPECT_TRUE(video.notices().empty());
    EXPECT_EQ(3, video.mirror());
}

TEST(RecordingVideo, AWideDynamicChangeRunsFromNoticeZeroToNoticeOne)
{
    services::RecordingVideo video;
    EXPECT_FALSE(video.wideDynamicChanging());
    video.notifyParam(IA_CMD_WDR_BRACKET, 0);
    EXPECT_TRUE(video.wideDynamicChanging());
    video.notifyParam(IA_CMD_WDR_MODE, 1);
    EXPECT_TRUE(video.wideDynamicChanging());
    video.notifyParam(IA_CMD_WDR_BRACKET, 1);
    EXPECT_FALSE(video.wideDynamicChanging());
}

TEST(RecordingVideo, AnswersWhatItWasToldToAndKeepsNoRefusedValue)
{
    services::RecordingVideo video;
    video.notifyParam(IA_CMD_UI_MIRROR, 1);
    video.setResult(IA_CMD_UI_MIRROR, -4);
    EXPECT_EQ(-4, video.notifyParam(IA_CMD_UI_MIRROR, 2));
    EXPECT_EQ(0, video.notifyParam(IA_CMD_BEAWAY, 1));
    EXPECT_EQ(1, video.mirror());
    EXPECT_EQ(-4, video.notices()[1].result);
    video.clear();
    EXPECT_EQ(0, video.notifyParam(IA_CMD_UI_MIRROR, 2));
}

TEST(RecordingVideo, GivesOneStreamAFrameRate)
{
    services::RecordingVideo video({25, 50});
    ASSERT_EQ(2u, video.getStreamParams().size());
    EXPECT_EQ(25, video.getStreamParams()[0].getFrameRate());
    EXPECT_EQ(50, video.getStreamParams()[1].getFrameRate());
    video.setFrameRates({60});
    ASSERT_EQ(1u, video.getStreamParams().size());
    EXPECT_EQ(60, video.getStreamParams()[0].getFrameRate());
    video.setFrameRates({});
    EXPECT_TRUE(video.getStreamParams().empty());
}

TEST(RecordingVideo, DropsTheOldestNoticesWhenFull)
{
    services::RecordingVideo video;
    for (int i = 0; i < int(services::RecordingVideo::kNoticesMax) + 5; ++i)
    {
        video.notifyParam(IA_CMD_UI_MIRROR, i);
    }
    const auto notices = video.notices();
    ASSERT_EQ(services::RecordingVideo::kNoticesMax, notices.size());
    EXPECT_EQ(5, notices.front().value);
}

}  // namespace
