#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

class SensorCheck : public UpFixture
{
protected:
    void answer(int result, int status)
    {
        for (const int opt : {0, 1})
        {
            service_.answer(IA_CMD_SENSOR_CHECK, opt, [=](u32, int, void* data) {
                static_cast<ia_sensor_check_st*>(data)->result = result;
                return status;
            });
        }
    }
};

TEST_F(SensorCheck, SecondNumberTwoReadsAndReplacesTheText)
{
    answer(-77, 0);
    std::string text = "(1,2,3)";
    EXPECT_EQ(0, c().SensorCheck(text));
    EXPECT_EQ("-77", text);
    ASSERT_EQ(1U, service_.calls().size());
    EXPECT_EQ(2816U, service_.calls()[0].cmd);
    EXPECT_EQ(1, service_.calls()[0].opt);
    EXPECT_EQ((std::vector<u32>{1, 2, 3, 0}), service_.calls()[0].words);
}

TEST_F(SensorCheck, AnyOtherSecondNumberWritesAndLeavesTheText)
{
    answer(-77, 0);
    for (const std::string second : {"1", "0", "3", "-2", "x"})
    {
        std::string text = "(1," + second + ",3)";
        EXPECT_EQ(0, c().SensorCheck(text));
        EXPECT_EQ("(1," + second + ",3)", text);
        EXPECT_EQ(0, service_.calls().back().opt);
    }
}

TEST_F(SensorCheck, StatusIsPassedOnAndTheTextReplacedAllTheSame)
{
    answer(9, -5);
    std::string text = "(1,2,3)";
    EXPECT_EQ(-5, c().SensorCheck(text));
    EXPECT_EQ("9", text);
    text = "(1,1,3)";
    EXPECT_EQ(-5, c().SensorCheck(text));
    EXPECT_EQ("(1,1,3)", text);
}

TEST_F(SensorCheck, FurtherItemsAreIgnored)
{
    std::string text = "(4,1,6,7)";
    EXPECT_EQ(0, c().SensorCheck(text));
    EXPECT_EQ((std::vector<u32>{4, 1, 6, 0}), service_.calls().at(0).words);
}

TEST_F(SensorCheck, NumbersBeyondAWordAreClamped)
{
    std::string text = "(4294967300,4294967298,-4294967300)";
    EXPECT_EQ(0, c().SensorCheck(text));
    ASSERT_EQ(1U, service_.calls().size());
    EXPECT_EQ(0, service_.calls()[0].opt);
    EXPECT_EQ((std::vector<u32>{0x7FFFFFFF, 0x7FFFFFFF, 0x80000000U, 0}), service_.calls()[0].words);
}

TEST_F(SensorCheck, UnparsableTextPrintsAndReturnsZero)
{
    for (const std::string original : {"", "1,2,3", "()", "(1,2,3"})
    {
        std::string text = original;
        EXPECT_EQ("ISensorController1159 getParameters fail p_strIds = " + original + " \n",
                  outputOf([&] { EXPECT_EQ(0, c().SensorCheck(text)); }));
        EXPECT_EQ(original, text);
    }
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(SensorCheck, FewerThanThreeItemsAreARangeError)
{
    for (const std::string original : {"(1)", "(1,2)"})
    {
        std::string text = original;
        EXPECT_THROW(c().SensorCheck(text), std::out_of_range);
    }
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(SensorCheck, TakesNoLock)
{
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    std::string text = "(1,1,3)";
    EXPECT_EQ(0, c().SensorCheck(text));
    std::vector<std::string> items;
    EXPECT_TRUE(c().parseSensorParameter("(1)", items));
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
}

TEST_F(SensorCheck, PrintsNothingAboveLevelFive)
{
    setDebug(6);
    std::string text = "(1,1,3)";
    EXPECT_EQ("", outputOf([&] { c().SensorCheck(text); }));
}

}  // namespace
