#include "camera/Trials.h"

#include <future>
#include <thread>

#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using camera::Event;
using camera::TrialResult;
using camera::TrialState;
using namespace std::chrono_literals;

namespace {

class CameraTrials : public CameraTest
{
protected:
    void begin(const std::string& model = "fixed")
    {
        bringUp(model);
        c().setMode(false);
        c().setScheme(0);
        listen();
    }

    void TearDown() override
    {
        if (camera_)
        {
            c().events().unsubscribe(subscription_);
        }
        CameraTest::TearDown();
    }

    void listen()
    {
        subscription_ = c().events().subscribe([this](const Event& event) {
            if (event.kind == Event::Kind::trial)
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                states_.push_back(event.trialState);
                notTakenBack_ = event.notTakenBack;
            }
        });
    }

    // Of all trials since the last call.
    std::vector<TrialState> takeStates()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(states_, {});
    }

    static void refuseNext(std::optional<ia_cmd_e> command, unsigned count)
    {
        services::FailureRule rule;
        rule.cmd = command;
        rule.opt = IA_CMD_OPT_SET;
        rule.count = count;
        failures().add(rule);
    }

    unsigned tried(const std::vector<camera::Value>& values)
    {
        const TrialResult result = c().tryOut(values);
        EXPECT_TRUE(result.trial.has_value());
        return result.trial ? result.trial->id : 0;
    }

    // On the clock, and the camera's thread has looked.
    void pass(std::chrono::milliseconds span)
    {
        ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));
        clock_->advance(span);
        ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));
    }

    using States = std::vector<TrialState>;

    std::mutex mutex_;
    std::vector<TrialState> states_;
    std::vector<int> notTakenBack_;  // of the last
    int subscription_ = 0;
};

TEST(Trials, WhatIsLeftOfALeaseGrowsAndShrinksWithIt)
{
    camera::Trials trials(15s);
    const unsigned id = trials.put({}, 0s).id;
    trials.setLease(30s, 5s);
    EXPECT_TRUE(trials.takeExpired(24s).empty());
    EXPECT_EQ(trials.find(id)->until, 25s);
    trials.setLease(3s, 15s);
    EXPECT_EQ(trials.find(id)->until, 16s);
    EXPECT_EQ(trials.hold(id, 15s)->until, 18s);
    EXPECT_FALSE(trials.hold(id, 18s).has_value());
    EXPECT_EQ(trials.takeExpired(18s).size(), 1u);
    EXPECT_FALSE(trials.find(id).has_value());
}

TEST_F(CameraTrials, ATrialIsOnTheSensorAndInNoScheme)
{
    begin();
    const camera::Acting acting("ann");
    const TrialResult result = c().tryOut({{KEY_BRIGHTNESS, 61}});
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 50);
    ASSERT_TRUE(result.trial.has_value());
    EXPECT_EQ(result.trial->by, "ann");
    EXPECT_EQ(result.trial->left, 15s);
    ASSERT_EQ(c().trials().size(), 1u);
    EXPECT_EQ(c().trials()[0].id, result.trial->id);
    EXPECT_EQ(takeStates(), (States{TrialState::begun}));
}

TEST_F(CameraTrials, OneThatIsUndoneLeavesTheSensorAsRemembered)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}});
    EXPECT_EQ(c().undoTrial(trial), std::vector<int>());
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 50);
    EXPECT_TRUE(c().trials().empty());
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::undone}));
    EXPECT_FALSE(c().undoTrial(trial).has_value());
    EXPECT_FALSE(c().keepTrial(trial).has_value());
    EXPECT_FALSE(c().holdTrial(trial).has_value());
}

TEST_F(CameraTrials, OneThatIsKeptIsRemembered)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}});
    EXPECT_TRUE(c().keepTrial(trial)->ok());
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 61);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_TRUE(c().trials().empty());
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::kept}));
}

TEST_F(CameraTrials, WhatIsRefusedWhenATrialIsKeptIsAsRememberedAgain)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}, {KEY_SATURATION, 63}});
    services::FailureRule rule;
    rule.cmd = IA_CMD_CONTRAST;
    rule.opt = IA_CMD_OPT_SET;
    rule.count = 1;
    failures().add(rule);
    EXPECT_FALSE(c().keepTrial(trial)->ok());
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 50);
    EXPECT_EQ(applied(IA_CMD_SATURATION), 50);
    EXPECT_TRUE(c().trials().empty());
}

TEST_F(CameraTrials, OneWhoseHolderIsNotHeardEndsAfterFifteenSeconds)
{
    begin();
    tried({{KEY_BRIGHTNESS, 61}});
    pass(14999ms);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    pass(1s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_TRUE(c().trials().empty());
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::expired}));
}

TEST_F(CameraTrials, ASignOfLifeAndAFurtherValueGiveFifteenSecondsMore)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}});
    pass(10s);
    EXPECT_EQ(c().holdTrial(trial)->left, 15s);
    pass(10s);
    EXPECT_EQ(c().tryOut({{KEY_CONTRAST, 62}, {KEY_BRIGHTNESS, 70}}, trial).trial->values.size(), 2u);
    pass(10s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 70);
    pass(10s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 50);
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::expired}));
}

// While another one is taken back from a device that takes its time.
TEST_F(CameraTrials, OneThatIsHeldWhileAnotherEndsGoesOn)
{
    begin();
    tried({{KEY_BRIGHTNESS, 61}});
    pass(1s);
    const unsigned held = tried({{KEY_CONTRAST, 62}});
    pass(13s);
    failures().setBeforeCall([this, held, isFirst = true](ia_cmd_e command, int opt, const void*) mutable {
        if (isFirst && command == IA_CMD_BRIGHTNESS && opt == IA_CMD_OPT_SET)
        {
            isFirst = false;
            EXPECT_TRUE(c().holdTrial(held).has_value());
            clock_->advance(2s);
        }
    });
    pass(1s);
    failures().setBeforeCall(nullptr);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 62);
    EXPECT_EQ(c().trials().size(), 1u);
}

TEST_F(CameraTrials, OneIsHeldAndListedWhileTheDeviceDoesNotAnswer)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}});
    std::promise<void> called;
    std::promise<void> answers;
    failures().setBeforeCall([&, isFirst = true](ia_cmd_e command, int opt, const void*) mutable {
        if (isFirst && command == IA_CMD_CONTRAST && opt == IA_CMD_OPT_SET)
        {
            isFirst = false;
            called.set_value();
            answers.get_future().wait();
        }
    });
    std::thread other([this] { c().apply({{KEY_CONTRAST, 62}}); });
    called.get_future().wait();
    EXPECT_TRUE(c().holdTrial(trial).has_value());
    EXPECT_EQ(c().trials().size(), 1u);
    answers.set_value();
    other.join();
    failures().setBeforeCall(nullptr);
}

TEST_F(CameraTrials, NobodyKeepsATrialWhoseTimeIsOver)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}});
    clock_->advance(15s);
    EXPECT_FALSE(c().holdTrial(trial).has_value());
    EXPECT_FALSE(c().keepTrial(trial).has_value());
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().tryOut({{KEY_BRIGHTNESS, 62}}, trial).kind, TrialResult::Kind::noTrial);
}

TEST_F(CameraTrials, AKeyIsInOneTrialAtATime)
{
    begin();
    const unsigned first = tried({{KEY_BRIGHTNESS, 61}});
    const TrialResult second = c().tryOut({{KEY_CONTRAST, 70}, {KEY_BRIGHTNESS, 62}});
    EXPECT_EQ(second.kind, TrialResult::Kind::keyTaken);
    EXPECT_EQ(second.taken->key, KEY_BRIGHTNESS);
    EXPECT_EQ(second.taken->trial, first);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 50);
    EXPECT_NE(tried({{KEY_CONTRAST, 62}}), first);
}

TEST_F(CameraTrials, AKeyThatIsSetToStayLeavesItsTrial)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}});
    c().apply({{KEY_BRIGHTNESS, 70}});
    EXPECT_EQ(c().holdTrial(trial)->values.size(), 1u);
    c().apply({{KEY_CONTRAST, 50}});
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 50) << "which the scheme held already";
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::overtaken}));
    pass(16s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 70);
}

TEST_F(CameraTrials, AKeyThatIsStoredInTheSchemeInForceLeavesItsTrial)
{
    begin();
    tried({{KEY_BRIGHTNESS, 61}});
    c().setValues(1, {{KEY_BRIGHTNESS, 50}});
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    c().setValues(0, {{KEY_BRIGHTNESS, 50}});
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_TRUE(c().trials().empty());
}

TEST_F(CameraTrials, AKeyThatIsSentAgainLeavesItsTrial)
{
    begin();
    tried({{KEY_BRIGHTNESS, 61}});
    c().restore(KEY_BRIGHTNESS);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::overtaken}));
}

TEST_F(CameraTrials, SavingLeavesATrialAsItIsAndSavesWhatIsRemembered)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}});
    c().save();
    EXPECT_EQ(c().explainKey(KEY_BRIGHTNESS).saved, 50);
    EXPECT_TRUE(c().holdTrial(trial).has_value());
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
}

TEST_F(CameraTrials, AReloadEndsTrials)
{
    begin();
    c().apply({{KEY_CONTRAST, 70}});
    tried({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}});
    c().reload();
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 50);
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::reloaded}));
}

TEST_F(CameraTrials, AFactoryResetEndsTrials)
{
    begin();
    tried({{KEY_BRIGHTNESS, 61}});
    c().factoryReset();
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::reset}));
}

TEST_F(CameraTrials, AnotherSchemeByHandEndsTrialsAndTheSameOneDoesNot)
{
    begin();
    c().setValues(1, {{KEY_CONTRAST, 70}});
    tried({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}});
    c().setScheme(0);
    EXPECT_EQ(c().trials().size(), 1u);
    c().setScheme(1);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50) << "which both schemes hold, so that no switch would send it";
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 70);
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::schemeChanged}));
}

TEST_F(CameraTrials, AnotherSchemeByTheClockEndsTrials)
{
    bringUp();
    c().setWindow(0, {true, 0, 0, 13, 0});
    c().setWindow(1, {true, 13, 0, 24, 0});
    turnAt(12, 0);
    ASSERT_EQ(c().currentScheme(), 0);
    listen();
    tried({{KEY_BRIGHTNESS, 61}});
    turnAt(13, 0);
    ASSERT_EQ(c().currentScheme(), 1);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::schemeChanged}));
}

TEST_F(CameraTrials, TheCamerasEndUndoesTrials)
{
    begin();
    tried({{KEY_BRIGHTNESS, 61}});
    c().events().unsubscribe(subscription_);
    camera_.reset();
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
}

TEST_F(CameraTrials, NothingThatWasAppliedIsNoTrial)
{
    begin();
    const TrialResult result = c().tryOut({{KEY_BRIGHTNESS, 300}});
    EXPECT_FALSE(result.result.ok());
    EXPECT_FALSE(result.trial.has_value());
    EXPECT_EQ(takeStates(), States());
}

TEST_F(CameraTrials, WhatCameBeforeARefusedValueIsOnTrial)
{
    begin();
    const TrialResult result = c().tryOut({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 300}});
    EXPECT_FALSE(result.result.ok());
    ASSERT_EQ(result.trial->values.size(), 1u);
    c().undoTrial(result.trial->id);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
}

TEST_F(CameraTrials, AnUndoThatTheDeviceRefusesNamesTheKey)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}});
    services::FailureRule rule;
    rule.cmd = IA_CMD_BRIGHTNESS;
    failures().add(rule);
    EXPECT_EQ(c().undoTrial(trial), std::vector<int>{KEY_BRIGHTNESS});
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 50);
}

TEST_F(CameraTrials, WhatTheSchemeDoesNotKeepGoesBackToWhatTheSensorHeld)
{
    begin();
    ASSERT_FALSE(c().schemeValue(0, KEY_MZOOM_SPEED).has_value());
    const int before = *c().peek(KEY_MZOOM_SPEED);
    const unsigned trial = tried({{KEY_MZOOM_SPEED, before + 1}});
    c().tryOut({{KEY_MZOOM_SPEED, before + 2}}, trial);
    EXPECT_EQ(c().peek(KEY_MZOOM_SPEED), before + 2);
    c().undoTrial(trial);
    EXPECT_EQ(c().peek(KEY_MZOOM_SPEED), before);
}

TEST_F(CameraTrials, ALensPositionIsNoPartOfATrial)
{
    begin("lpr");
    const TrialResult result = c().tryOut({{KEY_MZ_POSITION, 20000}, {KEY_BRIGHTNESS, 61}});
    EXPECT_TRUE(result.result.ok());
    ASSERT_EQ(result.trial->values.size(), 1u);
    EXPECT_EQ(result.trial->values[0].key, KEY_BRIGHTNESS);
}

TEST_F(CameraTrials, OneThatTheDeviceDoesNotTakeBackIsSentAgainUntilItDoes)
{
    begin();
    tried({{KEY_BRIGHTNESS, 61}});
    refuseNext(IA_CMD_BRIGHTNESS, 2);
    pass(15s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_EQ(takeStates(), (States{TrialState::begun, TrialState::expired}));
    EXPECT_EQ(notTakenBack_, std::vector<int>{KEY_BRIGHTNESS});
    pass(1s);
    pass(1s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    const int sets = setCalls();
    pass(1s);
    EXPECT_EQ(setCalls(), sets);
}

TEST_F(CameraTrials, WhatIsNotTakenBackIsNotSentAgainOnceSomebodySetOrTriesIt)
{
    begin();
    const int before = *c().peek(KEY_MZOOM_SPEED);
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}, {KEY_MZOOM_SPEED, before + 1}});
    refuseNext(std::nullopt, 3);
    EXPECT_EQ(c().undoTrial(trial)->size(), 3u);
    c().apply({{KEY_BRIGHTNESS, 70}});
    const unsigned other = tried({{KEY_CONTRAST, 71}, {KEY_MZOOM_SPEED, before + 2}});
    pass(1s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 70);
    EXPECT_EQ(applied(IA_CMD_CONTRAST), 71);
    c().undoTrial(other);
    EXPECT_EQ(c().peek(KEY_MZOOM_SPEED), before);
}

TEST_F(CameraTrials, WhatAKeptTrialDidNotReachIsSentAgainToo)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}});
    refuseNext(IA_CMD_BRIGHTNESS, 2);
    EXPECT_FALSE(c().keepTrial(trial)->ok());
    EXPECT_EQ(notTakenBack_, std::vector<int>{KEY_BRIGHTNESS});
    pass(1s);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
}

TEST_F(CameraTrials, AKeyThatDoesNotGoBackToTheRememberedValueIsRefusedAndStaysOnTrial)
{
    begin();
    const unsigned trial = tried({{KEY_BRIGHTNESS, 61}});
    refuseNext(IA_CMD_BRIGHTNESS, 2);
    const camera::ApplyResult result = c().apply({{KEY_BRIGHTNESS, 50}});
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(result.refused, 0u);
    EXPECT_EQ(outcomes(result), std::vector<camera::Outcome>{camera::Outcome::refused});
    EXPECT_EQ(result.keys[0].status, -1);
    ASSERT_EQ(result.refusals.size(), 1u);
    EXPECT_EQ(result.refusals[0].status, -1);
    EXPECT_EQ(c().setValues(0, {{KEY_BRIGHTNESS, 50}}).stored, camera::Stored::sensorRefused);
    EXPECT_TRUE(c().holdTrial(trial).has_value());
    EXPECT_TRUE(c().apply({{KEY_BRIGHTNESS, 50}}).ok());
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
    EXPECT_FALSE(c().holdTrial(trial).has_value());
}

TEST_F(CameraTrials, AStepOfTheCentreIsNoPartOfATrial)
{
    begin("lpr");
    EXPECT_FALSE(c().tryOut({{KEY_CAP_OFF_ADJ_DIRECTION, 1}}).trial.has_value());
}

TEST_F(CameraTrials, ATurnHoldsOtherChangesOffAndTellsWhatHappenedBefore)
{
    begin();
    std::thread other;
    {
        const camera::Camera::Turn turn(c());
        other = std::thread([this] { c().apply({{KEY_BRIGHTNESS, 61}}); });
        c().apply({{KEY_CONTRAST, 62}});
        EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 50);
    }
    other.join();
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 61);
}

}  // namespace
