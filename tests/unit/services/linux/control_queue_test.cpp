#include "services/linux/ControlQueue.h"

#include <cerrno>

#include "tests/unit/services/linux/QueueTest.h"

namespace {

using namespace std::chrono_literals;
using devices::ControlEvent;
using devices::ControlQueue;
using devices::ControlState;
using devices::Instant;
using devices::Others;
using devices::Setting;

constexpr u32 kManual = V4L2_EXPOSURE_MANUAL;
constexpr u32 kAutomatic = V4L2_EXPOSURE_APERTURE_PRIORITY;

class ControlQueueTest : public support::QueueTest
{
protected:
    explicit ControlQueueTest(Others others = Others::putBack) : QueueTest(support::webcam(), others) {}

    // The device has what it tells.
    void hear(ControlEvent::Kind kind, u32 id, std::int64_t value = 0)
    {
        queue_.heard({kind, id, value, {}}, now_);
        while (const std::optional<u32> look = queue_.look(now_))
        {
            EXPECT_TRUE(queue_.looked(*look, 0, value, now_));
        }
    }

    // Another set 20, then came what is wished; then the first is told.
    void hearLate(u32 id, std::int64_t wished)
    {
        queue_.wish({{id, wished}});
        sendAll();
        queue_.news(now_);
        queue_.heard({ControlEvent::Kind::changed, id, 20, {}}, now_);
        expectNothing();
        EXPECT_EQ(Instant{}, queue_.due());
        EXPECT_EQ(id, queue_.look(now_));
        EXPECT_TRUE(queue_.looked(id, 0, wished, now_));
        expectNothing();
        EXPECT_EQ(std::nullopt, queue_.due());
        EXPECT_TRUE(queue_.news(now_).empty());
        EXPECT_EQ(ControlState::applied, stateOf(id));
        EXPECT_EQ(wished, queue_.report(id, now_).wished);
    }

    // All that is next, whatever it is; without errors.
    void sendAll()
    {
        for (Settings sent = queue_.next(now_); !sent.empty(); sent = queue_.next(now_))
        {
            queue_.done(0, sent, now_);
        }
    }
};

TEST_F(ControlQueueTest, SendsWhatIsWishedOnce)
{
    queue_.wish({{kBrightness, 10}});
    EXPECT_EQ(ControlState::waiting, stateOf(kBrightness));
    expectSent({{kBrightness, 10}});
    EXPECT_EQ(ControlState::applied, stateOf(kBrightness));
    queue_.wish({{kBrightness, 10}});
    expectNothing();
    EXPECT_EQ(std::nullopt, queue_.due());
}

TEST_F(ControlQueueTest, OfSeveralWishesTheNewestIsSent)
{
    queue_.wish({{kBrightness, 10}});
    queue_.wish({{kBrightness, 11}});
    queue_.wish({{kBrightness, 12}});
    expectSent({{kBrightness, 12}});
    expectNothing();
}

TEST_F(ControlQueueTest, AWishDuringACallIsSentAfterIt)
{
    queue_.wish({{kBrightness, 10}});
    const Settings sent = queue_.next(now_);
    queue_.wish({{kBrightness, 11}, {kContrast, 5}});
    EXPECT_TRUE(queue_.next(now_).empty()) << "one call at a time";
    queue_.done(0, sent, now_);
    EXPECT_EQ(ControlState::waiting, stateOf(kBrightness));
    expectSent({{kBrightness, 11}});
    expectSent({{kContrast, 5}});
}

TEST_F(ControlQueueTest, AWishThatIsTakenBackDuringACallIsSentAgain)
{
    queue_.wish({{kBrightness, 10}});
    expectSent({{kBrightness, 10}});
    queue_.wish({{kBrightness, 11}});
    const Settings sent = queue_.next(now_);
    queue_.wish({{kBrightness, 10}});
    queue_.done(0, sent, now_);
    expectSent({{kBrightness, 10}});
}

TEST_F(ControlQueueTest, AnAutomaticAndItsManualValueGoTogetherAndTheAutomaticFirst)
{
    queue_.wish({{kTime, 50}, {kBrightness, 3}, {kMode, kManual}});
    expectSent({{kMode, kManual}, {kTime, 50}});
    expectSent({{kBrightness, 3}});
    expectNothing();
}

TEST_F(ControlQueueTest, AManualValueIsNotEvenTriedWhileItsAutomaticIsOn)
{
    queue_.wish({{kMode, kAutomatic}, {kTime, 50}});
    expectSent({{kMode, kAutomatic}});
    EXPECT_EQ(ControlState::held, stateOf(kTime));
    expectNothing();
    EXPECT_EQ(std::nullopt, queue_.due());
    queue_.wish({{kMode, kManual}});
    expectSent({{kMode, kManual}, {kTime, 50}});
    EXPECT_EQ(ControlState::applied, stateOf(kTime));
}

TEST_F(ControlQueueTest, AManualValueIsSentAgainWhenItsAutomaticHasBeenOn)
{
    queue_.wish({{kMode, kManual}, {kTime, 50}});
    expectSent({{kMode, kManual}, {kTime, 50}});
    queue_.wish({{kMode, kAutomatic}});
    expectSent({{kMode, kAutomatic}});
    EXPECT_EQ(ControlState::held, stateOf(kTime));
    expectNothing();
    queue_.wish({{kMode, kManual}});
    expectSent({{kMode, kManual}, {kTime, 50}});
}

TEST_F(ControlQueueTest, AValueThatTheDeviceHoldsWaitsForTheAutomaticNobodyWished)
{
    queue_.wish({{kTime, 50}});
    expectSent({{kTime, 50}}, EACCES);
    EXPECT_EQ(ControlState::held, stateOf(kTime));
    expectNothing();
    hear(ControlEvent::Kind::freed, kTime);
    expectSent({{kTime, 50}});
    EXPECT_EQ(ControlState::applied, stateOf(kTime));
}

TEST_F(ControlQueueTest, AValueThatIsHeldIsTriedNowAndThenForDevicesThatTellNothing)
{
    queue_.wish({{kTime, 50}});
    expectSent({{kTime, 50}}, EACCES);
    EXPECT_EQ(now_ + 30s, queue_.due());
    now_ += 30s;
    expectSent({{kTime, 50}});
}

TEST_F(ControlQueueTest, AnAutomaticThatSomebodyElseSwitchedOnHoldsItsManualValue)
{
    queue_.wish({{kTime, 50}});
    expectSent({{kTime, 50}});
    hear(ControlEvent::Kind::changed, kMode, kAutomatic);
    expectNothing();
    EXPECT_EQ(ControlState::held, stateOf(kTime));
    hear(ControlEvent::Kind::changed, kMode, kManual);
    expectSent({{kTime, 50}});
}

TEST_F(ControlQueueTest, OfABatchThatFailsEachIsTriedAlone)
{
    queue_.wish({{kMode, V4L2_EXPOSURE_SHUTTER_PRIORITY}, {kTime, 50}});
    expectSent({{kMode, V4L2_EXPOSURE_SHUTTER_PRIORITY}, {kTime, 50}}, EACCES);
    expectSent({{kMode, V4L2_EXPOSURE_SHUTTER_PRIORITY}});
    expectSent({{kTime, 50}}, EACCES);
    EXPECT_EQ(ControlState::applied, stateOf(kMode));
    EXPECT_EQ(ControlState::held, stateOf(kTime));
    expectNothing();
}

TEST_F(ControlQueueTest, OfABatchThatFailsTheAutomaticGoesFirst)
{
    queue_.wish({{kTime, 50}, {kMode, kManual}});
    expectSent({{kMode, kManual}, {kTime, 50}}, EIO);
    expectSent({{kMode, kManual}});
    expectSent({{kTime, 50}});
    queue_.wish({{kTime, 60}, {kMode, V4L2_EXPOSURE_SHUTTER_PRIORITY}});
    expectSent({{kMode, V4L2_EXPOSURE_SHUTTER_PRIORITY}, {kTime, 60}});
}

TEST_F(ControlQueueTest, WhatTheDeviceClampedIsKnownAndNotSentAgain)
{
    queue_.wish({{kBrightness, 10}});
    queue_.next(now_);
    queue_.done(0, {{kBrightness, 8}}, now_);
    EXPECT_EQ(ControlState::applied, stateOf(kBrightness));
    EXPECT_EQ(10, queue_.report(kBrightness, now_).wished);
    EXPECT_EQ(8, queue_.report(kBrightness, now_).actual);
    expectNothing();
    hear(ControlEvent::Kind::changed, kBrightness, 8);
    expectNothing();
}

TEST_F(ControlQueueTest, ANarrowerRangeClampsWhatIsSentAndNotWhatIsWished)
{
    queue_.wish({{kBrightness, 60}});
    expectSent({{kBrightness, 60}});
    queue_.heard({ControlEvent::Kind::described, kBrightness, 0, support::number(kBrightness, 0, 40, 20)}, now_);
    expectSent({{kBrightness, 40}});
    EXPECT_EQ(60, queue_.report(kBrightness, now_).wished);
    queue_.heard({ControlEvent::Kind::described, kBrightness, 0, support::number(kBrightness, 0, 100, 20)}, now_);
    expectSent({{kBrightness, 60}});
    queue_.heard({ControlEvent::Kind::described, kBrightness, 0, support::number(kBrightness, 0, 99, 20)}, now_);
    expectNothing();
}

TEST_F(ControlQueueTest, AValueThatIsNotTakenIsRefusedUntilAnotherIsWished)
{
    for (const int error : {ERANGE, EINVAL})
    {
        queue_.wish({{kBrightness, error}});
        queue_.done(error, queue_.next(now_), now_);
        EXPECT_EQ(ControlState::refused, stateOf(kBrightness));
        now_ += 1h;
        expectNothing();
        EXPECT_EQ(std::nullopt, queue_.due());
    }
    queue_.wish({{kBrightness, 7}});
    expectSent({{kBrightness, 7}});
    EXPECT_EQ(ControlState::applied, stateOf(kBrightness));
}

TEST_F(ControlQueueTest, ARefusalOfAnOlderWishDoesNotConcernTheNewest)
{
    queue_.wish({{kBrightness, 10}});
    const Settings sent = queue_.next(now_);
    queue_.wish({{kBrightness, 11}});
    queue_.done(ERANGE, sent, now_);
    expectSent({{kBrightness, 11}});
}

TEST_F(ControlQueueTest, ADeviceInUseIsTriedAgainWithLongerAndLongerPauses)
{
    queue_.wish({{V4L2_CID_GAIN, 5}});
    for (const auto pause : {100ms, 200ms, 400ms, 800ms, 1600ms, 3200ms, 6400ms, 12800ms, 25600ms, 30000ms, 30000ms})
    {
        expectSent({{V4L2_CID_GAIN, 5}}, EBUSY);
        EXPECT_EQ(ControlState::busy, stateOf(V4L2_CID_GAIN));
        EXPECT_EQ(now_ + pause, queue_.due());
        now_ += pause - 1ms;
        expectNothing();
        now_ += 1ms;
    }
    expectSent({{V4L2_CID_GAIN, 5}});
    EXPECT_EQ(ControlState::applied, stateOf(V4L2_CID_GAIN));
}

TEST_F(ControlQueueTest, ADeviceThatIsFreeAgainIsTriedAtOnce)
{
    queue_.wish({{kBrightness, 5}});
    expectSent({{kBrightness, 5}}, EBUSY);
    hear(ControlEvent::Kind::freed, kBrightness);
    expectSent({{kBrightness, 5}});
}

TEST_F(ControlQueueTest, MoreWishesAreNotMoreTriesOfADeviceThatFails)
{
    queue_.wish({{kBrightness, 5}});
    expectSent({{kBrightness, 5}}, EPIPE);
    EXPECT_EQ(ControlState::stalled, stateOf(kBrightness));
    for (int value = 6; value < 20; ++value)
    {
        queue_.wish({{kBrightness, value}});
        expectNothing();
    }
    now_ += 100ms;
    expectSent({{kBrightness, 19}});
}

TEST_F(ControlQueueTest, OneControlThatFailsHoldsUpNoOther)
{
    queue_.wish({{kBrightness, 5}, {kContrast, 6}});
    expectSent({{kBrightness, 5}}, EPIPE);
    expectSent({{kContrast, 6}});
}

TEST_F(ControlQueueTest, ADeviceThatDoesNotAnswerIsLeftAloneForAWhile)
{
    queue_.wish({{kMode, kManual}, {kTime, 9}, {kBrightness, 5}});
    expectSent({{kMode, kManual}, {kTime, 9}}, ETIMEDOUT);
    EXPECT_EQ(ControlState::stalled, stateOf(kMode));
    EXPECT_EQ(ControlState::stalled, stateOf(kTime));
    EXPECT_EQ(ControlState::stalled, stateOf(kBrightness)) << "it is the device, not the control";
    queue_.wish({{kContrast, 6}});
    expectNothing();
    EXPECT_EQ(now_ + 100ms, queue_.due());
    now_ += 100ms;
    expectSent({{kMode, kManual}, {kTime, 9}}, ETIMEDOUT);
    EXPECT_EQ(now_ + 200ms, queue_.due());
    now_ += 200ms;
    sendAll();
    for (const u32 id : {kMode, kTime, kBrightness, kContrast})
    {
        EXPECT_EQ(ControlState::applied, stateOf(id));
    }
}

TEST_F(ControlQueueTest, AReadingThatTakesLongCountsAsStalled)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.lookAgain();
    const std::optional<u32> id = queue_.look(now_);
    ASSERT_EQ(kBrightness, id);
    queue_.wish({{kContrast, 6}});
    now_ += 1001ms;
    EXPECT_EQ(ControlState::stalled, stateOf(kContrast));
    EXPECT_TRUE(queue_.isStuck(now_));
    EXPECT_TRUE(queue_.looked(*id, 0, 5, now_));
    EXPECT_EQ(ControlState::waiting, stateOf(kContrast));
}

TEST_F(ControlQueueTest, ACallThatTakesLongCountsAsStalled)
{
    queue_.wish({{kBrightness, 5}, {kContrast, 6}});
    const Settings sent = queue_.next(now_);
    now_ += 1s;
    EXPECT_EQ(ControlState::waiting, stateOf(kBrightness));
    now_ += 1ms;
    EXPECT_EQ(ControlState::stalled, stateOf(kBrightness));
    EXPECT_EQ(ControlState::stalled, stateOf(kContrast));
    queue_.done(0, sent, now_);
    EXPECT_EQ(ControlState::applied, stateOf(kBrightness));
    EXPECT_EQ(ControlState::waiting, stateOf(kContrast));
}

TEST_F(ControlQueueTest, ADeviceThatGoesInTheMiddleGetsEverythingWhenItIsBack)
{
    queue_.wish({{kBrightness, 5}, {kContrast, 6}, {V4L2_CID_SHARPNESS, 2}});
    expectSent({{kBrightness, 5}});
    expectSent({{kContrast, 6}}, ENODEV);
    for (const u32 id : {kBrightness, kContrast, u32{V4L2_CID_SHARPNESS}})
    {
        EXPECT_EQ(ControlState::lost, stateOf(id));
    }
    expectNothing();
    EXPECT_EQ(std::nullopt, queue_.due());
    queue_.wish({{kContrast, 7}});
    EXPECT_EQ(ControlState::lost, stateOf(kContrast));
    queue_.opened(support::webcam());
    expectSent({{kBrightness, 5}});
    expectSent({{kContrast, 7}});
    expectSent({{V4L2_CID_SHARPNESS, 2}});
    expectNothing();
}

TEST_F(ControlQueueTest, ABatchInWhichTheDeviceGoesIsLostToo)
{
    queue_.wish({{kMode, kManual}, {kTime, 9}});
    expectSent({{kMode, kManual}, {kTime, 9}}, ESHUTDOWN);
    EXPECT_EQ(ControlState::lost, stateOf(kTime));
    queue_.opened(support::webcam());
    expectSent({{kMode, kManual}, {kTime, 9}});
}

TEST_F(ControlQueueTest, WhatIsWishedBeforeTheDeviceIsThereIsSentThen)
{
    ControlQueue queue;
    queue.wish({{kBrightness, 5}});
    EXPECT_EQ(ControlState::lost, queue.report(kBrightness, now_).state);
    EXPECT_TRUE(queue.next(now_).empty());
    queue.opened(support::webcam());
    EXPECT_EQ((Settings{{kBrightness, 5}}), queue.next(now_));
}

TEST_F(ControlQueueTest, AControlThatTheDeviceDoesNotHaveIsKeptAndNeverSent)
{
    queue_.wish({{V4L2_CID_HFLIP, 1}});
    EXPECT_EQ(ControlState::absent, stateOf(V4L2_CID_HFLIP));
    expectNothing();
    EXPECT_EQ(ControlState::absent, stateOf(12345));
    std::vector<devices::Control> controls = support::webcam();
    controls.push_back(support::yesNo(V4L2_CID_HFLIP, false));
    queue_.lost();
    queue_.opened(controls);
    expectSent({{V4L2_CID_HFLIP, 1}});
}

TEST_F(ControlQueueTest, WhatAnotherSetIsPutBackAFewTimesAMinute)
{
    queue_.wish({{kBrightness, 5}});
    expectSent({{kBrightness, 5}});
    for (int i = 0; i < 6; ++i)
    {
        hear(ControlEvent::Kind::changed, kBrightness, 20);
        expectSent({{kBrightness, 5}});
    }
    hear(ControlEvent::Kind::changed, kBrightness, 20);
    expectNothing();
    EXPECT_EQ(ControlState::overruled, stateOf(kBrightness));
    EXPECT_EQ(20, queue_.report(kBrightness, now_).actual);
    EXPECT_EQ(now_ + 1min, queue_.due());
    now_ += 1min;
    expectSent({{kBrightness, 5}});
    EXPECT_EQ(ControlState::applied, stateOf(kBrightness));
    for (int i = 0; i < 5; ++i)
    {
        hear(ControlEvent::Kind::changed, kBrightness, 20);
        expectSent({{kBrightness, 5}});
    }
    hear(ControlEvent::Kind::changed, kBrightness, 20);
    expectNothing();
    EXPECT_EQ(now_ + 1min, queue_.due()) << "what was sent after the pause counts too";
}

TEST_F(ControlQueueTest, WhatAnotherSetBeforeIsNotPutBackThoughItIsToldLater)
{
    hearLate(kBrightness, 30);
}

TEST_F(ControlQueueTest, WhatCannotBeReadIsBelievedAsItIsTold)
{
    std::vector<devices::Control> controls = support::webcam();
    controls.front().isReadable = false;
    ASSERT_EQ(kBrightness, controls.front().id);
    queue_.opened(controls);
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.heard({ControlEvent::Kind::changed, kBrightness, 20, {}}, now_);
    EXPECT_EQ(std::nullopt, queue_.look(now_));
    expectSent({{kBrightness, 5}});
}

TEST_F(ControlQueueTest, LooksAgainAtWhatIsWishedAndCanBeReadUntilTheDeviceIsLost)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.lookAgain();
    EXPECT_EQ(kBrightness, queue_.look(now_));
    EXPECT_EQ(std::nullopt, queue_.look(now_));
    queue_.lookAgain();
    queue_.lost();
    EXPECT_EQ(std::nullopt, queue_.look(now_));
}

TEST_F(ControlQueueTest, NothingIsReadWhileADeviceThatDoesNotAnswerIsLeftAlone)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.wish({{kContrast, 6}});
    expectSent({{kContrast, 6}}, ETIMEDOUT);
    queue_.lookAgain();
    EXPECT_EQ(std::nullopt, queue_.look(now_));
    EXPECT_EQ(now_ + 100ms, queue_.due());
    now_ += 100ms;
    EXPECT_EQ(kBrightness, queue_.look(now_));
}

TEST_F(ControlQueueTest, AReadingWithoutAnAnswerLeavesTheDeviceAloneForAWhile)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.heard({ControlEvent::Kind::changed, kBrightness, 20, {}}, now_);
    EXPECT_EQ(kBrightness, queue_.look(now_));
    EXPECT_TRUE(queue_.looked(kBrightness, ETIMEDOUT, 0, now_));
    queue_.wish({{kContrast, 6}});
    expectNothing();
    EXPECT_EQ(std::nullopt, queue_.look(now_));
    EXPECT_EQ(now_ + 100ms, queue_.due());
    now_ += 100ms;
    EXPECT_EQ(kBrightness, queue_.look(now_));
    EXPECT_TRUE(queue_.looked(kBrightness, 0, 20, now_));
    expectSent({{kBrightness, 5}});
}

TEST_F(ControlQueueTest, WhatAnotherSetIsPutBackThoughItCouldNotBeReadAtFirst)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.heard({ControlEvent::Kind::changed, kBrightness, 20, {}}, now_);
    for (const auto pause : {100ms, 200ms})
    {
        EXPECT_EQ(kBrightness, queue_.look(now_));
        EXPECT_TRUE(queue_.looked(kBrightness, EIO, 0, now_));
        EXPECT_EQ(std::nullopt, queue_.look(now_));
        EXPECT_EQ(now_ + pause, queue_.due());
        now_ += pause;
    }
    EXPECT_EQ(kBrightness, queue_.look(now_));
    EXPECT_TRUE(queue_.looked(kBrightness, 0, 20, now_));
    expectSent({{kBrightness, 5}});
    EXPECT_EQ(std::nullopt, queue_.due());
}

TEST_F(ControlQueueTest, WhatCanNeverBeReadIsGivenUp)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.lookAgain();
    int readings = 0;
    for (; queue_.due(); now_ = queue_.due().value_or(now_))
    {
        EXPECT_EQ(kBrightness, queue_.look(now_));
        EXPECT_TRUE(queue_.looked(kBrightness, EIO, 0, now_));
        ++readings;
    }
    EXPECT_EQ(10, readings);
}

TEST_F(ControlQueueTest, AReadingThatFindsTheDeviceGoneLosesIt)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.lookAgain();
    EXPECT_EQ(kBrightness, queue_.look(now_));
    EXPECT_FALSE(queue_.looked(kBrightness, ENODEV, 0, now_));
    EXPECT_EQ(ControlState::lost, stateOf(kBrightness));
}

TEST_F(ControlQueueTest, ReadsThoughSomethingIsLeftToSendButNotThat)
{
    queue_.wish({{kBrightness, 5}, {kContrast, 6}});
    sendAll();
    queue_.wish({{kContrast, 7}});
    queue_.lookAgain();
    EXPECT_EQ(kBrightness, queue_.look(now_));
    EXPECT_EQ(std::nullopt, queue_.look(now_));
    expectSent({{kContrast, 7}});
    EXPECT_EQ(std::nullopt, queue_.due());
}

TEST_F(ControlQueueTest, TellsWhetherAWishIsMoreToDo)
{
    EXPECT_TRUE(queue_.wish({{kBrightness, 5}}));
    EXPECT_FALSE(queue_.wish({{kBrightness, 5}}));
    sendAll();
    EXPECT_FALSE(queue_.wish({{kBrightness, 5}}));
    EXPECT_TRUE(queue_.wish({{kBrightness, 6}}));
    queue_.lost();
    EXPECT_FALSE(queue_.wish({{kBrightness, 7}}));
}

TEST_F(ControlQueueTest, ANewWishIsSentWhoeverHadOverruledTheOldOne)
{
    queue_.wish({{kBrightness, 5}});
    expectSent({{kBrightness, 5}});
    for (int i = 0; i < 7; ++i)
    {
        hear(ControlEvent::Kind::changed, kBrightness, 20);
        sendAll();
    }
    EXPECT_EQ(ControlState::overruled, stateOf(kBrightness));
    queue_.wish({{kBrightness, 6}});
    expectSent({{kBrightness, 6}});
}

TEST_F(ControlQueueTest, AnAutomaticIsPutBackWithItsManualValue)
{
    queue_.wish({{kMode, kManual}, {kTime, 50}});
    sendAll();
    hear(ControlEvent::Kind::changed, kMode, kAutomatic);
    hear(ControlEvent::Kind::changed, kTime, 333);
    expectSent({{kMode, kManual}, {kTime, 50}});
    expectNothing();
}

TEST_F(ControlQueueTest, WhatAnAutomaticMovesNobodyHasOverruled)
{
    queue_.wish({{kMode, kAutomatic}, {kTime, 50}});
    sendAll();
    hear(ControlEvent::Kind::changed, kTime, 333);
    expectNothing();
    EXPECT_EQ(ControlState::held, stateOf(kTime));
}

class WithAButton : public ControlQueueTest
{
protected:
    WithAButton()
    {
        controls_.push_back(support::button(kFocusOnce));
        queue_.opened(controls_);
    }

    static constexpr u32 kFocusOnce = V4L2_CID_AUTO_FOCUS_START;

    std::vector<devices::Control> controls_ = support::webcam();
};

TEST_F(WithAButton, APressIsSentOnceAndForgotten)
{
    queue_.press(kFocusOnce);
    EXPECT_EQ(ControlState::waiting, stateOf(kFocusOnce));
    expectSent({{kFocusOnce, 1}});
    EXPECT_EQ(ControlState::applied, stateOf(kFocusOnce));
    expectNothing();
}

TEST_F(WithAButton, APressIsForgottenWithTheDevice)
{
    queue_.press(kFocusOnce);
    queue_.lost();
    queue_.press(kFocusOnce);
    queue_.opened(controls_);
    EXPECT_EQ(ControlState::applied, stateOf(kFocusOnce));
    expectNothing();
    queue_.press(kFocusOnce);
    expectSent({{kFocusOnce, 1}}, ENODEV);
    queue_.opened(controls_);
    EXPECT_EQ(ControlState::applied, stateOf(kFocusOnce));
    expectNothing();
}

TEST_F(WithAButton, APressThatFailsIsRefusedUntilTheNext)
{
    for (const int error : {EBUSY, EPIPE, EACCES, EINVAL, ETIMEDOUT})
    {
        queue_.press(kFocusOnce);
        expectSent({{kFocusOnce, 1}}, error);
        EXPECT_EQ(ControlState::refused, stateOf(kFocusOnce)) << error;
        hear(ControlEvent::Kind::freed, kFocusOnce);
        queue_.heard({ControlEvent::Kind::described, kFocusOnce, 0, support::button(kFocusOnce)}, now_);
        now_ += 1h;
        expectNothing();
        EXPECT_EQ(ControlState::refused, stateOf(kFocusOnce)) << error;
        EXPECT_EQ(std::nullopt, queue_.due());
    }
    queue_.press(kFocusOnce);
    EXPECT_EQ(ControlState::waiting, stateOf(kFocusOnce));
    expectSent({{kFocusOnce, 1}});
    EXPECT_EQ(ControlState::applied, stateOf(kFocusOnce));
}

TEST_F(WithAButton, APressDuringTheSamePressIsSentAfterItHoweverThatEnds)
{
    for (const int error : {0, EBUSY})
    {
        queue_.press(kFocusOnce);
        const Settings sent = queue_.next(now_);
        EXPECT_EQ(ControlState::waiting, stateOf(kFocusOnce));
        queue_.press(kFocusOnce);
        queue_.done(error, sent, now_);
        EXPECT_EQ(ControlState::waiting, stateOf(kFocusOnce));
        expectSent({{kFocusOnce, 1}});
        EXPECT_EQ(ControlState::applied, stateOf(kFocusOnce));
        expectNothing();
    }
}

TEST_F(ControlQueueTest, TellsEachChangeOnce)
{
    EXPECT_TRUE(queue_.news(now_).empty());
    queue_.wish({{kBrightness, 5}});
    expectSent({{kBrightness, 5}});
    const devices::News news = queue_.news(now_);
    ASSERT_EQ(1u, news.size());
    EXPECT_EQ(kBrightness, news[0].first);
    EXPECT_EQ(ControlState::applied, news[0].second.state);
    EXPECT_EQ(5, news[0].second.actual);
    EXPECT_TRUE(queue_.news(now_).empty());
    queue_.wish({{kBrightness, 6}});
    expectSent({{kBrightness, 6}}, ENODEV);
    EXPECT_EQ(ControlState::lost, queue_.news(now_).at(0).second.state);
}

class TakenOver : public ControlQueueTest
{
protected:
    TakenOver() : ControlQueueTest(Others::takeOver) {}
};

TEST_F(TakenOver, WhatAnotherSetIsWishedFromThenOn)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.news(now_);
    hear(ControlEvent::Kind::changed, kBrightness, 20);
    expectNothing();
    const devices::Report report = queue_.news(now_).at(0).second;
    EXPECT_EQ(ControlState::applied, report.state);
    EXPECT_EQ(20, report.wished);
    EXPECT_TRUE(report.isTheirs);
    queue_.lost();
    queue_.opened(support::webcam());
    expectSent({{kBrightness, 20}});
}

TEST_F(TakenOver, WhatAnotherSetBeforeIsNotWishedThoughItIsToldLater)
{
    hearLate(kBrightness, 30);
}

TEST_F(TakenOver, WhatIsGuardedIsPutBack)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    queue_.guard(kBrightness, true);
    hear(ControlEvent::Kind::changed, kBrightness, 20);
    expectSent({{kBrightness, 5}});
    EXPECT_FALSE(queue_.report(kBrightness, now_).isTheirs);
    queue_.guard(kBrightness, false);
    hear(ControlEvent::Kind::changed, kBrightness, 20);
    expectNothing();
    EXPECT_TRUE(queue_.report(kBrightness, now_).isTheirs);
}

class LeftAlone : public ControlQueueTest
{
protected:
    LeftAlone() : ControlQueueTest(Others::leave) {}
};

TEST_F(LeftAlone, WhatAnotherSetStaysUntilSomethingElseIsWished)
{
    queue_.wish({{kBrightness, 5}});
    sendAll();
    hear(ControlEvent::Kind::changed, kBrightness, 20);
    now_ += 1h;
    expectNothing();
    EXPECT_EQ(std::nullopt, queue_.due());
    EXPECT_EQ(ControlState::overruled, stateOf(kBrightness));
    queue_.wish({{kBrightness, 6}});
    expectSent({{kBrightness, 6}});
}

TEST_F(LeftAlone, WhatAnotherSetBeforeHasOverruledNothingThoughItIsToldLater)
{
    hearLate(kBrightness, 30);
}

}  // namespace
