#include "app/UiFiles.h"

#include <gtest/gtest.h>

#include "app/Failure.h"
#include "app/box/DiskFiles.h"
#include "tests/support/PrivateTree.h"

namespace {

constexpr char kIndex[] = "/mnt/mtd/share/language/languages.xml";

using UiFilesTest = support::PrivateTreeTest;

std::string failure()
{
    try
    {
        const app::UiFiles files("/mnt/mtd/share");
    }
    catch (const app::Failure& failed)
    {
        return failed.what();
    }
    return "";
}

TEST_F(UiFilesTest, TheInstalledLanguagesAreRead)
{
    const app::UiFiles files(SENSORDLL_SOURCE_DIR "/share");
    ASSERT_EQ(files.languages().size(), 2u);
    EXPECT_EQ(files.languages()[0].id, 0);
    EXPECT_EQ(files.languages()[0].code, "en");
    EXPECT_EQ(files.languages()[1].code, "de");
}

TEST_F(UiFilesTest, AnIndexThatTheParserWouldNotSurviveIsRefused)
{
    constexpr int kLevels = 200000;
    std::string deep;
    for (int i = 0; i < kLevels; ++i)
    {
        deep += "<a>";
    }
    for (int i = 0; i < kLevels; ++i)
    {
        deep += "</a>";
    }
    support::writeFile(kIndex, deep);
    EXPECT_EQ(failure(), "cannot read the languages in " + std::string(kIndex));
}

TEST_F(UiFilesTest, AnIndexThatCannotBeReadIsAFailure)
{
    EXPECT_NE(failure().find("there is no such file"), std::string::npos) << failure();
    support::writeFile(kIndex, std::string(app::kDocumentMax + 1, ' '));
    EXPECT_NE(failure().find("longer than"), std::string::npos) << failure();
    for (const char* text : {"", "<languages>", "no document", "<languages><language id=\"x\"/></languages>"})
    {
        support::writeFile(kIndex, text);
        EXPECT_NE(failure(), "") << text;
    }
}

TEST_F(UiFilesTest, ATextThatIsMissingIsAFailureAndTheListStaysEmpty)
{
    support::writeFile(kIndex,
                       "<languages><language id=\"0\" code=\"en\" texts=\"t.xml\" common=\"c.xml\"/></languages>");
    app::UiFiles files("/mnt/mtd/share");
    SysConfig configuration{};
    EXPECT_THROW(files.fill(configuration), app::Failure);
    EXPECT_EQ(configuration.pUIFiles, nullptr);
    EXPECT_EQ(configuration.nUIFileSum, 0u);
}

}  // namespace
