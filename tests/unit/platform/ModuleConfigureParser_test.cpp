#include "ModuleConfigureParser.h"

#include <sys/stat.h>

#include <filesystem>
#include <random>

#include "ModuleConfigure.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/platform/ScannedBytes.h"

namespace {

using ModuleConfigureParserTest = support::PrivateTreeTest;
using Modules = std::vector<ModuleConfigure>;

const std::string kEntry =
    "<ModuleConfig hardwareModel=\"M1\" hardwareCode=\"C1\">"
    "<ModuleId>3</ModuleId><Detail>(max_scheme=2)</Detail><Parameters>p</Parameters></ModuleConfig>";

std::string documentOf(const std::string& entries)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ModuleConfigs>\n" + entries + "\n</ModuleConfigs>\n";
}

bool parse(const std::string& text, Modules& modules, const std::string& model = "M1", const std::string& code = "C1")
{
    support::writeFile(support::kModuleConfigFile, text);
    return ModuleConfigureParser::parse(support::kModuleConfigFile, model, code, modules);
}

// The number of entries, or -1 when the document is refused; then nothing may be left in the vector.
int entriesIn(const std::string& text)
{
    Modules modules(5);
    const bool good = parse(text, modules);
    EXPECT_TRUE(good || modules.empty());
    return good ? static_cast<int>(modules.size()) : -1;
}

std::string elementsDeep(int depth)
{
    std::string text;
    for (int i = 0; i < depth; ++i)
    {
        text += "<a>";
    }
    for (int i = 0; i < depth; ++i)
    {
        text += "</a>";
    }
    return text;
}

TEST_F(ModuleConfigureParserTest, ReadsAnEntry)
{
    Modules modules;
    ASSERT_TRUE(parse(documentOf(kEntry), modules));
    ASSERT_EQ(modules.size(), 1u);
    EXPECT_EQ(modules[0].getModuleId(), 3);
    EXPECT_EQ(modules[0].getDetail(), "(max_scheme=2)");
    EXPECT_EQ(modules[0].getParameters(), "p");
}

TEST_F(ModuleConfigureParserTest, ReturnsMatchingEntriesInDocumentOrder)
{
    std::string entries;
    for (const char* line : {"M1 C1 1", "M1 C2 2", "M2 C1 3", "m1 C1 4", "M1 C1 5"})
    {
        const std::string text = line;
        entries += "<ModuleConfig hardwareModel='" + text.substr(0, 2) + "' hardwareCode='" + text.substr(3, 2) +
                   "'><ModuleId> " + text.substr(6) + " </ModuleId></ModuleConfig>";
    }
    Modules modules;
    ASSERT_TRUE(parse(documentOf(entries), modules));
    ASSERT_EQ(modules.size(), 2u);
    EXPECT_EQ(modules[0].getModuleId(), 1);
    EXPECT_EQ(modules[1].getModuleId(), 5);
    EXPECT_EQ(modules[0].getDetail(), "");
    EXPECT_EQ(modules[0].getParameters(), "");
}

TEST_F(ModuleConfigureParserTest, NoMatchIsNoFailureAndEmptiesTheVector)
{
    Modules modules(2);
    EXPECT_TRUE(parse(documentOf(kEntry), modules, "M1", "C9"));
    EXPECT_TRUE(modules.empty());
    EXPECT_EQ(entriesIn("<ModuleConfigs/>"), 0);
    EXPECT_EQ(entriesIn(documentOf("<Other/><ModuleConfig/>")), 0);
}

TEST_F(ModuleConfigureParserTest, AnAttributeThatIsMissingMatchesNothingNotEvenEmptyText)
{
    Modules modules;
    const std::string entry = "<ModuleConfig hardwareModel=''><ModuleId>1</ModuleId></ModuleConfig>";
    EXPECT_TRUE(parse(documentOf(entry), modules, "", ""));
    EXPECT_TRUE(modules.empty());
}

TEST_F(ModuleConfigureParserTest, AnEntryWithoutAReadableModuleIdIsPassedOver)
{
    for (const char* id : {"", "<ModuleId/>", "<ModuleId>x</ModuleId>", "<ModuleId>1 2</ModuleId>",
                           "<ModuleId>99999999999</ModuleId>", "<ModuleId><b>1</b></ModuleId>"})
    {
        const std::string entry =
            std::string("<ModuleConfig hardwareModel='M1' hardwareCode='C1'>") + id + "</ModuleConfig>";
        EXPECT_EQ(entriesIn(documentOf(entry + kEntry)), 1) << id;
    }
}

TEST_F(ModuleConfigureParserTest, UnderstandsEntitiesCommentsAndCharacterData)
{
    Modules modules;
    const std::string entry =
        "<!-- <ModuleConfig> --><ModuleConfig hardwareModel=\"A&amp;B\" hardwareCode='\xC3\xBC>' other=\"1\" >"
        "<ModuleId><!-- id -->7</ModuleId ><Detail>(a=1)<!-- x -->(b=2)</Detail>"
        "<Parameters><![CDATA[<raw> & </raw>]]></Parameters></ModuleConfig>";
    ASSERT_TRUE(parse(documentOf(entry), modules, "A&B", "\xC3\xBC>"));
    ASSERT_EQ(modules.size(), 1u);
    EXPECT_EQ(modules[0].getModuleId(), 7);
    EXPECT_EQ(modules[0].getDetail(), "(a=1)(b=2)");
    EXPECT_EQ(modules[0].getParameters(), "<raw> & </raw>");
}

TEST_F(ModuleConfigureParserTest, TakesAByteOrderMarkADoctypeAndCommentsAroundTheRoot)
{
    EXPECT_EQ(entriesIn("\xEF\xBB\xBF<!-- a --><!DOCTYPE ModuleConfigs>\n<ModuleConfigs>" + kEntry +
                        "</ModuleConfigs><!-- b -->"),
              1);
}

// ---- hostile documents -------------------------------------------------------------------------------------

TEST_F(ModuleConfigureParserTest, RefusesWhatCannotBeRead)
{
    Modules modules(3);
    EXPECT_FALSE(ModuleConfigureParser::parse(support::kModuleConfigFile, "M1", "C1", modules));
    EXPECT_TRUE(modules.empty());
    EXPECT_FALSE(ModuleConfigureParser::parse(support::kConfigFolder, "M1", "C1", modules));
    EXPECT_FALSE(ModuleConfigureParser::parse("/dev/zero", "M1", "C1", modules));
    support::writeFile(support::kModuleConfigFile, "");
    std::filesystem::resize_file(support::kModuleConfigFile, 4LL << 30);
    EXPECT_FALSE(ModuleConfigureParser::parse(support::kModuleConfigFile, "M1", "C1", modules));
    support::removeFile(support::kModuleConfigFile);
    ASSERT_EQ(mkfifo(support::kModuleConfigFile, 0600), 0);
    EXPECT_FALSE(ModuleConfigureParser::parse(support::kModuleConfigFile, "M1", "C1", modules));
}

TEST_F(ModuleConfigureParserTest, RefusesWhatIsNotWellFormed)
{
    for (const char* text : {"",
                             " ",
                             "text",
                             "<",
                             "<>",
                             "</a>",
                             "<ModuleConfigs>",
                             "<ModuleConfigs",
                             "<ModuleConfigs/",
                             "<Modules/>",
                             "<ModuleConfigs></Other>",
                             "<ModuleConfigs/><ModuleConfigs/>",
                             "<ModuleConfigs/>text",
                             "text<ModuleConfigs/>",
                             "<ModuleConfigs a/>",
                             "<ModuleConfigs a=1/>",
                             "<ModuleConfigs a='1'b='2'/>",
                             "<ModuleConfigs a='1/>",
                             "<ModuleConfigs a='<'/>",
                             "<ModuleConfigs a='1' a='2'/>",
                             "<ModuleConfigs><!-- </ModuleConfigs>",
                             "<ModuleConfigs><![CDATA[ </ModuleConfigs>",
                             "<ModuleConfigs><a></b></a></ModuleConfigs>",
                             "<!DOCTYPE x [<!ENTITY a 'b'>]><ModuleConfigs/>",
                             "<?xml <a> ?><ModuleConfigs/>",
                             "<![CDATA[x]]><ModuleConfigs/>",
                             "<1/>",
                             "<ModuleConfigs>< a/></ModuleConfigs>"})
    {
        EXPECT_EQ(entriesIn(text), -1) << text;
    }
}

TEST_F(ModuleConfigureParserTest, RefusesWhatIsNotUtf8)
{
    for (const char* text :
         {"\x80", "\xC3", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE2\x82", "\xED\xA0\x80", "\xF0\x80\x80\x80",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82X", "\xFF\xFE", "NUL"})
    {
        const std::string bytes = std::string(text) == "NUL" ? std::string(1, '\0') : text;
        EXPECT_EQ(entriesIn(documentOf("<a>" + bytes + "</a>")), -1);
        EXPECT_EQ(entriesIn("<ModuleConfigs/>" + bytes), -1);
    }
    EXPECT_EQ(entriesIn(documentOf("<a>\xF0\x9F\x93\xB7\xEF\xBF\xBD\xED\x9F\xBF</a>")), 0);
}

TEST_F(ModuleConfigureParserTest, GoesSixtyFourLevelsDeepAndNoFurther)
{
    EXPECT_EQ(entriesIn(documentOf(elementsDeep(63) + kEntry)), 1);
    EXPECT_EQ(entriesIn(documentOf(elementsDeep(64) + kEntry)), -1);
    EXPECT_EQ(entriesIn(documentOf(elementsDeep(500000))), -1);
    EXPECT_EQ(entriesIn(documentOf("<!-- </a></a> -->" + elementsDeep(64))), -1);
}

TEST_F(ModuleConfigureParserTest, NoElementsHideInADeclaration)
{
    const std::string hidden = elementsDeep(200000);
    for (const char* head : {"<?xml version=\"?><!--\">", "<?xml version='?><!--'>", "<?XML encoding = \"?><!--\">",
                             "<?xml a\" version=\"?><!--\">", "<?xml a='b version=\"c'?><!--\">",
                             "<?xml-x 'y version=\"z'?><!--\">", "<?xml versiona=\"1\" standalone=\"?><!--\">"})
    {
        EXPECT_EQ(entriesIn(head + hidden + "--><ModuleConfigs/>"), -1) << head;
        EXPECT_EQ(entriesIn(std::string("<ModuleConfigs>") + head + hidden + " --></ModuleConfigs>"), -1) << head;
    }
}

TEST_F(ModuleConfigureParserTest, NoElementsHideInANumericReference)
{
    const std::string hidden = elementsDeep(200000);
    for (const std::string digits : {"#1;", "#x41;", "x41;"})
    {
        for (const std::string lead : {"&#", "&#x"})
        {
            EXPECT_EQ(entriesIn("<ModuleConfigs>" + lead + "<!-- " + digits + hidden + " --></ModuleConfigs>"), -1);
            EXPECT_EQ(entriesIn("<ModuleConfigs>" + lead + "<![CDATA[ " + digits + hidden + "]]></ModuleConfigs>"), -1);
            EXPECT_EQ(
                entriesIn("<ModuleConfigs a=\"" + lead + "\"><!-- " + digits + "\">" + hidden + " --></ModuleConfigs>"),
                -1);
        }
    }
}

TEST_F(ModuleConfigureParserTest, TakesDeclarationsAsTheyAreWritten)
{
    for (const char* head : {"<?xml version=\"1.0\"?>", "<?xml version='1.0' encoding='UTF-8' standalone=\"yes\" ?>",
                             "<?xml\n version = \"1.0\"\r\n?>", "<?target it's \"?>"})
    {
        EXPECT_EQ(entriesIn(head + ("<ModuleConfigs>" + kEntry) + "</ModuleConfigs>"), 1) << head;
    }
}

TEST_F(ModuleConfigureParserTest, TakesReferencesToCharactersOnly)
{
    for (const char* reference :
         {"&#0;", "&#x110000;", "&#1114112;", "&#xD800;", "&#57343;", "&#x0;", "&#;", "&#x;", "&#", "&#65", "&#X41;",
          "&#-65;", "&# 65;", "&#4294967361;", "&#x100000000000000041;", "x&#0;y&#x110000;"})
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<Detail>") + reference + "</Detail>")), -1) << reference;
        EXPECT_EQ(entriesIn(documentOf(std::string("<a b='") + reference + "'/>")), -1) << reference;
    }
    Modules modules;
    const std::string entry =
        "<ModuleConfig hardwareModel='&#65;&#x0000000000042;' hardwareCode='C'><ModuleId>&#55;</ModuleId>"
        "<Detail>&#x10FFFF;&#xfc;<!-- &#0; --><![CDATA[&#0;]]></Detail>"
        "<Parameters>&amp;#0;</Parameters></ModuleConfig>";
    ASSERT_TRUE(parse(documentOf(entry), modules, "AB", "C"));
    ASSERT_EQ(modules.size(), 1u);
    EXPECT_EQ(modules[0].getModuleId(), 7);
    EXPECT_EQ(modules[0].getDetail(), "\xF4\x8F\xBF\xBF\xC3\xBC&#0;");
    EXPECT_EQ(modules[0].getParameters(), "&#0;");
}

TEST_F(ModuleConfigureParserTest, TakesFourMebibytesAndNoMore)
{
    const std::string document = documentOf(kEntry);
    const std::string padding(4 * 1024 * 1024 - document.size(), ' ');
    EXPECT_EQ(entriesIn(document + padding), 1);
    EXPECT_EQ(entriesIn(document + padding + " "), -1);
}

// Many entries cost no more than their bytes: nothing is looked for in the whole rest of the document.
TEST_F(ModuleConfigureParserTest, GoesOverADocumentAFewTimesHoweverManyElementsItHas)
{
    constexpr std::size_t kSize = 256 * 1024;
    for (const std::string& item : {kEntry, std::string("<ModuleConfig a='b'/>"), std::string("<a>x</a>"),
                                    std::string("<?xml version='1.0'?>"), std::string("<!x>"), std::string("<?x y?>"),
                                    std::string("x<!-- -->"), std::string("x<![CDATA[x]]>"), std::string("&#65;")})
    {
        std::string entries;
        while (entries.size() < kSize)
        {
            entries += item;
        }
        support::writeFile(support::kModuleConfigFile, documentOf(entries));
        Modules modules;
        const platform_tests::ScannedBytes scanned;
        EXPECT_TRUE(ModuleConfigureParser::parse(support::kModuleConfigFile, "M1", "C1", modules)) << item;
        EXPECT_LE(scanned.count(), 10 * kSize) << item;
    }
}

TEST_F(ModuleConfigureParserTest, SurvivesChangedAndTruncatedDocuments)
{
    const std::string document = documentOf("<!-- c -->" + kEntry + "<a b='c'/><![CDATA[x]]>");
    std::mt19937 random(2);
    for (int round = 0; round < 300; ++round)
    {
        std::string text = document;
        for (unsigned changes = random() % 4; changes > 0; --changes)
        {
            text[random() % text.size()] = "<>/\"'=!-[]?& \x80z"[random() % 15];
        }
        text.resize(text.size() - random() % 2 * (random() % text.size()));
        EXPECT_LE(entriesIn(text), 1);
    }
}

// ---- limits themselves -------------------------------------------------------------------------------------

TEST_F(ModuleConfigureParserTest, TakesTheFirstAndTheLastCharacterOfEachLength)
{
    for (const char* text : {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xE1\x80\x80", "\xED\x80\x80",
                             "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF1\x80\x80\x80",
                             "\xF4\x80\x80\x80", "\xF4\x8F\xBF\xBF"})
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<a>") + text + "</a>")), 0) << text;
    }
    for (const char* text : {"\x80", "\xBF", "\xC1\xBF", "\xC2\x7F", "\xC2\xC0", "\xE0\x9F\xBF", "\xE1\x7F\x80",
                             "\xE1\xC0\x80", "\xE1\x80\x7F", "\xE1\x80\xC0", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                             "\xF1\x80\x80\x7F", "\xF1\x80\x80\xC0", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"})
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<a>") + text + "</a>")), -1) << text;
    }
}

TEST_F(ModuleConfigureParserTest, TakesTheFirstAndTheLastReferenceOfEachRange)
{
    for (const char* reference :
         {"&#1;", "&#55295;", "&#57344;", "&#1114111;", "&#x1;", "&#xD7FF;", "&#xE000;", "&#x10FFFF;"})
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<a>") + reference + "</a>")), 0) << reference;
    }
    for (const char* reference : {"&#0;", "&#55296;", "&#57343;", "&#1114112;", "&#x0;", "&#xD800;", "&#xDFFF;",
                                  "&#x110000;", "&#x1g;", "&#x1G;", "&#1a;", "&#1/;", "&#1:;"})
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<a>") + reference + "</a>")), -1) << reference;
    }
    for (const char digit : std::string("0123456789abcdefABCDEF"))
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<a>&#x1") + digit + ";</a>")), 0) << digit;
    }
}

TEST_F(ModuleConfigureParserTest, KnowsWhatANameMayHold)
{
    for (const char* name :
         {"a", "z", "A", "Z", "_", "\xC3\xBC", "aa", "az", "aA", "aZ", "a0", "a9", "a_", "a-", "a.", "a:"})
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<") + name + "/>")), 0) << name;
    }
    for (const char* name : {"`", "{", "@", "[", "0", "9", "-", ".", ":", "a/a", "a;", "a,", "a@", "a[", "a`", "a{"})
    {
        EXPECT_EQ(entriesIn(documentOf(std::string("<") + name + "/>")), -1) << name;
    }
}

TEST_F(ModuleConfigureParserTest, TakesTwoHundredFiftySixAttributesAndNoMore)
{
    std::string element = "<a";
    for (int i = 0; i < 256; ++i)
    {
        element += " a" + std::to_string(i) + "=''";
    }
    EXPECT_EQ(entriesIn(documentOf(element + "/>" + kEntry)), 1);
    EXPECT_EQ(entriesIn(documentOf(element + " b=''/>" + kEntry)), -1);
}

TEST_F(ModuleConfigureParserTest, TakesBlanksWhereATagMayHaveThem)
{
    EXPECT_EQ(entriesIn(documentOf("<a\tb\n=\r 'c' \n d='e'\t></a\n>" + kEntry)), 1);
    EXPECT_EQ(entriesIn(documentOf("<a b='c'\n/>" + kEntry)), 1);
}

}  // namespace
