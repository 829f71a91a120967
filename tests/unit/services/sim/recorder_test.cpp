#include "tests/unit/services/sim/SimCamera.h"

#include <string>

namespace {

using namespace std::chrono_literals;

class Recording : public SimCamera
{
};

TEST_F(Recording, KeepsCommandOptionValuesStatusAndTime)
{
    pass(3s);
    set(IA_CMD_BRIGHTNESS, 60);
    pass(1s);
    get(IA_CMD_BRIGHTNESS);
    correct(IA_CMD_BRIGHTNESS, 300);
    set(IA_CMD_BRIGHTNESS, 101);
    const std::vector<sim::Call> calls = service_->calls();
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ(1u, calls[0].number);
    EXPECT_EQ(3s, calls[0].time);
    EXPECT_EQ(IA_CMD_BRIGHTNESS, calls[0].cmd);
    EXPECT_EQ(IA_CMD_OPT_SET, calls[0].opt);
    EXPECT_EQ(1, calls[0].words);
    EXPECT_EQ(60u, calls[0].in[0]);
    EXPECT_EQ(0, calls[0].status);
    EXPECT_EQ(4s, calls[1].time);
    EXPECT_EQ(60u, calls[1].out[0]);
    EXPECT_EQ(0u, calls[1].in[0]) << "a get's storage is not looked at before";
    EXPECT_EQ(300u, calls[2].in[0]);
    EXPECT_EQ(100u, calls[2].out[0]);
    EXPECT_EQ(sim::kOutOfRange, calls[3].status);
    EXPECT_EQ(4u, service_->callCount());
}

TEST_F(Recording, KeepsWholeRecords)
{
    setThresholds(11, 22);
    setTimes(1, 2, 3, 4);
    ia_sensor_check_st check{0x40, 1, 9, 5};
    service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_SET, &check);
    char version[kCameraVersionSize];
    service_->call(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, version);
    service_->call(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, nullptr);
    describe(IA_CMD_WDR_MODE);
    const std::vector<sim::Call> calls = service_->calls();
    ASSERT_EQ(6u, calls.size());
    EXPECT_EQ(2, calls[0].words);
    EXPECT_EQ((sim::Call::Words{11, 22, 0, 0}), calls[0].in);
    EXPECT_EQ(4, calls[1].words);
    EXPECT_EQ((sim::Call::Words{1, 2, 3, 4}), calls[1].in);
    EXPECT_EQ((sim::Call::Words{0x40, 1, 9, 5}), calls[2].in);
    EXPECT_EQ(0, calls[3].words);
    EXPECT_EQ(0, calls[4].words);
    EXPECT_EQ((sim::Call::Words{0, 0, 2, 1}), calls[5].out);
}

TEST_F(Recording, TakesARefusedCallForASingleWord)
{
    for (const ia_cmd_e cmd : {IA_CMD_SENSOR_CHECK, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_WDR_BRACKET})
    {
        u32 word = 9;
        EXPECT_NE(0, service_->call(cmd, IA_CMD_OPT_CORRECT_PARAM, &word));
        EXPECT_EQ(1, service_->calls().back().words);
        EXPECT_EQ(9u, service_->calls().back().in[0]);
    }
}

TEST_F(Recording, IsBoundedAndDropsTheOldest)
{
    service_->setRecordingCapacity(3);
    for (int value = 1; value <= 5; ++value)
    {
        set(IA_CMD_BRIGHTNESS, value);
    }
    std::vector<sim::Call> calls = service_->calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ(3u, calls[0].number);
    EXPECT_EQ(5u, calls[2].in[0]);
    service_->setRecordingCapacity(1);
    calls = service_->calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(5u, calls[0].number);
    service_->setRecordingCapacity(0);
    set(IA_CMD_BRIGHTNESS, 6);
    EXPECT_TRUE(service_->calls().empty());
    EXPECT_EQ(6u, service_->callCount());
}

TEST_F(Recording, CanBeForgotten)
{
    set(IA_CMD_BRIGHTNESS, 1);
    service_->clearCalls();
    EXPECT_TRUE(service_->calls().empty());
    set(IA_CMD_BRIGHTNESS, 2);
    EXPECT_EQ(2u, service_->calls().at(0).number);
}

class Failures : public SimCamera
{
protected:
    sim::FailureRule rule(std::optional<ia_cmd_e> cmd, std::optional<int> opt, int status)
    {
        sim::FailureRule made;
        made.cmd = cmd;
        made.opt = opt;
        made.status = status;
        return made;
    }
};

TEST_F(Failures, ARuleFailsItsCommandAndOptionOnly)
{
    service_->addFailure(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -9));
    EXPECT_EQ(-9, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(50, get(IA_CMD_BRIGHTNESS)) << "a failed call does nothing";
    EXPECT_EQ(0, set(IA_CMD_CONTRAST, 60));
    EXPECT_EQ(-9, service_->calls().front().status);
}

TEST_F(Failures, AFailedGetLeavesTheDataAlone)
{
    service_->addFailure(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, -5));
    int value = 123;
    EXPECT_EQ(-5, service_->call(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(123, value);
}

TEST_F(Failures, WithoutCommandAndOptionEverythingFails)
{
    service_->addFailure(rule(std::nullopt, std::nullopt, -7));
    for (const sim::Parameter& row : sim::parameters())
    {
        for (int opt = 0; opt <= 4; ++opt)
        {
            ia_dynamic_params_attr_st data{};
            EXPECT_EQ(-7, service_->call(row.cmd, opt, &data)) << row.name;
        }
    }
    int value = 0;
    EXPECT_EQ(-7, service_->call(IA_CMD_WDR_BRACKET, IA_CMD_OPT_SET, &value)) << "unknown commands too";
}

TEST_F(Failures, AfterAndCountBoundARule)
{
    sim::FailureRule bounded = rule(IA_CMD_BRIGHTNESS, std::nullopt, -1);
    bounded.after = 2;
    bounded.count = 3;
    service_->addFailure(bounded);
    const int expected[] = {0, 0, -1, -1, -1, 0, 0};
    for (const int status : expected)
    {
        EXPECT_EQ(0, set(IA_CMD_CONTRAST, 1)) << "others do not count";
        EXPECT_EQ(status, set(IA_CMD_BRIGHTNESS, 60));
    }
}

TEST_F(Failures, TheFirstRuleThatIsDueDecides)
{
    const int first = service_->addFailure(rule(IA_CMD_BRIGHTNESS, std::nullopt, -2));
    service_->addFailure(rule(std::nullopt, std::nullopt, -3));
    EXPECT_EQ(-2, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(-3, set(IA_CMD_CONTRAST, 60));
    EXPECT_TRUE(service_->removeFailure(first));
    EXPECT_FALSE(service_->removeFailure(first));
    EXPECT_EQ(-3, set(IA_CMD_BRIGHTNESS, 60));
    service_->clearFailures();
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 60));
}

TEST_F(Failures, ARuleCountsCallsThatAnEarlierRuleFails)
{
    sim::FailureRule first = rule(IA_CMD_BRIGHTNESS, std::nullopt, -2);
    first.count = 2;
    sim::FailureRule second = rule(std::nullopt, std::nullopt, -3);
    second.after = 1;
    second.count = 2;
    service_->addFailure(first);
    service_->addFailure(second);
    for (const int status : {-2, -2, -3, 0})
    {
        EXPECT_EQ(status, set(IA_CMD_BRIGHTNESS, 60));
    }
}

TEST_F(Failures, ARuleCanPretendSuccess)
{
    service_->addFailure(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 0));
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(50, get(IA_CMD_BRIGHTNESS));
}

TEST_F(Failures, OutliveAPowerOn)
{
    service_->addFailure(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -9));
    service_->reset();
    EXPECT_EQ(-9, set(IA_CMD_BRIGHTNESS, 60));
}

TEST_F(Failures, AHookSeesEveryCallAndMayCallTheService)
{
    std::vector<std::string> seen;
    service_->setBeforeCall([&](ia_cmd_e cmd, int opt, const void* data) {
        seen.push_back(std::string(sim::commandName(cmd)) + " " + sim::optionName(opt));
        EXPECT_NE(nullptr, data);
        service_->night();
    });
    set(IA_CMD_BRIGHTNESS, 60);
    get(IA_CMD_DN_STATE);
    service_->setBeforeCall(nullptr);
    get(IA_CMD_DN_STATE);
    ASSERT_EQ(2u, seen.size());
    EXPECT_EQ("IA_CMD_BRIGHTNESS IA_CMD_OPT_SET", seen[0]);
    EXPECT_EQ("IA_CMD_DN_STATE IA_CMD_OPT_GET", seen[1]);
}

}  // namespace
