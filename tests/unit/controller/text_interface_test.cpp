#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

class TextInterface : public UpFixture
{
protected:
    std::string pairsOf(int index)
    {
        std::string text;
        for (const KeyVal& record : scheme(index))
        {
            text += "(" + std::to_string(record.key) + "," + std::to_string(static_cast<int>(record.value)) + ")";
        }
        return text;
    }
};

// ---- all parameters --------------------------------------------------------------------------------------------

TEST_F(TextInterface, AllParametersAreThePairsOfTheCurrentScheme)
{
    setValue(0, KEY_BRIGHTNESS, static_cast<u32>(-5));
    std::string text;
    EXPECT_TRUE(c().getAllParameters(text));
    EXPECT_EQ(pairsOf(0), text);
    EXPECT_EQ(0U, text.find("(8000,1)(8001,8)(8002,0)(8003,18)(8004,0)(34,-5)(2337,51)"));
}

TEST_F(TextInterface, AllParametersAreAppended)
{
    std::string text = "before";
    EXPECT_TRUE(c().getAllParameters(text));
    EXPECT_EQ("before" + pairsOf(0), text);
}

TEST_F(TextInterface, AllParametersAreCorrectedByTheServiceInPlace)
{
    service_.setDynamicCommands({IA_CMD_MAX_SHUTTER, IA_CMD_METER_AREA});
    service_.answerValue(IA_CMD_MAX_SHUTTER, IA_CMD_OPT_CORRECT_PARAM, 7);
    std::string text;
    EXPECT_TRUE(c().getAllParameters(text));
    EXPECT_EQ(7U, valueOf(0, KEY_MAX_SHUTTER));
    EXPECT_EQ(3U, valueOf(1, KEY_MAX_SHUTTER));
    EXPECT_TRUE(says(text, "(49,7)"));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_MAX_SHUTTER, IA_CMD_OPT_CORRECT_PARAM, 3},
                                 {IA_CMD_METER_AREA, IA_CMD_OPT_CORRECT_PARAM, 0}}),
              service_.sent(IA_CMD_OPT_CORRECT_PARAM));
    EXPECT_TRUE(service_.sets().empty());
}

TEST_F(TextInterface, CorrectionThatTheSchemeHasNoRecordForIsReportedUnderItsOwnUnit)
{
    service_.setDynamicCommands({IA_CMD_GAMMA});
    std::string text;
    const std::string output = outputOf([&] { EXPECT_TRUE(c().getAllParameters(text)); });
    EXPECT_TRUE(saysOnly(output, asserted("SensorKeyVal", "keyval_correct", "-1 != index")));
    EXPECT_EQ(pairsOf(0), text);
}

TEST_F(TextInterface, AllParametersOfTheDefaultScheme)
{
    makeCurrent(3);
    std::string text;
    EXPECT_TRUE(c().getAllParameters(text));
    EXPECT_EQ(pairsOf(3), text);
}

TEST_F(TextInterface, AllParametersWithoutASchemeAppendNothing)
{
    for (const int scheme : {-1, 4, 1000000})
    {
        makeCurrent(scheme);
        std::string text = "x";
        outputOf([&] { EXPECT_TRUE(c().getAllParameters(text)); });
        EXPECT_EQ("x", text);
    }
}

TEST_F(TextInterface, AllParametersArePrintedAboveLevelFive)
{
    std::string text = "x";
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().getAllParameters(text); }));
    setDebug(6);
    text = "x";
    EXPECT_EQ(plain("current scheme: 0\nx" + pairsOf(0) + "\n"), outputOf([&] { c().getAllParameters(text); }));
}

// ---- key lists -------------------------------------------------------------------------------------------------

TEST_F(TextInterface, KeyListIsSplitAtCommas)
{
    std::vector<std::string> items;
    EXPECT_TRUE(c().parseSensorParameter("(34,2337,144)", items));
    EXPECT_EQ((std::vector<std::string>{"34", "2337", "144"}), items);
}

TEST_F(TextInterface, KeyListOfOneItem)
{
    std::vector<std::string> items;
    EXPECT_TRUE(c().parseSensorParameter("(x)", items));
    EXPECT_EQ((std::vector<std::string>{"x"}), items);
}

TEST_F(TextInterface, KeyListKeepsBlanksAndEmptyItems)
{
    std::vector<std::string> items;
    EXPECT_TRUE(c().parseSensorParameter("( 34,,5 )", items));
    EXPECT_EQ((std::vector<std::string>{" 34", "", "5 "}), items);
}

TEST_F(TextInterface, OtherTextsAreNoKeyLists)
{
    for (const char* text :
         {"", "34", "()", "(34", "34)", "x(34)", "(34)x", "(34)(35)", "(3)4)", ")34(", "(", ")", " (34)", "(34) "})
    {
        std::vector<std::string> items;
        EXPECT_EQ("", outputOf([&] { EXPECT_FALSE(c().parseSensorParameter(text, items)); })) << text;
        EXPECT_TRUE(items.empty()) << text;
    }
}

TEST_F(TextInterface, SecondOpeningParenthesisBelongsToAnItem)
{
    std::vector<std::string> items;
    EXPECT_TRUE(c().parseSensorParameter("((34)", items));
    EXPECT_EQ((std::vector<std::string>{"(34"}), items);
}

// ---- chosen parameters -----------------------------------------------------------------------------------------

TEST_F(TextInterface, ChosenKeysAreAnsweredInTheirOrder)
{
    std::string pairs = "old";
    EXPECT_TRUE(c().getParameters("(2337,34)", pairs));
    EXPECT_EQ("(2337,51)(34,50)", pairs);
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(TextInterface, BlankBeforeANumberIsAccepted)
{
    std::string pairs;
    EXPECT_TRUE(c().getParameters("( 34)", pairs));
    EXPECT_EQ("(34,50)", pairs);
}

TEST_F(TextInterface, TextThatIsNoNumberAsksForKeyZero)
{
    std::string pairs;
    EXPECT_TRUE(c().getParameters("(34,abc)", pairs));
    EXPECT_EQ("(34,50)(0,0)", pairs);
    EXPECT_EQ((std::vector<Sent>{{0, IA_CMD_OPT_GET, 0}}), service_.all());
}

TEST_F(TextInterface, NumberEndsAtTheFirstOtherCharacter)
{
    std::string pairs;
    EXPECT_TRUE(c().getParameters("(34x,+2337)", pairs));
    EXPECT_EQ("(34,50)(2337,51)", pairs);
}

TEST_F(TextInterface, KeyWhoseLowWordIsAParametersIsNotThatParameter)
{
    std::string pairs;
    EXPECT_TRUE(c().getParameters("(4294967330,-4294967262,18446744073709551650)", pairs));
    EXPECT_EQ("(2147483647,0)(-2147483648,0)(2147483647,0)", pairs);
}

TEST_F(TextInterface, NegativeValuesAreWrittenWithTheirSign)
{
    setValue(0, KEY_BRIGHTNESS, static_cast<u32>(-5));
    std::string pairs;
    EXPECT_TRUE(c().getParameters("(34)", pairs));
    EXPECT_EQ("(34,-5)", pairs);
}

TEST_F(TextInterface, KeyThatCannotBeReadIsLeftOut)
{
    service_.answerStatus(IA_CMD_GAMMA, IA_CMD_OPT_GET, -1);
    std::string pairs;
    outputOf([&] { EXPECT_TRUE(c().getParameters("(34,2528,2337)", pairs)); });
    EXPECT_EQ("(34,50)(2337,51)", pairs);
}

TEST_F(TextInterface, AnswerIsClearedEvenWhenEveryKeyFails)
{
    service_.answerStatus(IA_CMD_GAMMA, IA_CMD_OPT_GET, -1);
    std::string pairs = "old";
    outputOf([&] { EXPECT_TRUE(c().getParameters("(2528)", pairs)); });
    EXPECT_EQ("", pairs);
}

TEST_F(TextInterface, UnparsableKeyListIsPrintedWithoutColourAtEveryLevel)
{
    for (const int level : {-1, 1, 6})
    {
        setDebug(level);
        for (const std::string text : {"34", "()", "(34", "x(34)", ""})
        {
            std::string pairs = "old";
            EXPECT_EQ("ISensorController769 getParameters fail p_strIds = " + text + " \n",
                      outputOf([&] { EXPECT_FALSE(c().getParameters(text, pairs)); }));
            EXPECT_EQ("old", pairs);
        }
    }
}

// ---- setting ---------------------------------------------------------------------------------------------------

TEST_F(TextInterface, PairsAreAppliedAndStored)
{
    EXPECT_EQ(0, c().setParameters("(34,60)(2337,51)(8001,9)", true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 60}}), service_.all());
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(9U, valueOf(0, KEY_SCHEME_START_HOUR));
}

TEST_F(TextInterface, PairsWithoutCacheAreAppliedAndNotStored)
{
    EXPECT_EQ(0, c().setParameters("(34,60)(2337,51)(8001,9)", false));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 60}, {IA_CMD_SATURATION, IA_CMD_OPT_SET, 51}}),
              service_.all());
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(8U, valueOf(0, KEY_SCHEME_START_HOUR));
}

TEST_F(TextInterface, ValueBeyondAWordIsAppliedAsTheLargestOne)
{
    EXPECT_EQ(0, c().setParameters("(34,4294967300)", true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 0x7FFFFFFF}}), service_.all());
    EXPECT_EQ(0x7FFFFFFFU, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(TextInterface, FailureOfAPairGivesMinusItsKey)
{
    service_.answerStatus(IA_CMD_SATURATION, IA_CMD_OPT_SET, -1);
    EXPECT_EQ(-2337, c().setParameters("(34,60)(2337,52)(2353,53)", true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 60}, {IA_CMD_SATURATION, IA_CMD_OPT_SET, 52}}),
              service_.all());
}

TEST_F(TextInterface, EmptyTextAppliesNothing)
{
    EXPECT_EQ(0, c().setParameters("", true));
    EXPECT_EQ(0, c().setParameters("no pairs", true));
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(TextInterface, PairsBeyondTheNumberOfParametersAreDropped)
{
    const size_t sum = ControllerProbe::keyValSum(c());
    std::string text;
    for (size_t i = 0; i < sum + 50; ++i)
    {
        text += "(34," + std::to_string(1000 + i) + ")";
    }
    EXPECT_EQ(0, c().setParameters(text, false));
    const std::vector<Sent> sent = service_.all();
    ASSERT_EQ(sum, sent.size());
    EXPECT_EQ(1000U, sent.front().value);
    EXPECT_EQ(1000U + sum - 1, sent.back().value);
}

TEST_F(TextInterface, StrayClosingParenthesesCountAsPairsAndAreDroppedToo)
{
    // Each closes the next opening parenthesis, however far behind it that is.
    const std::string stray(5000, ')');
    EXPECT_EQ(0, c().setParameters("(34,60)" + stray + "(34,61)", false));
    std::vector<Sent> expected(ControllerProbe::keyValSum(c()), Sent{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 61});
    expected[0].value = 60;
    EXPECT_EQ(expected, service_.all());
    service_.clearCalls();
    EXPECT_EQ(0, c().setParameters(stray, false));
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(TextInterface, TextIsPrintedWithOnesAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().setParameters("", true); }));
    setDebug(6);
    EXPECT_EQ(plain("p_Parameters1111111111(none)\n"), outputOf([&] { c().setParameters("none", true); }));
}

// ---- one parameter ---------------------------------------------------------------------------------------------

TEST_F(TextInterface, ParameterOfTheSchemeMakesNoCall)
{
    int value = 0;
    EXPECT_TRUE(c().getParameter(KEY_BRIGHTNESS, value));
    EXPECT_EQ(50, value);
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(TextInterface, ParameterThatTheSchemeLacksIsReadFromTheService)
{
    service_.store(IA_CMD_GAMMA, 4);
    int value = 0;
    EXPECT_TRUE(c().getParameter(KEY_GAMMA, value));
    EXPECT_EQ(4, value);
    ASSERT_EQ(1U, service_.calls().size());
    EXPECT_EQ(1, service_.calls()[0].opt);
}

TEST_F(TextInterface, ServiceIsAskedByKeyNumberAndNotByCommand)
{
    int value = 0;
    EXPECT_TRUE(c().getParameter(KEY_IRIS_SIZE, value));
    EXPECT_EQ(83U, service_.calls().at(0).cmd);
}

TEST_F(TextInterface, BeforeTheFirstSwitchEverythingIsReadFromTheService)
{
    makeCurrent(-1);
    service_.store(IA_CMD_BRIGHTNESS, 99);
    int value = 0;
    EXPECT_TRUE(c().getParameter(KEY_BRIGHTNESS, value));
    EXPECT_EQ(99, value);
}

TEST_F(TextInterface, ParameterThatCannotBeReadIsReportedAndLeavesTheMutexFree)
{
    service_.answerStatus(IA_CMD_GAMMA, IA_CMD_OPT_GET, -1);
    int value = 5;
    for (int i = 0; i < 2; ++i)
    {
        const std::string output = outputOf([&] { EXPECT_FALSE(c().getParameter(KEY_GAMMA, value)); });
        EXPECT_TRUE(saysOnly(output, asserted(kController, "getParameter",
                                              "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)",
                                              "get key(2528) val from 2a err")));
    }
}

TEST_F(TextInterface, KeyIsPrintedAboveLevelFive)
{
    int value = 0;
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().getParameter(KEY_BRIGHTNESS, value); }));
    setDebug(6);
    EXPECT_EQ(plain("p_nKey(34)\n"), outputOf([&] { c().getParameter(KEY_BRIGHTNESS, value); }));
}

TEST_F(TextInterface, MirrorValueIsTheParameterOfTheMirrorKey)
{
    int value = 0;
    EXPECT_TRUE(c().getMirrorValue(value));
    EXPECT_EQ(1, value);
    setValue(0, KEY_MIRROR, 3);
    EXPECT_TRUE(c().getMirrorValue(value));
    EXPECT_EQ(3, value);
}

TEST_F(TextInterface, MirrorValueThatCannotBeReadIsAFailure)
{
    makeCurrent(-1);
    service_.answerStatus(IA_CMD_UI_MIRROR, IA_CMD_OPT_GET, -1);
    int value = 0;
    outputOf([&] { EXPECT_FALSE(c().getMirrorValue(value)); });
}

}  // namespace
