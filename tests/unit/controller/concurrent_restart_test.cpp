#include "tests/unit/controller/ConcurrencyFixture.h"

using support::kInitialisedBit;
using support::outputOf;
using namespace std::chrono_literals;

namespace {

class ConcurrentRestart : public support::ConcurrencyFixture
{
};

// A factory reset between locked calls of other threads.
TEST_F(ConcurrentRestart, FactoryResetBetweenCallsOfOthers)
{
    outputOf([&] {
        std::atomic<bool> running{true};
        std::thread resetting([&] {
            for (int i = 0; i < 5; ++i)
            {
                EXPECT_TRUE(c().resetParameters());
            }
            running = false;
        });
        std::vector<std::thread> callers;
        for (int caller = 0; caller < support::kCallers; ++caller)
        {
            callers.emplace_back([&, caller] {
                int round = 0;
                while (running)
                {
                    ++round;
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
                    c().getSensorStatus();
                    c().getSensorType();
                }
            });
        }
        resetting.join();
        for (std::thread& caller : callers)
        {
            caller.join();
        }
    });
    pusher_.reset();
    stopThread();
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(3U, g_stSysConf.nSchemeSum);
    EXPECT_EQ(29U, ControllerProbe::keyValSum(c()));
}

TEST_F(ConcurrentRestart, SchemeSettersBesideFactoryResets)
{
    outputOf([&] {
        std::atomic<bool> running{true};
        std::thread setting([&] {
            for (int round = 0; running; ++round)
            {
                EXPECT_TRUE(c().setParamScheme(round % 4));
                EXPECT_TRUE(c().setParamMode(1));
            }
        });
        for (int i = 0; i < 5; ++i)
        {
            EXPECT_TRUE(c().resetParameters());
        }
        running = false;
        setting.join();
    });
}

TEST_F(ConcurrentRestart, StartAndShutDownManyTimesWithTheThreadSwitching)
{
    for (int i = 0; i < 5; ++i)
    {
        c().uinit();
        initialised_ = false;
        EXPECT_TRUE(initialise());
    }
}

class PlateConcurrency : public support::ControllerFixture
{
};

TEST_F(PlateConcurrency, DayNightSwitchesBesideHostCalls)
{
    files_.deviceType = support::kLprDevice;
    bringUp();
    std::atomic<u32> state{0};
    service_.answer(IA_CMD_DN_STATE, IA_CMD_OPT_GET, [&](u32, int, void* data) {
        *static_cast<u32*>(data) = state.fetch_add(1) / 3 % 2;
        return 0;
    });
    startThread();
    std::atomic<bool> running{true};
    std::thread pusher([&] {
        while (running)
        {
            clock_->advance(1s);
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 200; ++round)
    {
        c().setParameter(KEY_CONTRAST, round, true);
        std::string text;
        c().getAllParameters(text);
        c().setParamScheme(round % 4);
    }
    EXPECT_TRUE(support::eventually([&] { return state > 12; }));
    running = false;
    pusher.join();
    stopThread();
    EXPECT_EQ(kInitialisedBit, flags());
}

}  // namespace
