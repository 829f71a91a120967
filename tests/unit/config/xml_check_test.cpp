#include "config/XmlCheck.h"

#include "tests/support/TestName.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

using config::isSafeXml;
using config::isStrictUtf8;
using config::kXmlBytesMax;
using config::kXmlDepthMax;
using config::xmlFault;
using config::xmlShape;

namespace {

size_t xmlDepth(const std::string& text)
{
    return xmlShape(text).depth;
}

std::string repeated(size_t times, const std::string& text)
{
    std::string all;
    for (size_t i = 0; i < times; ++i)
    {
        all += text;
    }
    return all;
}

// Elements above one another in what the parser made of the text.
size_t treeDepth(const TiXmlNode& node)
{
    size_t deepest = 0;
    for (const TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling())
    {
        deepest = std::max(deepest, treeDepth(*child));
    }
    return deepest + (node.ToElement() != nullptr ? 1 : 0);
}

struct ByteCase
{
    const char* name;
    std::string bytes;
    bool isValid;
};

void PrintTo(const ByteCase& byteCase, std::ostream* stream)
{
    *stream << byteCase.name;
}

class StrictUtf8 : public testing::TestWithParam<ByteCase>
{
};

TEST_P(StrictUtf8, IsJudgedAloneAndAmidOtherText)
{
    EXPECT_EQ(GetParam().isValid, isStrictUtf8(GetParam().bytes));
    EXPECT_EQ(GetParam().isValid, isStrictUtf8("<a>" + GetParam().bytes + "</a>"));
    EXPECT_EQ(GetParam().isValid, isSafeXml("<a>" + GetParam().bytes + "</a>"));
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, StrictUtf8,
    testing::Values(
        ByteCase{"Nothing", "", true}, ByteCase{"Ascii", "abc\x7f\x01", true},
        ByteCase{"Nul", std::string("a\0b", 3), false}, ByteCase{"SmallestOfTwoBytes", "\xC2\x80", true},
        ByteCase{"LargestOfTwoBytes", "\xDF\xBF", true}, ByteCase{"SmallestOfThreeBytes", "\xE0\xA0\x80", true},
        ByteCase{"LastBeforeTheSurrogates", "\xED\x9F\xBF", true},
        ByteCase{"FirstBehindTheSurrogates", "\xEE\x80\x80", true},
        ByteCase{"LargestOfThreeBytes", "\xEF\xBF\xBF", true},
        ByteCase{"SmallestOfFourBytes", "\xF0\x90\x80\x80", true}, ByteCase{"LargestOfAll", "\xF4\x8F\xBF\xBF", true},
        ByteCase{"ContinuationAlone", "\x80", false}, ByteCase{"OverlongNul", "\xC0\x80", false},
        ByteCase{"OverlongSlash", "\xC0\xAF", false}, ByteCase{"OverlongTwoBytes", "\xC1\xBF", false},
        ByteCase{"OverlongThreeBytes", "\xE0\x9F\xBF", false}, ByteCase{"OverlongFourBytes", "\xF0\x8F\xBF\xBF", false},
        ByteCase{"FirstSurrogate", "\xED\xA0\x80", false}, ByteCase{"LastSurrogate", "\xED\xBF\xBF", false},
        ByteCase{"BeyondTheLast", "\xF4\x90\x80\x80", false}, ByteCase{"LeadF5", "\xF5\x80\x80\x80", false},
        ByteCase{"LeadFF", "\xFF", false}, ByteCase{"TwoBytesCutOff", "\xC3", false},
        ByteCase{"ThreeBytesCutOff", "\xE2\x82", false}, ByteCase{"FourBytesCutOff", "\xF0\x9F\x98", false},
        ByteCase{"SecondByteIsNone", "\xC3(", false}, ByteCase{"ThirdByteIsNone", "\xE2\x82(", false},
        ByteCase{"FourthByteIsNone", "\xF0\x9F\x98(", false}),
    support::ByName());

TEST(StrictUtf8Text, WhatLiesBehindItsEndDoesNotCompleteACharacter)
{
    for (const std::string_view character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"})
    {
        EXPECT_TRUE(isStrictUtf8(character));
        for (size_t length = 1; length < character.size(); ++length)
        {
            EXPECT_FALSE(isStrictUtf8(character.substr(0, length))) << character << " after " << length;
        }
    }
}

TEST(SafeXml, SizeIsAtMostFourMebibytes)
{
    const std::string start = "<a>";
    const std::string end = "</a>";
    const std::string full = start + std::string(kXmlBytesMax - start.size() - end.size(), 'x') + end;
    EXPECT_EQ(4U * 1024 * 1024, full.size());
    EXPECT_TRUE(isSafeXml(full));
    EXPECT_FALSE(isSafeXml(full + "\n"));
}

TEST(SafeXml, NestingIsAtMostTwoHundredFiftySix)
{
    EXPECT_EQ(256U, kXmlDepthMax);
    EXPECT_TRUE(isSafeXml(repeated(256, "<a>") + repeated(256, "</a>")));
    EXPECT_FALSE(isSafeXml(repeated(257, "<a>") + repeated(257, "</a>")));
    EXPECT_TRUE(isSafeXml(repeated(255, "<a>") + "<b/>" + repeated(255, "</a>")));
    EXPECT_FALSE(isSafeXml(repeated(256, "<a>") + "<b/>" + repeated(256, "</a>")));
}

TEST(SafeXml, ManySiblingsAreNotDeep)
{
    EXPECT_TRUE(isSafeXml("<a>" + repeated(10000, "<b><c/>text</b><d x='1'/>") + "</a>"));
}

TEST(SafeXml, DepthFarBeyondTheLimitIsNotFollowed)
{
    EXPECT_EQ(kXmlDepthMax + 1, xmlDepth(repeated(500000, "<a>")));
}

struct FaultCase
{
    const char* name;
    std::string before;
    std::string from;
    const char* reason;
};

void PrintTo(const FaultCase& faultCase, std::ostream* stream)
{
    *stream << faultCase.name;
}

class Fault : public testing::TestWithParam<FaultCase>
{
};

TEST_P(Fault, HasAReasonAndAPlace)
{
    const config::XmlFault fault = xmlFault(GetParam().before + GetParam().from);
    EXPECT_STREQ(GetParam().reason, fault.reason);
    EXPECT_EQ(GetParam().before.size(), fault.position);
}

std::string attributes(int count)
{
    std::string text;
    for (int i = 0; i < count; ++i)
    {
        text += " a" + std::to_string(i) + "='1'";
    }
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Fault,
    testing::Values(FaultCase{"BadByte", "<a>\n<!-- ", "\xFF --></a>", "no UTF-8"},
                    FaultCase{"Nul", "<a>", std::string("\0</a>", 5), "no UTF-8"},
                    FaultCase{"CharacterCutOff", "<a x='", "\xE2\x82", "no UTF-8"},
                    FaultCase{"Size", "<a>" + std::string(kXmlBytesMax - 3, 'x'), "</a>", "too large"},
                    FaultCase{"Depth", repeated(kXmlDepthMax, "<a>"), "<b/>" + repeated(9, "<c>"), "too deep"},
                    FaultCase{"Attributes", "<s><t/>", "<e" + attributes(258) + "/></s>", "too many attributes"},
                    FaultCase{"Reference", "<a>&#65;", "&#0;&#x110000;</a>", "a reference to no character"},
                    FaultCase{"ReferenceInAnAttribute", "<a x='", "&#xD800;'/>", "a reference to no character"},
                    FaultCase{"ReferenceAtTheEnd", "<a>", "&#;", "a reference to no character"},
                    FaultCase{"FirstOfSeveral", "<a>", "&#0;<e" + attributes(257) + "/></a>",
                              "a reference to no character"}),
    support::ByName());

TEST(SafeXml, HasNoFault)
{
    EXPECT_EQ(nullptr, xmlFault("<a x='&#65;'>text</a>").reason);
    EXPECT_EQ(nullptr, xmlFault("").reason);
    EXPECT_EQ(nullptr, xmlFault("<a></b>").reason);  // the parser's to find
}

struct ReferenceCase
{
    const char* name;
    const char* reference;
    bool isCharacter;
};

void PrintTo(const ReferenceCase& referenceCase, std::ostream* stream)
{
    *stream << referenceCase.name;
}

class CharacterReference : public testing::TestWithParam<ReferenceCase>
{
};

TEST_P(CharacterReference, MustStandForACharacter)
{
    const std::string reference = GetParam().reference;
    EXPECT_EQ(GetParam().isCharacter, isSafeXml("<a>" + reference + "</a>"));
    EXPECT_EQ(GetParam().isCharacter, isSafeXml("<a x='1" + reference + "2'/>"));
    EXPECT_EQ(GetParam().isCharacter, isSafeXml("<?xml version=\"" + reference + "\"?><a/>"));
    EXPECT_EQ(GetParam().isCharacter, isSafeXml("<a>&#65;" + reference + "&#66;</a>"));
    EXPECT_TRUE(isSafeXml("<a><!--" + reference + "--><![CDATA[" + reference + "]]></a>"));
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, CharacterReference,
    testing::Values(
        ReferenceCase{"Zero", "&#0;", false}, ReferenceCase{"HexZero", "&#x0;", false},
        ReferenceCase{"LongZero", "&#0000000000000000000000000000;", false}, ReferenceCase{"NoDigits", "&#;", false},
        ReferenceCase{"NoHexDigits", "&#x;", false}, ReferenceCase{"One", "&#1;", true},
        ReferenceCase{"Letter", "&#65;", true}, ReferenceCase{"HexLetter", "&#x41;", true},
        ReferenceCase{"LeadingZeros", "&#0000000000000000000000000065;", true},
        ReferenceCase{"HexLeadingZeros", "&#x0000000000000000000000041;", true},
        ReferenceCase{"LastBeforeTheSurrogates", "&#55295;", true},
        ReferenceCase{"HexLastBeforeTheSurrogates", "&#xD7fF;", true},
        ReferenceCase{"FirstSurrogate", "&#55296;", false}, ReferenceCase{"HexFirstSurrogate", "&#xD800;", false},
        ReferenceCase{"LastSurrogate", "&#57343;", false}, ReferenceCase{"HexLastSurrogate", "&#xdfff;", false},
        ReferenceCase{"FirstBehindTheSurrogates", "&#57344;", true},
        ReferenceCase{"HexFirstBehindTheSurrogates", "&#xE000;", true}, ReferenceCase{"LastOfAll", "&#1114111;", true},
        ReferenceCase{"HexLastOfAll", "&#x10FFFF;", true}, ReferenceCase{"BeyondTheLast", "&#1114112;", false},
        ReferenceCase{"HexBeyondTheLast", "&#x110000;", false},
        ReferenceCase{"LetterAboveThirtyTwoBits", "&#4294967361;", false},
        ReferenceCase{"HexLetterAboveThirtyTwoBits", "&#x100000041;", false},
        ReferenceCase{"LetterAboveSixtyFourBits", "&#18446744073709551681;", false},
        ReferenceCase{"HexLetterAboveSixtyFourBits", "&#x10000000000000041;", false}),
    support::ByName());

TEST(SafeXml, ElementHasAtMostTwoHundredFiftySixAttributes)
{
    const std::string most = attributes(256);
    const std::string more = attributes(257);
    EXPECT_TRUE(isSafeXml("<e" + most + "/>"));
    EXPECT_FALSE(isSafeXml("<e" + more + "/>"));
    EXPECT_FALSE(isSafeXml("<s><t/><e" + more + ">text</e></s>"));
    EXPECT_TRUE(isSafeXml("<s><e" + most + "/><e" + most + "/><e" + most + "/></s>"));
}

struct DepthCase
{
    const char* name;
    std::string text;
    size_t depth;
};

void PrintTo(const DepthCase& depthCase, std::ostream* stream)
{
    *stream << depthCase.name;
}

class XmlDepth : public testing::TestWithParam<DepthCase>
{
};

TEST_P(XmlDepth, IsTheDepthThatTheParserReaches)
{
    EXPECT_EQ(GetParam().depth, xmlDepth(GetParam().text));
    TiXmlDocument document;
    document.Parse(GetParam().text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    EXPECT_EQ(GetParam().depth, treeDepth(document));
}

INSTANTIATE_TEST_SUITE_P(
    Ordinary, XmlDepth,
    testing::Values(DepthCase{"Empty", "", 0}, DepthCase{"Blanks", " \n\t", 0}, DepthCase{"PlainText", "text", 0},
                    DepthCase{"OneElement", "<a/>", 1}, DepthCase{"EmptyPair", "<a></a>", 1},
                    DepthCase{"Declaration", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a><b/></a>", 2},
                    DepthCase{"Siblings", "<a><b/><b/><b><c/></b></a>", 3}, DepthCase{"TwoRoots", "<a/><b><c/></b>", 2},
                    DepthCase{"CommentHidesTags", "<a><!-- <b><c><d> --></a>", 1},
                    DepthCase{"CdataHidesTags", "<a><![CDATA[<b><c>]]></a>", 1},
                    DepthCase{"QuotesHideTags", "<a x='<b><c>' y=\"<d>\"><b/></a>", 2},
                    DepthCase{"OtherQuoteInside", "<a x='\"' y=\"'\"><b/></a>", 2},
                    DepthCase{"Entities", "<a x='&lt;&#65;&#x41;&unknown;'>&amp;&#66;<b/></a>", 2},
                    DepthCase{"ByteOrderMark", "\xEF\xBB\xBF<a><b/></a>", 2},
                    DepthCase{"NamesWithSigns", "<_a.b-c:d1><\xC3\xA9/></_a.b-c:d1>", 2},
                    DepthCase{"BlankInTheEndTag", "<a><b></b \n></a\t>", 2},
                    DepthCase{"DocumentType", "<!DOCTYPE style><a><b/></a>", 2}),
    support::ByName());

INSTANTIATE_TEST_SUITE_P(
    Malformed, XmlDepth,
    testing::Values(DepthCase{"UnclosedElement", "<a><b><c>", 3},
                    DepthCase{"WrongEndTagStopsTheParser", "<a></b><c><d/></c></a>", 1},
                    DepthCase{"EndTagOfALongerNameStopsTheParser", "<a></ab><c><d/></c></a>", 1},
                    DepthCase{"EndTagWithBlankBeforeItsNameStopsTheParser", "<a></ a><b><c/></b>", 1},
                    DepthCase{"UnquotedAttribute", "<a x=1><b/></a>", 2},
                    DepthCase{"UnquotedAttributeWithSlashEnds", "<a x=1/><b><c/></b>", 2},
                    DepthCase{"UnquotedAttributeSwallowsAnOpening", "<a x=<b><c/></a>", 2},
                    DepthCase{"QuoteInsideAnUnquotedAttributeStopsTheParser", "<a><c x=1\"><b><d/></b></c></a>", 2},
                    DepthCase{"AttributeWithoutValueStopsTheParser", "<a x><b><c/></b></a>", 1},
                    DepthCase{"CommentWithoutEnd", "<a><!-- <b><c/></b></a>", 1},
                    DepthCase{"CommentIsNotEndedByItsOwnBeginning", "<a><!--><b/>--><c/></a>", 2},
                    DepthCase{"CdataWithoutEnd", "<a><![CDATA[<b>", 1},
                    DepthCase{"MisspeltCdataIsASpan", "<a><![cdata[<b><c/></b></a>", 2},
                    DepthCase{"InternalSubsetStopsTheParser", "<!DOCTYPE a [<!ELEMENT a ANY>]><a><b/></a>", 0},
                    DepthCase{"ProcessingInstructionIsASpan", "<a><?php <b> ?><c/></a>", 2},
                    DepthCase{"DigitAsNameIsASpan", "<a><1 <b><c/></a>", 2},
                    DepthCase{"DeclarationInAnyCaseWithQuotedEnd", "<a><?XML VERSION='><b><c>' ><d/></a>", 2},
                    DepthCase{"DeclarationWithOtherAttributeEndsAtTheFirstEnd", "<?xml other='><a><b>'?></b></a>", 2},
                    DepthCase{"DeclarationInsideAnElement", "<a><?xml version=\"1.0\"?><b/></a>", 2},
                    DepthCase{"EndTagAtTheTopIsASpan", "</a><b><c/></b>", 2},
                    DepthCase{"TextBehindTheRootStopsTheParser", "<a/>text<b><c/></b>", 1},
                    DepthCase{"ByteOrderMarkBeforeAName",
                              "<a><\xEF\xBB\xBF"
                              "b><c/></b></a>",
                              3},
                    DepthCase{"ByteOrderMarkBeforeANameIsNoPartOfIt",
                              "<a><\xEF\xBB\xBF"
                              "b></b><c><d/></c></a>",
                              3},
                    DepthCase{"CharacterLikeAByteOrderMarkIsAName", "<a><\xEF\xBC\xA1></\xEF\xBC\xA1><c><d/></c></a>",
                              3},
                    DepthCase{"OpeningAtTheEnd", "<a><b/>text<", 2}),
    support::ByName());

INSTANTIATE_TEST_SUITE_P(
    HiddenOpenings, XmlDepth,
    testing::Values(DepthCase{"HexReferenceSwallowsAQuote", "<a b=\"&#x\"><!--x41;\"><c><d/></c></a>", 3},
                    DepthCase{"DecimalReferenceSwallowsAQuote", "<a b=\"&#\"><!--#65;\"><c><d/></c></a>", 3},
                    DepthCase{"ReferenceInTextSwallowsAComment", "<a>&#x<!--x41;<c><d/></c></a>", 3},
                    DepthCase{"ReferenceWithOtherDigitsStopsTheParser", "<a b=\"&#x\"><c><d/></c>;</a>", 1},
                    DepthCase{"ReferenceWithoutEndStopsTheParser", "<a>&#65<c><d/></c></a>", 1},
                    DepthCase{"ReferenceIsTextInComments", "<a><!-- &#x --><c>x41;</c></a>", 2},
                    DepthCase{"ReferenceIsTextInCdata", "<a><![CDATA[&#x]]><c>x41;</c></a>", 2}),
    support::ByName());

// Random strings of everything that means something to the parser: whatever it makes of them, the count agrees
// where it ends without an error and is never below the tree.
TEST(XmlDepthAgainstTheParser, NeverSeesLess)
{
    const char* const tokens[] = {"<a",
                                  "<b",
                                  "<a>",
                                  "<b>",
                                  "</a>",
                                  "</b>",
                                  "</",
                                  "<",
                                  "<!--",
                                  "-->",
                                  "--",
                                  "-",
                                  "<![CDATA[",
                                  "]]>",
                                  "]",
                                  "<!",
                                  "<!D",
                                  "<?xml",
                                  "<?",
                                  "?>",
                                  "<?XML version",
                                  "encoding",
                                  "standalone",
                                  "=",
                                  "\"",
                                  "'",
                                  "x='",
                                  "y=\"",
                                  "z=",
                                  "k=v",
                                  "/>",
                                  "/",
                                  "&#",
                                  "&#x",
                                  "x",
                                  "#",
                                  "4",
                                  "1;",
                                  ";",
                                  "&amp;",
                                  "&lt;",
                                  "&",
                                  "text",
                                  " ",
                                  "\n",
                                  "\t",
                                  "\r",
                                  "\xEF\xBB\xBF",
                                  "\xEF\xBF\xBE",
                                  "\xEF\xBF\xBF",
                                  "\xC3\xA9",
                                  "\x7f",
                                  "<_",
                                  "<:",
                                  "<1",
                                  ">",
                                  ":",
                                  ".",
                                  "\xF0\x9F\x98\x80",
                                  "<a b='",
                                  "<a b=\"",
                                  "\v",
                                  "&#x41;",
                                  "&#65;",
                                  "&#1114112;"};
    std::mt19937 random(20260101);
    const auto below = [&random](size_t limit) { return random() % limit; };
    for (int round = 0; round < 20000; ++round)
    {
        std::string text = repeated(below(8) == 0 ? kXmlDepthMax - 9 + below(15) : below(3), "<a>");
        for (size_t length = below(40); length > 0; --length)
        {
            text += tokens[below(std::size(tokens))];
        }
        TiXmlDocument document;
        document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
        const size_t tree = std::min(treeDepth(document), kXmlDepthMax + 1);
        const size_t count = xmlDepth(text);
        ASSERT_GE(count, tree) << text;
        if (!document.Error())
        {
            ASSERT_EQ(count, tree) << text;
        }
        if (isSafeXml(text))
        {
            TiXmlPrinter printer;
            document.Accept(&printer);
            ASSERT_TRUE(isStrictUtf8(printer.Str())) << text;
        }
    }
}

}  // namespace
