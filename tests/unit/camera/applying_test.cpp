#include <future>

#include "SensorFlags.h"
#include "camera/KeyNames.h"
#include "camera/SchemeFile.h"
#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using camera::Outcome;
using Outcomes = std::vector<camera::Outcome>;

namespace {

class CameraApplying : public CameraTest
{
protected:
    void begin()
    {
        bringUp();
        c().setMode(false);
        c().setScheme(0);
    }
};

TEST_F(CameraApplying, EveryKeyLearnsWhatBecameOfIt)
{
    begin();
    const int contrast = *c().peek(KEY_CONTRAST);
    const camera::ApplyResult result = c().apply({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, contrast}});
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(outcomes(result), (Outcomes{Outcome::applied, Outcome::unchanged}));
    EXPECT_EQ(result.keys[0].before, 50);
    EXPECT_EQ(result.keys[0].now, 61);
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 61);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
}

TEST_F(CameraApplying, TheFirstRefusedKeyEndsTheListAndSaysWhatIsAllowed)
{
    begin();
    const camera::ApplyResult result = c().apply({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 300}, {KEY_SATURATION, 40}});
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(outcomes(result), (Outcomes{Outcome::applied, Outcome::refused, Outcome::notReached}));
    EXPECT_EQ(result.refused, 1u);
    EXPECT_EQ(result.keys[1].status, services::kOutOfRange);
    ASSERT_TRUE(result.keys[1].allowed);
    EXPECT_EQ(result.keys[1].allowed->allowed.maximum, 100);
    EXPECT_EQ(result.keys[1].now, result.keys[1].before);
}

TEST_F(CameraApplying, WhatTheDeviceRefusesAndTheLibraryStoresAllTheSameIsHeldBack)
{
    begin();
    const int before = *c().peek(KEY_CAP_OFF_ADJ_DIRECTION);
    services::FailureRule rule;
    rule.cmd = IA_CMD_CAP_OFF_ADJ_DIRECTION;
    rule.opt = IA_CMD_OPT_SET;
    rule.status = services::kLensBusy;
    failures().add(rule);
    const camera::ApplyResult result = c().apply({{KEY_CAP_OFF_ADJ_DIRECTION, before == 0 ? 1 : 0}});
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(outcomes(result), Outcomes{Outcome::heldBack});
    EXPECT_EQ(result.keys[0].status, services::kLensBusy);
    EXPECT_TRUE(result.keys[0].allowed);
}

TEST_F(CameraApplying, TheLibraryIsGivenThePairsAsText)
{
    begin();
    setDebug(6);
    c().apply({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}});
    const std::string pairs =
        "((" + std::to_string(KEY_BRIGHTNESS) + ",61)(" + std::to_string(KEY_CONTRAST) + ",62))\n";
    EXPECT_NE(quiet_.take().find("1111111111" + pairs), std::string::npos);
    c().apply({{KEY_BRIGHTNESS, 63}}, "as it was typed");
    EXPECT_NE(quiet_.take().find("1111111111(as it was typed)\n"), std::string::npos);
}

TEST_F(CameraApplying, AKeyThatIsAskedForTwiceIsJudgedTwice)
{
    begin();
    const camera::ApplyResult result =
        c().apply({{KEY_BRIGHTNESS, 61}, {KEY_BRIGHTNESS, 61}, {KEY_BRIGHTNESS, 300}, {KEY_BRIGHTNESS, 62}});
    EXPECT_EQ(outcomes(result),
              (Outcomes{Outcome::applied, Outcome::unchanged, Outcome::refused, Outcome::notReached}));
}

TEST_F(CameraApplying, WideDynamicRangeIsCorrectedWhereItIsNotOffered)
{
    begin();
    c().apply({{KEY_WDR_MODE, 1}});
    setshowWDRFalg(false);
    const camera::ApplyResult planned = c().wouldApply({{KEY_WDR_MODE, 2}});
    const camera::ApplyResult result = c().apply({{KEY_WDR_MODE, 2}});
    setshowWDRFalg(true);
    EXPECT_EQ(outcomes(result), Outcomes{Outcome::corrected});
    EXPECT_EQ(result.keys[0].now, 0);
    EXPECT_EQ(outcomes(planned), outcomes(result));
    EXPECT_EQ(planned.keys[0].now, 0);
}

TEST_F(CameraApplying, TheDefaultSchemeRemembersNothing)
{
    begin();
    c().setScheme(c().schemeCount());
    const camera::ApplyResult result = c().apply({{KEY_BRIGHTNESS, 61}});
    EXPECT_FALSE(result.schemeKeepsValues);
    EXPECT_EQ(outcomes(result), Outcomes{Outcome::notRemembered});
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_EQ(c().schemeValue(c().schemeCount(), KEY_BRIGHTNESS), 50);
}

TEST_F(CameraApplying, ATrialIsSentAndNotRemembered)
{
    begin();
    const camera::ApplyResult result = c().tryOut({{KEY_BRIGHTNESS, 61}, {KEY_SCHEME_START_HOUR, 7}}).result;
    EXPECT_EQ(outcomes(result), (Outcomes{Outcome::notRemembered, Outcome::unchanged}));
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().schemeValue(0, KEY_SCHEME_START_HOUR), 0);
    EXPECT_EQ(c().restore(KEY_BRIGHTNESS).kind, camera::RestoreResult::Kind::sent);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
}

TEST_F(CameraApplying, ADryRunAnswersTheSameAndSendsNothing)
{
    begin();
    const std::vector<camera::Value> lists[] = {
        {{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 50}, {KEY_SCHEME_START_HOUR, 7}},
        {{KEY_BRIGHTNESS, 62}, {KEY_BRIGHTNESS, 62}, {KEY_CONTRAST, 101}, {KEY_SATURATION, 1}},
        {{999999, 1}, {KEY_BRIGHTNESS, 63}},
        {{KEY_BRIGHTNESS, 64}, {KEY_SCHEME_START_MIN, 75}, {KEY_CONTRAST, 51}},
    };
    for (const std::vector<camera::Value>& list : lists)
    {
        const std::optional<int> held = c().peek(KEY_BRIGHTNESS);
        journal().clearCalls();
        const camera::ApplyResult planned = c().wouldApply(list);
        EXPECT_EQ(setCalls(), 0);
        EXPECT_EQ(c().peek(KEY_BRIGHTNESS), held);
        const camera::ApplyResult done = c().apply(list);
        EXPECT_EQ(outcomes(planned), outcomes(done));
        EXPECT_EQ(planned.refused, done.refused);
        EXPECT_EQ(planned.ok(), done.ok());
        for (std::size_t i = 0; i < done.keys.size(); ++i)
        {
            EXPECT_EQ(planned.keys[i].allowed.has_value(), done.keys[i].allowed.has_value()) << done.keys[i].key;
        }
    }
}

TEST_F(CameraApplying, APartThatNoWindowCanHaveEndsTheList)
{
    begin();
    const camera::ApplyResult result = c().apply({{KEY_BRIGHTNESS, 61}, {KEY_SCHEME_START_MIN, 75}});
    EXPECT_EQ(outcomes(result), (Outcomes{Outcome::applied, Outcome::refused}));
    EXPECT_EQ(result.refusedKey, KEY_SCHEME_START_MIN);
    EXPECT_EQ(result.keys[1].status, services::kOutOfRange);
    ASSERT_TRUE(result.keys[1].allowed);
    EXPECT_EQ(result.keys[1].allowed->allowed.maximum, 59);
    EXPECT_EQ(c().schemeValue(0, KEY_SCHEME_START_MIN), 0);
    EXPECT_EQ(c().apply({{KEY_SCHEME_END_HOUR, 24}, {KEY_SCHEME_END_MIN, 59}}).refused, std::nullopt);
    EXPECT_EQ(c().apply({{KEY_SCHEME_START_HOUR, 25}, {KEY_BRIGHTNESS, 62}}).refused, 0u);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
}

// The window comes from a scheme file that another program wrote.
TEST_F(CameraApplying, APartThatIsHeldAlreadyIsUnchangedWhateverItIs)
{
    installModel("fixed");
    start();
    std::vector<KeyVal> records = camera::readSchemeFile(0);
    ASSERT_EQ(records.at(2).key, static_cast<u32>(KEY_SCHEME_START_MIN));
    records[2].value = 75;
    ASSERT_TRUE(camera::writeSchemeFile(0, records));
    start();
    c().setMode(false);
    c().setScheme(0);
    EXPECT_EQ(outcomes(c().apply({{KEY_SCHEME_START_MIN, 75}})), Outcomes{Outcome::unchanged});
}

TEST_F(CameraApplying, NothingBeyondTheToldLimitsOfAnyKeyIsTaken)
{
    begin();
    for (const camera::KeyName& row : camera::keyNames())
    {
        const auto limits = camera::limitsOfKey(c().service(), row.key);
        if (!limits)
        {
            continue;
        }
        for (const int value : {limits->allowed.minimum - 1, limits->allowed.maximum + 1})
        {
            const Outcome outcome = c().apply({{row.key, value}}).keys.at(0).outcome;
            EXPECT_EQ(outcome, row.refusalIsPassedOver ? Outcome::heldBack : Outcome::refused) << row.name << value;
        }
    }
}

TEST_F(CameraApplying, TheFactoryValueIsWhatAResetWouldMakeOfAKey)
{
    begin();
    c().apply({{KEY_BRIGHTNESS, 61}});
    c().save();
    EXPECT_EQ(c().factoryValue(KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().factoryValue(KEY_SCHEME_END_HOUR), 24);
    EXPECT_EQ(c().factoryValue(KEY_SCHEME_ENABLE), 1) << "of scheme 0, which a reset enables";
    EXPECT_EQ(c().factoryValue(999999), std::nullopt);
    EXPECT_EQ(outcomes(c().apply({{KEY_BRIGHTNESS, *c().factoryValue(KEY_BRIGHTNESS)}})), Outcomes{Outcome::applied});
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
}

TEST_F(CameraApplying, MoreThanTheLibraryTakesAtOnceIsNotApplied)
{
    begin();
    const std::size_t most = camera::readSchemeFile(0).size();
    const std::vector<camera::Value> many(most + 1, {KEY_BRIGHTNESS, 61});
    EXPECT_EQ(c().apply(many).tooMany, most);
    EXPECT_EQ(c().wouldApply(many).tooMany, most);
    for (int scheme = 1; scheme < c().schemeCount(); ++scheme)
    {
        removeFile(schemeFile(scheme));  // the first one's records count
    }
    EXPECT_EQ(c().wouldApply(many).tooMany, most);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
}

TEST_F(CameraApplying, AOneShotDuringASwitchIsIgnored)
{
    bringUp();
    c().setWindow(0, {false, 0, 0, 24, 0});
    c().setValues(1, {{KEY_BRIGHTNESS, 70}});
    c().setWindow(1, {true, 14, 0, 15, 0});
    turnAt(13, 0);
    std::promise<void> reached;
    std::promise<void> go;
    std::shared_future<void> released = go.get_future().share();
    std::atomic<bool> first{true};
    failures().setBeforeCall([&](ia_cmd_e, int opt, const void*) {
        if (opt == IA_CMD_OPT_SET && first.exchange(false))
        {
            reached.set_value();
            released.wait();
        }
    });
    ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));
    clock_->setTimeOfDay(14, 0);
    clock_->advance(std::chrono::seconds(1));
    ASSERT_EQ(reached.get_future().wait_for(kBound), std::future_status::ready);
    const camera::ApplyResult result = c().apply({{KEY_AUTO_FOCUS_ONCE, 1}});
    go.set_value();
    EXPECT_EQ(outcomes(result), Outcomes{Outcome::ignoredInBulk});
    EXPECT_TRUE(clock_->waitForSleepers(kSleepers, kBound));  // the switch is over and needs none of the above
}

TEST_F(CameraApplying, RestoringSaysWhyItCouldNotBeDone)
{
    begin();
    EXPECT_EQ(c().restore(999999).kind, camera::RestoreResult::Kind::notHeld);
    services::FailureRule rule;
    rule.cmd = IA_CMD_BRIGHTNESS;
    rule.status = services::kLensBusy;
    failures().add(rule);
    const camera::RestoreResult result = c().restore(KEY_BRIGHTNESS);
    EXPECT_EQ(result.kind, camera::RestoreResult::Kind::refused);
    EXPECT_EQ(result.status, services::kLensBusy);
}

}  // namespace
