#include "tests/support/ControllerFixture.h"

#include <filesystem>
#include <fstream>

namespace {

// Threads of this process by their kernel name.
int threadsNamed(const std::string& name)
{
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
    {
        std::ifstream stream(task.path() / "comm");
        std::string line;
        std::getline(stream, line);
        count += line == name ? 1 : 0;
    }
    return count;
}

// A thread that was joined is in the kernel's list for a moment longer.
bool hasEnded(const std::string& thread)
{
    return support::eventually([&] { return threadsNamed(thread) == 0; });
}

class ControllerObject : public support::ControllerFixture
{
protected:
    using Probe = ControllerProbe;
};

TEST_F(ControllerObject, FreshObjectHasItsStartingValues)
{
    ISensorController fresh;
    EXPECT_NE(nullptr, Probe::sensorThread(fresh));
    EXPECT_EQ(-1, Probe::lastScheme(fresh));
    EXPECT_EQ(-1, Probe::curScheme(fresh));
    EXPECT_EQ(1, Probe::paramMode(fresh));
    EXPECT_EQ(nullptr, Probe::userKeyVal(fresh));
    EXPECT_EQ(nullptr, Probe::fctKeyVal(fresh));
    EXPECT_EQ(0U, Probe::keyValSum(fresh));
    EXPECT_EQ(nullptr, Probe::keyCmdMap(fresh));
    EXPECT_EQ(8U, Probe::version(fresh));
    EXPECT_EQ(nullptr, Probe::videoStreamModule(fresh));
    EXPECT_EQ(0, Probe::flags(fresh));
    EXPECT_EQ(255, Probe::lastSchedule(fresh));
    EXPECT_FALSE(Probe::lpr(fresh));
}

TEST_F(ControllerObject, ConstructionStartsNoThread)
{
    ISensorController fresh;
    EXPECT_EQ(0, threadsNamed("SensorThread"));
}

TEST_F(ControllerObject, ConstructionAndDestructionTouchNeitherServiceNorFiles)
{
    EXPECT_EQ("", support::outputOf([] { ISensorController fresh; }));
    EXPECT_TRUE(service_.calls().empty());
    EXPECT_TRUE(support::filesIn(support::kConfigFolder).empty());
    EXPECT_FALSE(support::fileExists(support::kErrorLogFile));
}

TEST_F(ControllerObject, InitStartsOneThreadNamedSensorThread)
{
    bringUpRunning();
    ASSERT_TRUE(threadTurn());
    EXPECT_EQ(1, threadsNamed("SensorThread"));
}

TEST_F(ControllerObject, UninitStopsTheThread)
{
    bringUpRunning();
    c().uinit();
    initialised_ = false;
    EXPECT_TRUE(hasEnded("SensorThread"));
}

TEST_F(ControllerObject, DestructionStopsARunningThread)
{
    bringUpRunning();
    // The records stay reachable for this test only: a host calls uinit first.
    c().uinit();
    initialised_ = false;
    Probe::paramMode(c()) = 0;
    startThread();
    ASSERT_TRUE(clock_->waitForSleepers(1, std::chrono::seconds(30)));
    controller_.reset();
    EXPECT_TRUE(hasEnded("SensorThread"));
}

TEST_F(ControllerObject, TwoObjectsCanLiveBesideEachOther)
{
    ISensorController first;
    ISensorController second;
    EXPECT_NE(Probe::sensorThread(first), Probe::sensorThread(second));
}

}  // namespace
