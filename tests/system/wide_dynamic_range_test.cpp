#include "tests/support/Simulator.h"
#include "tests/system/SystemCamera.h"

using namespace support;

namespace {

class WideDynamicRange : public SystemCamera
{
protected:
    void startAt(std::vector<int> rates)
    {
        install(kFixed);
        video_.setFrameRates(std::move(rates));
        start();
        video_.clear();
        support::journal().clearCalls();
    }

    std::string style()
    {
        CapturedOutput quiet;
        return c().getUIStyleFile();
    }

    std::vector<std::pair<int, int>> notices()
    {
        std::vector<std::pair<int, int>> notices;
        for (const services::RecordingVideo::Notice& notice : video_.notices())
        {
            notices.emplace_back(notice.cmd, notice.value);
        }
        return notices;
    }
};

TEST_F(WideDynamicRange, IsOfferedAtTwentyFiveFramesPerSecond)
{
    startAt({25});
    EXPECT_TRUE(getshowWDRFalg());
    EXPECT_EQ(std::string::npos, style().find("id=\"0\""));
    EXPECT_EQ(0, c().setParameter(KEY_WDR_MODE, 1, true));
    EXPECT_EQ(1, value(KEY_WDR_MODE));
    EXPECT_EQ(1, applied(IA_CMD_WDR_MODE));
    EXPECT_EQ((std::vector<std::pair<int, int>>{{2370, 0}, {2368, 1}, {2370, 1}}), notices());
    int mode = 0;
    EXPECT_TRUE(c().getWDR(mode));
    EXPECT_EQ(1, mode);
}

TEST_F(WideDynamicRange, IsNotOfferedWithAnyStreamAtFiftyOrSixty)
{
    for (const std::vector<int>& rates : {std::vector<int>{50}, {60}, {25, 50}, {60, 30, 15}})
    {
        startAt(rates);
        EXPECT_FALSE(getshowWDRFalg());
        EXPECT_NE(std::string::npos, style().find("<notice id=\"0\""));
        EXPECT_EQ(0, c().setParameter(KEY_WDR_MODE, 1, true));
        EXPECT_EQ(0, value(KEY_WDR_MODE));
        EXPECT_EQ(0, applied(IA_CMD_WDR_MODE));
        EXPECT_TRUE(notices().empty());
        EXPECT_TRUE(sent(IA_CMD_WDR_MODE).empty());
        stop();
    }
}

TEST_F(WideDynamicRange, ComesBackWhenTheStreamsAreSlowAgain)
{
    startAt({50});
    EXPECT_FALSE(getshowWDRFalg());
    stop();
    startAt({25});
    EXPECT_TRUE(getshowWDRFalg());
}

TEST_F(WideDynamicRange, NumberOfParametersDoesNotDependOnTheFrameRate)
{
    startAt({25});
    const size_t count = allValues().size();
    stop();
    wipeTree();
    startAt({60});
    EXPECT_EQ(count, allValues().size());
}

TEST_F(WideDynamicRange, HostCanTakeBackTheOffer)
{
    startAt({25});
    c().setShowWDRFalg(false);
    EXPECT_EQ(0, c().setParameter(KEY_WDR_MODE, 1, true));
    EXPECT_EQ(0, value(KEY_WDR_MODE));
    c().setShowWDRFalg(true);
    EXPECT_EQ(0, c().setParameter(KEY_WDR_MODE, 1, true));
    EXPECT_EQ(1, value(KEY_WDR_MODE));
}

}  // namespace
