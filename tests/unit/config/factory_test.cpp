#include "SensorFile.h"
#include "SensorFlags.h"
#include "config/XmlDocument.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FakeService.h"
#include "tests/unit/config/ExpectedReports.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr size_t kRoom = 100;

std::string parameters(int count)
{
    std::string text;
    for (int i = 1; i <= count; ++i)
    {
        text += "<P id='" + std::to_string(i) + "' value='" + std::to_string(-i) + "'/>";
    }
    return text;
}

class FactoryData : public PrivateTreeTest
{
protected:
    void TearDown() override
    {
        setshowWDRFalg(true);
        PrivateTreeTest::TearDown();
    }

    std::string read(std::string style)
    {
        m_records.assign(kRoom, KeyVal{4711, 4712});
        u32 count = 999;
        const std::string output =
            outputOf([&] { EXPECT_EQ(SNS_SUCCESS, getFctData(style.data(), m_records.data(), &count)); });
        EXPECT_LE(count, kRoom);
        m_records.resize(count);
        return output;
    }

    FakeService m_service;
    std::vector<KeyVal> m_records;
};

TEST_F(FactoryData, ParametersComeInDocumentOrderParentsFirst)
{
    EXPECT_EQ("", read("<S><T key='a'><P id='34' value='50'><P id='35' value='1'/></P></T>"
                       "<T key='b'><P id='36' value='2'/></T></S>"));
    EXPECT_THAT(m_records, ElementsAre(KeyVal{34, 50}, KeyVal{35, 1}, KeyVal{36, 2}));
}

TEST_F(FactoryData, ElementWithOnlyOneOfTheTwoIsSkippedButNotItsChildren)
{
    read("<S><P id='1'><P id='2' value='3'/></P><P value='4'><P id='5' value='6'/></P></S>");
    EXPECT_THAT(m_records, ElementsAre(KeyVal{2, 3}, KeyVal{5, 6}));
}

TEST_F(FactoryData, RootMayBeAParameter)
{
    read("<S id='1' value='2'/>");
    EXPECT_THAT(m_records, ElementsAre(KeyVal{1, 2}));
}

TEST_F(FactoryData, NegativeValuesAreHeldInTwosComplement)
{
    read("<S><P id='1' value='-5'/></S>");
    EXPECT_THAT(m_records, ElementsAre(KeyVal{1, 0xFFFFFFFBU}));
}

TEST_F(FactoryData, NumbersAreReadAsFarAsTheyGo)
{
    setshowWDRFalg(false);  // which lets elements with id 0 stay
    read("<S><P id=' 7x' value='+3.9'/><P id='8' value='none'/><P id='' value=''/><P id='0x10' value='010'/>"
         "<P id='9' value='- 4'/></S>");
    EXPECT_THAT(m_records, ElementsAre(KeyVal{7, 3}, KeyVal{8, 0}, KeyVal{0, 0}, KeyVal{0, 10}, KeyVal{9, 0}));
}

TEST_F(FactoryData, NumbersBeyondThirtyTwoBitsAreClamped)
{
    read("<S><P id='1' value='2147483648'/><P id='2' value='-2147483649'/>"
         "<P id='99999999999999999999' value='-99999999999999999999'/></S>");
    EXPECT_THAT(m_records,
                ElementsAre(KeyVal{1, 0x7FFFFFFFU}, KeyVal{2, 0x80000000U}, KeyVal{0x7FFFFFFFU, 0x80000000U}));
}

TEST_F(FactoryData, DuplicateIdsAreSeparateRecords)
{
    read("<S><P id='1' value='2'/><P id='1' value='3'/></S>");
    EXPECT_THAT(m_records, ElementsAre(KeyVal{1, 2}, KeyVal{1, 3}));
}

TEST_F(FactoryData, ValuesComeFromTheStyleAdaptedToTheService)
{
    m_service.setDynamicCommands({IA_CMD_WDR_MODE});
    m_service.setAllowedValues(IA_CMD_WDR_MODE, 2, {0, 2});
    read("<S><P id='2368' value='1'><I index='0'/><I index='1'/><I index='2'/></P></S>");
    EXPECT_THAT(m_records, ElementsAre(KeyVal{2368, 2}));
}

TEST_F(FactoryData, EmptyStyleIsReportedAndGivesNone)
{
    expectReports(kFiles, read(""),
                  {{"getDnaStyle", "objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)"},
                   {"getFctData", "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)", "", "478"}});
    EXPECT_THAT(m_records, IsEmpty());
}

TEST_F(FactoryData, BrokenStyleIsReportedAndGivesNone)
{
    expectReports(kFiles, read("<S><P id='34' value='50'/></X>"),
                  {{"getDnaStyle", "objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)"},
                   {"getFctData", "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)", "", "478"}});
    EXPECT_THAT(m_records, IsEmpty());
}

TEST_F(FactoryData, StyleThatIsNotReadAgainGivesNone)
{
    // The parser prints the values of a declaration as they stand, quotes and brackets among them.
    expectReports(kFiles, read("<S><P id='34' value='50'/><?xml version='\"><b'?></S>"),
                  {{"getFctData", "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)", "", "478"}});
    EXPECT_THAT(m_records, IsEmpty());
}

TEST_F(FactoryData, NoStyleIsTreatedAsEmpty)
{
    u32 count = 999;
    KeyVal record = {};
    const std::string output = outputOf([&] { EXPECT_EQ(SNS_SUCCESS, getFctData(nullptr, &record, &count)); });
    EXPECT_EQ(2, timesSaid(output, "~~~Assertion failed."));
    EXPECT_EQ(0U, count);
}

TEST_F(FactoryData, HundredParametersFit)
{
    EXPECT_EQ("", read("<S>" + parameters(100) + "</S>"));
    ASSERT_EQ(100U, m_records.size());
    EXPECT_EQ((KeyVal{100, static_cast<u32>(-100)}), m_records.back());
}

TEST_F(FactoryData, SurplusIsReportedOnceAndLeftOut)
{
    const std::string output = read("<S><P id='7' value='7'>" + parameters(100) + "</P><P id='8' value='8'/></S>");
    expectReports(kFiles, output, {{"style2KeyVal", "*p_pnKeyValNum < 100", "2 parameters of the style left out\n"}});
    ASSERT_EQ(100U, m_records.size());
    EXPECT_EQ((KeyVal{99, static_cast<u32>(-99)}), m_records.back());
}

using StyleToKeyVal = PrivateTreeTest;

TEST_F(StyleToKeyVal, NullContributesNothing)
{
    u32 count = 3;
    EXPECT_EQ("", outputOf([&count] { EXPECT_EQ(0, style2KeyVal(nullptr, nullptr, &count)); }));
    EXPECT_EQ(3U, count);
}

TEST_F(StyleToKeyVal, AppendsBehindWhatIsThere)
{
    XmlDocument document;
    document.LoadMem("<S><P id='1' value='2'/></S>", TIXML_ENCODING_UTF8);
    KeyVal records[] = {{10, 20}, {0, 0}};
    u32 count = 1;
    EXPECT_EQ(0, style2KeyVal(document.RootElement(), records, &count));
    EXPECT_EQ(2U, count);
    EXPECT_THAT(records, ElementsAre(KeyVal{10, 20}, KeyVal{1, 2}));
}

TEST_F(StyleToKeyVal, CountBeyondTheRoomStoresNothing)
{
    XmlDocument document;
    document.LoadMem("<S><P id='1' value='2'/></S>", TIXML_ENCODING_UTF8);
    u32 count = 4000000000U;
    const std::string output = outputOf([&] { EXPECT_EQ(0, style2KeyVal(document.RootElement(), nullptr, &count)); });
    expectReports(kFiles, output, {{"style2KeyVal", "*p_pnKeyValNum < 100", "1 parameters of the style left out\n"}});
    EXPECT_EQ(4000000000U, count);
}

}  // namespace
