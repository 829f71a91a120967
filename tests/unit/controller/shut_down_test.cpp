#include "tests/unit/controller/StartUpFixture.h"

#include <cstring>

#include "GThread.h"
#include "keycmd.h"

using namespace support;

namespace {

using ShutDown = StartUpFixture;

TEST_F(ShutDown, UninitReleasesAndResets)
{
    bringUp();
    setTime(20, 0);
    c().sensorThread();
    c().setParamMode(0);
    ASSERT_EQ(0, Probe::lastScheme(c()));
    c().uinit();
    initialised_ = false;
    EXPECT_EQ(0U, Probe::keyValSum(c()));
    EXPECT_EQ(nullptr, Probe::userKeyVal(c()));
    EXPECT_EQ(nullptr, Probe::fctKeyVal(c()));
    EXPECT_EQ(1, Probe::paramMode(c()));
    EXPECT_EQ(-1, Probe::lastScheme(c()));
    EXPECT_EQ(-1, current());
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_NE(nullptr, g_pKeyCmdMap);
    EXPECT_EQ(87U, g_nKeyCmdNum);
    EXPECT_TRUE(c().getSensorStatus());
}

TEST_F(ShutDown, UninitResetsNoFieldOfTheGlobalConfiguration)
{
    bringUp();
    UIFileEntry entry = {};
    g_stSysConf.pUIFiles = &entry;
    g_stSysConf.nUIFileSum = 1;
    const SysConfig before = g_stSysConf;
    c().uinit();
    initialised_ = false;
    EXPECT_EQ(&entry, g_stSysConf.pUIFiles);
    EXPECT_EQ(1U, g_stSysConf.nUIFileSum);
    EXPECT_EQ(before.szUIStyle, g_stSysConf.szUIStyle);
    EXPECT_EQ(before.nSchemeSum, g_stSysConf.nSchemeSum);
    EXPECT_EQ(before.nDeviceType, g_stSysConf.nDeviceType);
    EXPECT_EQ(0, std::memcmp(&before.moduleConfig, &g_stSysConf.moduleConfig, sizeof before.moduleConfig));
}

TEST_F(ShutDown, InitAfterUninitFindsNothingOfTheConfigurationBefore)
{
    bringUp();
    UIFileEntry entry = {};
    g_stSysConf.pUIFiles = &entry;
    g_stSysConf.nUIFileSum = 1;
    c().uinit();
    EXPECT_TRUE(initialise());
    stopThread();
    EXPECT_EQ(nullptr, g_stSysConf.pUIFiles);
    EXPECT_EQ(0U, g_stSysConf.nUIFileSum);
    EXPECT_EQ("", c().getUICommonFile(1));
    EXPECT_NE("", c().getUIStyleFile());
}

TEST_F(ShutDown, UninitPrintsNothing)
{
    bringUp();
    EXPECT_EQ("", outputOf([&] { c().uinit(); }));
    initialised_ = false;
}

TEST_F(ShutDown, ObjectCanBeInitialisedAgainAfterUninit)
{
    bringUp();
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    c().flush();
    c().uinit();
    EXPECT_TRUE(initialise());
    stopThread();
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(0, current());
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(ShutDown, SensorStatusIsFalseDuringALaterInit)
{
    bringUp();
    c().uinit();
    EXPECT_TRUE(c().getSensorStatus());
    std::vector<bool> status;
    service_.onCall([&](const ServiceCall&) { status.push_back(c().getSensorStatus()); });
    EXPECT_TRUE(initialise());
    stopThread();
    EXPECT_THAT(status, testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(false)));
    EXPECT_TRUE(c().getSensorStatus());
}

TEST_F(ShutDown, StoppingBitIsUpWhileTheLastTurnEnds)
{
    using namespace std::chrono_literals;
    bringUp();
    setValue(0, KEY_BRIGHTNESS, 10);
    setTime(20, 0);
    std::atomic<bool> inTurn{false};
    std::atomic<bool> seen{false};
    service_.onCall([&](const ServiceCall&) {
        inTurn = true;
        seen = eventually([&] { return (flags() & kStoppingBit) != 0; });
    });
    startThread();
    ASSERT_TRUE(clock_->waitForSleepers(1, 30s));
    clock_->advance(1s);
    ASSERT_TRUE(eventually([&] { return inTurn.load(); }));
    c().uinit();
    initialised_ = false;
    EXPECT_TRUE(seen);
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(ShutDown, ThreadThatCannotBeStoppedIsReportedAndTheReleaseContinues)
{
    bringUp();
    GThread* own = Probe::sensorThread(c());
    // uinit on the very thread that it shall stop.
    std::atomic<bool> done{false};
    GThread self(
        [&] {
            if (!done)
            {
                c().uinit();
                done = true;
            }
            return 0;
        },
        "self", &GThread::emptyFun, &GThread::emptyFun);
    Probe::sensorThread(c()) = &self;
    const std::string output = outputOf([&] {
        self.start();
        EXPECT_TRUE(eventually([&] { return done.load(); }));
        self.stop();
    });
    Probe::sensorThread(c()) = own;
    initialised_ = false;
    EXPECT_TRUE(saysOnly(output, asserted(kController, "uinit", "m_pSensorThread->stop()")));
    EXPECT_EQ(nullptr, Probe::userKeyVal(c()));
    EXPECT_EQ(kInitialisedBit, flags());
}

}  // namespace
