#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <mutex>
#include <sstream>

#include "camera/Diagnostics.h"
#include "tests/support/FakeDevice.h"
#include "tests/support/ServiceDouble.h"
#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using camera::Event;
using camera::Outcome;
using camera::Stored;
using services::Standing;
using Kind = camera::Event::Kind;
using Strings = std::vector<std::string>;

namespace {

std::string contentOf(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class CameraDevice : public CameraTest
{
protected:
    void TearDown() override
    {
        if (camera_)
        {
            c().events().unsubscribe(subscription_);
        }
        CameraTest::TearDown();
    }

    services::Journal& behind() override { return journal_; }
    FakeDevice& device() { return service_.fake; }

    // Scheme 0 is in force.
    void bringUpAtNoon()
    {
        bringUp();
        turnAt(12, 0);
        device().takeSets();
    }

    void listen()
    {
        subscription_ = c().events().subscribe([this](const Event& event) {
            const std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(event);
        });
    }

    std::vector<Event> take(Kind kind)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::vector<Event> events;
        std::copy_if(events_.begin(), events_.end(), std::back_inserter(events),
                     [kind](const Event& event) { return event.kind == kind; });
        events_.clear();
        return events;
    }

    std::optional<int> value(int scheme, const std::string& name)
    {
        for (const camera::ControlRow& row : c().controls(scheme))
        {
            if (row.control.name == name)
            {
                return row.value;
            }
        }
        return std::nullopt;
    }

    // The clock chooses scheme 1 from two to three in the afternoon, scheme 0 at all other times.
    void windows()
    {
        c().setWindow(1, {true, 14, 0, 15, 0});
        c().setWindow(0, {true, 15, 0, 24, 0});
        c().setWindow(2, {true, 0, 0, 14, 0});
    }

    ServiceWithDevice service_{journal()};
    services::Journal journal_{service_};
    InForce inForce_{journal_};
    std::mutex mutex_;
    std::vector<Event> events_;
    int subscription_ = 0;
};

TEST_F(CameraTest, ACameraWithoutADeviceHasNoneAndNoControls)
{
    bringUp();
    EXPECT_FALSE(c().device());
    EXPECT_FALSE(c().standing(KEY_BRIGHTNESS));
    EXPECT_TRUE(c().controls(0).empty());
    EXPECT_TRUE(c().unsavedControls().empty());
    EXPECT_EQ(c().applyControls({{"hue", 1}}).controls[0].status, services::kUnknownCommand);
    turnAt(12, 0);
    c().save();
    EXPECT_FALSE(camera::readControlFile(0).isThere);
}

// ---- states ------------------------------------------------------------------------------------------------

TEST_F(CameraDevice, TellsItsNameAndHowEachKeyStands)
{
    device().stand(IA_CMD_BRIGHTNESS, Standing::held);
    device().stand("hue", Standing::busy);
    bringUpAtNoon();
    const auto state = c().device();
    ASSERT_TRUE(state);
    EXPECT_EQ(state->name, "USB Camera");
    EXPECT_TRUE(state->isThere);
    EXPECT_FALSE(state->hasOtherControls);
    EXPECT_EQ(state->standings, (std::map<int, Standing>{{KEY_BRIGHTNESS, Standing::held}}));
    EXPECT_EQ(state->controlStandings, (std::map<std::string, Standing>{{"hue", Standing::busy}}));
    EXPECT_EQ(c().standing(KEY_BRIGHTNESS), Standing::held);
    EXPECT_EQ(c().standing(KEY_CONTRAST), Standing::applied);
    EXPECT_FALSE(c().standing(KEY_SCHEME_ENABLE));
}

TEST_F(CameraDevice, IsToldWithinASecondWhenItIsLostAndWhenItIsBack)
{
    bringUpAtNoon();
    listen();
    device().plug(false);
    turnAt(12, 0);
    std::vector<Event> events = take(Kind::device);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_FALSE(events[0].device.isThere);
    EXPECT_EQ(events[0].by, "");
    EXPECT_EQ(c().apply({{KEY_BRIGHTNESS, 61}}).keys[0].outcome, Outcome::applied);
    turnAt(12, 0);
    EXPECT_TRUE(take(Kind::device).empty());
    device().plug(true, true);
    turnAt(12, 0);
    events = take(Kind::device);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_TRUE(events[0].device.isThere);
    EXPECT_TRUE(events[0].device.hasOtherControls);
}

TEST_F(CameraDevice, TellsTheStandingsThatHaveChanged)
{
    device().stand(IA_CMD_CONTRAST, Standing::waiting);
    bringUpAtNoon();
    listen();
    device().stand(IA_CMD_BRIGHTNESS, Standing::held);
    device().stand("hue", Standing::refused);
    turnAt(12, 0);
    std::vector<Event> events = take(Kind::standings);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].device.standings, (std::map<int, Standing>{{KEY_BRIGHTNESS, Standing::held}}));
    EXPECT_EQ(events[0].device.controlStandings, (std::map<std::string, Standing>{{"hue", Standing::refused}}));
    device().stand(IA_CMD_BRIGHTNESS, Standing::applied);
    device().stand("hue", Standing::applied);
    turnAt(12, 0);
    events = take(Kind::standings);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].device.standings, (std::map<int, Standing>{{KEY_BRIGHTNESS, Standing::applied}}));
    EXPECT_EQ(events[0].device.controlStandings, (std::map<std::string, Standing>{{"hue", Standing::applied}}));
}

TEST_F(CameraDevice, WhatAnotherProgramSetIsRememberedUnsavedWhereItCounts)
{
    bringUpAtNoon();
    listen();
    device().takeOver(IA_CMD_BRIGHTNESS, 77);
    turnAt(12, 0);
    EXPECT_EQ(c().schemeValue(c().currentScheme(), KEY_BRIGHTNESS), 77);
    const std::vector<Event> events = take(Kind::values);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].values.at(0).key, KEY_BRIGHTNESS);
    EXPECT_EQ(events[0].values.at(0).value, 77);
    const std::vector<camera::UnsavedValue> unsaved = c().unsaved();
    ASSERT_EQ(unsaved.size(), 1u);
    EXPECT_EQ(unsaved[0].value, 77);
}

TEST_F(CameraDevice, TheDefaultSchemeKeepsItsValuesWhateverAnotherProgramSets)
{
    bringUpAtNoon();
    c().setMode(false);
    c().setScheme(c().schemeCount());
    const std::optional<int> before = c().schemeValue(c().schemeCount(), KEY_BRIGHTNESS);
    device().takeOver(IA_CMD_BRIGHTNESS, 77);
    device().takeOver("hue", 77);
    turnAt(12, 0);
    EXPECT_EQ(c().schemeValue(c().schemeCount(), KEY_BRIGHTNESS), before);
    EXPECT_EQ(value(c().schemeCount(), "hue"), 0);
}

// ---- named controls ----------------------------------------------------------------------------------------

TEST_F(CameraDevice, AtTheFirstContactSchemeNoughtIsWhatTheDeviceHas)
{
    bringUp();
    EXPECT_EQ(value(0, "hue"), 12);
    EXPECT_EQ(value(0, "power_line_frequency"), 1);
    EXPECT_EQ(value(0, "reset_pan"), std::nullopt);
    EXPECT_EQ(value(1, "hue"), 0);
    EXPECT_EQ(value(1, "power_line_frequency"), 2);
    EXPECT_EQ(contentOf(camera::controlFile(0)), "hue 12\npower_line_frequency 1\n");
    EXPECT_FALSE(camera::readControlFile(1).isThere);
    EXPECT_TRUE(c().unsavedControls().empty());
}

TEST_F(CameraDevice, ASetGoesToTheDeviceAndIsRememberedUntilSaved)
{
    bringUpAtNoon();
    listen();
    const camera::ControlsResult result = c().applyControls({{"hue", 30}, {"power_line_frequency", 1}});
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.scheme, 0);
    EXPECT_TRUE(result.schemeKeepsValues);
    EXPECT_EQ(result.controls[0].outcome, Outcome::applied);
    EXPECT_EQ(result.controls[0].before, 12);
    EXPECT_EQ(result.controls[1].outcome, Outcome::unchanged);
    EXPECT_EQ(device().value("hue"), 30);
    const std::vector<Event> events = take(Kind::controls);
    ASSERT_EQ(events.size(), 1u);
    ASSERT_EQ(events[0].controls.size(), 1u);
    EXPECT_EQ(events[0].controls[0].name, "hue");
    EXPECT_EQ(events[0].controls[0].value, 30);
    const std::vector<camera::UnsavedControl> unsaved = c().unsavedControls();
    ASSERT_EQ(unsaved.size(), 1u);
    EXPECT_EQ(unsaved[0].name, "hue");
    EXPECT_EQ(unsaved[0].value, 30);
    EXPECT_EQ(unsaved[0].saved, 12);
    EXPECT_EQ(c().save().kind, camera::SaveResult::Kind::saved);
    EXPECT_TRUE(c().unsavedControls().empty());
    EXPECT_EQ(contentOf(camera::controlFile(0)), "hue 30\npower_line_frequency 1\n");
}

TEST_F(CameraDevice, AListEndsAtTheFirstThatIsRefused)
{
    bringUpAtNoon();
    const camera::ControlsResult result = c().applyControls({{"hue", 30}, {"hue", 181}, {"power_line_frequency", 0}});
    ASSERT_EQ(result.refused, 1u);
    EXPECT_EQ(result.controls[0].outcome, Outcome::applied);
    EXPECT_EQ(result.controls[1].outcome, Outcome::refused);
    EXPECT_EQ(result.controls[1].status, services::kOutOfRange);
    EXPECT_EQ(result.controls[1].before, 30);
    EXPECT_EQ(result.controls[1].allowed->allowed.maximum, 180);
    EXPECT_EQ(result.controls[2].outcome, Outcome::notReached);
    EXPECT_EQ(device().takeSets(), Strings{"hue=30"});
    EXPECT_EQ(c().applyControls({{"tint", 1}}).controls[0].status, services::kUnknownCommand);
}

TEST_F(CameraDevice, WhatWouldHappenIsToldWithoutDoingIt)
{
    bringUpAtNoon();
    const camera::ControlsResult result = c().wouldApplyControls({{"hue", 30}, {"power_line_frequency", 3}});
    EXPECT_EQ(result.controls[0].outcome, Outcome::applied);
    EXPECT_EQ(result.controls[1].outcome, Outcome::refused);
    EXPECT_TRUE(device().takeSets().empty());
    EXPECT_EQ(value(0, "hue"), 12);
}

TEST_F(CameraDevice, AnActionIsDoneAndNotRemembered)
{
    bringUpAtNoon();
    const camera::ControlsResult result = c().applyControls({{"reset_pan", 1}});
    EXPECT_EQ(result.controls[0].outcome, Outcome::notRemembered);
    EXPECT_EQ(device().takeSets(), Strings{"reset_pan=1"});
    EXPECT_TRUE(c().unsavedControls().empty());
    c().save();
    EXPECT_EQ(contentOf(camera::controlFile(0)), "hue 12\npower_line_frequency 1\n");
}

TEST_F(CameraDevice, ASchemeThatIsPutInForceBringsItsControlsAtOnce)
{
    bringUpAtNoon();
    c().setMode(false);
    EXPECT_EQ(c().setControls(1, {{"hue", -50}}).stored, Stored::done);
    EXPECT_TRUE(device().takeSets().empty());
    c().setScheme(1);
    EXPECT_EQ(device().value("hue"), -50);
    EXPECT_EQ(device().value("power_line_frequency"), 2);
    c().setScheme(c().schemeCount());
    EXPECT_EQ(device().value("hue"), 0);
    EXPECT_EQ(c().applyControls({{"hue", 5}}).controls[0].outcome, Outcome::notRemembered);
    EXPECT_EQ(device().value("hue"), 5);
    EXPECT_EQ(value(c().schemeCount(), "hue"), 0);
}

TEST_F(CameraDevice, ASwitchByTheClockBringsItsControlsWithinASecond)
{
    bringUp();
    windows();
    c().setControls(1, {{"hue", -50}});
    turnAt(16, 0);
    EXPECT_EQ(c().currentScheme(), 0);
    EXPECT_EQ(device().value("hue"), 12);
    listen();
    turnAt(14, 0);
    EXPECT_EQ(c().currentScheme(), 1);
    EXPECT_EQ(device().value("hue"), -50);
    const std::vector<Event> events = take(Kind::controls);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].scheme, 1);
    EXPECT_EQ(value(0, "hue"), 12);
}

TEST_F(CameraDevice, TheStartSendsWhatWasSaved)
{
    bringUpAtNoon();
    c().applyControls({{"hue", 30}});
    c().save();
    c().applyControls({{"hue", 40}});
    camera_.reset();
    device().takeOver("hue", 0);  // it was without power
    device().takeSets();
    start();
    turnAt(12, 0);
    EXPECT_EQ(value(0, "hue"), 30);
    EXPECT_EQ(device().value("hue"), 30);
}

TEST_F(CameraDevice, AReloadBringsBackWhatWasSaved)
{
    bringUpAtNoon();
    c().applyControls({{"hue", 30}});
    c().reload();
    EXPECT_EQ(value(0, "hue"), 12);
    EXPECT_EQ(device().value("hue"), 12);
    EXPECT_TRUE(c().unsavedControls().empty());
}

TEST_F(CameraDevice, AFactoryResetBringsTheDevicesDefaultsAndRemovesTheFiles)
{
    bringUpAtNoon();
    c().setControls(1, {{"hue", -50}});
    c().factoryReset();
    EXPECT_EQ(device().value("hue"), 0);
    EXPECT_EQ(value(0, "hue"), 0);
    EXPECT_EQ(value(1, "hue"), 0);
    EXPECT_FALSE(camera::readControlFile(0).isThere);
    EXPECT_FALSE(camera::readControlFile(1).isThere);
    EXPECT_TRUE(c().unsavedControls().empty());
}

TEST_F(CameraDevice, ValuesOfAnySchemeAreStoredAllOrNone)
{
    bringUpAtNoon();
    c().applyControls({{"hue", 30}});
    EXPECT_EQ(c().setControls(1, {{"hue", 7}, {"power_line_frequency", 9}}).stored, Stored::valueRefused);
    EXPECT_EQ(c().setControls(1, {{"hue", 7}, {"reset_pan", 1}}).stored, Stored::noRecord);
    EXPECT_FALSE(camera::readControlFile(1).isThere);
    EXPECT_EQ(c().setControls(9, {{"hue", 7}}).stored, Stored::noScheme);
    EXPECT_EQ(c().setControls(1, {{"hue", 7}}).stored, Stored::done);
    EXPECT_EQ(contentOf(camera::controlFile(1)), "hue 7\npower_line_frequency 2\n");
    // Of the scheme in force what is not saved stays so.
    EXPECT_EQ(c().setControls(0, {{"power_line_frequency", 2}}).stored, Stored::done);
    EXPECT_EQ(contentOf(camera::controlFile(0)), "hue 12\npower_line_frequency 2\n");
    EXPECT_EQ(device().value("power_line_frequency"), 2);
    EXPECT_EQ(c().unsavedControls().size(), 1u);
}

TEST_F(CameraDevice, AControlThatAnotherProgramSetIsRememberedWhereItCounts)
{
    bringUpAtNoon();
    listen();
    device().takeOver("hue", -3);
    turnAt(12, 0);
    EXPECT_EQ(value(0, "hue"), -3);
    EXPECT_EQ(take(Kind::controls).size(), 1u);
    EXPECT_EQ(c().unsavedControls().size(), 1u);
}

TEST_F(CameraDevice, SchemesAreCarriedWithTheirControls)
{
    bringUpAtNoon();
    c().applyControls({{"hue", 30}});
    const camera::Export all = c().exported();
    ASSERT_EQ(all.schemes[0].controls.size(), 2u);
    EXPECT_EQ(all.schemes[0].controls[0].name, "hue");
    EXPECT_EQ(all.schemes[0].controls[0].value, 30);

    camera::Import wanted = {all.model, {}, {}};
    wanted.schemes.push_back(
        {1, {}, {{"KEY_BRIGHTNESS", 33}}, {{"hue", -9}, {"tint", 1}, {"power_line_frequency", 9}, {"reset_pan", 1}}});
    wanted.schemes[0].controls.push_back({"hue_2", std::nullopt});
    const camera::ImportResult plan = c().wouldImport(wanted);
    EXPECT_EQ(value(1, "hue"), 0);
    const camera::ImportResult result = c().import(wanted);
    for (const camera::ImportResult& each : {plan, result})
    {
        const std::vector<camera::ImportResult::Control>& controls = each.schemes[0].controls;
        ASSERT_EQ(controls.size(), 5u);
        EXPECT_EQ(controls[0].skipped, camera::Skipped::no);
        EXPECT_EQ(controls[0].control->outcome, Outcome::applied);
        EXPECT_EQ(controls[1].skipped, camera::Skipped::unknownKey);
        EXPECT_EQ(controls[2].skipped, camera::Skipped::outOfRange);
        EXPECT_EQ(controls[3].skipped, camera::Skipped::notInModel);
        EXPECT_EQ(controls[4].skipped, camera::Skipped::wrongType);
    }
    EXPECT_EQ(value(1, "hue"), -9);
    EXPECT_EQ(c().schemeValue(1, KEY_BRIGHTNESS), 33);
    EXPECT_EQ(contentOf(camera::controlFile(1)), "hue -9\npower_line_frequency 2\n");
}

// ---- files -------------------------------------------------------------------------------------------------

TEST_F(CameraDevice, ABrokenLineCostsThatLineOnly)
{
    installModel("fixed");
    std::ofstream(camera::controlFile(0)) << "hue 3\nHUE 4\npower_line_frequency\ngain  5\ncolour 99999999999\nhue 8\n"
                                             "later 1\n\nzoom 4 4\nlast -2";
    const camera::ControlFile file = camera::readControlFile(0);
    EXPECT_TRUE(file.isThere);
    EXPECT_EQ(file.values, (camera::ControlValues{{"hue", 3}, {"last", -2}, {"later", 1}}));
    EXPECT_EQ(file.broken.size(), 7u);
    EXPECT_EQ(file.broken.at(0), "\"HUE 4\" is left out");
}

TEST_F(CameraDevice, WhatIsNotAllowedInAFileCountsAsTheDefaultAndIsLogged)
{
    installModel("fixed");
    std::ofstream(camera::controlFile(0)) << "hue 500\nbent\nunheard_of 3\n";
    start();
    EXPECT_EQ(value(0, "hue"), 0);
    std::string log;
    for (const std::string& line : camera::errorLog())
    {
        log += line + "\n";
    }
    EXPECT_NE(log.find("named0.cfg: \"bent\" is left out"), std::string::npos) << log;
    EXPECT_NE(log.find("named0.cfg: hue 500 is not allowed; the default counts"), std::string::npos) << log;
    turnAt(12, 0);
    c().save();
    EXPECT_EQ(contentOf(camera::controlFile(0)), "hue 0\npower_line_frequency 2\nunheard_of 3\n");
}

TEST_F(CameraDevice, AFileThatIsTooLongIsAFileWithoutValues)
{
    installModel("fixed");
    std::ofstream(camera::controlFile(0)) << std::string(65 * 1024, '\n');
    const camera::ControlFile file = camera::readControlFile(0);
    EXPECT_TRUE(file.isThere);
    EXPECT_TRUE(file.values.empty());
    EXPECT_EQ(file.broken.size(), 1u);
}

TEST_F(CameraDevice, ASaveThatCannotWriteTheControlsIsNone)
{
    bringUpAtNoon();
    std::remove(camera::controlFile(0).c_str());
    ASSERT_EQ(mkdir(camera::controlFile(0).c_str(), 0700), 0);
    c().applyControls({{"hue", 30}});
    EXPECT_EQ(c().save().kind, camera::SaveResult::Kind::notWritten);
}

}  // namespace
