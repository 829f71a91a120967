#include "SensorFile.h"
#include "config/XmlDocument.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string printed(const std::string& text)
{
    XmlDocument document;
    document.LoadMem(text, TIXML_ENCODING_UTF8);
    return document.getXmlString();
}

class Walkers : public testing::Test
{
protected:
    TiXmlElement* load(const std::string& text)
    {
        m_objDocument.LoadMem(text, TIXML_ENCODING_UTF8);
        return m_objDocument.RootElement();
    }

    XmlDocument m_objDocument;
};

TEST_F(Walkers, NullIsNoFailure)
{
    TiXmlElement* found = nullptr;
    int value = 7;
    const ia_dynamic_params_attr_st attr = {};
    EXPECT_EQ(0, getNodebyCmdId(nullptr, 1, found));
    EXPECT_EQ(0, getDnaValbyCmdId(nullptr, 1, value));
    EXPECT_EQ(0, ModifyNodebyCmdId(nullptr, 112));
    EXPECT_EQ(0, doDnaStyle(nullptr, 1, &attr));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(7, value);
}

TEST_F(Walkers, RewriteLooksAtTheAllowedValuesOnlyForAControl)
{
    EXPECT_EQ(0, doDnaStyle(nullptr, 1, nullptr));
    EXPECT_EQ(0, doDnaStyle(load("<S><P id='2'/></S>"), 1, nullptr));
}

TEST_F(Walkers, NodeIsTheLastMatchOutsideOfOtherMatches)
{
    TiXmlElement* root = load("<S><P id='1' n='1'/><T><P id=' 1x' n='2'><P id='1' n='3'/></P></T></S>");
    TiXmlElement* found = nullptr;
    EXPECT_EQ(0, getNodebyCmdId(root, 1, found));
    ASSERT_NE(nullptr, found);
    EXPECT_STREQ("2", found->Attribute("n"));
}

TEST_F(Walkers, NodeIsUntouchedWithoutAMatch)
{
    TiXmlElement* root = load("<S><P id='1'/><P/></S>");
    TiXmlElement* found = root;
    EXPECT_EQ(0, getNodebyCmdId(root, 2, found));
    EXPECT_EQ(root, found);
}

TEST_F(Walkers, ValueIsThatOfTheLastMatchThatHasOne)
{
    int value = 7;
    EXPECT_EQ(0, getDnaValbyCmdId(load("<S><P id='1' value='3'/><P id='1' value='-4x'/><P id='1'/></S>"), 1, value));
    EXPECT_EQ(-4, value);
}

TEST_F(Walkers, ValueBelowAMatchIsNotSeen)
{
    int value = 7;
    EXPECT_EQ(0, getDnaValbyCmdId(load("<S><P id='1'><P id='1' value='3'/></P></S>"), 1, value));
    EXPECT_EQ(7, value);
}

TEST_F(Walkers, HighlightAndBacklightAreLinked)
{
    TiXmlElement* root = load("<S><P id='112'/><P id='128' enable_list='old'/><P id='5'/></S>");
    EXPECT_EQ(0, ModifyNodebyCmdId(root, 112));
    EXPECT_EQ(0, ModifyNodebyCmdId(root, 128));
    EXPECT_EQ(0, ModifyNodebyCmdId(root, 5));
    EXPECT_EQ(printed("<S><P id='112' enable_list='128'/><P id='128' enable_list='112'/><P id='5'/></S>"),
              m_objDocument.getXmlString());
}

TEST_F(Walkers, RewriteStopsAtTheFirstItemWithoutIndex)
{
    TiXmlElement* root = load("<S><P id='1'><I/></P><P id='1'/></S>");
    ia_dynamic_params_attr_st attr = {};
    attr.default_value = 4;
    EXPECT_EQ(-1, doDnaStyle(root, 1, &attr));
    EXPECT_EQ(printed("<S><P id='1' value='4'><I/></P><P id='1'/></S>"), m_objDocument.getXmlString());
    EXPECT_EQ(0, doDnaStyle(root, 2, &attr));
}

TEST_F(Walkers, RewriteOfTheControlItselfFailsWithTheSameNumber)
{
    ia_dynamic_params_attr_st attr = {};
    EXPECT_EQ(-1, doDnaStyle(load("<P id='1'><I/></P>"), 1, &attr));
    EXPECT_EQ(0, doDnaStyle(load("<P id='1'><I index='0'/></P>"), 1, &attr));
}

}  // namespace
