#include <atomic>
#include <functional>
#include <optional>

#include "tests/support/Callers.h"
#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using namespace std::chrono_literals;
using camera::Outcome;

namespace {

constexpr int kCallers = 8;
constexpr int kRounds = 25;

// Fixed amounts of work on eight threads while the sensor thread switches with every turn.
class CameraConcurrency : public CameraTest
{
protected:
    void begin(const std::string& model)
    {
        bringUp(model);
        c().setValues(1, {{KEY_BRIGHTNESS, 41}, {KEY_SENSOR_FPS, 50}});
        c().setWindow(0, {true, 0, 0, 6, 0});
        c().setWindow(1, {true, 6, 0, 18, 0});
        pusher_.emplace([this] { clock_->advance(3h); });
    }

    void TearDown() override
    {
        pusher_.reset();
        CameraTest::TearDown();
    }

    // Every operation but the factory reset, each caller beginning elsewhere.
    void everything(int caller, int round)
    {
        const std::function<void()> operations[] = {
            [&] {
                c().apply({{KEY_CONTRAST, (caller * 25 + round) % 100}, {KEY_BRIGHTNESS, round}});
            },
            [&] {
                const camera::TrialResult tried = c().tryOut({{KEY_SATURATION, caller}});
                const unsigned trial = tried.trial ? tried.trial->id : 0;
                c().holdTrial(trial);
                c().trials();
                round % 2 == 0 ? void(c().keepTrial(trial)) : void(c().undoTrial(trial));
            },
            [&] {
                c().wouldApply({{KEY_CONTRAST, 300}});
            },
            [&] { c().restore(KEY_BRIGHTNESS); },
            [&] { c().save(); },
            [&] { c().reload(); },
            [&] { c().setScheme(caller % 3); },
            [&] { c().setMode(round % 5 != 0); },
            [&] {
                c().setWindow(caller % 2, {round % 2 == 0, 6, 0, 18, 0});
            },
            [&] {
                c().setValues(caller % 3, {{KEY_SHARPNESS, round}});
            },
            [&] { c().moveLens(camera::LensStep::zoomIn); },
            [&] { c().lens(); },
            [&] { c().schedule(); },
            [&] { c().peek(KEY_BRIGHTNESS); },
            [&] { c().read(KEY_CONTRAST); },
            [&] { c().pairText(); },
            [&] { c().style(); },
            [&] { c().texts(0); },
            [&] { c().version(); },
            [&] { c().explain(); },
            [&] { c().explainKey(KEY_BRIGHTNESS); },
            [&] {
                const camera::Acting acting("caller");
                const int number = c().events().subscribe([this](const camera::Event&) { ++heard_; });
                c().apply({{KEY_SHARPNESS, (caller + round) % 100}});
                c().events().unsubscribe(number);
            },
        };
        constexpr int count = sizeof operations / sizeof operations[0];
        for (int i = 0; i < count; ++i)
        {
            operations[(i + caller * 3) % count]();
        }
    }

    std::atomic<int> heard_{0};
    std::optional<Repeated> pusher_;
};

TEST_F(CameraConcurrency, EightCallersBesideASwitchingSensorThread)
{
    begin("fixed");
    runCallers(kCallers, kRounds, [&](int caller, int round) { everything(caller, round); });
}

TEST_F(CameraConcurrency, EightCallersWhileDayAndNightSwitch)
{
    simulator().setDaylight();
    begin("lpr");
    runCallers(kCallers, kRounds, [&](int caller, int round) { everything(caller, round); });
}

TEST_F(CameraConcurrency, FactoryResetsInBetween)
{
    begin("fixed");
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        if (caller == 0 && round % 10 == 0)
        {
            EXPECT_NO_THROW(c().factoryReset());
        }
        everything(caller, round);
    });
    EXPECT_EQ(c().schemeCount(), 4);
}

TEST_F(CameraConcurrency, EachCallerGetsItsOwnRefusals)
{
    begin("fixed");
    c().setMode(false);
    c().setScheme(0);
    const int keys[] = {KEY_BRIGHTNESS, KEY_CONTRAST, KEY_SATURATION, KEY_SHARPNESS};
    runCallers(kCallers, kRounds, [&](int caller, int round) {
        const int key = keys[caller % 4];
        const int value = 1000 + caller * 100 + round;
        const camera::ApplyResult result = c().apply({{key, value}});
        ASSERT_EQ(result.refusals.size(), 1u);
        EXPECT_EQ(result.refusals[0].key, key);
        EXPECT_EQ(result.refusals[0].value, value);
        EXPECT_EQ(outcomes(result), std::vector<Outcome>{Outcome::refused});
    });
}

}  // namespace
