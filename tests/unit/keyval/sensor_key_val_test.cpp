#include "SensorKeyVal.h"

#include "SensorKeys.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FakeService.h"
#include "tests/unit/config/ExpectedReports.h"

#include <gmock/gmock.h>

#include <cstring>
#include <vector>

using namespace support;
using testing::ElementsAre;

namespace {

constexpr char kListExpression[] =
    "SNS_SUCCESS == ia_ioctrl(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, (void*)(&dnaCmdList))";
constexpr char kCorrectExpression[] =
    "SNS_SUCCESS == ia_ioctrl((ia_cmd_e)p_pKeyval[index].key, IA_CMD_OPT_CORRECT_PARAM, &p_pKeyval[index].value)";

class KeyValCorrect : public PrivateTreeTest
{
protected:
    void correctTo(u32 cmd, u32 value, int status = SNS_SUCCESS)
    {
        m_service.answerValue(cmd, IA_CMD_OPT_CORRECT_PARAM, value, status);
    }

    std::string correct()
    {
        return outputOf(
            [this] { EXPECT_EQ(SNS_SUCCESS, keyval_correct(m_records.data(), static_cast<u32>(m_records.size()))); });
    }

    FakeService m_service;
    std::vector<KeyVal> m_records = {
        {KEY_BRIGHTNESS, 50}, {KEY_MAX_SHUTTER, 9}, {KEY_FIX_SHUTTER, 8}, {KEY_MAX_SHUTTER, 7}};
};

TEST_F(KeyValCorrect, ListedKeysTakeTheServicesValuesAndOthersStay)
{
    m_service.setDynamicCommands({IA_CMD_FIX_SHUTTER, IA_CMD_MAX_SHUTTER});
    correctTo(49, 3);
    correctTo(50, 4);
    correctTo(34, 99);
    EXPECT_EQ("", correct());
    EXPECT_THAT(m_records, ElementsAre(KeyVal{34, 50}, KeyVal{49, 3}, KeyVal{50, 4}, KeyVal{49, 7}));
    EXPECT_THAT(m_service.all(), ElementsAre(Sent{IA_CMD_DYNAMIC_PARAMS_CMDS_GET, 1, 0},
                                             Sent{IA_CMD_FIX_SHUTTER, IA_CMD_OPT_CORRECT_PARAM, 8},
                                             Sent{IA_CMD_MAX_SHUTTER, IA_CMD_OPT_CORRECT_PARAM, 9}));
}

TEST_F(KeyValCorrect, ServiceGetsACopyOfTheValue)
{
    m_service.setDynamicCommands({IA_CMD_MAX_SHUTTER});
    const void* shared = &m_records[1].value;
    m_service.answer(IA_CMD_MAX_SHUTTER, IA_CMD_OPT_CORRECT_PARAM, [shared](u32, int, void* data) {
        EXPECT_NE(shared, data);
        return SNS_SUCCESS;
    });
    correct();
    EXPECT_EQ(9U, m_records[1].value);
}

TEST_F(KeyValCorrect, ListIsZeroBeforeTheServiceFillsIt)
{
    m_service.answer(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, [](u32, int, void* data) {
        const ia_dynamic_params_cmds_st zero = {};
        EXPECT_EQ(0, std::memcmp(&zero, data, sizeof zero));
        return SNS_SUCCESS;
    });
    EXPECT_EQ("", correct());
    EXPECT_EQ(1U, m_service.calls().size());
}

TEST_F(KeyValCorrect, EmptyListMakesNoCorrectionCall)
{
    EXPECT_EQ("", correct());
    EXPECT_EQ(1U, m_service.calls().size());
    EXPECT_THAT(m_records, ElementsAre(KeyVal{34, 50}, KeyVal{49, 9}, KeyVal{50, 8}, KeyVal{49, 7}));
}

TEST_F(KeyValCorrect, NegativeCountMakesNoCorrectionCall)
{
    m_service.answerValue(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, static_cast<u32>(-1));
    EXPECT_EQ("", correct());
    EXPECT_EQ(1U, m_service.calls().size());
}

TEST_F(KeyValCorrect, CountAboveSixteenIsCutToTheList)
{
    m_service.setDynamicCommands(std::vector<u32>(17, 34));
    EXPECT_EQ("", correct());
    EXPECT_EQ(16U, m_service.count(IA_CMD_BRIGHTNESS, IA_CMD_OPT_CORRECT_PARAM));
}

TEST_F(KeyValCorrect, FailedListIsReportedAndCorrectsNothing)
{
    m_service.answerStatus(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, -1);
    expectReports(kKeyVals, correct(), {{"keyval_correct", kListExpression}});
    EXPECT_EQ(1U, m_service.calls().size());
}

TEST_F(KeyValCorrect, ListThatAFailedCallFilledCorrectsNothing)
{
    m_service.answer(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, [](u32, int, void* data) {
        ia_dynamic_params_cmds_st& list = *static_cast<ia_dynamic_params_cmds_st*>(data);
        list.cmd_cnt = 2;
        list.cmd_list[0] = static_cast<ia_cmd_e>(49);
        list.cmd_list[1] = static_cast<ia_cmd_e>(50);
        return -1;
    });
    correctTo(49, 3);
    expectReports(kKeyVals, correct(), {{"keyval_correct", kListExpression}});
    EXPECT_EQ(1U, m_service.calls().size());
    EXPECT_EQ(9U, m_records[1].value);
}

TEST_F(KeyValCorrect, ValueThatWasSetMeanwhileStays)
{
    m_service.setDynamicCommands({IA_CMD_MAX_SHUTTER});
    m_service.answer(IA_CMD_MAX_SHUTTER, IA_CMD_OPT_CORRECT_PARAM, [this](u32, int, void* data) {
        m_records[1].value = 60;
        *static_cast<u32*>(data) = 3;
        return SNS_SUCCESS;
    });
    EXPECT_EQ("", correct());
    EXPECT_EQ(60U, m_records[1].value);
}

TEST_F(KeyValCorrect, ListedKeyWithoutRecordIsReportedAndSkipped)
{
    m_service.setDynamicCommands({77, IA_CMD_MAX_SHUTTER});
    correctTo(49, 3);
    expectReports(kKeyVals, correct(), {{"keyval_correct", "-1 != index"}});
    EXPECT_EQ(0U, m_service.count(77, IA_CMD_OPT_CORRECT_PARAM));
    EXPECT_EQ(3U, m_records[1].value);
}

TEST_F(KeyValCorrect, NoRecordsReportEveryListedKey)
{
    m_service.setDynamicCommands({IA_CMD_MAX_SHUTTER, IA_CMD_FIX_SHUTTER});
    m_records.clear();
    const std::string output = outputOf([] {
        KeyVal none = {};
        EXPECT_EQ(SNS_SUCCESS, keyval_correct(&none, 0));
    });
    expectReports(kKeyVals, output, {{"keyval_correct", "-1 != index"}, {"keyval_correct", "-1 != index"}});
}

TEST_F(KeyValCorrect, FailedCorrectionIsReportedKeepsWhatTheServiceLeftAndGoesOn)
{
    m_service.setDynamicCommands({IA_CMD_MAX_SHUTTER, IA_CMD_FIX_SHUTTER});
    correctTo(49, 5, -4);
    correctTo(50, 4);
    expectReports(kKeyVals, correct(), {{"keyval_correct", kCorrectExpression}});
    EXPECT_EQ(5U, m_records[1].value);
    EXPECT_EQ(4U, m_records[2].value);
}

TEST_F(KeyValCorrect, NullRecordsAreReportedAndSucceed)
{
    const std::string output = outputOf([] { EXPECT_EQ(SNS_SUCCESS, keyval_correct(nullptr, 3)); });
    expectReports(kKeyVals, output, {{"keyval_correct", "NULL != p_pKeyval"}});
    EXPECT_TRUE(m_service.calls().empty());
}

TEST_F(KeyValCorrect, TracesTheValueBeforeAndAfterFromLevelSixOn)
{
    m_service.setDynamicCommands({IA_CMD_MAX_SHUTTER});
    correctTo(49, static_cast<u32>(-3));
    setDebug(5);
    EXPECT_EQ("", correct());
    setDebug(6);
    m_records[1].value = 9;
    EXPECT_TRUE(saysOnly(correct(), traced("dbg", kKeyVals, "keyval_correct", "before correct: (49,9)\n") +
                                        traced("dbg", kKeyVals, "keyval_correct", "after correct: (49,-3)\n")));
}

}  // namespace
