#include "tests/support/TestName.h"
#include "tests/system/SystemCamera.h"

using namespace support;

namespace {

class EveryCamera : public SystemCamera, public testing::WithParamInterface<Model>
{
protected:
    void SetUp() override
    {
        SystemCamera::SetUp();
        installModel(GetParam().name);
    }
};

TEST_P(EveryCamera, FirstStartMakesAFileForEachSchemeAndOneForTheVersion)
{
    start();
    std::vector<std::string> files;
    for (int i = 0; i < GetParam().schemes; ++i)
    {
        files.push_back("sensor" + std::to_string(i) + ".cfg");
    }
    files.push_back("snsversion.cfg");
    EXPECT_EQ(files, filesIn(kConfigFolder));
}

TEST_P(EveryCamera, RestartChangesNoFile)
{
    start();
    const std::map<std::string, std::string> files = savedFiles();
    const std::map<int, int> values = allValues();
    restart();
    EXPECT_EQ(files, savedFiles());
    EXPECT_EQ(values, allValues());
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_P(EveryCamera, OnlyTheCurrentSchemeIsSaved)
{
    start();
    const std::map<std::string, std::string> before = savedFiles();
    ASSERT_EQ(0, scheme());
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    ASSERT_EQ(0, flush());
    std::map<std::string, std::string> after = savedFiles();
    EXPECT_NE(before.at("sensor0.cfg"), after.at("sensor0.cfg"));
    after["sensor0.cfg"] = before.at("sensor0.cfg");
    EXPECT_EQ(before, after);
}

INSTANTIATE_TEST_SUITE_P(Models, EveryCamera, testing::Values(kFixed, kDome, kPlate, kFisheye), ByName());

class Start : public SystemCamera
{
};

// Calls that succeed and store nothing: what a board's bring-up must look for.
TEST_F(Start, AfterAFirstStartWithoutDocumentsNothingIsKeptUntilTheSchemesAreMadeAnew)
{
    installModel(kFixed.name);
    removeFile(kStyleFile);
    start();
    stop();
    EXPECT_EQ("", readFile(schemeFile(0)));
    installModel(kFixed.name);
    start();
    {
        CapturedOutput quiet;
        EXPECT_EQ(kFixed.schemes, scheme());
        EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 60, true));
        EXPECT_EQ(60, applied(IA_CMD_BRIGHTNESS));
        EXPECT_EQ(50, value(KEY_BRIGHTNESS));
        EXPECT_EQ(0, flush());
        EXPECT_EQ("", readFile(schemeFile(0)));
        EXPECT_TRUE(c().resetParameters());
        pass(std::chrono::seconds(1));
    }
    EXPECT_EQ(0, scheme());
    EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 60, true));
    EXPECT_EQ(0, flush());
    restart();
    EXPECT_EQ(60, value(KEY_BRIGHTNESS));
}

TEST_F(Start, DamagedSchemeFileComesUp)
{
    installModel(kFixed.name);
    start();
    stop();
    writeFile(schemeFile(1), "");
    writeFile(schemeFile(2), std::string(3, '\xFF'));
    writeFile(schemeFile(3), std::string(100000, '\xFF'));
    start();
    CapturedOutput quiet;
    c().setParamMode(0);
    for (int i = 0; i <= 4; ++i)
    {
        EXPECT_TRUE(c().setParamScheme(i));
        EXPECT_EQ(i, scheme());
    }
}

}  // namespace
