#include "services/linux/DeviceWorker.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/Callers.h"
#include "tests/unit/services/linux/ScriptedDevice.h"
#include "tests/unit/services/linux/Webcam.h"

namespace {

using namespace std::chrono_literals;
using devices::Control;
using devices::ControlEvent;
using devices::ControlState;
using devices::DeviceWorker;
using devices::Setting;
using devices::Values;

constexpr u32 kBrightness = V4L2_CID_BRIGHTNESS;
constexpr u32 kContrast = V4L2_CID_CONTRAST;

// Remembers what it was told.
class Listener : public devices::WorkerListener
{
public:
    void opened(const std::vector<Control>& controls, const Values& values) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        controls_ = controls.size();
        values_ = values;
        ++openings_;
        changed_.notify_all();
    }

    void lost() override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++losses_;
        changed_.notify_all();
    }

    void told(const devices::News& news) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [id, report] : news)
        {
            states_[id] = report.state;
        }
        changed_.notify_all();
    }

    bool waitForState(u32 id, ControlState state)
    {
        return waitUntil([&] { return states_.count(id) != 0 && states_[id] == state; });
    }

    bool waitForOpenings(int count)
    {
        return waitUntil([&] { return openings_ >= count; });
    }

    bool waitForLosses(int count)
    {
        return waitUntil([&] { return losses_ >= count; });
    }

    std::size_t controls()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return controls_;
    }

    Values values()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return values_;
    }

private:
    template <typename Condition>
    bool waitUntil(Condition condition)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, 60s, condition);
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t controls_ = 0;
    Values values_;
    int openings_ = 0;
    int losses_ = 0;
    std::map<u32, ControlState> states_;
};

class DeviceWorkerTest : public testing::Test
{
protected:
    static devices::Patience quick()
    {
        devices::Patience patience;
        patience.first = 1ms;
        patience.most = 4ms;
        return patience;
    }

    std::unique_ptr<DeviceWorker> start(const devices::Patience& patience = quick())
    {
        return std::make_unique<DeviceWorker>([this] { return script_.open(); }, listener_, patience);
    }

    support::Script script_{support::webcam()};
    Listener listener_;
};

TEST_F(DeviceWorkerTest, TellsWhatItFindsAtFirstContact)
{
    const auto worker = start();
    ASSERT_TRUE(listener_.waitForOpenings(1));
    EXPECT_EQ(support::webcam().size(), listener_.controls());
    EXPECT_EQ(157, listener_.values().at(V4L2_CID_EXPOSURE_ABSOLUTE));
    EXPECT_TRUE(script_.sets().empty());
}

TEST_F(DeviceWorkerTest, BringsTheDeviceToWhatIsWished)
{
    const auto worker = start();
    worker->wish({{kBrightness, 5}, {kContrast, 6}});
    EXPECT_TRUE(script_.waitFor({kBrightness, 5}));
    EXPECT_TRUE(script_.waitFor({kContrast, 6}));
    EXPECT_TRUE(listener_.waitForState(kContrast, ControlState::applied));
    EXPECT_EQ(ControlState::applied, worker->report(kBrightness).state);
    EXPECT_EQ(5, worker->report(kBrightness).actual);
}

TEST_F(DeviceWorkerTest, AWishDoesNotWaitForADeviceThatHangs)
{
    const auto worker = start();
    script_.hang();
    worker->wish({{kBrightness, 0}});
    ASSERT_TRUE(script_.waitForHanging());
    for (int value = 1; value <= 50; ++value)
    {
        worker->wish({{kBrightness, value}});
    }
    EXPECT_EQ(50, worker->report(kBrightness).wished);
    script_.release();
    EXPECT_TRUE(script_.waitFor({kBrightness, 50}));
    EXPECT_EQ(2u, script_.sets().size()) << "what was wished in between is old";
}

TEST_F(DeviceWorkerTest, WhatTheDeviceDoesNotTakeYetIsTriedAgain)
{
    script_.fail({EBUSY, EPIPE, ETIMEDOUT, EBUSY});
    const auto worker = start();
    worker->wish({{kBrightness, 5}});
    EXPECT_TRUE(script_.waitFor({kBrightness, 5}));
    EXPECT_TRUE(listener_.waitForState(kBrightness, ControlState::applied));
}

TEST_F(DeviceWorkerTest, ADeviceThatIsPluggedInAgainGetsEverything)
{
    const auto worker = start();
    worker->wish({{kBrightness, 5}});
    ASSERT_TRUE(listener_.waitForState(kBrightness, ControlState::applied));
    script_.plug(false);
    ASSERT_TRUE(listener_.waitForState(kBrightness, ControlState::lost)) << "without being set";
    worker->wish({{kContrast, 6}});
    script_.plug(true);
    worker->plugged();
    ASSERT_TRUE(script_.waitFor({kContrast, 6}));
    ASSERT_TRUE(listener_.waitForState(kBrightness, ControlState::applied));
    ASSERT_TRUE(listener_.waitForOpenings(2));
    EXPECT_TRUE(listener_.values().empty()) << "nothing but the first contact asks what is there";
    EXPECT_EQ(3u, script_.sets().size());
}

TEST_F(DeviceWorkerTest, ADeviceThatWentAndCameUnheardGetsEverythingOnceItIsSaid)
{
    const auto worker = start();
    worker->wish({{kBrightness, 5}, {kContrast, 6}});
    ASSERT_TRUE(listener_.waitForState(kContrast, ControlState::applied));
    ASSERT_TRUE(script_.waitForSets(2));
    worker->plugged();
    worker->wish({{kContrast, 7}});
    ASSERT_TRUE(script_.waitForSets(3));
    EXPECT_EQ(1, script_.openings()) << "something else was plugged";
    script_.replace();
    worker->plugged();
    ASSERT_TRUE(script_.waitForSets(5));
    EXPECT_EQ((std::vector<Setting>{{kBrightness, 5}}), script_.sets()[3]);
    EXPECT_EQ((std::vector<Setting>{{kContrast, 7}}), script_.sets()[4]);
    EXPECT_TRUE(listener_.waitForLosses(1));
}

TEST_F(DeviceWorkerTest, TellsThatTheDeviceIsGoneThoughNothingIsWished)
{
    const auto worker = start();
    ASSERT_TRUE(listener_.waitForOpenings(1));
    script_.plug(false);
    EXPECT_TRUE(listener_.waitForLosses(1));
    script_.plug(true);
    worker->plugged();
    EXPECT_TRUE(listener_.waitForOpenings(2));
}

TEST_F(DeviceWorkerTest, ADeviceThatGoesInTheMiddleOfASwitchGetsTheWholeScheme)
{
    const auto worker = start();
    script_.hang();
    worker->wish({{kBrightness, 1}, {kContrast, 2}, {V4L2_CID_SHARPNESS, 3}});
    ASSERT_TRUE(script_.waitForHanging());
    script_.plug(false);
    script_.release();
    ASSERT_TRUE(listener_.waitForState(V4L2_CID_SHARPNESS, ControlState::lost));
    EXPECT_TRUE(script_.sets().empty());
    script_.plug(true);
    worker->plugged();
    EXPECT_TRUE(script_.waitFor({kBrightness, 1}));
    EXPECT_TRUE(script_.waitFor({kContrast, 2}));
    EXPECT_TRUE(script_.waitFor({V4L2_CID_SHARPNESS, 3}));
}

TEST_F(DeviceWorkerTest, ADeviceThatIsNotThereYetIsLookedFor)
{
    script_.plug(false);
    const auto worker = start();
    worker->wish({{kBrightness, 5}});
    EXPECT_EQ(ControlState::lost, worker->report(kBrightness).state);
    script_.plug(true);
    EXPECT_TRUE(script_.waitFor({kBrightness, 5})) << "also when nobody says that it is there";
}

TEST_F(DeviceWorkerTest, HearsWhatOthersSetAndPutsItBack)
{
    const auto worker = start();
    worker->wish({{kBrightness, 5}});
    ASSERT_TRUE(listener_.waitForState(kBrightness, ControlState::applied));
    script_.tell({ControlEvent::Kind::described, kContrast, 0, support::number(kContrast, 0, 10, 5)});
    script_.change({kBrightness, 60});
    script_.tell({ControlEvent::Kind::changed, kBrightness, 60, {}});
    worker->wish({{kContrast, 90}});
    EXPECT_TRUE(script_.waitFor({kContrast, 10}));
    worker->wish({{kContrast, 0}});
    EXPECT_TRUE(script_.waitFor({kContrast, 0}));
    EXPECT_TRUE(script_.waitForSets(4));
    int sent = 0;
    for (const std::vector<Setting>& set : script_.sets())
    {
        sent += set.front() == Setting{kBrightness, 5} ? 1 : 0;
    }
    EXPECT_EQ(2, sent);
}

TEST_F(DeviceWorkerTest, HearsWhatTheDeviceTellsThoughThereIsMoreToSend)
{
    const auto worker = start();
    script_.hang();
    worker->wish({{kBrightness, 5}, {kContrast, 90}, {V4L2_CID_SHARPNESS, 1}});
    ASSERT_TRUE(script_.waitForHanging());
    script_.tell({ControlEvent::Kind::described, kContrast, 0, support::number(kContrast, 0, 10, 5)});
    script_.release();
    ASSERT_TRUE(script_.waitForSets(3));
    EXPECT_EQ((std::vector<Setting>{{kContrast, 10}}), script_.sets()[1]);
}

TEST_F(DeviceWorkerTest, WhatOthersSetBeforeIsNotPutBackThoughItIsToldLater)
{
    const auto worker = start();
    worker->wish({{kBrightness, 5}, {kContrast, 6}});
    ASSERT_TRUE(listener_.waitForState(kBrightness, ControlState::applied));
    ASSERT_TRUE(listener_.waitForState(kContrast, ControlState::applied));
    script_.tell({ControlEvent::Kind::changed, kBrightness, 60, {}});
    script_.change({kContrast, 60});
    worker->lookAgain();
    ASSERT_TRUE(script_.waitForSets(3));
    EXPECT_EQ((std::vector<Setting>{{kContrast, 6}}), script_.sets().back());
    EXPECT_EQ(5, worker->report(kBrightness).actual);
}

TEST_F(DeviceWorkerTest, LooksAgainForWhatADriverDoesNotTell)
{
    const auto worker = start();
    worker->wish({{kBrightness, 5}, {kContrast, 6}});
    ASSERT_TRUE(listener_.waitForState(kContrast, ControlState::applied));
    ASSERT_TRUE(script_.waitFor({kBrightness, 5}));
    script_.change({kBrightness, 60});
    script_.change({V4L2_CID_SHARPNESS, 1});
    worker->lookAgain();
    EXPECT_TRUE(script_.waitForSets(3));
    EXPECT_EQ((std::vector<Setting>{{kBrightness, 5}}), script_.sets().back()) << "only what is wished is put back";
}

TEST_F(DeviceWorkerTest, WhatOthersSetIsNotForgottenWhenItsReadingFails)
{
    devices::Patience patience = quick();
    patience.most = 1s;
    for (const int error : {EIO, ETIMEDOUT})
    {
        const std::size_t before = script_.sets().size();
        const auto worker = start(patience);
        worker->wish({{kBrightness, 5}});
        ASSERT_TRUE(script_.waitForSets(before + 1));
        script_.failReadings({error});
        script_.change({kBrightness, 60});
        script_.tell({ControlEvent::Kind::changed, kBrightness, 60, {}});
        EXPECT_TRUE(script_.waitForSets(before + 2)) << error;
        EXPECT_EQ((std::vector<Setting>{{kBrightness, 5}}), script_.sets().back());
    }
}

TEST_F(DeviceWorkerTest, ADeviceThatIsGoneWithEverySetIsOpenedAgainWithPauses)
{
    devices::Patience patience;
    patience.first = patience.most = 1h;
    script_.fail(std::deque<int>(1000, ENXIO));
    const auto worker = start(patience);
    worker->wish({{kBrightness, 5}});
    ASSERT_TRUE(listener_.waitForState(kBrightness, ControlState::lost));
    script_.fail({});
    worker->plugged();
    ASSERT_TRUE(script_.waitFor({kBrightness, 5}));
    EXPECT_EQ(2, script_.openings());
}

TEST_F(DeviceWorkerTest, EndsWhileTheDeviceIsGoneFailsOrHangs)
{
    script_.plug(false);
    start().reset();
    script_.plug(true);
    script_.fail(std::deque<int>(1000, EPIPE));
    auto worker = start();
    worker->wish({{kBrightness, 5}});
    EXPECT_TRUE(listener_.waitForState(kBrightness, ControlState::stalled));
    worker.reset();
    script_.fail({});
    script_.hang();
    worker = start();
    worker->wish({{kBrightness, 5}});
    ASSERT_TRUE(script_.waitForHanging());
    std::thread release([this] { script_.release(); });
    worker.reset();
    release.join();
}

TEST_F(DeviceWorkerTest, ManyMayWishAtOnceAndTheLastOfEachCounts)
{
    const auto worker = start();
    const std::vector<u32> controls = {kBrightness, kContrast, V4L2_CID_SATURATION, V4L2_CID_GAIN};
    support::Repeated reader([&] { worker->report(kContrast); });
    support::runCallers(4, 200, [&](int caller, int round) {
        worker->wish({{controls[static_cast<std::size_t>(caller)], 1 + round % 60}});
        if (round % 50 == 0)
        {
            script_.plug(round % 100 != 0);
            worker->plugged();
        }
    });
    script_.plug(true);
    worker->plugged();
    for (const u32 id : controls)
    {
        worker->wish({{id, 63}});
        EXPECT_TRUE(script_.waitFor({id, 63}));
    }
}

}  // namespace
