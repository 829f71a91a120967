#include <string>
#include <thread>

#include "services/Journal.h"
#include "services/PlannedFailures.h"
#include "tests/unit/services/sim/SimCamera.h"

namespace {

using namespace std::chrono_literals;

class JournalTest : public SimCamera
{
protected:
    JournalTest() { front_ = &journal_; }

    services::Journal journal_{*service_};
};

TEST_F(JournalTest, KeepsCommandOptionValuesStatusAndTime)
{
    pass(3s);
    set(IA_CMD_BRIGHTNESS, 60);
    pass(1s);
    get(IA_CMD_BRIGHTNESS);
    correct(IA_CMD_BRIGHTNESS, 300);
    set(IA_CMD_BRIGHTNESS, 101);
    const std::vector<services::Call> calls = journal_.calls();
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
    EXPECT_EQ(services::kOutOfRange, calls[3].status);
    EXPECT_EQ(4u, journal_.callCount());
}

TEST_F(JournalTest, KeepsWholeRecords)
{
    setThresholds(11, 22);
    setTimes(1, 2, 3, 4);
    ia_sensor_check_st check{0x40, 1, 9, 5};
    journal_.call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_SET, &check);
    char version[kCameraVersionSize];
    journal_.call(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, version);
    journal_.call(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, nullptr);
    describe(IA_CMD_WDR_MODE);
    const std::vector<services::Call> calls = journal_.calls();
    ASSERT_EQ(6u, calls.size());
    EXPECT_EQ(2, calls[0].words);
    EXPECT_EQ((services::Call::Words{11, 22, 0, 0}), calls[0].in);
    EXPECT_EQ(4, calls[1].words);
    EXPECT_EQ((services::Call::Words{1, 2, 3, 4}), calls[1].in);
    EXPECT_EQ((services::Call::Words{0x40, 1, 9, 5}), calls[2].in);
    EXPECT_EQ(0, calls[3].words);
    EXPECT_EQ(0, calls[4].words);
    EXPECT_EQ((services::Call::Words{0, 0, 2, 1}), calls[5].out);
}

TEST_F(JournalTest, TakesARefusedCallForASingleWord)
{
    for (const ia_cmd_e cmd : {IA_CMD_SENSOR_CHECK, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_WDR_BRACKET})
    {
        u32 word = 9;
        EXPECT_NE(0, journal_.call(cmd, IA_CMD_OPT_CORRECT_PARAM, &word));
        EXPECT_EQ(1, journal_.calls().back().words);
        EXPECT_EQ(9u, journal_.calls().back().in[0]);
    }
}

TEST_F(JournalTest, IsBoundedAndDropsTheOldest)
{
    journal_.setCapacity(3);
    for (int value = 1; value <= 5; ++value)
    {
        set(IA_CMD_BRIGHTNESS, value);
    }
    std::vector<services::Call> calls = journal_.calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ(3u, calls[0].number);
    EXPECT_EQ(5u, calls[2].in[0]);
    journal_.setCapacity(1);
    calls = journal_.calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(5u, calls[0].number);
    journal_.setCapacity(0);
    set(IA_CMD_BRIGHTNESS, 6);
    EXPECT_TRUE(journal_.calls().empty());
    EXPECT_EQ(6u, journal_.callCount());
}

TEST_F(JournalTest, CanBeForgotten)
{
    set(IA_CMD_BRIGHTNESS, 1);
    journal_.clearCalls();
    EXPECT_TRUE(journal_.calls().empty());
    set(IA_CMD_BRIGHTNESS, 2);
    EXPECT_EQ(2u, journal_.calls().at(0).number);
}

TEST_F(JournalTest, PassesOnWhatAFrontEndAsks)
{
    EXPECT_EQ(service_->parameters().size(), journal_.parameters().size());
    EXPECT_EQ("Brightness", journal_.parameter(IA_CMD_BRIGHTNESS)->name);
    EXPECT_EQ(service_->light(), journal_.light());
    EXPECT_EQ(service_->lamps(), journal_.lamps());
    EXPECT_EQ(service_->world(), journal_.world());
    EXPECT_TRUE(journal_.setModule(2));
    EXPECT_EQ(2, service_->module());
    EXPECT_EQ(0u, journal_.callCount()) << "questions are no calls";
}

TEST_F(JournalTest, TellsEverySubscriberOfEverySetThatWasAccepted)
{
    std::vector<std::string> told;
    const auto teller = [&](const char* who) {
        return [&told, who](ia_cmd_e cmd, const services::Call::Words& words) {
            told.push_back(who + std::to_string(cmd) + "=" + std::to_string(words[0]) + "," + std::to_string(words[1]));
        };
    };
    const int first = journal_.subscribe(teller("a"));
    journal_.subscribe(teller("b"));
    set(IA_CMD_BRIGHTNESS, 60);
    set(IA_CMD_BRIGHTNESS, 101);
    get(IA_CMD_BRIGHTNESS);
    journal_.unsubscribe(first);
    setThresholds(11, 22);
    EXPECT_EQ((std::vector<std::string>{"a34=60,0", "b34=60,0", "b145=11,22"}), told);
}

TEST_F(JournalTest, ASubscriberMayCallTheService)
{
    int seen = 0;
    journal_.subscribe([&](ia_cmd_e cmd, const services::Call::Words&) { seen = get(cmd); });
    set(IA_CMD_BRIGHTNESS, 61);
    EXPECT_EQ(61, seen);
}

TEST_F(JournalTest, AThreadLearnsItsOwnRefusalsAndNobodyElses)
{
    const services::OwnRefusals own;
    set(IA_CMD_BRIGHTNESS, 101);
    set(IA_CMD_BRIGHTNESS, 60);
    std::thread([this] {
        const services::OwnRefusals others;
        set(IA_CMD_CONTRAST, 102);
        EXPECT_EQ(1u, others.list().size());
        EXPECT_EQ(IA_CMD_CONTRAST, others.list().at(0).cmd);
    }).join();
    int value = 0;
    EXPECT_NE(0, journal_.call(IA_CMD_WDR_BRACKET, IA_CMD_OPT_GET, &value));
    ASSERT_EQ(1u, own.list().size()) << "a refused get is nobody's change";
    EXPECT_EQ(IA_CMD_BRIGHTNESS, own.list()[0].cmd);
    EXPECT_EQ(101u, own.list()[0].in[0]);
    EXPECT_EQ(services::kOutOfRange, own.list()[0].status);
}

TEST_F(JournalTest, OfTwoThatListenInOneThreadTheInnerOneHasTheRefusals)
{
    const services::OwnRefusals outer;
    {
        const services::OwnRefusals inner;
        set(IA_CMD_BRIGHTNESS, 101);
        EXPECT_EQ(1u, inner.list().size());
    }
    EXPECT_TRUE(outer.list().empty());
    set(IA_CMD_BRIGHTNESS, 102);
    EXPECT_EQ(1u, outer.list().size());
}

TEST_F(JournalTest, APlannedFailureIsWrittenDownAsARefusal)
{
    services::PlannedFailures failures(*service_);
    services::Journal journal(failures);
    failures.add({IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -9});
    front_ = &journal;
    const services::OwnRefusals own;
    set(IA_CMD_BRIGHTNESS, 60);
    EXPECT_EQ(-9, journal.calls().at(0).status);
    EXPECT_EQ(-9, own.list().at(0).status);
}

}  // namespace
