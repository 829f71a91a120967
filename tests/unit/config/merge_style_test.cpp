#include "SensorFile.h"
#include "SysConfig.h"
#include "tests/support/CapturedOutput.h"
#include "tests/unit/config/DiskFailure.h"
#include "tests/unit/config/ExpectedReports.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

using namespace support;

namespace {

constexpr char kNoOperation[] = "NULL != (node_second = node_first->FirstChildElement())";

class MergeStyle : public PrivateTreeTest
{
protected:
    void TearDown() override
    {
        std::free(m_szStyle);
        PrivateTreeTest::TearDown();
    }

    std::string merge(const std::string& diversity)
    {
        std::string text = diversity;
        return outputOf([&] { EXPECT_EQ(SNS_SUCCESS, mergeStyle(&m_stModule, &m_szStyle, text.data())); });
    }

    std::string mergeOnAFailingDisk()
    {
        return outputOf([this] {
            const DiskFailure failure;
            char rules[] = "<Rule/>";
            EXPECT_EQ(SNS_SUCCESS, mergeStyle(&m_stModule, &m_szStyle, rules));
        });
    }

    void setStyle(const char* text)
    {
        std::free(m_szStyle);
        m_szStyle = strdup(text);
    }

    void setDetail(const std::string& detail)
    {
        std::memset(m_stModule.szDetail, 0, sizeof m_stModule.szDetail);
        detail.copy(m_stModule.szDetail, sizeof m_stModule.szDetail - 1);
    }

    bool isMerged(const std::string& attributes)
    {
        setStyle(kTabs);
        merge("<Rule " + attributes + "><Delete tab_key='b'/></Rule>");
        return std::string(m_szStyle).find("key=\"b\"") == std::string::npos;
    }

    ModuleConfig m_stModule = {};
    char* m_szStyle = strdup(kTabs);
};

TEST_F(MergeStyle, AppliesTheOperationsOfARuleInOrder)
{
    setDetail("(model=A1)");
    EXPECT_EQ("", merge("<Rule model='A1'>"
                        "<Modify tab_key='a'><T key='x' n='1'/><T key='ignored'/></Modify>"
                        "<AddAfter tab_key='x'><T key='y' n='2'><P id='34' value='60'/></T></AddAfter>"
                        "<Delete tab_key='c'/>"
                        "<Delete tab_key='unknown'/>"
                        "</Rule>"));
    EXPECT_STREQ("<S>\n"
                 "    <T key=\"x\" n=\"1\" />\n"
                 "    <T key=\"y\" n=\"2\">\n"
                 "        <P id=\"34\" value=\"60\" />\n"
                 "    </T>\n"
                 "    <T key=\"b\" n=\"2\" />\n"
                 "</S>\n",
                 m_szStyle);
}

TEST_F(MergeStyle, RulesAreAppliedInOrder)
{
    setDetail("(model=A1)(lens=zoom)");
    merge("<Rule lens='zoom'><AddAfter tab_key='a'><T key='x'/></AddAfter></Rule>"
          "<Rule model='B2'><Delete tab_key='b'/></Rule>"
          "<Other model='A1'><Delete tab_key='x'/><Delete tab_key='a'/></Other>");
    EXPECT_STREQ("<S>\n    <T key=\"b\" n=\"2\" />\n    <T key=\"c\" n=\"3\" />\n</S>\n", m_szStyle);
}

TEST_F(MergeStyle, ResultIsTheSavedFileWhichStays)
{
    merge("<Rule/>");
    EXPECT_EQ(readFile(kMergedStyleFile), m_szStyle);
    EXPECT_STREQ("<S>\n    <T key=\"a\" n=\"1\" />\n    <T key=\"b\" n=\"2\" />\n    <T key=\"c\" n=\"3\" />\n</S>\n",
                 m_szStyle);
}

TEST_F(MergeStyle, RuleAppliesToEveryValueItsAttributeLists)
{
    for (const char* model : {"A1", "B2"})
    {
        setDetail(std::string("(model=") + model + ")");
        EXPECT_TRUE(isMerged("model='A1,B2'")) << model;
    }
    setDetail("(model=C3)");
    EXPECT_FALSE(isMerged("model='A1,B2'"));
}

TEST_F(MergeStyle, RuleAppliesToALeadingPartOfAListedValue)
{
    setDetail("(model=A)");
    EXPECT_TRUE(isMerged("model='A1,B2'"));
    setDetail("(model=A12)");
    EXPECT_FALSE(isMerged("model='A1,B2'"));
}

TEST_F(MergeStyle, EmptyDetailValueMatchesAnything)
{
    setDetail("(model=)");
    EXPECT_TRUE(isMerged("model='A1'"));
    EXPECT_TRUE(isMerged("model=''"));
}

TEST_F(MergeStyle, OneMatchingAttributeIsEnough)
{
    setDetail("(model=A1)(lens=zoom)");
    EXPECT_TRUE(isMerged("model='B2' lens='zoom'"));
    EXPECT_TRUE(isMerged("absent='x' model='A1'"));
    EXPECT_FALSE(isMerged("model='B2' lens='fixed'"));
}

TEST_F(MergeStyle, ShortValueIsComparedWithoutTheLongOneOfTheAttributeBefore)
{
    setDetail("(lens=motorised)(lamp=3)");
    EXPECT_TRUE(isMerged("lens='none' lamp='1,3'"));
}

TEST_F(MergeStyle, RuleWithoutAttributesIsNeverApplied)
{
    setDetail("(model=A1)");
    EXPECT_FALSE(isMerged(""));
}

TEST_F(MergeStyle, ValueThatFillsTheWholeDetailIsCompared)
{
    const std::string longValue(500, 'v');
    setDetail("(m=" + longValue + ")");
    EXPECT_TRUE(isMerged("m='" + longValue + "'"));
    EXPECT_FALSE(isMerged("m='" + longValue.substr(1) + "'"));
}

TEST_F(MergeStyle, ApplicableRuleWithoutOperationIsReportedAndTheNextOneApplies)
{
    setDetail("(model=A1)");
    const std::string output = merge("<Rule model='A1'/><Rule/><Rule model='A1'><Delete tab_key='b'/></Rule>");
    expectReports(kFiles, output, {{"mergeStyle", kNoOperation, "", "164"}});
    EXPECT_EQ(nullptr, std::strstr(m_szStyle, "key=\"b\""));
}

TEST_F(MergeStyle, OperationsWithoutTabKeyOrNewTabChangeNothing)
{
    setDetail("(model=A1)");
    EXPECT_EQ("", merge("<Rule model='A1'><Modify tab_key='a'/><AddAfter tab_key='a'/><Delete/></Rule>"));
    EXPECT_STREQ("<S>\n    <T key=\"a\" n=\"1\" />\n    <T key=\"b\" n=\"2\" />\n    <T key=\"c\" n=\"3\" />\n</S>\n",
                 m_szStyle);
}

TEST_F(MergeStyle, StyleWithoutTabsIsReportedForEachOperation)
{
    setDetail("(model=A1)");
    setStyle("<S/>");
    const std::string output = merge("<Rule model='A1'><Delete tab_key='a'/><Delete tab_key='b'/></Rule>");
    expectReports(kFiles, output, {{"updateStyleTab", kNoTab, "", "106"}, {"updateStyleTab", kNoTab, "", "106"}});
    EXPECT_STREQ("<S />\n", m_szStyle);
}

TEST_F(MergeStyle, BrokenStyleKeepsThePartBeforeTheError)
{
    setStyle("<S><T key=\"a\"/></X>");
    expectReports(kFiles, merge("<Rule/>"), {{"mergeStyle", kStyleParse, "", "140"}});
    EXPECT_STREQ("<S>\n    <T key=\"a\" />\n</S>\n", m_szStyle);
}

TEST_F(MergeStyle, EmptyStyleIsReportedAndStaysEmpty)
{
    setStyle("");
    expectReports(kFiles, merge("<Rule/>"),
                  {{"mergeStyle", kStyleParse, "", "140"}, {"mergeStyle", kReadBack, "", "190"}});
    EXPECT_STREQ("", m_szStyle);
    EXPECT_EQ("", readFile(kMergedStyleFile));
}

TEST_F(MergeStyle, StyleRefusedBeforeParsingIsReportedAndBecomesEmpty)
{
    setStyle("<S><T key=\"\xC3\"/></S>");
    expectReports(kFiles, merge("<Rule/>"),
                  {{"mergeStyle", kStyleParse, "", "140"}, {"mergeStyle", kReadBack, "", "190"}});
    EXPECT_STREQ("", m_szStyle);
}

TEST_F(MergeStyle, NoStyleIsTreatedAsEmpty)
{
    std::free(m_szStyle);
    m_szStyle = nullptr;
    expectReports(kFiles, merge("<Rule/>"),
                  {{"mergeStyle", kStyleParse, "", "140"}, {"mergeStyle", kReadBack, "", "190"}});
    EXPECT_STREQ("", m_szStyle);
}

TEST_F(MergeStyle, EmptyDiversityIsReportedTwiceAndTheStyleStays)
{
    expectReports(kFiles, merge(""), {{"mergeStyle", kDiversityParse, "", "141"}, {"mergeStyle", kNoRule, "", "143"}});
    EXPECT_NE(nullptr, std::strstr(m_szStyle, "key=\"c\""));
}

TEST_F(MergeStyle, NoDiversityIsTreatedAsEmpty)
{
    const std::string output =
        outputOf([this] { EXPECT_EQ(SNS_SUCCESS, mergeStyle(&m_stModule, &m_szStyle, nullptr)); });
    expectReports(kFiles, output, {{"mergeStyle", kDiversityParse, "", "141"}, {"mergeStyle", kNoRule, "", "143"}});
}

TEST_F(MergeStyle, DiversityOfCommentsHasNoRule)
{
    expectReports(kFiles, merge("<!-- no rules -->"), {{"mergeStyle", kNoRule, "", "143"}});
}

TEST_F(MergeStyle, RulesBeforeAnErrorOfTheDiversityAreApplied)
{
    setDetail("(model=A1)");
    const std::string output =
        merge("<Rule model='A1'><Delete tab_key='a'/></Rule><Rule model='A1'><Delete tab_key='b'/></Wrong>");
    expectReports(kFiles, output, {{"mergeStyle", kDiversityParse, "", "141"}});
    EXPECT_STREQ("<S>\n    <T key=\"c\" n=\"3\" />\n</S>\n", m_szStyle);
}

TEST_F(MergeStyle, TracesEachAttributeFromLevelSixOn)
{
    setDetail("(model=A1)(lens=zoom)");
    const std::string rules = "<Rule model='B2' lens='zoom' later='x'><Delete tab_key='b'/></Rule>";
    setDebug(5);
    EXPECT_EQ("", merge(rules));
    setStyle(kTabs);
    setDebug(6);
    const auto trace = [](const std::string& text) { return traced("dbg", kFiles, "mergeStyle", text); };
    EXPECT_TRUE(
        saysOnly(merge(rules), trace("modi_attr->Name()(model), modi_attr->Value()(B2)\n") +
                                   trace("modi_attr->Name()(model), modi_attr->Value()(B2) nVal(A1)\n") +
                                   trace("modi_attr->Name()(lens), modi_attr->Value()(zoom)\n") +
                                   traced("dbg", kFiles, "loadFromFile", "open file:/tmp/merge_style.xml\n", "27")));
}

TEST_F(MergeStyle, TracesAnAttributeWithoutFieldWithAnEmptyValue)
{
    setDebug(6);
    EXPECT_TRUE(says(merge("<Rule model='B2'/>"),
                     traced("dbg", kFiles, "mergeStyle", "modi_attr->Name()(model), modi_attr->Value()(B2) nVal()\n")));
}

TEST_F(MergeStyle, ShowsTheDocumentFromLevelSevenOn)
{
    setStyle("<S><T key=\"a\"/></S>");
    setDebug(7);
    EXPECT_TRUE(says(merge("<Rule/>"), traced("info", kFiles, "mergeStyle", "<S>\n    <T key=\"a\" />\n</S>\n\n")));
}

TEST_F(MergeStyle, UnwritableFileIsReadBackAllTheSameWithItsReports)
{
    // A folder in its place can be neither written nor read.
    writeFile(std::string(kMergedStyleFile) + "/inside", "");
    expectReports(
        kFiles, merge("<Rule/>"),
        {{"getFileLen", kOpenRead, "file_name(/tmp/merge_style.xml)", "19"}, {"mergeStyle", kReadBack, "", "190"}});
    EXPECT_STREQ("", m_szStyle);
    removeFile(std::string(kMergedStyleFile) + "/inside");
}

TEST_F(MergeStyle, AnEarlierMergeServesWhereThisOneCouldNotBeSaved)
{
    writeFile(kMergedStyleFile, "<Earlier><T key=\"old\"/></Earlier>");
    EXPECT_EQ("", mergeOnAFailingDisk());
    EXPECT_STREQ("<Earlier><T key=\"old\"/></Earlier>", m_szStyle);
}

TEST_F(MergeStyle, ThatCouldNotBeSavedIsToldFromLevelFourOn)
{
    writeFile(kMergedStyleFile, "<Earlier/>");
    setDebug(3);
    EXPECT_EQ("", mergeOnAFailingDisk());
    setDebug(4);
    EXPECT_TRUE(saysOnly(mergeOnAFailingDisk(),
                         traced("warn", kFiles, "SaveFile", "XML text not saved: file_name(/tmp/merge_style.xml)\n")));
}

TEST_F(MergeStyle, ImpossibleLengthOfTheSavedFileLeavesAnEmptyStyle)
{
    for (const long long length : {-1LL, -2LL, (4LL << 20) + 1, 1LL << 40})
    {
        setStyle(kTabs);
        removeFile(kErrorLogFile);
        const std::string output = outputOf([this, length] {
            const FileLengths lengths(length);
            char rules[] = "<Rule/>";
            EXPECT_EQ(SNS_SUCCESS, mergeStyle(&m_stModule, &m_szStyle, rules));
        });
        expectReports(kFiles, output, {{"mergeStyle", kReadBack, "", "190"}});
        EXPECT_STREQ("", m_szStyle);
    }
}

TEST_F(MergeStyle, StyleThatWouldBeRefusedWhenReadAgainIsNotSaved)
{
    writeFile(kMergedStyleFile, "<Earlier/>");
    // Short as it stands, but every line is indented by the depth of its element.
    std::string style = "<S>";
    std::string ends = "</S>";
    for (int depth = 1; depth < 63; ++depth)
    {
        style += "<a>";
        ends.insert(0, "</a>");
    }
    for (int i = 0; i < 100000; ++i)
    {
        style += "<b/>";
    }
    setStyle((style + ends).c_str());
    EXPECT_EQ("", merge("<Rule/>"));
    EXPECT_STREQ("<Earlier/>", m_szStyle);
    EXPECT_EQ("<Earlier/>", readFile(kMergedStyleFile));
    setStyle((style + ends).c_str());
    setDebug(4);
    EXPECT_TRUE(says(merge("<Rule/>"), "XML text refused: too large, line(<line>) column(<line>)\n"));
}

}  // namespace
