#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "tests/unit/app/SensorcamRun.h"

namespace {

class Replay : public testing::Test
{
protected:
    ~Replay() override { std::remove(file_.c_str()); }

    support::Ended replay(const std::string& trace, std::vector<std::string> arguments = {})
    {
        std::ofstream(file_) << trace;
        arguments.insert(arguments.begin(), {"replay", file_});
        return support::runToEnd(arguments);
    }

    const std::string file_ = testing::TempDir() + "replayed_light";
};

// Synthetic: a dusk with one cloud, and a dawn.
constexpr char kTwilights[] = "# synthetic\n0 300 0\n100 10 0\n103 300 0\n200 10 0\n4000 100 0\n4100 100 0\n";

TEST_F(Replay, TellsTheSwitchesWithTheirTimes)
{
    const support::Ended ended = replay(kTwilights);
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ(ended.out, "0:00:00 day, 300.0 lux\n"
                         "0:03:25 night, 10.0 lux\n"
                         "1:06:45 day, 100.0 lux\n"
                         "switches: 2, lamps put out to look: 0\n");
}

TEST_F(Replay, TakesThresholdsAndDelay)
{
    const support::Ended ended =
        replay(kTwilights, {"--night-below", "5", "--day-above", "200", "--delay", "0", "--json"});
    EXPECT_EQ(ended.out,
              R"({"ok":true,"decisions":[{"seconds":0.0,"night":false,"lux":300.0}],"switches":0,"proofs":0})"
              "\n");
}

TEST_F(Replay, LampsAgainstAWallAreSeenThrough)
{
    const support::Ended ended = replay("0 1 0\n100 1 0\n", {"--lamps", "150"});
    EXPECT_EQ(ended.out, "0:00:00 night, 1.0 lux\n"
                         "switches: 0, lamps put out to look: 2\n");
}

TEST_F(Replay, WithoutLightTheTimesDecide)
{
    EXPECT_EQ(replay("0 - 0\n1 - 0\n", {"--at", "20:00"}).out,
              "0:00:00 night, no light measured\nswitches: 0, lamps put out to look: 0\n");
}

TEST_F(Replay, SaysWhatIsWrongWithATrace)
{
    const support::Ended ended = replay("0 300 0\n1 bright 0\n");
    EXPECT_EQ(1, ended.status);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, "sensorcam: " + file_ + ": line 2: \"bright\" is no light\n");
    EXPECT_EQ(replay("# nothing\n").err, "sensorcam: " + file_ + " holds no light\n");
}

TEST_F(Replay, ASpecialFileIsNoTrace)
{
    const support::Ended ended = support::runToEnd({"replay", "/dev/zero"});
    EXPECT_EQ(1, ended.status);
    EXPECT_NE(ended.err.find("/dev/zero"), std::string::npos) << ended.err;
}

TEST_F(Replay, AFileTooLargeForATraceIsNotRead)
{
    std::ofstream(file_).seekp(17 * 1024 * 1024).put('\n');
    const support::Ended ended = support::runToEnd({"replay", file_});
    EXPECT_EQ(1, ended.status);
    EXPECT_NE(ended.err.find("16777216"), std::string::npos) << ended.err;
}

}  // namespace
