#include "tests/support/Callers.h"
#include "tests/support/Simulator.h"
#include "tests/system/SystemCamera.h"

#include <optional>

using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr int kCallers = 4;
constexpr int kRounds = 40;

// Fixed amounts of work on several threads while day and night fly past.
class SystemConcurrency : public SystemCamera
{
protected:
    void begin(const Model& model)
    {
        install(model);
        start();
        for (int i = 0; i < model.schemes && i < 3; ++i)
        {
            saveWindow(i, i * 6, 0, i * 6 + 5, 0);
            c().setParamMode(0);
            c().setParamScheme(i);
            c().setParameter(KEY_BRIGHTNESS, 40 + i, true);
            c().setParamMode(1);
        }
        support::simulator().setDaylight();
        pusher_.emplace([this] { clock_->advance(20min); });
    }

    void TearDown() override
    {
        pusher_.reset();
        SystemCamera::TearDown();
    }

    void everything(int caller, int round)
    {
        int word = 0;
        int ratio = 0;
        std::string text;
        c().setParameter(KEY_CONTRAST, (caller * 25 + round) % 100, true);
        c().setParameters("(34,45)(2337,46)", true);
        EXPECT_TRUE(c().getParameter(KEY_CONTRAST, word));
        EXPECT_TRUE(c().getAllParameters(text));
        EXPECT_TRUE(c().getParameters("(34,2337)", text));
        c().restore(KEY_BRIGHTNESS);
        c().resetToLastParameters();
        c().flush();
        c().getUIStyleFile();
        c().getUICommonFile(0);
        c().getParamScheme(word);
        c().getParamMode(word);
        c().getZoomValue(word, ratio);
        c().getDNMode(word);
        c().getSensorStatus();
        c().getSensorType();
        c().getCameraVerInf(text);
    }

    std::optional<Repeated> pusher_;
};

TEST_F(SystemConcurrency, ManyCallersWhileTheScheduleSwitches)
{
    CapturedOutput quiet;
    begin(kFixed);
    runCallers(kCallers, kRounds, [&](int caller, int round) { everything(caller, round); });
}

TEST_F(SystemConcurrency, ManyCallersWhileDayAndNightSwitch)
{
    CapturedOutput quiet;
    begin(kPlate);
    runCallers(kCallers, kRounds, [&](int caller, int round) { everything(caller, round); });
}

TEST_F(SystemConcurrency, FactoryResetsInBetween)
{
    CapturedOutput quiet;
    begin(kPlate);
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        if (caller == 0 && round % 10 == 0)
        {
            EXPECT_TRUE(c().resetParameters());
        }
        everything(caller, round);
    });
    EXPECT_EQ(static_cast<u32>(kPlate.schemes), g_stSysConf.nSchemeSum);
}

}  // namespace
