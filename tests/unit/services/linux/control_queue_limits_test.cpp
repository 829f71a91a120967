#include <cerrno>

#include "services/linux/ControlQueue.h"
#include "tests/unit/services/linux/QueueTest.h"

namespace {

using namespace std::chrono_literals;
using devices::ControlEvent;
using devices::ControlQueue;
using devices::ControlState;
using devices::Instant;
using devices::Others;
using devices::Setting;

constexpr u32 kIris = V4L2_CID_IRIS_ABSOLUTE;

std::vector<devices::Control> withUnreadableBrightness()
{
    std::vector<devices::Control> controls = support::webcam();
    controls.front().isReadable = false;
    return controls;
}

// How often, how long and until when. The device's brightness cannot be read: what it tells is believed.
class QueueLimits : public support::QueueTest
{
protected:
    explicit QueueLimits(Others others = Others::putBack) : QueueTest(withUnreadableBrightness(), others) {}

    void hear(std::int64_t brightness)
    {
        queue_.heard({ControlEvent::Kind::changed, kBrightness, brightness, {}}, now_);
    }

    void describe(std::int64_t greatestBrightness)
    {
        devices::Control control = support::number(kBrightness, 0, greatestBrightness, 20);
        control.isReadable = false;
        queue_.heard({ControlEvent::Kind::described, kBrightness, 0, control}, now_);
    }

    void putBackAsOftenAsAllowed(std::chrono::seconds pause = 0s)
    {
        queue_.wish({{kBrightness, 5}});
        expectSent({{kBrightness, 5}});
        for (int i = 0; i < 6; ++i)
        {
            hear(20);
            expectSent({{kBrightness, 5}});
            now_ += pause;
        }
    }

    std::vector<devices::Control> controls_ = withUnreadableBrightness();
};

TEST_F(QueueLimits, EachPutBackCountsForAMinute)
{
    putBackAsOftenAsAllowed(5s);
    hear(20);
    expectNothing();
    EXPECT_EQ(now_ + 30s, queue_.due()) << "a minute after the first";
    now_ += 30s;
    expectSent({{kBrightness, 5}});
    hear(20);
    expectNothing();
    EXPECT_EQ(now_ + 5s, queue_.due()) << "a minute after the second";
}

TEST_F(QueueLimits, ANewWishIsPutBackAsOftenAsTheOldOne)
{
    putBackAsOftenAsAllowed();
    queue_.wish({{kBrightness, 6}});
    expectSent({{kBrightness, 6}});
    hear(20);
    expectSent({{kBrightness, 6}});
}

TEST_F(QueueLimits, WhatWasPutBackBeforeTheDeviceWentCountsNoMore)
{
    putBackAsOftenAsAllowed();
    queue_.lost();
    queue_.opened(controls_);
    expectSent({{kBrightness, 5}});
    hear(20);
    expectSent({{kBrightness, 5}});
}

TEST_F(QueueLimits, EachWordForADeviceThatIsGoneMeansIt)
{
    int value = 0;
    for (const int error : {ENODEV, ENXIO, ESHUTDOWN, EBADF})
    {
        queue_.wish({{kBrightness, ++value}});
        const Settings sent = queue_.next(now_);
        ASSERT_EQ(1u, sent.size());
        EXPECT_FALSE(queue_.done(error, sent, now_)) << error;
        EXPECT_EQ(ControlState::lost, stateOf(kBrightness)) << error;
        queue_.opened(controls_);
        expectSent({{kBrightness, value}});
    }
}

TEST_F(QueueLimits, ThePauseOfADeviceThatAnsweredAgainIsShortAgain)
{
    queue_.wish({{kBrightness, 5}});
    expectSent({{kBrightness, 5}}, ETIMEDOUT);
    now_ += 100ms;
    expectSent({{kBrightness, 5}}, ETIMEDOUT);
    EXPECT_EQ(now_ + 200ms, queue_.due());
    now_ += 200ms;
    expectSent({{kBrightness, 5}});
    queue_.wish({{kBrightness, 6}});
    expectSent({{kBrightness, 6}}, ETIMEDOUT);
    EXPECT_EQ(now_ + 100ms, queue_.due());
}

TEST_F(QueueLimits, WhatChangesByItselfIsNotLookedAt)
{
    controls_[1].isVolatile = true;
    ASSERT_EQ(kContrast, controls_[1].id);
    queue_.opened(controls_);
    queue_.wish({{kContrast, 5}});
    expectSent({{kContrast, 5}});
    queue_.lookAgain();
    EXPECT_EQ(std::nullopt, queue_.due());
}

TEST_F(QueueLimits, WhatFailedTogetherIsTogetherAgainOnceTheDeviceIsBack)
{
    const Settings both = {{kMode, V4L2_EXPOSURE_MANUAL}, {kTime, 50}};
    queue_.wish(both);
    expectSent(both, EIO);
    queue_.lost();
    queue_.opened(controls_);
    expectSent(both);
}

TEST_F(QueueLimits, ShutterPriorityHoldsTheIrisAndIrisPriorityTheTime)
{
    controls_.push_back(support::menu(kMode, {0, 1, 2, 3}, 3));
    queue_.opened(controls_);
    queue_.wish({{kTime, 50}, {kIris, 300}, {kMode, V4L2_EXPOSURE_SHUTTER_PRIORITY}});
    expectSent({{kMode, V4L2_EXPOSURE_SHUTTER_PRIORITY}, {kTime, 50}});
    expectNothing();
    EXPECT_EQ(ControlState::held, stateOf(kIris));
    queue_.wish({{kMode, V4L2_EXPOSURE_APERTURE_PRIORITY}});
    expectSent({{kMode, V4L2_EXPOSURE_APERTURE_PRIORITY}, {kIris, 300}});
    expectNothing();
    EXPECT_EQ(ControlState::held, stateOf(kTime));
}

class LimitsTakenOver : public QueueLimits
{
protected:
    LimitsTakenOver() : QueueLimits(Others::takeOver) {}
};

TEST_F(LimitsTakenOver, WhatWasTakenOverIsNotSentForAnotherRange)
{
    queue_.wish({{kBrightness, 5}});
    expectSent({{kBrightness, 5}});
    hear(20);
    describe(50);
    expectNothing();
    EXPECT_EQ(20, queue_.report(kBrightness, now_).wished);
}

class LimitsLeftAlone : public QueueLimits
{
protected:
    LimitsLeftAlone() : QueueLimits(Others::leave) {}
};

TEST_F(LimitsLeftAlone, WhatTheRangeLeavesOfAWishIsThatWish)
{
    queue_.wish({{kBrightness, 60}});
    expectSent({{kBrightness, 60}});
    describe(40);
    expectSent({{kBrightness, 40}});
    hear(20);
    EXPECT_EQ(ControlState::overruled, stateOf(kBrightness));
    hear(40);
    EXPECT_EQ(ControlState::applied, stateOf(kBrightness));
}

}  // namespace
