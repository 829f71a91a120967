#include "tests/support/Simulator.h"
#include "tests/system/SystemCamera.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

using namespace support;
using namespace std::chrono_literals;

namespace {

struct ResetCase
{
    Model model;
    int level;
};

void PrintTo(const ResetCase& tried, std::ostream* stream)
{
    *stream << tried.model.name << " at level " << tried.level;
}

struct ResetCaseName
{
    template <typename Info>
    std::string operator()(const Info& instance) const
    {
        return std::string(instance.param.model.name) + "AtLevel" + std::to_string(instance.param.level);
    }
};

class FactoryResetSystem : public SystemCamera, public testing::WithParamInterface<ResetCase>
{
protected:
    void SetUp() override
    {
        SystemCamera::SetUp();
        install(GetParam().model);
        start();
    }

    void TearDown() override
    {
        removeDebug();
        SystemCamera::TearDown();
    }

    void reset()
    {
        CapturedOutput quiet;
        setDebug(GetParam().level);
        EXPECT_TRUE(c().resetParameters());
        removeDebug();
    }

    UIFileEntry entry_{};  // must outlive uinit, which frees its texts
};

TEST_P(FactoryResetSystem, BringsBackEveryFactoryValueInEveryScheme)
{
    std::vector<std::map<int, int>> factory;
    c().setParamMode(0);
    for (int i = 0; i <= GetParam().model.schemes; ++i)
    {
        c().setParamScheme(i);
        factory.push_back(allValues());
        if (i < GetParam().model.schemes)
        {
            ASSERT_EQ(0, c().setParameters("(34,61)(2353,62)(8000,1)(8001,1)(8003,2)", true));
            ASSERT_EQ(0, flush());
        }
    }
    reset();
    c().setParamMode(0);
    for (int i = 0; i <= GetParam().model.schemes; ++i)
    {
        c().setParamScheme(i);
        EXPECT_EQ(factory[static_cast<size_t>(i)], allValues()) << i;
    }
}

TEST_P(FactoryResetSystem, FilesAreThoseOfAFirstStart)
{
    std::map<std::string, std::string> first;
    for (const std::string& file : filesIn(kConfigFolder))
    {
        first[file] = readFile(std::string(kConfigFolder) + "/" + file);
    }
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    ASSERT_EQ(0, flush());
    writeFile(schemeFile(99), "left over");
    reset();
    std::map<std::string, std::string> now;
    for (const std::string& file : filesIn(kConfigFolder))
    {
        now[file] = readFile(std::string(kConfigFolder) + "/" + file);
    }
    EXPECT_EQ(first, now);
}

TEST_P(FactoryResetSystem, CameraRunsOnAfterwards)
{
    reset();
    pass(1s);
    EXPECT_EQ(0, scheme());
    EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 61, true));
    EXPECT_EQ(61, applied(IA_CMD_BRIGHTNESS));
    saveWindow(0, 8, 0, 18, 0);
    turnAt(9, 0);
    EXPECT_EQ(0, scheme());
    EXPECT_EQ(installedModule().getModuleId(), c().getSensorType());
}

TEST_P(FactoryResetSystem, ListOfTextsMustBeFilledAgain)
{
    const auto fill = [&] {
        entry_.nLanguageId = 3;
        entry_.szCommonFile = strdup("common");
        entry_.szLanguageFile = strdup("language");
        g_stSysConf.pUIFiles = &entry_;
        g_stSysConf.nUIFileSum = 1;
    };
    fill();
    EXPECT_EQ("common", c().getUICommonFile(3));
    reset();
    EXPECT_EQ("", c().getUICommonFile(3));
    fill();
    EXPECT_EQ("language", c().getUILanguageFile(3));
}

TEST_P(FactoryResetSystem, ConfigurationComesFromTheFilesOnlyAboveLevelFive)
{
    std::string file = readFile(kModuleConfigFile);
    const std::string before = "max_scheme=" + std::to_string(GetParam().model.schemes);
    file.replace(file.find(before), before.size(), "max_scheme=3");
    writeFile(kModuleConfigFile, file);
    reset();
    EXPECT_EQ(GetParam().level > 5 ? 3U : static_cast<u32>(GetParam().model.schemes), g_stSysConf.nSchemeSum);
}

TEST_P(FactoryResetSystem, SwitchesToTheDefaultSchemeOnTheWay)
{
    // The thread's own switches follow when the reset is over; this thread's are looked at.
    c().setParamMode(0);
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    support::journal().clearCalls();
    reset();
    const std::vector<int> words = sent(IA_CMD_BRIGHTNESS);
    ASSERT_FALSE(words.empty());
    EXPECT_EQ(50, words.front());
}

INSTANTIATE_TEST_SUITE_P(Levels, FactoryResetSystem,
                         testing::Values(ResetCase{kFixed, 1}, ResetCase{kFixed, 6}, ResetCase{kDome, 1},
                                         ResetCase{kDome, 6}, ResetCase{kPlate, 5}, ResetCase{kPlate, 7},
                                         ResetCase{kFisheye, 0}, ResetCase{kFisheye, 6}),
                         ResetCaseName());

class FactoryResetFailure : public SystemCamera
{
};

TEST_F(FactoryResetFailure, AboveLevelFiveAFileWithoutThisBoardIsARangeError)
{
    install(kFixed);
    start();
    writeFile(kModuleConfigFile, "<ModuleConfigs/>");
    setDebug(6);
    {
        CapturedOutput quiet;
        EXPECT_THROW(c().resetParameters(), std::out_of_range);
    }
    removeDebug();
    // Only destruction is left: uinit has run.
    controller_.reset();
}

}  // namespace
