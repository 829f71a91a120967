#include "tests/system/SystemCamera.h"

#include <chrono>
#include <cstdio>

#include "tests/support/Simulator.h"
#include "tests/support/TraceMark.h"

namespace support {
namespace {

using namespace std::chrono_literals;

constexpr auto kBound = 60s;

}  // namespace

void PrintTo(const Model& model, std::ostream* stream)
{
    *stream << model.name;
}

void SystemCamera::SetUp()
{
    PrivateTreeTest::SetUp();
    clock_ = std::make_shared<host::ManualClock>(12, 0);
    host::setClock(clock_);
}

void SystemCamera::TearDown()
{
    stop();
    support::simulator().setModule(sim::Service::kFirstModule);
    host::setClock(nullptr);
    PrivateTreeTest::TearDown();
}

void SystemCamera::start()
{
    const ModuleConfigure module = installedModule();
    ASSERT_TRUE(support::simulator().setModule(module.getModuleId()));
    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
    CapturedOutput quiet;  // the shutters' choices are printed at every level
    ASSERT_TRUE(controller_->init(module));
}

void SystemCamera::stop()
{
    if (controller_)
    {
        controller_->uinit();
        controller_.reset();
    }
}

void SystemCamera::restart()
{
    stop();
    start();
}

int SystemCamera::scheme()
{
    int scheme = -99;
    EXPECT_TRUE(c().getParamScheme(scheme));
    return scheme;
}

std::map<int, int> SystemCamera::allValues()
{
    std::map<int, int> values;
    std::string pairs;
    EXPECT_TRUE(c().getAllParameters(pairs));
    for (size_t at = pairs.find('('); at != std::string::npos; at = pairs.find('(', at + 1))
    {
        int key = 0;
        int word = 0;
        EXPECT_EQ(2, std::sscanf(pairs.c_str() + at, "(%d,%d)", &key, &word));
        values[key] = word;
    }
    return values;
}

int SystemCamera::value(int key)
{
    int word = -99;
    EXPECT_TRUE(c().getParameter(key, word)) << key;
    return word;
}

int SystemCamera::applied(u32 cmd)
{
    int word = -99;
    EXPECT_TRUE(support::simulator().value(static_cast<ia_cmd_e>(cmd), word)) << cmd;
    return word;
}

int SystemCamera::flush()
{
    const int result = controller_->flush();
    if (result == 0)
    {
        traceMark("saved");
    }
    return result;
}

void SystemCamera::saveWindow(int index, int startHour, int startMinute, int endHour, int endMinute, int enabled)
{
    EXPECT_TRUE(c().setParamMode(0));
    EXPECT_TRUE(c().setParamScheme(index));
    const std::string text = "(8000," + std::to_string(enabled) + ")(8001," + std::to_string(startHour) + ")(8002," +
                             std::to_string(startMinute) + ")(8003," + std::to_string(endHour) + ")(8004," +
                             std::to_string(endMinute) + ")";
    EXPECT_EQ(0, c().setParameters(text, true));
    EXPECT_EQ(0, flush());
    EXPECT_TRUE(c().setParamMode(1));
}

void SystemCamera::turnAt(int hour, int minute)
{
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    clock_->setTimeOfDay(hour, minute);
    pass(1s);
}

void SystemCamera::pass(host::Span span)
{
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    clock_->advance(span);
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
}

}  // namespace support
