#include "services/RecordingVideo.h"
#include "tests/unit/services/checks/PortTest.h"

namespace checks_tests {
namespace {

class VideoChecks : public PortTest
{
protected:
    std::string report(VideoStreamModule* video)
    {
        return reportOf([&](portcheck::Report& to) { portcheck::checkVideo(to, options_, video); });
    }

    portcheck::Options options_;
    services::RecordingVideo video_;
};

TEST_F(VideoChecks, AreLeftOutWithoutAModule)
{
    EXPECT_THAT(report(nullptr), HasSubstr("portcheck: 0 passed, 0 failed, 2 left out"));
}

TEST_F(VideoChecks, NotifyNothingUntilTold)
{
    EXPECT_THAT(report(&video_), HasSubstr("portcheck: 1 passed, 0 failed, 1 left out"));
    EXPECT_TRUE(video_.notices().empty());
}

TEST_F(VideoChecks, TellOfTheWideDynamicRangeInForceBetweenItsBrackets)
{
    options_.set = true;
    set(IA_CMD_WDR_MODE, 2);
    EXPECT_THAT(report(&video_), HasSubstr(" 0 failed"));
    EXPECT_EQ(video_.wideDynamic(), 2);
    EXPECT_FALSE(video_.wideDynamicChanging());
    EXPECT_EQ(video_.notices().size(), 3u);
}

TEST_F(VideoChecks, TellOfARefusedNotice)
{
    options_.set = true;
    video_.setResult(IA_CMD_WDR_BRACKET, -3);
    EXPECT_THAT(report(&video_), HasSubstr("notifyParam(2370, 0) gave -3; notifyParam(2370, 1) gave -3"));
}

TEST_F(VideoChecks, TellOfAStreamWithoutPictures)
{
    video_.setFrameRates({25, 0});
    EXPECT_THAT(report(&video_), HasSubstr("a frame rate below 1"));
}

}  // namespace
}  // namespace checks_tests
