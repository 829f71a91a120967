#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

class UiDocuments : public ControllerFixture
{
protected:
    void SetUp() override
    {
        ControllerFixture::SetUp();
        files_.extraElements = "<Combo id=\"2305\" value=\"9\"><Item index=\"0\"/><Item index=\"1\"/>"
                               "<Item index=\"2\"/></Combo><Hidden id=\"0\"/>";
        bringUp();
    }

    void TearDown() override
    {
        releaseLanguages();
        ControllerFixture::TearDown();
    }

    // The library frees the texts at uinit; the array stays the host's.
    void provideLanguages()
    {
        entries_.resize(3);
        const int ids[] = {5, 2, 2};
        const char* const names[] = {"five", "two", "second two"};
        for (size_t i = 0; i < entries_.size(); ++i)
        {
            entries_[i].nLanguageId = ids[i];
            entries_[i].szCommonFile = strdup((std::string("common ") + names[i]).c_str());
            entries_[i].szLanguageFile = strdup((std::string("language ") + names[i]).c_str());
        }
        g_stSysConf.pUIFiles = entries_.data();
        g_stSysConf.nUIFileSum = static_cast<u32>(entries_.size());
    }

    void releaseLanguages()
    {
        bringDown();
        g_stSysConf.pUIFiles = nullptr;
        g_stSysConf.nUIFileSum = 0;
    }

    std::vector<UIFileEntry> entries_;
};

TEST_F(UiDocuments, StyleIsAdaptedToTheService)
{
    service_.setDynamicCommands({IA_CMD_2D_NR_MODE});
    service_.setAllowedValues(IA_CMD_2D_NR_MODE, 2, {0, 2});
    const std::string style = c().getUIStyleFile();
    EXPECT_TRUE(says(style, "<Combo id=\"2305\" value=\"2\">"));
    EXPECT_TRUE(says(style, "<Item index=\"0\" />"));
    EXPECT_TRUE(says(style, "<Item index=\"2\" />"));
    EXPECT_EQ(0, timesSaid(style, "index=\"1\""));
}

TEST_F(UiDocuments, StyleIsAdaptedAnewOnEveryCall)
{
    service_.setDynamicCommands({IA_CMD_2D_NR_MODE});
    service_.setAllowedValues(IA_CMD_2D_NR_MODE, 2, {0, 2});
    c().getUIStyleFile();
    service_.setAllowedValues(IA_CMD_2D_NR_MODE, 1, {0, 1});
    const std::string style = c().getUIStyleFile();
    EXPECT_TRUE(says(style, "<Combo id=\"2305\" value=\"1\">"));
    EXPECT_TRUE(says(style, "index=\"1\""));
    EXPECT_EQ(0, timesSaid(style, "index=\"2\""));
}

TEST_F(UiDocuments, HiddenElementIsRemovedWhileWideDynamicRangeIsOffered)
{
    EXPECT_EQ(0, timesSaid(c().getUIStyleFile(), "Hidden"));
    c().setShowWDRFalg(false);
    EXPECT_EQ(1, timesSaid(c().getUIStyleFile(), "Hidden"));
}

TEST_F(UiDocuments, StyleIsPrintedWithTheInformationHeaderAboveLevelSix)
{
    setDebug(6);
    EXPECT_EQ(0, timesSaid(outputOf([&] { c().getUIStyleFile(); }), "fun:getUIStyleFile"));
    setDebug(7);
    std::string style;
    const std::string output = outputOf([&] { style = c().getUIStyleFile(); });
    EXPECT_EQ(1, timesSaid(output, traced("info", kController, "getUIStyleFile", style + "\n")));
}

TEST_F(UiDocuments, TextsAreChosenByLanguage)
{
    provideLanguages();
    EXPECT_EQ("common five", c().getUICommonFile(5));
    EXPECT_EQ("language five", c().getUILanguageFile(5));
}

TEST_F(UiDocuments, FirstOfTwoEntriesOfALanguageIsUsed)
{
    provideLanguages();
    EXPECT_EQ("common two", c().getUICommonFile(2));
    EXPECT_EQ("language two", c().getUILanguageFile(2));
}

TEST_F(UiDocuments, UnknownLanguageGivesTheFirstEntry)
{
    provideLanguages();
    EXPECT_EQ("common five", c().getUICommonFile(77));
    EXPECT_EQ("language five", c().getUILanguageFile(-1));
}

TEST_F(UiDocuments, EmptyListGivesEmptyTexts)
{
    EXPECT_EQ("", c().getUICommonFile(1));
    EXPECT_EQ("", c().getUILanguageFile(1));
}

TEST_F(UiDocuments, ListAndCountAreBothNeeded)
{
    provideLanguages();
    g_stSysConf.nUIFileSum = 0;
    EXPECT_EQ("", c().getUICommonFile(5));
    g_stSysConf.nUIFileSum = static_cast<u32>(entries_.size());
    g_stSysConf.pUIFiles = nullptr;
    EXPECT_EQ("", c().getUICommonFile(5));
    g_stSysConf.pUIFiles = entries_.data();
}

TEST_F(UiDocuments, EntriesBehindTheCountAreNotSearched)
{
    provideLanguages();
    g_stSysConf.nUIFileSum = 1;
    EXPECT_EQ("common five", c().getUICommonFile(2));
    EXPECT_EQ("language five", c().getUILanguageFile(2));
    g_stSysConf.nUIFileSum = static_cast<u32>(entries_.size());
}

TEST_F(UiDocuments, NullTextIsALogicErrorAndLeavesTheMutexFree)
{
    provideLanguages();
    free(entries_[0].szCommonFile);
    free(entries_[0].szLanguageFile);
    entries_[0].szCommonFile = nullptr;
    entries_[0].szLanguageFile = nullptr;
    EXPECT_THROW(c().getUICommonFile(5), std::logic_error);
    EXPECT_THROW(c().getUILanguageFile(5), std::logic_error);
    EXPECT_EQ("common two", c().getUICommonFile(2));
}

TEST_F(UiDocuments, LanguageIsTracedAboveLevelFive)
{
    provideLanguages();
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().getUICommonFile(2); }));
    setDebug(6);
    EXPECT_TRUE(saysOnly(outputOf([&] { c().getUICommonFile(2); }),
                         traced("dbg", kController, "getUICommonFile", "LanguageId(2)\n")));
    EXPECT_TRUE(saysOnly(outputOf([&] { c().getUILanguageFile(-3); }),
                         traced("dbg", kController, "getUILanguageFile", "LanguageId(-3)\n")));
}

TEST_F(UiDocuments, TextsAreCopies)
{
    provideLanguages();
    std::string copy = c().getUICommonFile(5);
    copy[0] = 'X';
    EXPECT_EQ("common five", c().getUICommonFile(5));
}

}  // namespace
