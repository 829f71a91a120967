#include "camera/Events.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using camera::Event;
using Kind = camera::Event::Kind;

namespace {

class CameraEvents : public CameraTest
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

    void listen()
    {
        subscription_ = c().events().subscribe([this](const Event& event) {
            const std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(event);
        });
    }

    std::vector<Event> take()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(events_, {});
    }

    std::vector<Kind> takeKinds()
    {
        std::vector<Kind> kinds;
        for (const Event& event : take())
        {
            kinds.push_back(event.kind);
        }
        return kinds;
    }

    // The one event of this kind.
    static Event only(const std::vector<Event>& events, Kind kind)
    {
        const auto isIt = [kind](const Event& event) { return event.kind == kind; };
        EXPECT_EQ(std::count_if(events.begin(), events.end(), isIt), 1) << static_cast<int>(kind);
        const auto found = std::find_if(events.begin(), events.end(), isIt);
        return found == events.end() ? Event{kind, "none"} : *found;
    }

    std::mutex mutex_;
    std::vector<Event> events_;
    int subscription_ = 0;
};

TEST_F(CameraEvents, ValuesAreToldWithWhoChangedThem)
{
    bringUp();
    listen();
    {
        const camera::Acting acting("the page");
        c().apply({{KEY_BRIGHTNESS, 61}, {KEY_CONTRAST, 62}, {KEY_SATURATION, 500}});
    }
    const Event event = only(take(), Kind::values);
    EXPECT_EQ(event.by, "the page");
    ASSERT_EQ(event.values.size(), 2u);
    EXPECT_EQ(event.values[1].key, KEY_CONTRAST);
    EXPECT_EQ(event.values[1].value, 62);
    c().apply({{KEY_BRIGHTNESS, 63}});
    EXPECT_EQ(only(take(), Kind::values).by, "");
}

TEST_F(CameraEvents, WhatIsUnchangedIsNotTold)
{
    bringUp();
    listen();
    c().apply({{KEY_BRIGHTNESS, 50}});
    c().wouldApply({{KEY_BRIGHTNESS, 51}});
    EXPECT_TRUE(take().empty());
}

TEST_F(CameraEvents, ThePartnersOfARecordAreNotMistakenForTheKey)
{
    bringUp();
    listen();
    for (const int key : {KEY_DTN_THR, KEY_NTD_THR, KEY_DTN_H, KEY_DTN_M, KEY_NTD_H, KEY_NTD_M})
    {
        const int value = *c().peek(key) + 1;
        c().apply({{key, value}});
        const Event event = only(take(), Kind::values);
        ASSERT_EQ(event.values.size(), 1u);
        EXPECT_EQ(event.values[0].key, key);
        EXPECT_EQ(event.values[0].value, value) << key;
    }
}

TEST_F(CameraEvents, ASwitchOfTheSchedulerIsToldWithItsReason)
{
    bringUp();
    c().setWindow(0, {false, 0, 0, 24, 0});
    c().setValues(1, {{KEY_BRIGHTNESS, 71}});
    c().setWindow(1, {true, 14, 0, 15, 0});
    turnAt(13, 0);
    listen();
    turnAt(14, 0);
    std::vector<Event> events = take();
    EXPECT_EQ(only(events, Kind::scheme).scheme, 1);
    EXPECT_EQ(only(events, Kind::scheme).why, camera::Why::window);
    EXPECT_EQ(only(events, Kind::scheme).by, "");
    const Event values = only(events, Kind::values);
    ASSERT_EQ(values.values.size(), 1u);
    EXPECT_EQ(values.values[0].value, 71);
    turnAt(15, 0);
    events = take();
    EXPECT_EQ(only(events, Kind::scheme).why, camera::Why::noWindow);
}

// The thread that acts is often the one that looks first.
TEST_F(CameraEvents, WhatALeaseThatRanOutDidCarriesNobodysName)
{
    bringUp();
    c().setMode(false);
    c().setScheme(0);
    turnAt(12, 0);
    const auto names = [this] {
        std::vector<std::string> list;
        for (const Event& event : take())
        {
            list.push_back(event.by);
        }
        return list;
    };
    const camera::Acting acting("ann");
    const camera::Camera::Turn turn(c());  // the camera's own thread waits
    listen();
    c().tryOut({{KEY_BRIGHTNESS, 61}});
    clock_->advance(std::chrono::seconds(15));
    take();
    c().tryOut({{KEY_CONTRAST, 62}});
    EXPECT_EQ(names(), (std::vector<std::string>{"", "", "ann", "ann"}));
    clock_->advance(std::chrono::seconds(15));
    const camera::Camera::Turn another(c());
    EXPECT_EQ(names(), (std::vector<std::string>{"", ""}));
}

TEST_F(CameraEvents, TheLensIsToldWhenItBeginsToMoveAndWhenItIsAtRest)
{
    bringUp();
    c().setMode(false);
    for (int turn = 0; turn < 60; ++turn)
    {
        turnAt(12, 0);  // whatever the start has moved
    }
    listen();
    {
        const camera::Acting acting("ann");
        ASSERT_TRUE(c().setZoom(20000).accepted);
    }
    Event event = only(take(), Kind::lens);
    EXPECT_TRUE(event.moving);
    EXPECT_EQ(event.by, "ann");
    for (int turn = 0; turn < 60; ++turn)
    {
        turnAt(12, 0);
    }
    event = only(take(), Kind::lens);
    EXPECT_FALSE(event.moving);
    EXPECT_EQ(event.by, "");
    ASSERT_FALSE(event.values.empty());
    EXPECT_EQ(event.values[0].key, KEY_MZ_POSITION);
    EXPECT_EQ(event.values[0].value, 20000);
}

TEST_F(CameraEvents, NewLinesOfTheErrorLogAreToldAsSoonAsTheyAreWhole)
{
    writeFile(kErrorLogFile, "old\n");
    bringUp();
    turnAt(12, 0);
    listen();
    const std::string before = readFile(kErrorLogFile);
    writeFile(kErrorLogFile, before + "one\ntwo");
    turnAt(12, 0);
    EXPECT_EQ(only(take(), Kind::log).line, "one");
    writeFile(kErrorLogFile, before + "one\ntwo\n");
    turnAt(12, 0);
    EXPECT_EQ(only(take(), Kind::log).line, "two");
    writeFile(kErrorLogFile, "new\n");
    turnAt(12, 0);
    EXPECT_EQ(only(take(), Kind::log).line, "new");
}

TEST_F(CameraEvents, ASwitchByHandIsToldOnce)
{
    bringUp();
    c().setMode(false);
    turnAt(12, 0);
    listen();
    const camera::Acting acting("somebody");
    c().setScheme(2);
    turnAt(12, 0);
    const Event event = only(take(), Kind::scheme);
    EXPECT_EQ(event.scheme, 2);
    EXPECT_EQ(event.why, camera::Why::manual);
    EXPECT_EQ(event.by, "somebody");
}

TEST_F(CameraEvents, ModesSavesWindowsAndResetsAreTold)
{
    bringUp();
    listen();
    c().setMode(false);
    EXPECT_FALSE(only(take(), Kind::mode).automatic);
    c().save();
    EXPECT_EQ(only(take(), Kind::saved).scheme, 0);
    c().setWindow(2, {true, 9, 0, 10, 0});
    std::vector<Event> events = take();
    EXPECT_EQ(only(events, Kind::saved).scheme, 2);
    EXPECT_EQ(only(events, Kind::values).scheme, 2);
    c().apply({{KEY_SCHEME_START_HOUR, 7}});
    EXPECT_EQ(only(take(), Kind::values).values.at(0).key, KEY_SCHEME_START_HOUR);
    c().setWindow(2, {true, 10, 0, 9, 0});
    EXPECT_TRUE(take().empty());
    c().setScheme(2);
    take();
    c().setWindow(0, {true, 9, 0, 10, 0});
    EXPECT_EQ(only(take(), Kind::saved).scheme, 0) << "and not the one in force";
    c().factoryReset();
    events = take();
    only(events, Kind::reset);
    EXPECT_EQ(only(events, Kind::scheme).scheme, 0);
    EXPECT_EQ(only(events, Kind::scheme).by, "");
}

TEST_F(CameraEvents, WhatTheLensIsToldIsToldAtOnce)
{
    bringUp();
    listen();
    c().setZoom(20000);
    EXPECT_EQ(only(take(), Kind::values).values.at(0).key, KEY_MZ_POSITION);
    c().setFocus(20000);
    EXPECT_EQ(only(take(), Kind::values).values.at(0).key, KEY_MF_POSITION);
    c().setFocusMode(1);
    EXPECT_EQ(only(take(), Kind::values).values.at(0).key, KEY_AUTO_FOCUS_MODE);
    c().moveLens(camera::LensStep::focusFar);
    EXPECT_EQ(only(take(), Kind::values).values.back().key, KEY_FOCUS_FAR);
}

TEST_F(CameraEvents, AChangeOfTheWorldIsToldOnceAndOneThatIsRefusedIsNot)
{
    bringUp();
    listen();
    camera::WorldChange wanted;
    wanted.lux = 5;
    wanted.distance = 2;
    wanted.haze = 40;
    {
        const camera::Acting acting("ann");
        EXPECT_EQ(c().changeWorld(wanted), camera::WorldResult::changed);
    }
    EXPECT_EQ(only(take(), Kind::world).by, "ann");
    EXPECT_EQ(simulator().light(), 5);
    EXPECT_EQ(simulator().distance(), 2);
    EXPECT_EQ(simulator().weather().haze, 40);
    EXPECT_EQ(simulator().weather().wind, 20);
    wanted.lux = 100;
    wanted.speed = 60;
    EXPECT_EQ(c().changeWorld(wanted), camera::WorldResult::systemClock);
    EXPECT_EQ(simulator().light(), 5);
    EXPECT_TRUE(take().empty());
}

TEST_F(CameraEvents, NightIsToldWhenItFalls)
{
    bringUp();
    simulator().setLight(10000);
    turnAt(12, 0);
    listen();
    simulator().setLight(0);
    for (int turn = 0; turn < 60 && !c().night(); ++turn)
    {
        turnAt(12, 0);
    }
    turnAt(12, 0);
    EXPECT_TRUE(only(take(), Kind::night).night);
}

TEST(Events, ListenersComeAndGoWhileOthersTell)
{
    camera::Events events;
    std::atomic<bool> over{false};
    std::thread teller([&] {
        while (!over)
        {
            events.tell({Kind::saved});
        }
    });
    for (int i = 0; i < 2000; ++i)
    {
        events.unsubscribe(events.subscribe([](const Event&) {}));
    }
    over = true;
    teller.join();
}

TEST_F(CameraEvents, NumbersHaveNoGapsAndWhoeverLeftHearsNothing)
{
    bringUp();
    listen();
    c().setMode(false);
    c().setMode(true);
    const std::vector<Event> events = take();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[1].number, events[0].number + 1);
    c().events().unsubscribe(subscription_);
    c().setMode(false);
    EXPECT_TRUE(take().empty());
}

}  // namespace
