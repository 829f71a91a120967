#include "services/daynight/LightTrace.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

using daynight::LightTrace;
using daynight::Played;
using host::Span;
using namespace std::chrono_literals;

constexpr std::optional<double> kNoLight;
constexpr char kPath[] = "/tmp/light";
constexpr char kOldPath[] = "/tmp/light.old";

std::string textOf(const char* path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<daynight::LightPoint> read(const std::string& text)
{
    std::istringstream in(text);
    return daynight::readTrace(in);
}

// ---- writing ---------------------------------------------------------------------------------------------------

class Recorder : public testing::Test
{
protected:
    Recorder() { clean(); }
    ~Recorder() override { clean(); }

    static void clean()
    {
        std::remove(kPath);
        std::remove(kOldPath);
    }

    bool record(Span now, std::optional<double> lux, bool lampsShine = false)
    {
        return trace_.record({now, 0, lux, lampsShine});
    }

    LightTrace trace_{kPath};
};

TEST_F(Recorder, WritesSecondsSinceTheFirstLuxAndLamps)
{
    EXPECT_TRUE(record(100s, 57.3));
    EXPECT_TRUE(record(101500ms, 0.25));
    EXPECT_TRUE(record(102s, 1e6, true));
    EXPECT_TRUE(record(103s, kNoLight));
    EXPECT_EQ("# seconds, lux on the sensor, lamps\n"
              "0.0 57.30 0\n"
              "1.5 0.25 0\n"
              "2.0 1000000.00 1\n"
              "3.0 - 0\n",
              textOf(kPath));
}

TEST_F(Recorder, WritesOnlyWhatHasChanged)
{
    record(0s, 100);
    EXPECT_TRUE(record(1s, 110)) << "nothing to write is no failure";
    record(2s, 90);
    EXPECT_EQ(1U, read(textOf(kPath)).size());
    record(3s, 110.1);
    record(4s, 110.1, true);
    record(5s, 110.1, true);
    record(6s, kNoLight, true);
    record(7s, std::nan(""), true);
    record(8s, 110.1, true);
    const auto points = read(textOf(kPath));
    ASSERT_EQ(5U, points.size());
    EXPECT_EQ(3s, points[1].time);
    EXPECT_EQ(4s, points[2].time);
    EXPECT_EQ(6s, points[3].time);
    EXPECT_EQ(8s, points[4].time);
}

TEST_F(Recorder, TheNoiseOfDarknessIsNoChange)
{
    record(0s, 0);
    record(1s, 0.1);
    EXPECT_EQ(1U, read(textOf(kPath)).size());
    record(2s, 0.11);
    EXPECT_EQ(2U, read(textOf(kPath)).size());
}

TEST_F(Recorder, WritesNowAndThenWithoutAChange)
{
    record(0s, 100);
    record(10min - 1us, 100);
    EXPECT_EQ(1U, read(textOf(kPath)).size());
    record(10min, 100);
    EXPECT_EQ(2U, read(textOf(kPath)).size());
    record(20min - 1us, 100);
    EXPECT_EQ(2U, read(textOf(kPath)).size());
}

TEST_F(Recorder, WritesNothingBeforeTheFirstRecordAndThenKeepsWhatWasThere)
{
    std::ofstream(kPath) << "before\n";
    std::ofstream(kOldPath) << "long before\n";
    {
        const LightTrace unused(kPath);
    }
    EXPECT_EQ("before\n", textOf(kPath));
    record(0s, 1);
    EXPECT_EQ("before\n", textOf(kOldPath));
    EXPECT_EQ(1U, read(textOf(kPath)).size());
}

TEST_F(Recorder, NeitherFileGrowsBeyondTheMost)
{
    LightTrace small(kPath, 92);  // a title and four lines
    for (int second = 0; second < 200; ++second)
    {
        ASSERT_TRUE(small.record({Span(1s) * second, 0, second % 2 == 0 ? 1.0 : 100.0, false}));
        ASSERT_LE(textOf(kPath).size(), 92U);
    }
    EXPECT_EQ(92U, textOf(kOldPath).size());
    auto points = read(textOf(kOldPath));
    const auto later = read(textOf(kPath));
    ASSERT_EQ(4U, points.size());
    points.insert(points.end(), later.begin(), later.end());
    EXPECT_EQ(199s, points.back().time);
    EXPECT_EQ(Span(1s) * (points.size() - 1), points.back().time - points.front().time) << "none is missing";
}

TEST_F(Recorder, FillsItsFilesToTheLastLineThatFits)
{
    for (std::size_t most = 80; most < 140; ++most)
    {
        LightTrace small(kPath, most);
        for (int second = 0; second < 50; ++second)
        {
            ASSERT_TRUE(small.record({Span(1s) * second, 0, second % 2 == 0 ? 1.0 : 100.0, false}));
        }
        const std::size_t size = textOf(kOldPath).size();
        EXPECT_LE(size, most);
        EXPECT_GT(size + std::string("49.0 100.00 0\n").size(), most);
    }
}

TEST_F(Recorder, AFailureIsToldAndTheNextChangeIsWrittenAgain)
{
    ASSERT_EQ(0, mkdir("/tmp/light", 0777));
    std::ofstream("/tmp/light/file");
    ASSERT_EQ(0, mkdir("/tmp/light.old", 0777));
    std::ofstream("/tmp/light.old/file");
    EXPECT_FALSE(record(0s, 1));
    EXPECT_FALSE(record(1s, 1)) << "still to be written";
    for (const char* path : {"/tmp/light/file", kPath, "/tmp/light.old/file", kOldPath})
    {
        std::remove(path);
    }
    EXPECT_TRUE(record(2s, 1));
    EXPECT_EQ("# seconds, lux on the sensor, lamps\n2.0 1.00 0\n", textOf(kPath));
}

// ---- reading ---------------------------------------------------------------------------------------------------

TEST(TraceReader, TakesWhatIsWrittenAndComments)
{
    const auto points = read("# of a street\n\n0 57.3 0\n  1.25\t-  1 # the lamps\r\n1.25 0 0\n");
    ASSERT_EQ(3U, points.size());
    EXPECT_EQ(0s, points[0].time);
    EXPECT_EQ(57.3, points[0].lux);
    EXPECT_FALSE(points[0].lampsShine);
    EXPECT_EQ(1250ms, points[1].time);
    EXPECT_EQ(kNoLight, points[1].lux);
    EXPECT_TRUE(points[1].lampsShine);
    EXPECT_EQ(0, points[2].lux);
    EXPECT_TRUE(read("").empty());
}

TEST(TraceReader, LeavesOutALastLineThatWasCutOff)
{
    EXPECT_EQ(1U, read("0 1 0\n1 100 0").size());
    EXPECT_EQ(1U, read("0 1 0\n1 1").size());
}

TEST(TraceReader, NamesTheLineThatItCannotRead)
{
    const std::string tooLong = "0 1 " + std::string(200, '0') + "\n";
    const std::pair<const char*, const char*> wrong[] = {
        {"0 1\n", "line 1: seconds, lux and lamps are expected"},
        {"0 1 0 0\n", "line 1: seconds, lux and lamps are expected"},
        {"#\nnow 1 0\n", "line 2: \"now\" are no seconds"},
        {"-1 1 0\n", "line 1: \"-1\" are no seconds"},
        {"1e12 1 0\n", "line 1: \"1e12\" are no seconds"},
        {"9 1 0\n31622410 1 0\n", "line 2: a year after the first"},
        {"3162240001 1 0\n", "line 1: later than a hundred years"},
        {tooLong.c_str(), "line 1: longer than any that holds a light"},
        {"0 1x 0\n", "line 1: \"1x\" is no light"},
        {"0 -1 0\n", "line 1: \"-1\" is no light"},
        {"0 nan 0\n", "line 1: \"nan\" is no light"},
        {"0 1 on\n", "line 1: \"on\" is neither 0 nor 1"},
        {"0 1 0\n2 1 0\n1.9 1 0\n", "line 3: the time goes back"},
    };
    for (const auto& [text, message] : wrong)
    {
        try
        {
            read(text);
            ADD_FAILURE() << text;
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_STREQ(message, error.what());
        }
    }
}

// ---- playing ---------------------------------------------------------------------------------------------------

// What an engine is shown, and what it answers.
struct Scripted
{
    daynight::Decision operator()(const daynight::Sample& sample)
    {
        samples.push_back(sample);
        const bool night = nights.size() > samples.size() - 1 && nights[samples.size() - 1];
        const bool lampsOff = dark.size() > samples.size() - 1 && dark[samples.size() - 1];
        return {night, lampsOff};
    }

    std::vector<bool> nights;
    std::vector<bool> dark;
    std::vector<daynight::Sample> samples;
};

std::vector<double> luxOf(const Scripted& engine)
{
    std::vector<double> lux;
    for (const daynight::Sample& sample : engine.samples)
    {
        lux.push_back(sample.lux.value_or(-1));
    }
    return lux;
}

TEST(TracePlayer, ShowsEverySecondAndHoldsTheLight)
{
    Scripted engine;
    daynight::Scene scene;
    scene.secondsOfDay = 86399;
    daynight::play(read("10 1 0\n12.5 2 0\n13 - 0\n15 4 0\n"), scene, std::ref(engine));
    EXPECT_EQ((std::vector<double>{1, 1, 1, -1, -1, 4}), luxOf(engine));
    EXPECT_EQ(10s, engine.samples.front().now);
    EXPECT_EQ(15s, engine.samples.back().now);
    EXPECT_EQ(86399, engine.samples.front().secondsOfDay) << "the scene's time is that of the first point";
    EXPECT_EQ(4, engine.samples.back().secondsOfDay);
}

TEST(TracePlayer, TheLastOfTwoPointsAtOneTimeCounts)
{
    Scripted engine;
    daynight::play(read("0 1 0\n0 2 0\n1 3 0\n1 4 0\n"), {}, std::ref(engine));
    EXPECT_EQ((std::vector<double>{2, 4}), luxOf(engine));
}

TEST(TracePlayer, OfNothingShowsNothing)
{
    Scripted engine;
    const Played played = daynight::play({}, {}, std::ref(engine));
    EXPECT_TRUE(engine.samples.empty());
    EXPECT_EQ(0U, played.movements);
}

TEST(TracePlayer, CountsChangesAndProofs)
{
    Scripted engine;
    engine.nights = {true, true, false, false, true, true, true, true};
    engine.dark = {true, true, false, false, true, false, true, false};
    const Played played = daynight::play(read("0 1 0\n7 1 0\n"), {}, std::ref(engine));
    EXPECT_EQ(2U, played.movements) << "the first decision is none";
    EXPECT_EQ(3U, played.proofs);
    EXPECT_TRUE(played.night);
}

TEST(TracePlayer, LampsFollowTheDecisionAndNotTheTrace)
{
    Scripted engine;
    engine.nights = {true, true, true, false, false};
    engine.dark = {false, true, false, false, false};
    daynight::Scene scene;
    scene.lampsLux = 50;
    daynight::play(read("0 70 1\n3 30 0\n4 20 1\n"), scene, std::ref(engine));
    EXPECT_EQ((std::vector<double>{20, 70, 20, 80, 0}), luxOf(engine));
    EXPECT_FALSE(engine.samples[0].lampsShine);
    EXPECT_TRUE(engine.samples[1].lampsShine);
    EXPECT_FALSE(engine.samples[2].lampsShine);
    EXPECT_TRUE(engine.samples[3].lampsShine);
}

TEST(TracePlayer, LampsMayTakeTheirTime)
{
    Scripted engine;
    engine.nights = {true, false, false, false, false};
    daynight::Scene scene;
    scene.lampsLux = 50;
    scene.delayOfLamps = 2s;
    daynight::play(read("0 1 0\n4 1 0\n"), scene, std::ref(engine));
    EXPECT_EQ((std::vector<double>{1, 1, 51, 1, 1}), luxOf(engine));
}

TEST(TracePlayer, LampsThatTheSensorDoesNotSeeDoNotShineForIt)
{
    Scripted engine;
    engine.nights = {true, true};
    daynight::play(read("0 5 1\n1 5 1\n"), {}, std::ref(engine));
    EXPECT_EQ((std::vector<double>{5, 5}), luxOf(engine));
    EXPECT_FALSE(engine.samples[1].lampsShine);
}

// ---- engines side by side --------------------------------------------------------------------------------------

// Switches as soon as the light is beyond a threshold.
class TwoThresholds
{
public:
    daynight::Decision operator()(const daynight::Sample& sample)
    {
        night_ = night_ ? *sample.lux <= 60 : *sample.lux < 20;
        return {night_, false};
    }

private:
    bool night_ = false;
};

// A trace by a formula, a line each second. None of them was measured.
std::string synthetic(int seconds, const std::function<double(int second)>& lux)
{
    std::ostringstream text;
    text << "# synthetic\n";
    for (int second = 0; second <= seconds; ++second)
    {
        text << second << ' ' << lux(second) << " 0\n";
    }
    return text.str();
}

struct SideBySide
{
    Played ours;
    Played plain;
};

SideBySide playBoth(const std::string& trace, const daynight::Scene& scene, Span delay)
{
    daynight::Settings settings;
    settings.delay = delay;
    daynight::Engine engine;
    const auto points = read(trace);
    const auto look = [&](const daynight::Sample& sample) { return engine.look(sample, settings); };
    const SideBySide played{daynight::play(points, scene, look), daynight::play(points, scene, TwoThresholds())};
    EXPECT_EQ(engine.movements(), played.ours.movements);
    return played;
}

// Half as light every 7 minutes; a cloud of 45 seconds every 3 minutes takes nine tenths of it.
double duskWithClouds(int second)
{
    return 1000 * std::exp2(-second / 420.0) * (second % 180 < 45 ? 0.1 : 1);
}

TEST(SyntheticTrace, DuskWithCloudsIsOneSwitch)
{
    const SideBySide played = playBoth(synthetic(2 * 3600, duskWithClouds), {}, 60s);
    EXPECT_EQ(1U, played.ours.movements);
    EXPECT_TRUE(played.ours.night);
    EXPECT_EQ(9U, played.plain.movements);
}

TEST(SyntheticTrace, DawnWithCloudsIsOneSwitch)
{
    const auto dawn = [](int second) { return duskWithClouds(2 * 3600 - second); };
    const SideBySide played = playBoth(synthetic(2 * 3600, dawn), {}, 60s);
    EXPECT_EQ(1U, played.ours.movements);
    EXPECT_FALSE(played.ours.night);
    EXPECT_EQ(9U, played.plain.movements);
}

TEST(SyntheticTrace, HeadlightsThatPassSwitchNothing)
{
    // A night of an hour, a car every two minutes.
    const auto cars = [](int second) { return second % 120 >= 60 && second % 120 < 68 ? 250.0 : 2.0; };
    const SideBySide played = playBoth(synthetic(3600, cars), {}, 10s);
    EXPECT_EQ(0U, played.ours.movements);
    EXPECT_EQ(60U, played.plain.movements);
}

TEST(SyntheticTrace, AStartInTheDarkIsNightFromTheFirstLook)
{
    const SideBySide played = playBoth(synthetic(600, [](int) { return 1.0; }), {}, 60s);
    EXPECT_EQ(0U, played.ours.movements);
    EXPECT_TRUE(played.ours.night);
    EXPECT_TRUE(played.plain.night);
}

TEST(SyntheticTrace, LampsAgainstAWallBlinkSeldomAndSwitchNothing)
{
    daynight::Scene wall;
    wall.lampsLux = 150;
    const SideBySide played = playBoth(synthetic(10 * 3600, [](int) { return 1.0; }), wall, 10s);
    EXPECT_EQ(0U, played.ours.movements);
    EXPECT_EQ(23U, played.ours.proofs);
    EXPECT_EQ(36000U, played.plain.movements);
}

TEST(SyntheticTrace, LampsAgainstAWallDoNotHideTheMorning)
{
    // Dark for three hours, then twice as light every five minutes.
    const auto morning = [](int second) { return std::exp2(std::max(0, second - 3 * 3600) / 300.0); };
    daynight::Scene wall;
    wall.lampsLux = 150;
    wall.delayOfLamps = 1s;
    const SideBySide played = playBoth(synthetic(4 * 3600, morning), wall, 10s);
    EXPECT_EQ(1U, played.ours.movements);
    EXPECT_FALSE(played.ours.night);
    // Above 60 lux after 29 min 33 s, while the next proof by the clock was 20 minutes away.
    const auto untilDay = [&](int seconds) { return playBoth(synthetic(seconds, morning), wall, 10s).ours; };
    EXPECT_TRUE(untilDay(3 * 3600 + 1773 + 12).night);
    EXPECT_FALSE(untilDay(3 * 3600 + 1773 + 16).night);
    EXPECT_EQ(untilDay(3 * 3600 + 1500).proofs + 1, played.ours.proofs);
}

}  // namespace
