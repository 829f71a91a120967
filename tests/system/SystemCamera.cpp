#include "tests/system/SystemCamera.h"
#include "tests/support/Simulator.h"

#include <chrono>
#include <cstdio>

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

ModuleConfigure installedModule()
{
    MachineInfo machine;
    EXPECT_TRUE(SystemInfoParser::parseMachineInfo(kMachineInfoFile, machine));
    std::vector<ModuleConfigure> modules;
    EXPECT_TRUE(ModuleConfigureParser::parse(kModuleConfigFile, machine.getHardwareModel(), machine.getHardwareCode(),
                                             modules));
    return modules.at(0);
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
    support::failures().clear();
    support::failures().setBeforeCall(nullptr);
    support::simulator().setModule(sim::Service::kFirstModule);
    host::setClock(nullptr);
    PrivateTreeTest::TearDown();
}

void SystemCamera::install(const Model& model)
{
    model_ = model;
    installModel(model.name);
}

void SystemCamera::start()
{
    const ModuleConfigure module = installedModule();
    ASSERT_TRUE(support::simulator().setModule(module.getModuleId()));
    support::journal().clearCalls();
    video_.clear();
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

std::string SystemCamera::allPairs()
{
    std::string pairs;
    EXPECT_TRUE(c().getAllParameters(pairs));
    return pairs;
}

std::map<int, int> SystemCamera::allValues()
{
    std::map<int, int> values;
    const std::string pairs = allPairs();
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

std::vector<int> SystemCamera::sent(u32 cmd)
{
    std::vector<int> words;
    for (const services::Call& call : support::journal().calls())
    {
        if (call.cmd == cmd && call.opt == IA_CMD_OPT_SET)
        {
            words.push_back(static_cast<int>(call.in[0]));
        }
    }
    return words;
}

std::vector<std::string> SystemCamera::refused()
{
    std::vector<std::string> texts;
    for (const services::Call& call : support::journal().calls())
    {
        if (call.status != 0)
        {
            texts.push_back(std::string(services::commandName(call.cmd)) + " " + std::to_string(call.status));
        }
    }
    return texts;
}

std::vector<std::string> SystemCamera::reports()
{
    std::vector<std::string> texts;
    for (const LogRecord& record : errorLog())
    {
        texts.push_back(record.text);
    }
    return texts;
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
    clock_->advance(1s);
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
}

void SystemCamera::pass(host::Span span)
{
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
    clock_->advance(span);
    ASSERT_TRUE(clock_->waitForSleepers(1, kBound));
}

int SystemCamera::minutesOfDay()
{
    const std::tm now = clock_->localTime();
    return now.tm_hour * 60 + now.tm_min;
}

}  // namespace support
