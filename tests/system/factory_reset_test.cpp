#include "tests/system/SystemCamera.h"

using namespace support;

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
        installModel(GetParam().model.name);
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
    const std::map<std::string, std::string> first = savedFiles();
    c().setParameter(KEY_BRIGHTNESS, 61, true);
    ASSERT_EQ(0, flush());
    writeFile(schemeFile(99), "left over");
    reset();
    EXPECT_EQ(first, savedFiles());
}

INSTANTIATE_TEST_SUITE_P(Levels, FactoryResetSystem,
                         testing::Values(ResetCase{kFixed, 1}, ResetCase{kFixed, 6}, ResetCase{kDome, 1},
                                         ResetCase{kDome, 6}, ResetCase{kPlate, 5}, ResetCase{kPlate, 7},
                                         ResetCase{kFisheye, 0}, ResetCase{kFisheye, 6}),
                         ResetCaseName());

}  // namespace
