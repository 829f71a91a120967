#include <string>
#include <vector>

#include "services/PlannedFailures.h"
#include "tests/unit/services/sim/SimCamera.h"

namespace {

class PlannedFailuresTest : public SimCamera
{
protected:
    PlannedFailuresTest() { front_ = &failures_; }

    services::FailureRule rule(std::optional<ia_cmd_e> cmd, std::optional<int> opt, int status)
    {
        services::FailureRule made;
        made.cmd = cmd;
        made.opt = opt;
        made.status = status;
        return made;
    }

    services::PlannedFailures failures_{*service_};
};

TEST_F(PlannedFailuresTest, ARuleFailsItsCommandAndOptionOnly)
{
    failures_.add(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -9));
    EXPECT_EQ(-9, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(50, get(IA_CMD_BRIGHTNESS)) << "a failed call does nothing";
    EXPECT_EQ(0, set(IA_CMD_CONTRAST, 60));
}

TEST_F(PlannedFailuresTest, AFailedGetLeavesTheDataAlone)
{
    failures_.add(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, -5));
    int value = 123;
    EXPECT_EQ(-5, failures_.call(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(123, value);
}

TEST_F(PlannedFailuresTest, WithoutCommandAndOptionEverythingFails)
{
    failures_.add(rule(std::nullopt, std::nullopt, -7));
    for (const sim::Parameter& row : sim::parameters())
    {
        for (int opt = 0; opt <= 4; ++opt)
        {
            ia_dynamic_params_attr_st data{};
            EXPECT_EQ(-7, failures_.call(row.cmd, opt, &data)) << row.name;
        }
    }
    int value = 0;
    EXPECT_EQ(-7, failures_.call(IA_CMD_WDR_BRACKET, IA_CMD_OPT_SET, &value)) << "unknown commands too";
}

TEST_F(PlannedFailuresTest, AfterAndCountBoundARule)
{
    services::FailureRule bounded = rule(IA_CMD_BRIGHTNESS, std::nullopt, -1);
    bounded.after = 2;
    bounded.count = 3;
    failures_.add(bounded);
    const int expected[] = {0, 0, -1, -1, -1, 0, 0};
    for (const int status : expected)
    {
        EXPECT_EQ(0, set(IA_CMD_CONTRAST, 1)) << "others do not count";
        EXPECT_EQ(status, set(IA_CMD_BRIGHTNESS, 60));
    }
}

TEST_F(PlannedFailuresTest, TheFirstRuleThatIsDueDecides)
{
    const int first = failures_.add(rule(IA_CMD_BRIGHTNESS, std::nullopt, -2));
    failures_.add(rule(std::nullopt, std::nullopt, -3));
    EXPECT_EQ(-2, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(-3, set(IA_CMD_CONTRAST, 60));
    EXPECT_TRUE(failures_.remove(first));
    EXPECT_FALSE(failures_.remove(first));
    EXPECT_EQ(-3, set(IA_CMD_BRIGHTNESS, 60));
    failures_.clear();
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 60));
}

TEST_F(PlannedFailuresTest, ARuleThatIsNotYetDueIsPassedOver)
{
    services::FailureRule later = rule(IA_CMD_BRIGHTNESS, std::nullopt, -2);
    later.after = 1;
    failures_.add(later);
    failures_.add(rule(std::nullopt, std::nullopt, -3));
    EXPECT_EQ(-3, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(-2, set(IA_CMD_BRIGHTNESS, 60));
}

TEST_F(PlannedFailuresTest, ARuleCountsCallsThatAnEarlierRuleFails)
{
    services::FailureRule first = rule(IA_CMD_BRIGHTNESS, std::nullopt, -2);
    first.count = 2;
    services::FailureRule second = rule(std::nullopt, std::nullopt, -3);
    second.after = 1;
    second.count = 2;
    failures_.add(first);
    failures_.add(second);
    for (const int status : {-2, -2, -3, 0})
    {
        EXPECT_EQ(status, set(IA_CMD_BRIGHTNESS, 60));
    }
}

TEST_F(PlannedFailuresTest, ARuleCanPretendSuccess)
{
    failures_.add(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 0));
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(50, get(IA_CMD_BRIGHTNESS));
}

TEST_F(PlannedFailuresTest, OutliveAPowerOn)
{
    failures_.add(rule(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -9));
    service_->reset();
    EXPECT_EQ(-9, set(IA_CMD_BRIGHTNESS, 60));
}

TEST_F(PlannedFailuresTest, AHookSeesEveryCallAndMayCallTheService)
{
    std::vector<std::string> seen;
    failures_.setBeforeCall([&](ia_cmd_e cmd, int opt, const void* data) {
        seen.push_back(std::string(services::commandName(cmd)) + " " + services::optionName(opt));
        EXPECT_NE(nullptr, data);
        service_->night();
    });
    set(IA_CMD_BRIGHTNESS, 60);
    get(IA_CMD_DN_STATE);
    failures_.setBeforeCall(nullptr);
    get(IA_CMD_DN_STATE);
    ASSERT_EQ(2u, seen.size());
    EXPECT_EQ("IA_CMD_BRIGHTNESS IA_CMD_OPT_SET", seen[0]);
    EXPECT_EQ("IA_CMD_DN_STATE IA_CMD_OPT_GET", seen[1]);
}

}  // namespace
