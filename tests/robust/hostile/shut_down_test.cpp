#include "GThread.h"
#include "SysConfig.h"
#include "tests/robust/hostile/BlockingFixture.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class HostileShutDown : public BlockingFixture
{
protected:
    void SetUp() override
    {
        BlockingFixture::SetUp();
        bringUpHostile();
    }

    // A clock that runs fast and in circles until the end of the scope.
    class Pushing
    {
    public:
        explicit Pushing(host::ManualClock& clock)
            : thread_([this, &clock] {
                  for (int hour = 0; running_; hour = (hour + 5) % 24)
                  {
                      clock.setTimeOfDay(hour, 0);
                      clock.advance(1s);
                      std::this_thread::yield();
                  }
              })
        {
        }
        ~Pushing()
        {
            running_ = false;
            thread_.join();
        }

    private:
        std::atomic<bool> running_{true};
        std::thread thread_;
    };
};

TEST_F(HostileShutDown, UninitWaitsForASwitchThatStandsInTheServiceAndReleasesAfterIt)
{
    stopThreadInSwitch();
    WaitingCall uninit([this] { c().uinit(); });
    EXPECT_TRUE(eventually([this] { return (flags() & kStoppingBit) != 0; }));
    EXPECT_NE(nullptr, ControllerProbe::userKeyVal(c()));
    EXPECT_NE(nullptr, ControllerProbe::keyCmdMap(c()));
    EXPECT_FALSE(uninit.done());
    gate_->open();
    EXPECT_TRUE(uninit.ends());
    initialised_ = false;
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(nullptr, ControllerProbe::userKeyVal(c()));
    EXPECT_EQ(-1, current());
    CapturedOutput quiet;
    EXPECT_TRUE(initialise());
    expectWorks();
}

TEST_F(HostileShutDown, UninitWaitsForADayNightReadingThatStandsInTheService)
{
    bringDown();
    files_.deviceType = kLprDevice;
    bringUpHostile();
    stopNext(IA_CMD_DN_STATE, IA_CMD_OPT_GET);
    ASSERT_TRUE(clock_->waitForSleepers(1, 30s));
    setTime(23, 0);
    clock_->advance(1s);
    ASSERT_TRUE(gate_->waitForArrivals());
    WaitingCall uninit([this] { c().uinit(); });
    EXPECT_TRUE(eventually([this] { return (flags() & kStoppingBit) != 0; }));
    EXPECT_FALSE(uninit.done());
    gate_->open();
    EXPECT_TRUE(uninit.ends());
    initialised_ = false;
}

TEST_F(HostileShutDown, FactoryResetWaitsForASwitchThatStandsInTheService)
{
    stopThreadInSwitch();
    CapturedOutput quiet;
    WaitingCall reset([this] { EXPECT_TRUE(c().resetParameters()); });
    EXPECT_TRUE(eventually([this] { return (flags() & kStoppingBit) != 0; }));
    EXPECT_NE(0, flags() & kResetBit);
    WaitingCall reader([this] {
        int value = 0;
        EXPECT_TRUE(c().getParameter(KEY_BRIGHTNESS, value));
    });
    EXPECT_TRUE(reader.waitsFor(ControllerProbe::mutex(c())));
    int mode = 0;
    EXPECT_TRUE(c().getDNMode(mode));
    EXPECT_FALSE(reset.done());
    gate_->open();
    EXPECT_TRUE(reset.ends());
    EXPECT_TRUE(reader.ends());
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(bytesOf(scheme(i)), readFile(schemeFile(i)));
        EXPECT_EQ(50U, valueOf(i, KEY_BRIGHTNESS));
    }
    expectWorks();
}

TEST_F(HostileShutDown, TwoFactoryResetsAndEveryCallOfOthersAtOnceEndInAWholeCamera)
{
    {
        CapturedOutput quiet;
        const Pushing pushing(*clock_);
        std::atomic<int> resets{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 2; ++i)
        {
            threads.emplace_back([&] {
                for (int round = 0; round < 3; ++round)
                {
                    EXPECT_TRUE(c().resetParameters());
                    ++resets;
                }
            });
        }
        std::vector<HostCall> calls = callsWithLock();
        const std::vector<HostCall> others = callsWithoutLock();
        calls.insert(calls.end(), others.begin(), others.end());
        calls.push_back({"setParamScheme", [](ISensorController& c) { EXPECT_TRUE(c.setParamScheme(2)); }});
        calls.push_back({"setParamMode", [](ISensorController& c) { EXPECT_TRUE(c.setParamMode(1)); }});
        for (size_t i = 0; i < 8; ++i)
        {
            threads.emplace_back([&, i] {
                for (size_t call = i; resets < 6; ++call)
                {
                    calls[call % calls.size()].call(c());
                }
            });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    }
    EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
    EXPECT_EQ(3U, g_stSysConf.nSchemeSum);
    EXPECT_EQ(30U, ControllerProbe::keyValSum(c()));
    expectWorks();
}

TEST_F(HostileShutDown, StartAndStopInAStormOfSwitchesNeverHangs)
{
    CapturedOutput quiet;
    const Pushing pushing(*clock_);
    for (int i = 0; i < 20; ++i)
    {
        c().uinit();
        initialised_ = false;
        EXPECT_TRUE(initialise());
    }
}

TEST_F(HostileShutDown, SensorThreadStartedAndStoppedByManyThreadsEndsStoppedOrRunningButWhole)
{
    {
        const Pushing pushing(*clock_);
        GThread& thread = *ControllerProbe::sensorThread(c());
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
        {
            threads.emplace_back([&] {
                for (int round = 0; round < 50; ++round)
                {
                    EXPECT_TRUE(thread.start());
                    EXPECT_TRUE(thread.stop());
                }
            });
        }
        for (std::thread& starter : threads)
        {
            starter.join();
        }
    }
    EXPECT_FALSE(clock_->waitForSleepers(1, 0ms));
    startThread();
    expectWorks();
}

TEST_F(HostileShutDown, DestructionRightAfterInitAndUninitIsClean)
{
    for (int i = 0; i < 10; ++i)
    {
        bringDown();
        construct();
        CapturedOutput quiet;
        EXPECT_TRUE(initialise());
    }
    bringDown();
    EXPECT_FALSE(clock_->waitForSleepers(1, 0ms));
}

// The destructor stops the thread and leaves the rest to uinit, which this host forgot.
TEST_F(HostileShutDown, DestructionRightAfterInitStopsTheThreadInTheMiddleOfASwitch)
{
    stopThreadInSwitch();
    KeyVal* const scratch = ControllerProbe::keyValTmp(c());
    KeyVal* const buffer = ControllerProbe::keyValBuf(c());
    keycmd* const map = ControllerProbe::keyCmdMap(c());
    KeyVal** const schemes = ControllerProbe::userKeyVal(c());
    WaitingCall destruction([this] { controller_.reset(); });
    EXPECT_FALSE(destruction.done());
    gate_->open();
    EXPECT_TRUE(destruction.ends());
    initialised_ = false;
    EXPECT_FALSE(clock_->waitForSleepers(1, 0ms));
    EXPECT_EQ(20U, service_.stored(IA_CMD_BRIGHTNESS));  // the last turn was finished

    delete[] scratch;
    delete[] buffer;
    delete[] map;
    delete[] schemes;
    uinitSysConf(&g_stSysConf);
}

TEST_F(HostileShutDown, ManyControllersThatWereNeverStartedComeAndGoOnManyThreads)
{
    bringDown();
    service_.clearCalls();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back([] {
            for (int round = 0; round < 100; ++round)
            {
                const ISensorController fresh;
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_TRUE(service_.calls().empty());
}

}  // namespace
