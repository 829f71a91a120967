#include "camera/Explain.h"

#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using camera::Explanation;
using camera::KeyExplanation;
using camera::Why;

namespace {

camera::Schedule schedule(int current, int minutes)
{
    return {{{true, 8, 0, 18, 0}, {true, 18, 0, 22, 0}}, false, true, current, minutes};
}

TEST(Explain, AWindowHoldsUntilItsEnd)
{
    const Explanation explanation = camera::explain(schedule(0, 9 * 60));
    EXPECT_EQ(explanation.why, Why::window);
    EXPECT_EQ(explanation.untilMinutes, 18 * 60);
    EXPECT_EQ(explanation.next, 1);
}

TEST(Explain, TheNextChangeMayComeTomorrow)
{
    const Explanation explanation = camera::explain(schedule(2, 23 * 60));
    EXPECT_EQ(explanation.why, Why::noWindow);
    EXPECT_EQ(explanation.untilMinutes, 8 * 60);
    EXPECT_EQ(explanation.next, 0);
}

TEST(Explain, ASchemeChosenByHandStandsAgainstTheClock)
{
    EXPECT_EQ(camera::explain(schedule(1, 9 * 60)).why, Why::againstTheClock);
    camera::Schedule manual = schedule(1, 9 * 60);
    manual.automatic = false;
    EXPECT_EQ(camera::explain(manual).why, Why::manual);
    EXPECT_EQ(camera::explain(manual).untilMinutes, std::nullopt);
    EXPECT_EQ(camera::explain(schedule(-1, 0)).why, Why::notYet);
}

TEST(Explain, DayAndNightChooseOutsideTheWindowsOfALicencePlateCamera)
{
    camera::Schedule plates = schedule(1, 23 * 60);
    plates.byDayAndNight = true;
    EXPECT_EQ(camera::explain(plates).why, Why::dayOrNight);
    plates.currentScheme = 2;
    EXPECT_EQ(camera::explain(plates).why, Why::againstTheClock);
    plates.minutes = 21 * 60;
    plates.currentScheme = 1;
    EXPECT_EQ(camera::explain(plates).next, camera::kByDayAndNight);
}

TEST(Explain, OneSchemeAllDayHasNoNext)
{
    const Explanation explanation = camera::explain({{{true, 0, 0, 24, 0}}, false, true, 0, 60});
    EXPECT_EQ(explanation.untilMinutes, std::nullopt);
    EXPECT_EQ(explanation.next, -1);
    EXPECT_EQ(explanation.why, Why::window);
}

class ExplainKey : public CameraTest
{
};

TEST_F(ExplainKey, SaysWhereAValueComesFromAndWhatWouldChangeIt)
{
    bringUp();
    c().setValues(2, {{KEY_BRIGHTNESS, 71}});
    c().apply({{KEY_BRIGHTNESS, 61}});
    const KeyExplanation key = c().explainKey(KEY_BRIGHTNESS);
    EXPECT_EQ(key.source, KeyExplanation::Source::scheme);
    EXPECT_EQ(key.value, 61);
    EXPECT_EQ(key.saved, 50);
    EXPECT_EQ(key.factory, 50);
    EXPECT_EQ(key.onSensor, 61);
    EXPECT_EQ(key.inSchemes, (std::vector<std::optional<int>>{61, 50, 71, 50, 50}));
    EXPECT_FALSE(key.neverInBulk);
    ASSERT_TRUE(key.allowed);
    EXPECT_EQ(key.allowed->allowed.maximum, 100);
    EXPECT_EQ(key.scheme.scheme, 0);
}

TEST_F(ExplainKey, TellsKeysThatOnlyTheSensorOrNobodyKnows)
{
    bringUp();
    EXPECT_EQ(c().explainKey(KEY_SCHEME_ENABLE).onSensor, std::nullopt);
    EXPECT_TRUE(c().explainKey(KEY_ZOOM_IN).neverInBulk);
    EXPECT_FALSE(c().explainKey(KEY_SENSOR_FPS).neverInBulk);
    EXPECT_EQ(c().explainKey(999).source, KeyExplanation::Source::nowhere);
    const KeyExplanation zoom = c().explainKey(KEY_MZ_POSITION);
    EXPECT_EQ(zoom.source,
              c().schemeValue(0, KEY_MZ_POSITION) ? KeyExplanation::Source::scheme : KeyExplanation::Source::sensor);
}

TEST_F(ExplainKey, TellsTheFactoryValueOfTheSchemeInForce)
{
    bringUp();
    c().setMode(false);
    const auto factory = [this](int scheme) {
        c().setScheme(scheme);
        return c().explainKey(KEY_SCHEME_ENABLE).factory;
    };
    EXPECT_EQ(factory(0), 1);
    EXPECT_EQ(factory(1), 0);
    EXPECT_EQ(factory(c().schemeCount()), 0);
}

TEST_F(ExplainKey, TellsTheNightValuesOfALicencePlateCamera)
{
    bringUp("lpr");
    c().setMode(false);
    std::vector<std::optional<int>> before[2];
    const int keys[] = {KEY_SCHEME_ENABLE, KEY_DN_MODE,    KEY_MAX_SHUTTER,        KEY_METER_AREA,
                        KEY_IR_MODE,       KEY_BRIGHTNESS, KEY_IR_MANUAL_STRG_NEAR};
    for (const int scheme : {0, 1})
    {
        c().setScheme(scheme);
        for (const int key : keys)
        {
            before[scheme].push_back(c().explainKey(key).factory);
        }
    }
    EXPECT_EQ(before[1][2], 18);
    EXPECT_NE(before[0][2], 18);
    c().factoryReset();
    for (const int scheme : {0, 1})
    {
        for (std::size_t i = 0; i < std::size(keys); ++i)
        {
            EXPECT_EQ(before[scheme][i], c().schemeValue(scheme, keys[i])) << scheme << " " << keys[i];
        }
    }
}

}  // namespace
