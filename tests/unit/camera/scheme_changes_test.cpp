#include <future>

#include "camera/SchemeFile.h"
#include "tests/support/ServiceDouble.h"
#include "tests/unit/camera/CameraFixture.h"
#include "tests/unit/platform/Eventually.h"

using namespace support;
using camera::Outcome;
using camera::Stored;

namespace {

class CameraSchemes : public CameraTest
{
protected:
    static std::optional<int> inFile(int scheme, u32 key)
    {
        for (const KeyVal& record : camera::readSchemeFile(scheme))
        {
            if (record.key == key)
            {
                return static_cast<int>(record.value);
            }
        }
        return std::nullopt;
    }
};

TEST_F(CameraSchemes, AWindowGoesToFileAndMemoryAndNothingElseIsSaved)
{
    bringUp();
    c().apply({{KEY_BRIGHTNESS, 61}});
    const camera::WindowResult result = c().setWindow(0, {true, 8, 30, 18, 15});
    EXPECT_EQ(result.stored, Stored::done);
    EXPECT_EQ(result.window.endMinute, 15u);
    EXPECT_EQ(inFile(0, KEY_SCHEME_START_MIN), 30);
    EXPECT_EQ(c().schemeValue(0, KEY_SCHEME_END_MIN), 15);
    EXPECT_EQ(inFile(0, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 61);
    EXPECT_EQ(c().mode(), 1);
}

TEST_F(CameraSchemes, AnUnsoundWindowChangesNothingAndSaysWhy)
{
    bringUp();
    EXPECT_EQ(c().setWindow(1, {true, 25, 0, 26, 0}).check, WINDOW_STARTS_TOO_LATE);
    EXPECT_EQ(c().setWindow(1, {true, 8, 0, 24, 30}).check, WINDOW_ENDS_TOO_LATE);
    const camera::WindowResult result = c().setWindow(1, {true, 22, 0, 6, 0});
    EXPECT_EQ(result.stored, Stored::windowRefused);
    EXPECT_EQ(result.check, WINDOW_NOT_FORWARD);
    EXPECT_EQ(result.window.startHour, 0u);
    EXPECT_EQ(inFile(1, KEY_SCHEME_START_HOUR), 0);
    EXPECT_EQ(c().setWindow(c().schemeCount(), {true, 8, 0, 9, 0}).stored, Stored::noScheme);
    EXPECT_EQ(c().setWindow(-1, {true, 8, 0, 9, 0}).stored, Stored::noScheme);
}

TEST_F(CameraSchemes, AWindowOfASchemeWithoutAFileIsNotChanged)
{
    bringUp();
    removeFile(schemeFile(1));
    EXPECT_EQ(c().setWindow(1, {true, 8, 0, 9, 0}).stored, Stored::noRecord);
    EXPECT_EQ(c().schemeValue(1, KEY_SCHEME_START_HOUR), 0);
}

TEST_F(CameraSchemes, ValuesOfAnotherSchemeAreSavedAndNotSent)
{
    bringUp();
    journal().clearCalls();
    const camera::ValuesResult result = c().setValues(2, {{KEY_BRIGHTNESS, 71}, {KEY_CONTRAST, 72}});
    EXPECT_EQ(result.stored, Stored::done);
    EXPECT_EQ(result.keys[0].outcome, Outcome::applied);
    EXPECT_EQ(setCalls(), 0);
    EXPECT_EQ(inFile(2, KEY_BRIGHTNESS), 71);
    EXPECT_EQ(c().schemeValue(2, KEY_CONTRAST), 72);
    start();
    EXPECT_EQ(c().schemeValue(2, KEY_BRIGHTNESS), 71);
}

TEST_F(CameraSchemes, ValuesOfTheSchemeInForceAreSentAndSavedAndOthersStayUnsaved)
{
    bringUp();
    ASSERT_EQ(c().currentScheme(), 0);
    c().apply({{KEY_CONTRAST, 33}});
    EXPECT_EQ(c().setValues(0, {{KEY_BRIGHTNESS, 71}}).stored, Stored::done);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 71);
    EXPECT_EQ(inFile(0, KEY_BRIGHTNESS), 71);
    EXPECT_EQ(inFile(0, KEY_CONTRAST), 50);
    EXPECT_EQ(c().peek(KEY_CONTRAST), 33);
}

TEST_F(CameraSchemes, OneValueThatIsNotAllowedKeepsAllFromBeingStored)
{
    bringUp();
    const camera::ValuesResult result = c().setValues(2, {{KEY_BRIGHTNESS, 71}, {KEY_CONTRAST, 300}});
    EXPECT_EQ(result.stored, Stored::valueRefused);
    EXPECT_EQ(result.keys[1].status, services::kOutOfRange);
    EXPECT_EQ(inFile(2, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().schemeValue(2, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().setValues(2, {{KEY_SCHEME_END_MIN, 1}}).check, WINDOW_ENDS_TOO_LATE) << "24:01";
    EXPECT_EQ(c().setValues(2, {{KEY_SCHEME_END_HOUR, 25}}).stored, Stored::valueRefused);
    EXPECT_EQ(c().setValues(2, {{999, 25}}).stored, Stored::valueRefused);
    EXPECT_EQ(c().setValues(4, {{KEY_BRIGHTNESS, 71}}).stored, Stored::noScheme);
}

TEST_F(CameraSchemes, AValueOfTheSchemeInForceThatTheSensorRefusesIsStoredAllTheSame)
{
    bringUp();
    const int direction = *c().peek(KEY_CAP_OFF_ADJ_DIRECTION) == 0 ? 1 : 0;
    for (const ia_cmd_e command : {IA_CMD_CAP_OFF_ADJ_DIRECTION, IA_CMD_BRIGHTNESS})
    {
        services::FailureRule rule;
        rule.cmd = command;
        rule.opt = IA_CMD_OPT_SET;
        rule.status = services::kLensBusy;
        failures().add(rule);
    }
    const camera::ValuesResult result =
        c().setValues(0, {{KEY_CAP_OFF_ADJ_DIRECTION, direction}, {KEY_BRIGHTNESS, 71}, {KEY_CONTRAST, 72}});
    EXPECT_EQ(result.stored, Stored::sensorRefused);
    ASSERT_EQ(result.keys.size(), 3u);
    EXPECT_EQ(result.keys[0].outcome, Outcome::heldBack);  // the library goes on as if the sensor had it
    EXPECT_EQ(result.keys[1].outcome, Outcome::refused);
    EXPECT_EQ(result.keys[2].outcome, Outcome::applied);
    for (const std::size_t i : {0, 1})
    {
        EXPECT_EQ(result.keys[i].status, services::kLensBusy);
        EXPECT_TRUE(result.keys[i].allowed);
    }
    EXPECT_EQ(inFile(0, KEY_CAP_OFF_ADJ_DIRECTION), direction);
}

TEST_F(CameraSchemes, ASchemeChosenByHandHoldsUntilTheClockChooses)
{
    bringUp();
    EXPECT_FALSE(c().setScheme(9).exists);
    const camera::SchemeResult result = c().setScheme(2);
    EXPECT_TRUE(result.clockChoosesAgain);
    EXPECT_EQ(c().currentScheme(), 2);
    turnAt(12, 0);
    EXPECT_EQ(c().currentScheme(), 0);
    c().setMode(false);
    EXPECT_FALSE(c().setScheme(2).clockChoosesAgain);
    turnAt(12, 0);
    EXPECT_EQ(c().currentScheme(), 2);
}

TEST_F(CameraSchemes, TheScheduleTellsWindowsModeAndTime)
{
    bringUp("lpr");
    c().setWindow(1, {true, 10, 0, 11, 0});
    const camera::Schedule schedule = c().schedule();
    ASSERT_EQ(schedule.windows.size(), 4u);
    EXPECT_TRUE(schedule.windows[1].enabled);
    EXPECT_TRUE(schedule.byDayAndNight);
    EXPECT_TRUE(schedule.automatic);
    EXPECT_EQ(schedule.minutes, c().minutesOfDay());
    EXPECT_EQ(camera::schemeAt(schedule, 10 * 60), 1);
    EXPECT_EQ(camera::schemeAt(schedule, 9 * 60), camera::kByDayAndNight);
}

// ---- the frame rate ---------------------------------------------------------------------------------------------

TEST_F(CameraSchemes, TheFrameRateFollowsASwitchByHandAndAReload)
{
    bringUp();
    c().setMode(false);
    c().setValues(1, {{KEY_SENSOR_FPS, 50}});
    ASSERT_EQ(applied(IA_CMD_SENSOR_FPS), 25);
    c().setScheme(1);
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 50);
    c().apply({{KEY_SENSOR_FPS, 25}});
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 25);
    EXPECT_EQ(c().reload().kind, camera::ReloadResult::Kind::reloaded);
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 50);
}

TEST_F(CameraSchemes, TheFrameRateFollowsTheStart)
{
    bringUp();
    c().setValues(0, {{KEY_SENSOR_FPS, 50}});
    camera_.reset();
    simulator().setModule(sim::Service::kFirstModule);
    start();
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 50);
}

TEST_F(CameraSchemes, TheFrameRateFollowsASwitchOfTheScheduler)
{
    bringUp();
    c().setWindow(0, {false, 0, 0, 24, 0});
    c().setValues(1, {{KEY_SENSOR_FPS, 50}});
    c().setWindow(1, {true, 14, 0, 15, 0});
    turnAt(14, 0);
    EXPECT_EQ(c().currentScheme(), 1);
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 50);
    turnAt(15, 0);
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 25);
}

TEST_F(CameraSchemes, TheFrameRateFollowsAReset)
{
    bringUp("lpr");
    simulator().setLight(0);
    const auto waitForNight = [this] {
        for (int turn = 0; turn < 60 && c().currentScheme() != 1; ++turn)
        {
            turnAt(12, 0);
        }
        turnAt(12, 0);
        EXPECT_EQ(c().currentScheme(), 1);
    };
    waitForNight();
    const int factory = applied(IA_CMD_SENSOR_FPS);
    c().apply({{KEY_SENSOR_FPS, 50}});
    ASSERT_NE(applied(IA_CMD_SENSOR_FPS), factory);
    c().factoryReset();
    waitForNight();
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), factory);
}

// The camera looks while the sensor thread is held in the midst of a switch, and the clock stands still behind it.
TEST_F(CameraSchemes, AFrameRateThatIsIgnoredDuringASwitchIsSentBehindIt)
{
    bringUp();
    c().setWindow(0, {false, 0, 0, 24, 0});
    c().setValues(1, {{KEY_SENSOR_FPS, 50}, {KEY_BRIGHTNESS, 70}});
    c().setWindow(1, {true, 14, 0, 15, 0});
    turnAt(13, 0);
    std::promise<void> reached;
    std::promise<void> go;
    std::shared_future<void> released = go.get_future().share();
    std::atomic<bool> first{true};
    failures().setBeforeCall([&](ia_cmd_e, int opt, const void*) {
        if (opt == IA_CMD_OPT_SET && first.exchange(false))
        {
            reached.set_value();
            released.wait();
        }
    });
    clock_->setTimeOfDay(14, 0);
    clock_->advance(std::chrono::seconds(1));
    ASSERT_EQ(reached.get_future().wait_for(kBound), std::future_status::ready);
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    clock_->advance(std::chrono::seconds(1));
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    EXPECT_EQ(c().currentScheme(), 1);
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 25);
    go.set_value();
    EXPECT_TRUE(platform_tests::eventually([this] { return applied(IA_CMD_SENSOR_FPS) == 50; }));
}

TEST_F(CameraSchemes, AFrameRateThatTheSensorHasAlreadyIsNotSentAgain)
{
    bringUp();
    journal().clearCalls();
    c().setMode(false);
    c().setScheme(1);
    for (const services::Call& call : journal().calls())
    {
        EXPECT_NE(call.cmd, IA_CMD_SENSOR_FPS);
    }
}

// Takes one frame rate for another, as a sensor does that has few.
class RoundingService : public services::Wrapper
{
public:
    explicit RoundingService(services::ImageService& inner) : Wrapper(inner) {}

    int call(ia_cmd_e cmd, int opt, void* data) override
    {
        u32 rounded = 25;
        const bool isRounded = cmd == IA_CMD_SENSOR_FPS && opt == IA_CMD_OPT_SET;
        return Wrapper::call(cmd, opt, isRounded ? &rounded : data);
    }

private:
    InForce inForce_{*this};
};

TEST_F(CameraSchemes, AFrameRateThatTheSensorRoundsIsSentOnce)
{
    const RoundingService rounding(journal());
    bringUp();
    c().setValues(1, {{KEY_SENSOR_FPS, 50}});
    c().setMode(false);
    journal().clearCalls();
    c().setScheme(1);
    turnAt(12, 0);
    turnAt(12, 0);
    int sets = 0;
    for (const services::Call& call : journal().calls())
    {
        sets += call.cmd == IA_CMD_SENSOR_FPS && call.opt == IA_CMD_OPT_SET ? 1 : 0;
    }
    EXPECT_EQ(sets, 1);
    EXPECT_EQ(applied(IA_CMD_SENSOR_FPS), 25);
}

// While a window is changed the scheduler is held off by manual mode, which is nobody's choice.
TEST_F(CameraSchemes, ReadersSeeTheModeThatWasChosenWhileAWindowIsChanged)
{
    bringUp();
    turnAt(12, 0);
    std::future<std::pair<int, camera::Why>> reader;
    const int subscription = c().events().subscribe([&](const camera::Event& event) {
        if (event.kind == camera::Event::Kind::values)
        {
            reader = std::async(std::launch::async, [this] { return std::make_pair(c().mode(), c().explain().why); });
            reader.wait();
        }
    });
    c().setWindow(1, {true, 8, 0, 10, 0});
    c().events().unsubscribe(subscription);
    const auto [mode, why] = reader.get();
    EXPECT_EQ(mode, 1);
    EXPECT_NE(why, camera::Why::manual);
    EXPECT_EQ(c().mode(), 1);
}

}  // namespace
