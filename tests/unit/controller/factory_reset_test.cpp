#include "tests/support/ControllerFixture.h"

#include "tests/support/WaitingCall.h"
#include "tests/unit/controller/ShellCommands.h"

using namespace support;

namespace {

class FactoryReset : public UpFixture
{
protected:
    std::string moduleConfig(const std::string& model, int id, const std::string& detail)
    {
        return "<ModuleConfig hardwareModel=\"" + model + "\" hardwareCode=\"C1\"><ModuleId>" + std::to_string(id) +
               "</ModuleId><Detail>" + detail + "</Detail><Parameters>file</Parameters></ModuleConfig>";
    }

    // Leaves the sensor thread stopped again, so that what follows is the reset's alone.
    bool reset()
    {
        const bool result = c().resetParameters();
        stopThread();
        return result;
    }

    // Without those of the sensor thread, which runs again when the reset ends.
    std::vector<Sent> setsOfThisThread()
    {
        std::vector<Sent> sets;
        for (const ServiceCall& call : service_.calls())
        {
            if (call.opt == IA_CMD_OPT_SET && call.thread == std::this_thread::get_id())
            {
                sets.push_back({call.cmd, call.opt, call.value()});
            }
        }
        return sets;
    }

    void TearDown() override
    {
        if (controller_ && initialised_)
        {
            stopThread();
        }
        ControllerFixture::TearDown();
    }
};

TEST_F(FactoryReset, BringsBackTheStateOfAFirstStart)
{
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    c().flush();
    c().setParamMode(0);
    EXPECT_EQ("", outputOf([&] { EXPECT_TRUE(reset()); }));
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(50U, recordsOf(readFile(schemeFile(0)))[5].value);
    EXPECT_EQ(1U, valueOf(0, KEY_SCHEME_ENABLE));
    EXPECT_EQ(kInitialisedBit, flags());
    int mode = 0;
    c().getParamMode(mode);
    EXPECT_EQ(1, mode);
}

TEST_F(FactoryReset, RemovesTheSchemeFilesByOneShellCommandOfAtMostThirtySeconds)
{
    forgetShellCommands();
    reset();
    ASSERT_EQ(1U, shellCommands().size());
    EXPECT_EQ("rm -rf /mnt/mtd/code/config*/sensor*", shellCommands()[0].text);
    EXPECT_EQ(30, shellCommands()[0].limitSeconds);
}

TEST_F(FactoryReset, FirstTurnInsideNeitherPausesNorSwitches)
{
    const host::Span before = clock_->monotonic();
    reset();
    EXPECT_EQ(before, clock_->monotonic());
    EXPECT_TRUE(setsOfThisThread().empty());
}

TEST_F(FactoryReset, SwitchesToTheDefaultSchemeFirst)
{
    setValue(0, KEY_BRIGHTNESS, 10);
    reset();
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}), setsOfThisThread());
}

TEST_F(FactoryReset, ResetFlagIsUpAllTheTime)
{
    setValue(0, KEY_BRIGHTNESS, 10);
    std::vector<unsigned char> seen;
    const std::thread::id self = std::this_thread::get_id();
    service_.onCall([&](const ServiceCall& call) {
        if (call.thread == self)
        {
            seen.push_back(flags());
        }
    });
    reset();
    ASSERT_GE(seen.size(), 2U);
    for (const unsigned char bits : seen)
    {
        EXPECT_EQ(kResetBit, bits & kResetBit);
    }
    // The last call is the new init's.
    EXPECT_EQ(kInitialisingBit, seen.back() & kInitialisingBit);
}

TEST_F(FactoryReset, UsesTheSavedConfigurationUpToLevelFive)
{
    writeFile(kModuleConfigFile, "<ModuleConfigs>" + moduleConfig("M1", 99, "(max_scheme=2)") + "</ModuleConfigs>");
    for (const int level : {1, 5})
    {
        setDebug(level);
        outputOf([&] { EXPECT_TRUE(reset()); });
        EXPECT_EQ(7, c().getSensorType());
        EXPECT_EQ(3U, g_stSysConf.nSchemeSum);
        EXPECT_STREQ("(max_scheme=3)", g_stSysConf.moduleConfig.szDetail);
        EXPECT_STREQ("host", g_stSysConf.moduleConfig.szParameters);
    }
}

TEST_F(FactoryReset, ReadsTheConfigurationFilesFromLevelSixOn)
{
    writeFile(kModuleConfigFile, "<ModuleConfigs>" + moduleConfig("M0", 98, "(max_scheme=1)") +
                                     moduleConfig("M1", 99, "(max_scheme=2)") +
                                     moduleConfig("M1", 97, "(max_scheme=9)") + "</ModuleConfigs>");
    setDebug(6);
    outputOf([&] { EXPECT_TRUE(reset()); });
    EXPECT_EQ(99, c().getSensorType());
    EXPECT_EQ(2U, g_stSysConf.nSchemeSum);
    EXPECT_STREQ("file", g_stSysConf.moduleConfig.szParameters);
}

TEST_F(FactoryReset, LooksAtTheLevelWhenEverythingIsReleased)
{
    writeFile(kModuleConfigFile, "<ModuleConfigs>" + moduleConfig("M1", 99, "(max_scheme=3)") + "</ModuleConfigs>");
    const std::thread::id self = std::this_thread::get_id();
    const auto levelDuringTheSwitch = [&](const std::function<void()>& change) {
        stopThread();
        makeCurrent(0);
        setValue(0, KEY_BRIGHTNESS, 10);
        service_.onCall([&, change](const ServiceCall& call) {
            if (call.thread == self && (flags() & kSwitchingBit) != 0)
            {
                change();
            }
        });
        outputOf([&] { EXPECT_TRUE(reset()); });
    };
    levelDuringTheSwitch([] { setDebug(6); });
    EXPECT_EQ(99, c().getSensorType());
    g_stSysConf.moduleConfig.nModuleId = 7;
    levelDuringTheSwitch([] { removeDebug(); });
    EXPECT_EQ(7, c().getSensorType());
}

TEST_F(FactoryReset, SensorStatusIsFalseUntilItsInitHasFinished)
{
    setValue(0, KEY_BRIGHTNESS, 10);
    const std::thread::id self = std::this_thread::get_id();
    std::vector<bool> beforeInit;
    std::vector<bool> duringInit;
    service_.onCall([&](const ServiceCall& call) {
        if (call.thread == self)
        {
            ((flags() & kInitialisingBit) != 0 ? duringInit : beforeInit).push_back(c().getSensorStatus());
        }
    });
    reset();
    EXPECT_THAT(beforeInit, testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(true)));
    EXPECT_THAT(duringInit, testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(false)));
    EXPECT_TRUE(c().getSensorStatus());
}

TEST_F(FactoryReset, AfterARangeErrorOtherCallsFindNothingAndDoNoHarm)
{
    writeFile(kModuleConfigFile, "<ModuleConfigs/>");
    setDebug(6);
    UIFileEntry entry{};
    entry.nLanguageId = 1;
    entry.szCommonFile = strdup("common");
    entry.szLanguageFile = strdup("language");
    g_stSysConf.pUIFiles = &entry;
    g_stSysConf.nUIFileSum = 1;
    CapturedOutput quiet;
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_THROW(c().resetParameters(), std::out_of_range);
        ASSERT_EQ(kInitialisedBit, flags());
        EXPECT_EQ(nullptr, g_stSysConf.szUIStyle);
        EXPECT_EQ(nullptr, g_stSysConf.pUIFiles);
        EXPECT_EQ(0U, g_stSysConf.nUIFileSum);
        EXPECT_EQ("", c().getUIStyleFile());
        EXPECT_EQ("", c().getUICommonFile(1));
        EXPECT_EQ("", c().getUILanguageFile(1));
        std::string text;
        EXPECT_TRUE(c().getAllParameters(text));
        EXPECT_EQ("", text);
        EXPECT_EQ(-1, c().restore(KEY_BRIGHTNESS));
        EXPECT_TRUE(c().resetToLastParameters());
        EXPECT_EQ(0, c().flush());
        int scheme = 0;
        EXPECT_TRUE(c().getParamScheme(scheme));
        EXPECT_EQ(-1, scheme);
        const host::Span before = clock_->monotonic();
        EXPECT_TRUE(c().setParamScheme(0));
        EXPECT_EQ(before, clock_->monotonic());
    }
    c().uinit();
    bringDown();
}

TEST_F(FactoryReset, AfterARangeErrorANewInitBringsTheCameraUp)
{
    writeFile(kModuleConfigFile, "<ModuleConfigs/>");
    setDebug(6);
    outputOf([&] { EXPECT_THROW(c().resetParameters(), std::out_of_range); });
    removeDebug();
    EXPECT_TRUE(initialise());
    stopThread();
    EXPECT_EQ(0, current());
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_NE("", c().getUIStyleFile());
    EXPECT_TRUE(reset());
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(FactoryReset, IsTracedAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { reset(); }));
    writeFile(kModuleConfigFile, "<ModuleConfigs>" + moduleConfig("M1", 99, "(max_scheme=2)") + "</ModuleConfigs>");
    setDebug(6);
    makeCurrent(0);
    CapturedOutput captured;
    reset();
    const std::string output = captured.take();
    EXPECT_EQ(1, timesSaid(output, traced("dbg", kController, "resetParameters", "resetting\n")));
    EXPECT_LT(output.find("resetting\n"), output.find("switch_to(): 0 -> 3\n"));
    EXPECT_LT(output.find("switch_to(): 0 -> 3\n"), output.find("initSensor  success"));
}

TEST_F(FactoryReset, FailingParameterIsReportedAndTheResetGoesOn)
{
    setValue(0, KEY_BRIGHTNESS, 10);
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -1);
    const std::string output = outputOf([&] { EXPECT_TRUE(reset()); });
    EXPECT_TRUE(says(output, "SNS_SUCCESS == setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)"));
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(FactoryReset, LeavesTheThreadRunningAndCanBeRepeated)
{
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(c().resetParameters());
        ASSERT_TRUE(threadTurn());
        EXPECT_EQ(0, current());
    }
}

TEST_F(FactoryReset, EmptiesTheUserInterfaceFileList)
{
    UIFileEntry entry{};
    entry.nLanguageId = 1;
    entry.szCommonFile = strdup("common");
    entry.szLanguageFile = strdup("language");
    g_stSysConf.pUIFiles = &entry;
    g_stSysConf.nUIFileSum = 1;
    reset();
    EXPECT_EQ(nullptr, g_stSysConf.pUIFiles);
    EXPECT_EQ(0U, g_stSysConf.nUIFileSum);
    EXPECT_EQ("", c().getUICommonFile(1));
}

TEST_F(FactoryReset, OtherCallsWaitForItsEnd)
{
    setValue(0, KEY_BRIGHTNESS, 10);
    int value = -1;
    std::unique_ptr<WaitingCall> asking;
    std::atomic<bool> once{false};
    service_.onCall([&](const ServiceCall&) {
        if (once.exchange(true))
        {
            return;
        }
        asking = std::make_unique<WaitingCall>([&] { c().getParameter(KEY_SATURATION, value); });
        EXPECT_TRUE(asking->waitsFor(ControllerProbe::mutex(c())));
    });
    reset();
    ASSERT_NE(nullptr, asking);
    asking->join();
    EXPECT_EQ(51, value);
}

}  // namespace
