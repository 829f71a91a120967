#include "camera/UiFiles.h"

#include <gtest/gtest.h>

#include <optional>

#include "camera/Failure.h"
#include "camera/TextFile.h"
#include "tests/support/PrivateTree.h"

namespace {

constexpr char kIndex[] = "/mnt/mtd/share/language/languages.xml";

using UiFilesTest = support::PrivateTreeTest;

std::optional<camera::Problem> problem()
{
    try
    {
        const camera::UiFiles files("/mnt/mtd/share");
    }
    catch (const camera::Failure& failed)
    {
        EXPECT_EQ(failed.subject(), kIndex);
        return failed.problem();
    }
    return std::nullopt;
}

TEST_F(UiFilesTest, TheInstalledLanguagesAreRead)
{
    const camera::UiFiles files(SENSORDLL_SOURCE_DIR "/share");
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
    EXPECT_EQ(problem(), camera::Problem::noLanguages);
}

TEST_F(UiFilesTest, AnIndexThatCannotBeReadIsAFailure)
{
    EXPECT_EQ(problem(), camera::Problem::noFile);
    support::writeFile(kIndex, std::string(camera::kDocumentMax + 1, ' '));
    EXPECT_EQ(problem(), camera::Problem::tooLong);
    for (const char* text : {"", "<languages>", "no document"})
    {
        support::writeFile(kIndex, text);
        EXPECT_EQ(problem(), camera::Problem::noLanguages) << text;
    }
    support::writeFile(kIndex, "<languages><language id=\"x\"/></languages>");
    EXPECT_EQ(problem(), camera::Problem::languageNumber);
}

TEST_F(UiFilesTest, ATextThatIsMissingIsAFailureAndTheListStaysEmpty)
{
    support::writeFile(kIndex,
                       "<languages><language id=\"0\" code=\"en\" texts=\"t.xml\" common=\"c.xml\"/></languages>");
    camera::UiFiles files("/mnt/mtd/share");
    SysConfig configuration{};
    EXPECT_THROW(files.fill(configuration), camera::Failure);
    EXPECT_EQ(configuration.pUIFiles, nullptr);
    EXPECT_EQ(configuration.nUIFileSum, 0u);
}

}  // namespace
