#include "SensorFile.h"
#include "config/XmlDocument.h"
#include "tests/support/CapturedOutput.h"
#include "tests/unit/config/ExpectedReports.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace support;
using testing::ElementsAre;

namespace {

class UpdateStyleTab : public PrivateTreeTest
{
protected:
    std::string update(const char* operation, const char* tabKey, const char* newTab)
    {
        XmlDocument tab;
        tab.LoadMem(newTab, TIXML_ENCODING_UTF8);
        return outputOf([&] {
            EXPECT_EQ(SNS_SUCCESS, updateStyleTab(m_objStyle.document(), operation, tabKey, tab.RootElement()));
        });
    }

    // "key:n" of each tab.
    std::vector<std::string> tabs()
    {
        std::vector<std::string> found;
        for (const TiXmlElement* tab = m_objStyle.RootElement()->FirstChildElement(); tab != nullptr;
             tab = tab->NextSiblingElement())
        {
            const char* key = tab->Attribute("key");
            const char* n = tab->Attribute("n");
            found.push_back(std::string(key == nullptr ? "-" : key) + ":" + (n == nullptr ? "-" : n));
        }
        return found;
    }

    void load(const char* text) { m_objStyle.LoadMem(text, TIXML_ENCODING_UTF8); }

    XmlDocument m_objStyle;
};

TEST_F(UpdateStyleTab, ModifyReplacesTheTabInItsPlace)
{
    load(kTabs);
    EXPECT_EQ("", update("Modify", "b", "<T key='new' n='9'><P id='1' value='2'/></T>"));
    EXPECT_THAT(tabs(), ElementsAre("a:1", "new:9", "c:3"));
    EXPECT_NE(std::string::npos, m_objStyle.getXmlString().find("<P id=\"1\" value=\"2\" />"));
}

TEST_F(UpdateStyleTab, AddAfterKeepsBoth)
{
    load(kTabs);
    EXPECT_EQ("", update("AddAfter", "b", "<T key='new' n='9'/>"));
    EXPECT_THAT(tabs(), ElementsAre("a:1", "b:2", "new:9", "c:3"));
}

TEST_F(UpdateStyleTab, AddAfterTheLast)
{
    load(kTabs);
    EXPECT_EQ("", update("AddAfter", "c", "<T key='new' n='9'/>"));
    EXPECT_THAT(tabs(), ElementsAre("a:1", "b:2", "c:3", "new:9"));
}

TEST_F(UpdateStyleTab, DeleteRemovesTheTab)
{
    load(kTabs);
    EXPECT_EQ("", update("Delete", "a", ""));
    EXPECT_THAT(tabs(), ElementsAre("b:2", "c:3"));
}

TEST_F(UpdateStyleTab, FirstOfSeveralTabsWithTheKeyIsMeant)
{
    load("<S><T key='a' n='1'/><T key='a' n='2'/></S>");
    EXPECT_EQ("", update("Delete", "a", ""));
    EXPECT_THAT(tabs(), ElementsAre("a:2"));
}

TEST_F(UpdateStyleTab, UnknownTabChangesNothingInSilence)
{
    load(kTabs);
    EXPECT_EQ("", update("Delete", "d", ""));
    EXPECT_EQ("", update("Modify", "B", "<T key='new'/>"));
    EXPECT_EQ("", update("AddAfter", "", "<T key='new'/>"));
    EXPECT_THAT(tabs(), ElementsAre("a:1", "b:2", "c:3"));
}

TEST_F(UpdateStyleTab, OtherOperationsChangeNothing)
{
    load(kTabs);
    for (const char* operation : {"modify", "DELETE", "AddBefore", "", "Delete "})
    {
        EXPECT_EQ("", update(operation, "b", "<T key='new'/>"));
    }
    EXPECT_THAT(tabs(), ElementsAre("a:1", "b:2", "c:3"));
}

TEST_F(UpdateStyleTab, MissingArgumentsChangeNothing)
{
    load(kTabs);
    EXPECT_EQ("", update(nullptr, "b", "<T key='new'/>"));
    EXPECT_EQ("", update("Delete", nullptr, ""));
    EXPECT_EQ("", update("Modify", "b", ""));
    EXPECT_EQ("", update("AddAfter", "b", ""));
    EXPECT_THAT(tabs(), ElementsAre("a:1", "b:2", "c:3"));
}

TEST_F(UpdateStyleTab, TabsWithoutKeyArePassedOver)
{
    load("<S><T n='0'/><T key='b' n='2'/></S>");
    EXPECT_EQ("", update("Modify", "b", "<T key='new' n='9'/>"));
    EXPECT_THAT(tabs(), ElementsAre("-:0", "new:9"));
}

TEST_F(UpdateStyleTab, TabMayBeACopyOfItself)
{
    load(kTabs);
    const TiXmlElement* tab = m_objStyle.RootElement()->FirstChildElement();
    updateStyleTab(m_objStyle.document(), "Modify", "a", tab);
    EXPECT_THAT(tabs(), ElementsAre("a:1", "b:2", "c:3"));
}

TEST_F(UpdateStyleTab, DocumentWithoutTabsIsReported)
{
    load("<S/>");
    expectReports(kFiles, update("Delete", "a", ""), {{"updateStyleTab", kNoTab, "", "106"}});
}

TEST_F(UpdateStyleTab, DocumentWithoutRootIsReported)
{
    expectReports(kFiles, update("Delete", "a", ""), {{"updateStyleTab", kNoTab, "", "106"}});
}

TEST_F(UpdateStyleTab, NoDocumentIsReported)
{
    const std::string output =
        outputOf([] { EXPECT_EQ(SNS_SUCCESS, updateStyleTab(nullptr, "Delete", "a", nullptr)); });
    expectReports(kFiles, output, {{"updateStyleTab", kNoTab, "", "106"}});
}

TEST(DeleteNodeTest, RemovesTheNodeFromItsParentWhereverThatIs)
{
    XmlDocument document;
    document.LoadMem("<a><b><c/></b></a>", TIXML_ENCODING_UTF8);
    TiXmlElement* root = document.RootElement();
    EXPECT_EQ(0, DeleteNode(root, root->FirstChildElement()->FirstChildElement()));
    EXPECT_EQ("<a>\n    <b />\n</a>\n", document.getXmlString());
}

TEST(DeleteNodeTest, NullFails)
{
    TiXmlElement element("a");
    EXPECT_EQ(-1, DeleteNode(nullptr, &element));
    EXPECT_EQ(-1, DeleteNode(&element, nullptr));
}

TEST(DeleteNodeTest, NodeWithoutParentElementStays)
{
    XmlDocument document;
    document.LoadMem("<a/>", TIXML_ENCODING_UTF8);
    TiXmlElement orphan("x");
    EXPECT_EQ(0, DeleteNode(document.RootElement(), document.RootElement()));
    EXPECT_EQ(0, DeleteNode(document.RootElement(), &orphan));
    EXPECT_EQ("<a />\n", document.getXmlString());
}

}  // namespace
