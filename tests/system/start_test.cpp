#include "tests/support/Simulator.h"
#include "tests/system/SystemCamera.h"

using namespace support;

namespace {

class EveryCamera : public SystemCamera, public testing::WithParamInterface<Model>
{
protected:
    void SetUp() override
    {
        SystemCamera::SetUp();
        install(GetParam());
    }

    std::vector<std::string> expectedFiles()
    {
        std::vector<std::string> files;
        for (int i = 0; i < GetParam().schemes; ++i)
        {
            files.push_back("sensor" + std::to_string(i) + ".cfg");
        }
        files.push_back("snsversion.cfg");
        return files;
    }

    bool isPlate() { return std::string(GetParam().name) == "lpr"; }
};

TEST_P(EveryCamera, FirstStartMakesAllFilesAndReportsNothing)
{
    start();
    EXPECT_EQ(expectedFiles(), filesIn(kConfigFolder));
    EXPECT_EQ(std::string("\x08\0\0\0", 4), readFile(kVersionFile));
    EXPECT_EQ(std::vector<std::string>(), reports());
    EXPECT_EQ(std::vector<std::string>(), refused());
}

TEST_P(EveryCamera, FirstStartFilesHoldOneRecordAParameter)
{
    start();
    const size_t parameters = allValues().size();
    for (int i = 0; i < GetParam().schemes; ++i)
    {
        EXPECT_EQ(parameters * 8, readFile(schemeFile(i)).size());
    }
}

TEST_P(EveryCamera, ServiceHoldsWhatTheCurrentSchemeSays)
{
    start();
    // One-shot actions and the frame rate are left to the user; the licence-plate camera's mode is forced.
    const std::map<int, int> values = allValues();
    int compared = 0;
    for (const services::ParameterState& state : support::simulator().parameters())
    {
        const u32 stateKey = services::keyOfCommand(state.cmd);
        const auto stored = values.find(static_cast<int>(stateKey));
        if (stateKey == 0 || stored == values.end() || state.kind == sim::Kind::action || stateKey == KEY_SENSOR_FPS ||
            stateKey == KEY_CAP_OFF_ADJ_DIRECTION || (isPlate() && stateKey == KEY_DN_MODE))
        {
            continue;
        }
        EXPECT_EQ(stored->second, applied(state.cmd)) << state.name;
        ++compared;
    }
    EXPECT_GT(compared, 30);
}

TEST_P(EveryCamera, KnowsItselfAfterStart)
{
    start();
    EXPECT_TRUE(c().getSensorStatus());
    EXPECT_EQ(installedModule().getModuleId(), c().getSensorType());
    std::string version;
    EXPECT_TRUE(c().getCameraVerInf(version));
    EXPECT_EQ(sim::findModule(c().getSensorType())->version, version);
    int mode = -1;
    EXPECT_TRUE(c().getParamMode(mode));
    EXPECT_EQ(1, mode);
}

TEST_P(EveryCamera, RestartChangesNoFile)
{
    start();
    std::map<std::string, std::string> before;
    for (const std::string& file : filesIn(kConfigFolder))
    {
        before[file] = readFile(std::string(kConfigFolder) + "/" + file);
    }
    const std::string pairs = allPairs();
    restart();
    for (const auto& [file, bytes] : before)
    {
        EXPECT_EQ(bytes, readFile(std::string(kConfigFolder) + "/" + file)) << file;
    }
    EXPECT_EQ(before.size(), filesIn(kConfigFolder).size());
    EXPECT_EQ(pairs, allPairs());
    EXPECT_EQ(std::vector<std::string>(), reports());
}

TEST_P(EveryCamera, SavedValuesSurviveARestartAndOthersDoNot)
{
    start();
    ASSERT_EQ(0, c().setParameters("(34,61)(2353,62)", true));
    ASSERT_EQ(0, flush());
    ASSERT_EQ(0, c().setParameters("(2337,63)", true));
    restart();
    EXPECT_EQ(61, value(KEY_BRIGHTNESS));
    EXPECT_EQ(62, value(KEY_CONTRAST));
    EXPECT_EQ(50, value(KEY_SATURATION));
    EXPECT_EQ(61, applied(IA_CMD_BRIGHTNESS));
}

TEST_P(EveryCamera, OnlyTheCurrentSchemeIsSaved)
{
    start();
    std::vector<std::string> before;
    for (int i = 0; i < GetParam().schemes; ++i)
    {
        before.push_back(readFile(schemeFile(i)));
    }
    ASSERT_EQ(0, scheme());
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    ASSERT_EQ(0, flush());
    EXPECT_NE(before[0], readFile(schemeFile(0)));
    for (int i = 1; i < GetParam().schemes; ++i)
    {
        EXPECT_EQ(before[i], readFile(schemeFile(i))) << i;
    }
}

TEST_P(EveryCamera, OtherVersionStartsFromTheFactoryValues)
{
    start();
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    ASSERT_EQ(0, flush());
    stop();
    writeFile(kVersionFile, std::string("\x07\0\0\0", 4));
    writeFile(schemeFile(40), "left over");
    start();
    EXPECT_EQ(50, value(KEY_BRIGHTNESS));
    EXPECT_EQ(expectedFiles(), filesIn(kConfigFolder));
    EXPECT_EQ(std::string("\x08\0\0\0", 4), readFile(kVersionFile));
}

TEST_P(EveryCamera, LostVersionFileStartsFromTheFactoryValues)
{
    start();
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    ASSERT_EQ(0, flush());
    stop();
    removeFile(kVersionFile);
    start();
    EXPECT_EQ(50, value(KEY_BRIGHTNESS));
}

TEST_P(EveryCamera, LostSchemeFileIsMadeAgainAlone)
{
    start();
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    ASSERT_EQ(0, flush());
    stop();
    const std::string second = readFile(schemeFile(1));
    removeFile(schemeFile(1));
    start();
    EXPECT_EQ(second, readFile(schemeFile(1)));
    EXPECT_EQ(61, value(KEY_BRIGHTNESS));
}

TEST_P(EveryCamera, OneShotActionsDoNotRunAtStartOrSwitch)
{
    start();
    c().setParamMode(0);
    for (int i = 0; i <= GetParam().schemes; ++i)
    {
        c().setParamScheme(i);
    }
    for (const u32 cmd : {IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_LENS_RESET, IA_CMD_ZOOM_IN, IA_CMD_ZOOM_OUT, IA_CMD_FOCUS_NEAR,
                          IA_CMD_FOCUS_FAR, IA_CMD_IRIS_UP, IA_CMD_IRIS_DOWN, IA_CMD_SENSOR_FPS})
    {
        EXPECT_TRUE(sent(cmd).empty()) << services::commandName(cmd);
    }
    EXPECT_EQ(std::vector<std::string>(), refused());
}

TEST_P(EveryCamera, EveryParameterTakesItsLimitsAndRefusesWhatLiesBeyond)
{
    start();
    c().setParamMode(0);
    const std::map<int, int> values = allValues();
    CapturedOutput quiet;
    for (const services::ParameterState& state : support::simulator().parameters())
    {
        const int key = static_cast<int>(services::keyOfCommand(state.cmd));
        // What moves takes time, and what depends on others is looked at elsewhere.
        if (values.count(key) == 0 || state.kind == sim::Kind::action || sim::Lens::moves(state.cmd) ||
            key == int{KEY_WDR_MODE} || (key >= int{KEY_CAP_OFF_ADJ_DIRECTION} && key <= int{KEY_CAP_OFF_ADJ_V_CUR}))
        {
            continue;
        }
        SCOPED_TRACE(state.name);
        EXPECT_EQ(0, c().setParameter(key, state.allowed.minimum, true));
        EXPECT_EQ(state.allowed.minimum, applied(state.cmd));
        EXPECT_EQ(0, c().setParameter(key, state.allowed.maximum, true));
        EXPECT_EQ(state.allowed.maximum, applied(state.cmd));
        EXPECT_EQ(-key, c().setParameter(key, state.allowed.maximum + 1, true));
        EXPECT_EQ(state.allowed.maximum, applied(state.cmd));
        EXPECT_EQ(state.allowed.maximum, value(key));
        EXPECT_EQ(0, c().setParameter(key, values.at(key), true));
    }
    EXPECT_EQ(values, allValues());
}

TEST_P(EveryCamera, StyleIsServedWithTheModulesOwnChoices)
{
    start();
    std::string style;
    {
        CapturedOutput quiet;
        style = c().getUIStyleFile();
    }
    EXPECT_EQ(0U, style.find("<?xml"));
    // Wide dynamic range is offered at 25 frames per second: no notice.
    EXPECT_EQ(std::string::npos, style.find("<notice id=\"0\""));
    for (const ia_cmd_e cmd : sim::dynamicCommands(*sim::findModule(c().getSensorType())))
    {
        EXPECT_NE(std::string::npos, style.find("id=\"" + std::to_string(cmd) + "\"")) << services::commandName(cmd);
    }
}

TEST_P(EveryCamera, ComesUpAndGoesDownManyTimesOnOneObject)
{
    start();
    for (int i = 0; i < 3; ++i)
    {
        c().uinit();
        CapturedOutput quiet;
        EXPECT_TRUE(c().init(installedModule()));
    }
    EXPECT_EQ(0, scheme());
    EXPECT_EQ(50, value(KEY_BRIGHTNESS));
}

INSTANTIATE_TEST_SUITE_P(Models, EveryCamera, testing::Values(kFixed, kDome, kPlate, kFisheye), ModelName());

class Start : public SystemCamera
{
};

TEST_F(Start, OutsideTheFirstSchemesWindowTheDefaultSchemeComesUp)
{
    install(kFixed);
    start();
    saveWindow(0, 8, 0, 18, 0);
    stop();
    clock_->setTimeOfDay(19, 0);
    start();
    EXPECT_EQ(4, scheme());
}

TEST_F(Start, PlateCameraByNightComesUpInItsNightScheme)
{
    install(kPlate);
    start();
    EXPECT_EQ(0, scheme());
    c().setParamMode(0);
    c().setParamScheme(1);
    EXPECT_EQ(0, value(KEY_DN_MODE));
    EXPECT_EQ(18, value(KEY_MAX_SHUTTER));
    EXPECT_EQ(1, value(KEY_METER_AREA));
    EXPECT_EQ(2, value(KEY_IR_MODE));
    EXPECT_EQ(40, value(KEY_IR_MANUAL_STRG_NEAR));
}

TEST_F(Start, WithoutDocumentsReportsAndComesUpEmpty)
{
    install(kFixed);
    removeFile(kStyleFile);
    removeFile(kDiversityFile);
    start();
    EXPECT_FALSE(reports().empty());
    CapturedOutput quiet;
    EXPECT_EQ("", allPairs());
    EXPECT_TRUE(c().getSensorStatus());
}

// Calls that succeed and store nothing: what a board's bring-up must look for.
TEST_F(Start, AfterAFirstStartWithoutDocumentsNothingIsKeptUntilTheSchemesAreMadeAnew)
{
    install(kFixed);
    removeFile(kStyleFile);
    start();
    stop();
    EXPECT_EQ("", readFile(schemeFile(0)));
    install(kFixed);
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
    install(kFixed);
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
