#include "config/XmlDocument.h"

#include "config/XmlCheck.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/Reports.h"
#include "tests/support/TestName.h"

#include <gtest/gtest.h>

#include <string>

using namespace support;

namespace {

class XmlDocumentTest : public PrivateTreeTest
{
protected:
    bool load(const std::string& text) { return m_objDocument.LoadMem(text, TIXML_ENCODING_UTF8); }

    XmlDocument m_objDocument;
};

TEST_F(XmlDocumentTest, StartsEmpty)
{
    EXPECT_EQ(nullptr, m_objDocument.RootElement());
    EXPECT_EQ("", m_objDocument.getXmlString());
}

TEST_F(XmlDocumentTest, PrintsOneNodeALineIndentedByFourBlanks)
{
    EXPECT_TRUE(load("<?xml version=\"1.0\" encoding=\"UTF-8\"?><a x='1'><b></b><c>text</c><d><e y='\"'/></d></a>"));
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
              "<a x=\"1\">\n"
              "    <b />\n"
              "    <c>text</c>\n"
              "    <d>\n"
              "        <e y='&quot;' />\n"
              "    </d>\n"
              "</a>\n",
              m_objDocument.getXmlString());
}

TEST_F(XmlDocumentTest, PrintsWhatFollowsANodeThatIsNoElement)
{
    EXPECT_TRUE(load("<?xml version=\"1.0\"?><!-- one --><!TWO><a><!-- three --><?four?>five<b/></a>"));
    EXPECT_EQ("<?xml version=\"1.0\" ?>\n"
              "<!-- one -->\n"
              "<!TWO>\n"
              "<a>\n"
              "    <!-- three -->\n"
              "    <?four?>\n"
              "    five\n"
              "    <b />\n"
              "</a>\n",
              m_objDocument.getXmlString());
}

TEST_F(XmlDocumentTest, LoadingAgainReplacesTheDocument)
{
    EXPECT_TRUE(load("<a/>"));
    EXPECT_TRUE(load("<b/>"));
    EXPECT_EQ("<b />\n", m_objDocument.getXmlString());
}

TEST_F(XmlDocumentTest, NonAsciiTextIsKept)
{
    EXPECT_TRUE(load("<a n=\"\xE4\xBA\xAE\xE5\xBA\xA6\"/>"));
    EXPECT_EQ("<a n=\"\xE4\xBA\xAE\xE5\xBA\xA6\" />\n", m_objDocument.getXmlString());
}

TEST_F(XmlDocumentTest, EmptyAndPlainTextFailAndLeaveItEmpty)
{
    for (const char* text : {"", "  \n", "text"})
    {
        load("<a/>");
        EXPECT_FALSE(load(text)) << text;
        EXPECT_EQ(nullptr, m_objDocument.RootElement());
        EXPECT_EQ("", m_objDocument.getXmlString());
    }
}

TEST_F(XmlDocumentTest, NullFailsAndLeavesItEmpty)
{
    load("<a/>");
    EXPECT_FALSE(m_objDocument.LoadMem(nullptr, TIXML_ENCODING_UTF8));
    EXPECT_EQ(nullptr, m_objDocument.RootElement());
}

TEST_F(XmlDocumentTest, ParseErrorLeavesItEmptyOrKeepsThePartBeforeIt)
{
    const char text[] = "<a><b/></c></a>";
    EXPECT_FALSE(m_objDocument.LoadMem(text, TIXML_ENCODING_UTF8, XmlDocument::OnError::keepPart));
    EXPECT_EQ("<a>\n    <b />\n</a>\n", m_objDocument.getXmlString());
    EXPECT_FALSE(m_objDocument.LoadMem(text, TIXML_ENCODING_UTF8));
    EXPECT_TRUE(m_objDocument.document()->NoChildren());
    EXPECT_FALSE(load(text));
    EXPECT_TRUE(m_objDocument.document()->NoChildren());
}

TEST_F(XmlDocumentTest, PartBeforeAnErrorIsTheSameWhereItIsTold)
{
    setDebug(4);
    outputOf([this] {
        EXPECT_FALSE(m_objDocument.LoadMem("<a>\n<b/></c></a>", TIXML_ENCODING_UTF8, XmlDocument::OnError::keepPart));
    });
    EXPECT_EQ("<a>\n    <b />\n</a>\n", m_objDocument.getXmlString());
}

struct RefusedText
{
    const char* name;
    std::string text;
    const char* cause;
};

void PrintTo(const RefusedText& refused, std::ostream* stream)
{
    *stream << refused.name;
}

class Refusal : public XmlDocumentTest, public testing::WithParamInterface<RefusedText>
{
};

TEST_P(Refusal, IsToldWithCauseAndPlaceFromLevelFourOn)
{
    const auto loadText = [this] { EXPECT_FALSE(load(GetParam().text)); };
    setDebug(3);
    EXPECT_EQ("", outputOf(loadText));
    EXPECT_TRUE(errorLog().empty());
    setDebug(4);
    const std::string message = std::string("XML text refused: ") + GetParam().cause;
    EXPECT_TRUE(saysOnly(outputOf(loadText), traced("warn", kFiles, "load", message + "\n")));
    ASSERT_EQ(2U, errorLog().size());
    EXPECT_EQ(message, errorLog()[1].text);
}

INSTANTIATE_TEST_SUITE_P(
    Causes, Refusal,
    testing::Values(
        RefusedText{"BadByteInAComment", "<a>\n  <!-- \xC3\xA4\xFF -->\n</a>", "no UTF-8, line(2) column(9)"},
        RefusedText{"BadFirstByte", "\xFF<a/>", "no UTF-8, line(1) column(1)"},
        RefusedText{"Reference", "<a>\n\n<b x='&#0;'/></a>", "a reference to no character, line(3) column(7)"},
        RefusedText{"Empty", "", "Error document empty., line(1) column(1)"},
        RefusedText{"TagNotClosed", "<a>\n<b/>\n", "Error reading end tag., line(3) column(1)"},
        RefusedText{"OtherEndTag", "<a>\n  <b/></c></a>", "Error reading end tag., line(2) column(7)"},
        RefusedText{"AttributeWithoutValue", "<a>\n\n<b x></a>", "Error reading Attributes., line(3) column(5)"},
        RefusedText{"AttributeTwice", "<a>\n<b x='1' x='2'/></a>", "Error parsing Element., line(2) column(10)"}),
    ByName());

TEST_F(XmlDocumentTest, TextRefusedBeforeParsingLeavesItEmpty)
{
    std::string deep;
    for (size_t i = 0; i <= config::kXmlDepthMax; ++i)
    {
        deep = "<a>" + deep + "</a>";
    }
    for (const std::string& text : {std::string("<a><b/>\xC3</a>"), std::string("<a>\0</a>", 8), deep,
                                    "<a>" + std::string(4U << 20, 'x') + "</a>"})
    {
        load("<a/>");
        EXPECT_FALSE(load(text)) << text.substr(0, 40);
        EXPECT_EQ(nullptr, m_objDocument.RootElement());
        EXPECT_EQ("", m_objDocument.getXmlString());
    }
}

TEST_F(XmlDocumentTest, TruncatedLeadByteAtTheEndIsRefused)
{
    EXPECT_FALSE(m_objDocument.LoadMem("<a x='\xF0", TIXML_ENCODING_UTF8));
    EXPECT_EQ("", m_objDocument.getXmlString());
}

TEST_F(XmlDocumentTest, TerminatedTextThatIsTooLongIsRefused)
{
    const std::string text = "<a>" + std::string(4U << 20, 'x') + "</a>";
    EXPECT_FALSE(m_objDocument.LoadMem(text.c_str(), TIXML_ENCODING_UTF8));
    EXPECT_EQ(nullptr, m_objDocument.RootElement());
}

TEST_F(XmlDocumentTest, CommentAloneIsADocumentWithoutRoot)
{
    EXPECT_TRUE(load("<!-- nothing -->"));
    EXPECT_EQ(nullptr, m_objDocument.RootElement());
}

TEST_F(XmlDocumentTest, SavedFileHoldsThePrintedText)
{
    load("<a><b/></a>");
    writeFile(kMergedStyleFile, "an older and much longer text than what is saved now");
    EXPECT_TRUE(m_objDocument.SaveFile(kMergedStyleFile));
    EXPECT_EQ("<a>\n    <b />\n</a>\n", readFile(kMergedStyleFile));
    EXPECT_FALSE(fileExists(std::string(kMergedStyleFile) + ".new"));
}

TEST_F(XmlDocumentTest, EmptyDocumentSavesAnEmptyFile)
{
    writeFile(kMergedStyleFile, "old");
    EXPECT_TRUE(m_objDocument.SaveFile(kMergedStyleFile));
    EXPECT_EQ("", readFile(kMergedStyleFile));
}

TEST_F(XmlDocumentTest, EmptyNameSavesNothing)
{
    load("<a/>");
    EXPECT_FALSE(m_objDocument.SaveFile(""));
}

TEST_F(XmlDocumentTest, FullDeviceIsNoSuccess)
{
    load("<a/>");
    EXPECT_FALSE(m_objDocument.SaveFile("/dev/full"));
}

// Elements at the deepest level, short as they stand: printed, each takes a line indented by its depth.
std::string deepLines(int lines)
{
    std::string text;
    std::string ends;
    for (size_t depth = 1; depth < config::kXmlDepthMax; ++depth)
    {
        text += "<a>";
        ends += "</a>";
    }
    for (int i = 0; i < lines; ++i)
    {
        text += "<b/>";
    }
    return text + ends;
}

TEST_F(XmlDocumentTest, TextThatPrintsTooLongIsNeitherPrintedNorSaved)
{
    writeFile(kMergedStyleFile, "old");
    for (const std::string& text : {deepLines(3900), deepLines(1000000), "<a>" + std::string(4000000, '"') + "</a>"})
    {
        ASSERT_TRUE(load(text));
        EXPECT_EQ("", m_objDocument.getXmlString());
        EXPECT_FALSE(m_objDocument.SaveFile(kMergedStyleFile));
        EXPECT_EQ("old", readFile(kMergedStyleFile));
    }
    ASSERT_TRUE(load(deepLines(3800)));
    EXPECT_TRUE(m_objDocument.SaveFile(kMergedStyleFile));
    EXPECT_EQ(m_objDocument.getXmlString(), readFile(kMergedStyleFile));
    EXPECT_TRUE(load(readFile(kMergedStyleFile)));
}

TEST_F(XmlDocumentTest, TextMayPrintAsFourMebibytesAndNotAByteMore)
{
    const std::string head = "<a>\n    <b x=\"";
    const std::string tail = "\" />\n</a>\n";
    const std::string longest((4U << 20) - head.size() - tail.size(), 'x');
    ASSERT_TRUE(load("<a><b x='" + longest + "'/></a>"));
    EXPECT_EQ(head + longest + tail, m_objDocument.getXmlString());
    ASSERT_TRUE(load("<a><b x='" + longest + "y'/></a>"));
    EXPECT_EQ("", m_objDocument.getXmlString());
    // Cut where it is full, it would look whole.
    ASSERT_TRUE(load("<a><b x='" + longest + "'/></a><c/>"));
    EXPECT_EQ("", m_objDocument.getXmlString());
}

TEST_F(XmlDocumentTest, ParsingCountsNoRows)
{
    ASSERT_TRUE(load("<a>\n\n<b/></a>"));
    EXPECT_EQ(1, m_objDocument.RootElement()->FirstChildElement()->Row());
}

TEST_F(XmlDocumentTest, TextThatCouldNotBeReadAgainIsNeitherPrintedNorSaved)
{
    ASSERT_TRUE(load("<a/>"));
    m_objDocument.RootElement()->SetAttribute("x", "\xC3");
    EXPECT_EQ("", m_objDocument.getXmlString());
    EXPECT_FALSE(m_objDocument.SaveFile(kMergedStyleFile));
    EXPECT_FALSE(fileExists(kMergedStyleFile));
}

TEST_F(XmlDocumentTest, QuotedReferenceStaysQuotedOrIsNotPrinted)
{
    // Some releases of the printer leave alone what looks like a hexadecimal reference.
    ASSERT_TRUE(load("<a x='&amp;#xD800;'/>"));
    const std::string text = m_objDocument.getXmlString();
    EXPECT_TRUE(text.empty() || load(text)) << text;
}

TEST_F(XmlDocumentTest, ReferencesToNoCharacterAreRefused)
{
    for (const char* text : {"<a x='&#0;'/>", "<a>&#xDFFF;</a>", "<a>&#x110000;</a>", "<a>&#4294967296;</a>"})
    {
        EXPECT_FALSE(load(text)) << text;
        EXPECT_EQ("", m_objDocument.getXmlString());
    }
}

TEST_F(XmlDocumentTest, MissingFolderIsNoSuccess)
{
    load("<a/>");
    EXPECT_FALSE(m_objDocument.SaveFile("/mnt/mtd/nowhere/a.xml"));
}

}  // namespace
