#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "HostClock.h"
#include "app/box/Provision.h"
#include "app/cli/Commands.h"
#include "app/cli/Session.h"
#include "camera/Camera.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/Simulator.h"
#include "tests/unit/app/ScriptConsole.h"

namespace {

// What happens whenever a record was changed.
std::function<void()> betweenRecords;

}  // namespace

// In place of the library's: the program that is tested calls this one.
int ISensorController::setKeyValToCache(unsigned int scheme, unsigned int key, unsigned int value, bool force)
{
    using Call = int (*)(ISensorController*, unsigned int, unsigned int, unsigned int, bool);
    static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "_ZN17ISensorController16setKeyValToCacheEjjjb"));
    const int result = real(this, scheme, key, value, force);
    if (betweenRecords)
    {
        betweenRecords();
    }
    return result;
}

namespace {

constexpr char kShare[] = SENSORDLL_SOURCE_DIR "/share";
constexpr double kSpeed = 100;
constexpr auto kBound = std::chrono::seconds(60);

class WindowCommandTest : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        support::PrivateTreeTest::SetUp();
        app::provision(kShare, "fixed", "", app::Documents::refresh);
    }

    void TearDown() override
    {
        betweenRecords = nullptr;
        host::setClock(nullptr);
        support::PrivateTreeTest::TearDown();
    }
};

// The scheduler decides once in a second of the camera's clock.
void waitForTurnsOfTheScheduler()
{
    const host::Span end = host::clock()->monotonic() + std::chrono::seconds(3);
    while (host::clock()->monotonic() < end)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool comesIntoForce(camera::Camera& camera, int scheme)
{
    const auto limit = std::chrono::steady_clock::now() + kBound;
    while (camera.currentScheme() != scheme && std::chrono::steady_clock::now() < limit)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return camera.currentScheme() == scheme;
}

// 20:00-23:00 becomes 01:00-02:00: with the new beginning alone it would hold at noon.
TEST_F(WindowCommandTest, TheSchedulerNeverSeesAWindowThatIsHalfChanged)
{
    support::ScriptConsole console;
    camera::Camera camera({"fixed", kShare, kSpeed, 12 * 60}, support::journal());
    app::Session session(camera, console, false);
    ASSERT_TRUE(runWindow(session, {"0", "off"}).ok());
    ASSERT_TRUE(runWindow(session, {"1", "on", "20:00-23:00"}).ok());
    ASSERT_TRUE(comesIntoForce(camera, camera.schemeCount()));
    int changes = 0;
    bool isOutOfForce = true;
    betweenRecords = [&] {
        waitForTurnsOfTheScheduler();
        isOutOfForce = isOutOfForce && camera.currentScheme() == camera.schemeCount();
        ++changes;
    };
    ASSERT_TRUE(runWindow(session, {"1", "on", "01:00-02:00"}).ok());
    EXPECT_EQ(changes, 6) << "off first, on last";
    EXPECT_TRUE(isOutOfForce);
    EXPECT_NE(camera.mode(), 0) << "the clock chooses again";
    camera::WorldChange later;
    later.minutes = 60;
    ASSERT_EQ(camera.changeWorld(later), camera::WorldResult::changed);
    EXPECT_TRUE(comesIntoForce(camera, 1));
}

TEST_F(WindowCommandTest, AManualModeStaysOne)
{
    support::ScriptConsole console;
    camera::Camera camera({"fixed", kShare, kSpeed, 12 * 60}, support::journal());
    app::Session session(camera, console, false);
    camera.setMode(false);
    ASSERT_TRUE(runWindow(session, {"1", "on", "01:00-02:00"}).ok());
    EXPECT_EQ(camera.mode(), 0);
}

}  // namespace
