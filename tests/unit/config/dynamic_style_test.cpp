#include "SensorFile.h"
#include "SensorFlags.h"
#include "config/XmlDocument.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FakeService.h"
#include "tests/unit/config/ExpectedReports.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using namespace support;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char kListExpression[] =
    "SNS_SUCCESS == ia_ioctrl(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, (void*)(&dnaCmdList))";
constexpr char kRangeExpression[] =
    "SNS_SUCCESS == ia_ioctrl((ia_cmd_e)dnaCmdList.cmd_list[i], IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList))";
constexpr char kRewriteExpression[] =
    "SNS_SUCCESS == doDnaStyle(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], &dnaParamList)";
constexpr char kParseExpression[] = "objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)";

std::string control(int id, int value, const std::vector<int>& items)
{
    std::string text = "<P id=\"" + std::to_string(id) + "\" value=\"" + std::to_string(value) + "\">";
    for (const int item : items)
    {
        text += "<I index=\"" + std::to_string(item) + "\"/>";
    }
    return text + "</P>";
}

std::string printed(const std::string& text)
{
    XmlDocument document;
    document.LoadMem(text, TIXML_ENCODING_UTF8);
    return document.getXmlString();
}

class DynamicStyle : public PrivateTreeTest
{
protected:
    void TearDown() override
    {
        setshowWDRFalg(true);
        PrivateTreeTest::TearDown();
    }

    // What is printed; the rewritten style is in m_strStyle.
    std::string rewrite(const std::string& style)
    {
        m_strStyle = "before";
        return outputOf([&] { EXPECT_EQ(SNS_SUCCESS, getDnaStyle(style.c_str(), m_strStyle)); });
    }

    void allow(u32 cmd, int defaultValue, std::vector<int> items)
    {
        m_service.setDynamicCommands({cmd});
        m_service.setAllowedValues(cmd, defaultValue, std::move(items));
    }

    FakeService m_service;
    std::string m_strStyle;
};

TEST_F(DynamicStyle, OnlyAllowedItemsStayAndTheDefaultIsPreselected)
{
    allow(2368, 2, {0, 2});
    EXPECT_EQ("", rewrite("<S><T key=\"a\">" + control(2368, 1, {0, 1, 2, 3}) + control(34, 50, {1}) + "</T></S>"));
    EXPECT_EQ(printed("<S><T key=\"a\">" + control(2368, 2, {0, 2}) + control(34, 50, {1}) + "</T></S>"), m_strStyle);
}

TEST_F(DynamicStyle, ControlsInsideARemovedItemGoWithItAndThoseInsideAKeptOneAreRewritten)
{
    m_service.setDynamicCommands({IA_CMD_WB_MODE, IA_CMD_DN_MODE, IA_CMD_BRIGHTNESS});
    m_service.setAllowedValues(IA_CMD_WB_MODE, 2, {2});
    m_service.setAllowedValues(IA_CMD_DN_MODE, 7, {});
    m_service.setAllowedValues(IA_CMD_BRIGHTNESS, 9, {});
    rewrite("<S><P id=\"768\" value=\"1\">"
            "<I index=\"1\"><P id=\"144\" value=\"0\"/><P id=\"34\" value=\"0\"/></I>"
            "<I index=\"2\"><P id=\"144\" value=\"0\"/></I>"
            "</P><P id=\"34\" value=\"0\"/></S>");
    EXPECT_EQ(printed("<S><P id=\"768\" value=\"2\"><I index=\"2\"><P id=\"144\" value=\"7\"/></I></P>"
                      "<P id=\"34\" value=\"9\"/></S>"),
              m_strStyle);
}

TEST_F(DynamicStyle, TheOnlyControlInsideARemovedItemIsNotLookedAtAgain)
{
    m_service.setDynamicCommands({IA_CMD_WB_MODE, IA_CMD_DN_MODE});
    m_service.setAllowedValues(IA_CMD_WB_MODE, 2, {2});
    m_service.setAllowedValues(IA_CMD_DN_MODE, 7, {});
    rewrite("<S><P id=\"768\" value=\"1\"><I index=\"1\"><P id=\"144\" value=\"0\"/></I></P></S>");
    EXPECT_EQ(printed("<S><P id=\"768\" value=\"2\"/></S>"), m_strStyle);
}

TEST_F(DynamicStyle, WithoutDynamicCommandsTheStyleIsOnlyPrintedAnew)
{
    EXPECT_EQ("", rewrite("<S><P id='34' value='50'/></S>"));
    EXPECT_EQ("<S>\n    <P id=\"34\" value=\"50\" />\n</S>\n", m_strStyle);
}

TEST_F(DynamicStyle, ValueIsAddedToAControlThatHasNone)
{
    allow(2368, -2, {});
    rewrite("<S><P id='2368'/></S>");
    EXPECT_EQ("<S>\n    <P id=\"2368\" value=\"-2\" />\n</S>\n", m_strStyle);
}

TEST_F(DynamicStyle, NoAllowedValuesRemoveEveryItem)
{
    allow(2368, 1, {});
    rewrite("<S>" + control(2368, 1, {0, 1}) + "</S>");
    EXPECT_EQ(printed("<S>" + control(2368, 1, {}) + "</S>"), m_strStyle);
}

TEST_F(DynamicStyle, NegativeItemCountRemovesEveryItem)
{
    m_service.setDynamicCommands({IA_CMD_WDR_MODE});
    m_service.answer(IA_CMD_WDR_MODE, IA_CMD_OPT_GET_PARAM_RNAGE, [](u32, int, void* data) {
        static_cast<ia_dynamic_params_attr_st*>(data)->items_cnt = -1;
        return SNS_SUCCESS;
    });
    rewrite("<S>" + control(2368, 1, {0, 1}) + "</S>");
    EXPECT_EQ(printed("<S>" + control(2368, 0, {}) + "</S>"), m_strStyle);
}

TEST_F(DynamicStyle, ItemCountAboveSixtyFourIsCutToTheRecord)
{
    std::vector<int> items;
    for (int i = 1; i <= 65; ++i)
    {
        items.push_back(i);
    }
    allow(49, 1, items);
    const std::string output = rewrite("<S>" + control(49, 65, {64, 65}) + "</S>");
    EXPECT_EQ(printed("<S>" + control(49, 1, {64}) + "</S>"), m_strStyle);
    EXPECT_THAT(output, AllOf(HasSubstr("items_cnt(65)\n"), HasSubstr(" dnaParamList.item[63] = 64 nVal = 65 \n"),
                              Not(HasSubstr("item[64]"))));
}

TEST_F(DynamicStyle, CommandCountAboveSixteenIsCutToTheList)
{
    m_service.setDynamicCommands(std::vector<u32>(17, 2368));
    EXPECT_EQ("", rewrite("<S/>"));
    EXPECT_EQ(16U, m_service.count(IA_CMD_WDR_MODE, IA_CMD_OPT_GET_PARAM_RNAGE));
}

TEST_F(DynamicStyle, NegativeCommandCountAsksForNothing)
{
    m_service.answerValue(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, static_cast<u32>(-1));
    EXPECT_EQ("", rewrite("<S/>"));
    EXPECT_EQ(1U, m_service.calls().size());
}

TEST_F(DynamicStyle, RecordsAreZeroBeforeTheServiceFillsThem)
{
    m_service.setDynamicCommands({IA_CMD_WDR_MODE, IA_CMD_WDR_STRG});
    m_service.setAllowedValues(IA_CMD_WDR_MODE, 7, {1, 2, 3});
    m_service.answer(IA_CMD_WDR_STRG, IA_CMD_OPT_GET_PARAM_RNAGE, [](u32, int, void* data) {
        const ia_dynamic_params_attr_st zero = {};
        EXPECT_EQ(0, std::memcmp(&zero, data, sizeof zero));
        return SNS_SUCCESS;
    });
    EXPECT_EQ("", rewrite("<S/>"));
}

TEST_F(DynamicStyle, FailedListIsReportedAndWhatItHoldsIsUsed)
{
    m_service.setAllowedValues(IA_CMD_WDR_MODE, 5, {});
    m_service.answer(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, [](u32, int, void* data) {
        auto* list = static_cast<ia_dynamic_params_cmds_st*>(data);
        list->cmd_cnt = 1;
        list->cmd_list[0] = IA_CMD_WDR_MODE;
        return -1;
    });
    expectReports(kFiles, rewrite("<S>" + control(2368, 1, {}) + "</S>"), {{"getDnaStyle", kListExpression}});
    EXPECT_EQ(printed("<S>" + control(2368, 5, {}) + "</S>"), m_strStyle);
}

TEST_F(DynamicStyle, FailedRangeIsReportedAndLeavesTheParameterAsTheDocumentHasIt)
{
    m_service.setDynamicCommands({IA_CMD_WDR_MODE, IA_CMD_MAX_SHUTTER, IA_CMD_WDR_STRG});
    for (const u32 cmd : {2368U, 49U})
    {
        m_service.answer(cmd, IA_CMD_OPT_GET_PARAM_RNAGE, [](u32, int, void* data) {
            static_cast<ia_dynamic_params_attr_st*>(data)->default_value = 7;
            return -1;
        });
    }
    m_service.setAllowedValues(IA_CMD_WDR_STRG, 9, {2});
    expectReports(kFiles,
                  rewrite("<S>" + control(2368, 1, {0, 1}) + control(49, 3, {3}) + control(2369, 1, {1, 2}) + "</S>"),
                  {{"getDnaStyle", kRangeExpression}, {"getDnaStyle", kRangeExpression}});
    EXPECT_EQ(printed("<S>" + control(2368, 1, {0, 1}) + control(49, 3, {3}) + control(2369, 9, {2}) + "</S>"),
              m_strStyle);
}

TEST_F(DynamicStyle, ItemWithoutIndexStopsThatCommandWithAReport)
{
    m_service.setDynamicCommands({IA_CMD_WDR_MODE, IA_CMD_WDR_STRG, IA_CMD_WDR_BRACKET});
    for (const u32 cmd : {2368U, 2369U, 2370U})
    {
        m_service.setAllowedValues(cmd, 9, {1});
    }
    const std::string output = rewrite("<S>" + control(2368, 0, {0, 1}) +
                                       "<P id='2369' value='0'><I index='0'/><I/><I index='0'/></P>"
                                       "<P id='2369' value='0'/>" +
                                       control(2370, 0, {0, 1}) + "</S>");
    expectReports(kFiles, output, {{"getDnaStyle", kRewriteExpression}});
    EXPECT_EQ(printed("<S>" + control(2368, 9, {1}) +
                      "<P id='2369' value='9'><I/><I index='0'/></P>"
                      "<P id='2369' value='0'/>" +
                      control(2370, 9, {1}) + "</S>"),
              m_strStyle);
}

TEST_F(DynamicStyle, EveryElementWithTheIdIsRewrittenButNotThoseBelowOne)
{
    allow(2368, 9, {1});
    rewrite("<S><P id='2368' value='0'/><T><P id='2368' value='0'><I index='1' id='2368' value='0'/></P></T></S>");
    EXPECT_EQ(printed("<S><P id='2368' value='9'/><T><P id='2368' value='9'>"
                      "<I index='1' id='2368' value='0'/></P></T></S>"),
              m_strStyle);
}

TEST_F(DynamicStyle, BrokenStyleIsReportedAndCountsAsEmpty)
{
    allow(2368, 1, {1});
    expectReports(kFiles, rewrite("<S>" + control(2368, 1, {1}) + "</X>"), {{"getDnaStyle", kParseExpression}});
    EXPECT_EQ("", m_strStyle);
}

TEST_F(DynamicStyle, CauseAndPlaceOfABrokenStyleAreToldFromLevelFourOn)
{
    const std::string style = "<S>\n  <!-- \xFF -->\n</S>";
    const std::string report = asserted(kFiles, "getDnaStyle", kParseExpression);
    setDebug(3);
    EXPECT_TRUE(saysOnly(rewrite(style), report));
    setDebug(4);
    EXPECT_TRUE(saysOnly(rewrite(style),
                         traced("warn", kFiles, "load", "XML text refused: no UTF-8, line(2) column(8)\n") + report));
}

TEST_F(DynamicStyle, EmptyStyleIsReportedAndGivesAnEmptyText)
{
    allow(49, 1, {1});
    const std::string output = rewrite("");
    EXPECT_TRUE(saysOnly(output, asserted(kFiles, "getDnaStyle", kParseExpression) +
                                     "dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(1)\n"
                                     " dnaParamList.item[0] = 1 nVal = 0 \n"));
    EXPECT_EQ("", m_strStyle);
}

TEST_F(DynamicStyle, NoStyleIsTreatedAsEmpty)
{
    const std::string output = outputOf([this] { EXPECT_EQ(SNS_SUCCESS, getDnaStyle(nullptr, m_strStyle)); });
    expectReports(kFiles, output, {{"getDnaStyle", kParseExpression}});
    EXPECT_EQ("", m_strStyle);
}

TEST_F(DynamicStyle, StyleIsNotSavedAnywhere)
{
    const auto folders = [] {
        return std::vector<std::vector<std::string>>{filesIn("/tmp"), filesIn("/mnt/mtd/code"), filesIn(kConfigFolder)};
    };
    std::string style = "<S/>";
    std::string out;
    const auto before = folders();
    const std::filesystem::path home = std::filesystem::current_path();
    std::filesystem::current_path("/tmp");  // where a relative name would do harm
    EXPECT_EQ(SNS_SUCCESS, getDnaStyle(style.c_str(), out));
    std::filesystem::current_path(home);
    EXPECT_EQ(before, folders());
}

// ---- shutters --------------------------------------------------------------------------------------------

class Shutter : public DynamicStyle, public testing::WithParamInterface<int>
{
protected:
    std::string rewriteShutter(int stored) { return rewrite("<S>" + control(GetParam(), stored, {1, 2, 3}) + "</S>"); }

    std::string shutter(int value, const std::vector<int>& items)
    {
        return printed("<S>" + control(GetParam(), value, items) + "</S>");
    }
};

TEST_P(Shutter, StoredValueSurvivesWhenAllowedAndTheSearchIsPrinted)
{
    allow(static_cast<u32>(GetParam()), 1, {1, 3, 5});
    EXPECT_EQ("dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(3)\n"
              " dnaParamList.item[0] = 1 nVal = 3 \n"
              " dnaParamList.item[1] = 3 nVal = 3 \n",
              rewriteShutter(3));
    EXPECT_EQ(shutter(3, {1, 3}), m_strStyle);
}

TEST_P(Shutter, StoredValueThatIsNotAllowedGivesWayToTheDefault)
{
    allow(static_cast<u32>(GetParam()), 1, {1, 3});
    EXPECT_EQ("dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(2)\n"
              " dnaParamList.item[0] = 1 nVal = 7 \n"
              " dnaParamList.item[1] = 3 nVal = 7 \n",
              rewriteShutter(7));
    EXPECT_EQ(shutter(1, {1, 3}), m_strStyle);
}

TEST_P(Shutter, StoredHundredGivesWayToTheDefaultInSilence)
{
    allow(static_cast<u32>(GetParam()), 1, {1, 3, 100});
    EXPECT_EQ("", rewriteShutter(100));
    EXPECT_EQ(shutter(1, {1, 3}), m_strStyle);
}

TEST_P(Shutter, SearchIsPrintedWithoutHeaderAtEveryDebugLevel)
{
    allow(static_cast<u32>(GetParam()), 1, {});
    setDebug(-1);
    EXPECT_EQ("dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(0)\n", rewriteShutter(3));
}

TEST_P(Shutter, ShutterMissingInTheStyleCountsAsZero)
{
    allow(static_cast<u32>(GetParam()), 1, {0});
    EXPECT_EQ("dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(1)\n"
              " dnaParamList.item[0] = 0 nVal = 0 \n",
              rewrite("<S/>"));
}

INSTANTIATE_TEST_SUITE_P(MaximumAndFixed, Shutter, testing::Values(49, 50));

TEST_F(DynamicStyle, OtherCommandsNeverKeepTheStoredValue)
{
    allow(65, 1, {1, 3});
    EXPECT_EQ("", rewrite("<S>" + control(65, 3, {1, 3}) + "</S>"));
    EXPECT_EQ(printed("<S>" + control(65, 1, {1, 3}) + "</S>"), m_strStyle);
}

// ---- the flag for wide dynamic range -----------------------------------------------------------------------

TEST_F(DynamicStyle, WithTheWdrFlagTheElementWithIdZeroIsRemoved)
{
    rewrite("<S><T><P id='0'/><P id='1'/></T></S>");
    EXPECT_EQ(printed("<S><T><P id='1'/></T></S>"), m_strStyle);
}

TEST_F(DynamicStyle, OfSeveralElementsWithIdZeroTheLastIsRemoved)
{
    rewrite("<S><P id='0' n='1'/><P id='0' n='2'/></S>");
    EXPECT_EQ(printed("<S><P id='0' n='1'/></S>"), m_strStyle);
}

TEST_F(DynamicStyle, WithoutTheWdrFlagTheElementWithIdZeroStays)
{
    setshowWDRFalg(false);
    rewrite("<S><P id='0'/></S>");
    EXPECT_EQ(printed("<S><P id='0'/></S>"), m_strStyle);
}

TEST_F(DynamicStyle, RootWithIdZeroStays)
{
    rewrite("<S id='0'><P id='0'/></S>");
    EXPECT_EQ(printed("<S id='0'><P id='0'/></S>"), m_strStyle);
}

// ---- traces ------------------------------------------------------------------------------------------------

TEST_F(DynamicStyle, TracesFromLevelSixOn)
{
    m_service.setDynamicCommands({IA_CMD_WDR_MODE, 77});
    m_service.setAllowedValues(IA_CMD_WDR_MODE, -2, {0});
    const std::string style = "<S><P id='2368' value='1'><I index='0'/><I index='4x'/></P></S>";
    setDebug(5);
    EXPECT_EQ("", rewrite(style));
    setDebug(6);
    EXPECT_TRUE(
        saysOnly(rewrite(style),
                 traced("dbg", kFiles, "getDnaStyle", "dnaCmdList.cmd_cnt(2)\n") +
                     traced("dbg", kFiles, "getDnaStyle", "dnaCmdList.cmd_list[0] = cmd(2368)\n") +
                     traced("dbg", kFiles, "doDnaStyle", "_________________cmd(2368) default(-2)__________________\n") +
                     traced("dbg", kFiles, "doDnaStyle", "_________________delete comboitem(4x)__________________\n") +
                     traced("dbg", kFiles, "getDnaStyle", "dnaCmdList.cmd_list[1] = cmd(77)\n")));
}

}  // namespace
