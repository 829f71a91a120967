#include "camera/Diagnostics.h"
#include "camera/Failure.h"
#include "tests/unit/camera/CameraFixture.h"

using namespace support;

namespace {

class CameraSaving : public CameraTest
{
};

TEST_F(CameraSaving, SavedValuesAreThereAfterARestart)
{
    bringUp();
    c().apply({{KEY_BRIGHTNESS, 61}});
    const camera::SaveResult result = c().save();
    EXPECT_EQ(result.kind, camera::SaveResult::Kind::saved);
    EXPECT_EQ(result.scheme, 0);
    EXPECT_GT(result.values, 50u);
    start();
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 61);
}

std::vector<std::vector<int>> unsavedOf(camera::Camera& camera)
{
    std::vector<std::vector<int>> values;
    for (const camera::UnsavedValue& value : camera.unsaved())
    {
        values.push_back({value.scheme, value.key, value.value, value.saved});
    }
    return values;
}

TEST_F(CameraSaving, UnsavedAreTheValuesThatTheFilesOfTheirSchemesHoldOtherwise)
{
    using Values = std::vector<std::vector<int>>;
    bringUp();
    EXPECT_EQ(unsavedOf(c()), Values());
    c().setMode(false);
    c().apply({{KEY_BRIGHTNESS, 61}});
    c().apply({{KEY_CONTRAST, 62}}, false);
    c().setScheme(1);
    c().apply({{KEY_BRIGHTNESS, 63}});
    EXPECT_EQ(unsavedOf(c()), (Values{{0, KEY_BRIGHTNESS, 61, 50}, {1, KEY_BRIGHTNESS, 63, 50}}));
    c().save();
    EXPECT_EQ(unsavedOf(c()), (Values{{0, KEY_BRIGHTNESS, 61, 50}}));
    c().setScheme(0);
    c().apply({{KEY_BRIGHTNESS, 50}});
    EXPECT_EQ(unsavedOf(c()), Values()) << "as it was saved";
    c().setScheme(c().schemeCount());
    c().apply({{KEY_BRIGHTNESS, 64}});
    EXPECT_EQ(unsavedOf(c()), Values()) << "the default scheme has no file";
}

TEST_F(CameraSaving, ReloadingTakesUnsavedValuesBack)
{
    bringUp();
    c().apply({{KEY_BRIGHTNESS, 61}});
    EXPECT_EQ(c().reload().kind, camera::ReloadResult::Kind::reloaded);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
}

TEST_F(CameraSaving, AnUnsoundWindowIsRefusedWithItsCode)
{
    bringUp();
    c().setMode(false);
    c().apply({{KEY_SCHEME_START_HOUR, 25}});
    const camera::SaveResult result = c().save();
    EXPECT_EQ(result.kind, camera::SaveResult::Kind::windowRefused);
    EXPECT_EQ(result.code, WINDOW_STARTS_TOO_LATE);
    EXPECT_EQ(result.window.startHour, 25u);
}

TEST_F(CameraSaving, TheDefaultSchemeHasNoFile)
{
    bringUp();
    c().setMode(false);
    c().setScheme(c().schemeCount());
    EXPECT_EQ(c().save().kind, camera::SaveResult::Kind::noFile);
    EXPECT_EQ(c().reload().kind, camera::ReloadResult::Kind::noFile);
}

TEST_F(CameraSaving, AFactoryResetMakesEverySchemeAnew)
{
    bringUp();
    c().setValues(2, {{KEY_BRIGHTNESS, 71}});
    c().factoryReset();
    EXPECT_EQ(c().schemeValue(2, KEY_BRIGHTNESS), 50);
    EXPECT_FALSE(c().texts(0).texts.empty());
    turnAt(12, 0);
    EXPECT_EQ(c().currentScheme(), 0);
}

TEST_F(CameraSaving, ACameraWhoseBoardFilesAreGoneIsDownAfterAReset)
{
    bringUp();
    removeFile(kModuleConfigFile);
    setDebug(6);
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        try
        {
            c().factoryReset();
            FAIL() << "no failure";
        }
        catch (const camera::Failure& failure)
        {
            EXPECT_EQ(failure.problem(), camera::Problem::boardFilesGone);
        }
    }
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), std::nullopt);
}

TEST_F(CameraSaving, ABoardWithoutFilesIsNoCamera)
{
    const auto problem = [this] {
        try
        {
            start();
        }
        catch (const camera::Failure& failure)
        {
            return std::optional<camera::Problem>(failure.problem());
        }
        return std::optional<camera::Problem>();
    };
    EXPECT_EQ(problem(), camera::Problem::machineInfo);
    installModel("fixed");
    removeFile(kModuleConfigFile);
    EXPECT_EQ(problem(), camera::Problem::noBoard);
    installModel("fixed");
    removeFile(kStyleFile);
    removeFile(kDomeStyleFile);
    EXPECT_EQ(problem(), camera::Problem::noParameters);
}

TEST_F(CameraSaving, TheDebugLevelKeepsTheAssertionSwitch)
{
    EXPECT_EQ(camera::debugLevel(), std::nullopt);
    setDebug(4, 0);
    EXPECT_EQ(camera::debugLevel(), "4");
    EXPECT_TRUE(camera::setDebugLevel(1));
    EXPECT_EQ(readFile(kDebugMarkerFile), "1\n0\n");
    EXPECT_TRUE(camera::clearDebugLevel());
    EXPECT_TRUE(camera::clearDebugLevel());
    EXPECT_FALSE(fileExists(kDebugMarkerFile));
}

TEST_F(CameraSaving, TheErrorLogComesOldestFirst)
{
    writeFile(std::string(kErrorLogFile) + ".1", "older\n");
    writeFile(kErrorLogFile, "newer\nnewest\n");
    EXPECT_EQ(camera::errorLog(), (std::vector<std::string>{"older", "newer", "newest"}));
}

}  // namespace
