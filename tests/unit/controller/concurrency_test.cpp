#include "tests/support/ControllerFixture.h"

#include <algorithm>
#include <optional>
#include <set>

#include "tests/support/Callers.h"

using namespace support;

namespace {

constexpr int kCallers = 4;
constexpr int kRounds = 60;

// Nothing here looks at speed: every test runs a fixed amount of work on several threads, and checks what holds
// in any order. Run them under a thread sanitizer too.
class Concurrency : public UpFixture
{
protected:
    // The sensor thread makes turns as fast as the clock is pushed, with the time going to and fro.
    void SetUp() override
    {
        UpFixture::SetUp();
        setValue(0, KEY_BRIGHTNESS, 10);
        setValue(1, KEY_BRIGHTNESS, 20);
        setValue(2, KEY_BRIGHTNESS, 30);
        setWindow(1, true, 18, 0, 22, 0);
        startThread();
        pusher_.emplace([this, hour = 0]() mutable {
            hour = (hour + 7) % 24;
            clock_->setTimeOfDay(hour, 0);
            clock_->advance(std::chrono::seconds(1));
        });
    }

    void TearDown() override
    {
        pusher_.reset();
        ControllerFixture::TearDown();
    }

    std::optional<Repeated> pusher_;
};

TEST_F(Concurrency, ThreadSwitchesThroughTheSchemesByItself)
{
    std::set<int> seen;
    EXPECT_TRUE(eventually([&] {
        int scheme = 0;
        c().getParamScheme(scheme);
        seen.insert(scheme);
        return seen.size() >= 3;
    }));
}

TEST_F(Concurrency, SettersAndGettersBesideASwitchingThread)
{
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        EXPECT_EQ(0, c().setParameter(KEY_CONTRAST, caller * 1000 + round, true));
        int value = -1;
        EXPECT_TRUE(c().getParameter(KEY_CONTRAST, value));
        EXPECT_GE(value, 0);
        EXPECT_EQ(0, c().setParameters("(34,5)(2337,6)", (round & 1) == 0));
    });
}

TEST_F(Concurrency, TextInterfaceBesideASwitchingThread)
{
    service_.setDynamicCommands({IA_CMD_MAX_SHUTTER, IA_CMD_BRIGHTNESS});
    const size_t sum = ControllerProbe::keyValSum(c());
    runCallers(kCallers, kRounds, [&](int, int) {
        std::string all;
        EXPECT_TRUE(c().getAllParameters(all));
        EXPECT_TRUE(all.empty() || static_cast<size_t>(std::count(all.begin(), all.end(), '(')) == sum);
        std::string some;
        EXPECT_TRUE(c().getParameters("(34,2337,2528)", some));
        EXPECT_EQ(3, std::count(some.begin(), some.end(), '('));
        int value = 0;
        EXPECT_TRUE(c().getMirrorValue(value));
        std::string check = "(1,2,3)";
        EXPECT_EQ(0, c().SensorCheck(check));
    });
}

TEST_F(Concurrency, SchemesAndModesByManyCallers)
{
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        EXPECT_TRUE(c().setParamScheme((caller + round) % 4));
        EXPECT_TRUE(c().setParamMode(round & 1));
        int value = -9;
        EXPECT_TRUE(c().getParamScheme(value));
        EXPECT_THAT(value, testing::AllOf(testing::Ge(0), testing::Le(3)));
        EXPECT_TRUE(c().getParamMode(value));
        EXPECT_THAT(value, testing::AnyOf(0, 1));
    });
}

TEST_F(Concurrency, RestoreReloadAndFlushBesideASwitchingThread)
{
    outputOf([&] {
        runCallers(kCallers, kRounds, [&](int caller, int round) {
            switch ((caller + round) % 4)
            {
            case 0:
                EXPECT_EQ(0, c().restore(KEY_BRIGHTNESS));
                break;
            case 1:
                EXPECT_TRUE(c().restoreAeMode());
                break;
            case 2:
                EXPECT_TRUE(c().resetToLastParameters());
                break;
            default:
                // 507: a switch in the middle of a reload leaves half a window in another scheme.
                EXPECT_THAT(c().flush(), testing::AnyOf(0, 507));
                break;
            }
        });
    });
    pusher_.reset();
    stopThread();
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(Concurrency, HandlersWithPartnersBesideASwitchingThread)
{
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        c().setParameter(KEY_MIRROR, round % 3, true);
        c().setParameter(KEY_BEAWAY, caller & 1, true);
        c().setParameter(KEY_DTN_THR, round, true);
        c().setParameter(KEY_NTD_H, round % 24, true);
        c().setParameter(KEY_WDR_MODE, round & 1, true);
        c().setShowWDRFalg((round & 2) == 0);
    });
}

TEST_F(Concurrency, DirectControlsBesideASwitchingThread)
{
    runCallers(kCallers, kRounds, [&](int, int round) {
        int position = 0;
        int ratio = 0;
        unsigned statistic = 0;
        std::string version;
        EXPECT_TRUE(c().setZoomValue(16384 + round));
        EXPECT_TRUE(c().getZoomValue(position, ratio));
        EXPECT_TRUE(c().focusFar());
        EXPECT_TRUE(c().irisUp());
        EXPECT_TRUE(c().getAFStatistic(statistic));
        EXPECT_TRUE(c().getCameraVerInf(version));
        EXPECT_EQ(0, c().notifyToVideo(1, round));
        EXPECT_TRUE(c().getCmdExecStatus(1568, position));
        EXPECT_TRUE(c().getSensorStatus());
        EXPECT_EQ(7, c().getSensorType());
    });
}

TEST_F(Concurrency, DocumentsBesideASwitchingThread)
{
    service_.setDynamicCommands({IA_CMD_MAX_SHUTTER});
    service_.setAllowedValues(IA_CMD_MAX_SHUTTER, 3, {1, 3});
    outputOf([&] {
        runCallers(kCallers, kRounds, [&](int, int) {
            const std::string style = c().getUIStyleFile();
            EXPECT_EQ(0U, style.find("<?xml"));
            EXPECT_NE(std::string::npos, style.rfind("</Style>"));
            EXPECT_EQ("", c().getUICommonFile(1));
        });
    });
}

TEST_F(Concurrency, UnlockedOperationsBesideASwitchingThread)
{
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        u32 value = 0;
        c().setKeyValToCache(static_cast<u32>(caller), KEY_SATURATION, static_cast<u32>(round), true);
        c().getKeyValFromCache(static_cast<u32>(caller), KEY_SATURATION, value);
        c().isKeyValNewest({KEY_SATURATION, value});
        c().paramCheck();
        int scheme = 0;
        int schedule = 0;
        EXPECT_EQ(0, c().judgeCurScheme(scheme, schedule));
        std::vector<std::string> items;
        EXPECT_TRUE(c().parseSensorParameter("(1,2)", items));
        EXPECT_EQ(0, c().switch_to(round % 4, caller == 0));
        int mode = 0;
        EXPECT_TRUE(c().getDNMode(mode));
    });
}

TEST_F(Concurrency, VideoModuleCanBeExchangedWhileParametersAreApplied)
{
    FakeVideo other;
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        if (caller == 0)
        {
            c().setVideoStreamModule(round % 3 == 0 ? nullptr : round % 3 == 1 ? &other : &video_);
        }
        else
        {
            c().setParameter(KEY_ANTI_SHAKE_SWITCH, caller * 100 + round, true);
        }
    });
    c().setVideoStreamModule(&video_);
}

TEST_F(Concurrency, LevelChangesWhileEverybodyTalks)
{
    outputOf([&] {
        runCallers(kCallers, kRounds, [&](int caller, int round) {
            if (caller == 0)
            {
                setDebug(round % 8);
            }
            else
            {
                c().setParameter(KEY_CONTRAST, caller * 100 + round, true);
            }
        });
        removeDebug();
    });
}

TEST_F(Concurrency, FactoryResetsBetweenCallsOfOthers)
{
    outputOf([&] {
        runCallers(kCallers, kRounds, [&](int caller, int round) {
            if (caller == 0 && round % 12 == 0)
            {
                EXPECT_TRUE(c().resetParameters());
            }
            std::string text;
            int value = 0;
            c().setParameter(KEY_CONTRAST, caller * 1000 + round, true);
            c().setParameters("(34,5)(2337,6)", true);
            c().getParameter(KEY_CONTRAST, value);
            c().getAllParameters(text);
            c().getParameters("(34,2337)", text);
            c().restore(KEY_BRIGHTNESS);
            c().resetToLastParameters();
            c().flush();
            c().getUIStyleFile();
            c().getUICommonFile(1);
            c().getParamScheme(value);
            EXPECT_TRUE(c().setParamScheme(round % 4));
            EXPECT_TRUE(c().setParamMode(1));
            c().getSensorStatus();
            c().getSensorType();
        });
    });
    pusher_.reset();
    stopThread();
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(3U, g_stSysConf.nSchemeSum);
    EXPECT_EQ(29U, ControllerProbe::keyValSum(c()));
}

TEST_F(Concurrency, DayNightSwitchesBesideHostCalls)
{
    pusher_.reset();
    stopThread();
    ControllerProbe::lpr(c()) = true;
    std::atomic<u32> state{0};
    service_.answer(IA_CMD_DN_STATE, IA_CMD_OPT_GET, [&](u32, int, void* data) {
        *static_cast<u32*>(data) = state.fetch_add(1) / 3 % 2;
        return 0;
    });
    setTime(0, 0);
    startThread();
    pusher_.emplace([this] { clock_->advance(std::chrono::seconds(1)); });
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        c().setParameter(KEY_CONTRAST, round, true);
        std::string text;
        c().getAllParameters(text);
        c().setParamScheme((caller + round) % 4);
    });
    EXPECT_TRUE(eventually([&] { return state > 12; }));
    pusher_.reset();
    stopThread();
    EXPECT_EQ(kInitialisedBit, flags());
}

}  // namespace
