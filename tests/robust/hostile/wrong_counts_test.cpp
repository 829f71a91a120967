#include <climits>
#include <cstring>

#include "ia_ioctrl.h"
#include "tests/robust/hostile/HostileFixture.h"

using namespace support;

namespace {

constexpr u32 kAbsentKey = 7777;
constexpr u32 kCorrected = 0xBADBADu;

// A service that claims this many commands and this many allowed values. The records themselves are full: every
// entry that exists holds something.
class WrongCount : public HostileFixture, public testing::WithParamInterface<int>
{
protected:
    static std::vector<u32> listedCommands()
    {
        return {50, kAbsentKey, 34, 0xFFFFFFFFu, 96, 0, 2337, 4112, 8004, 34, 0x80000000u, 2384, 149, 1, 2, 3};
    }

    // Listed commands that the count covers and a scheme has a record for.
    int correctable() const
    {
        const std::vector<u32> listed = listedCommands();
        int found = 0;
        for (int i = 0; i < GetParam() && i < static_cast<int>(listed.size()); ++i)
        {
            found += listed[i] == 50 || listed[i] == 34 || listed[i] == 96 || listed[i] == 2337 || listed[i] == 8004 ||
                     listed[i] == 2384 || listed[i] == 149;
        }
        return found;
    }

    void lie()
    {
        service_.answer(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, [](u32, int, void* data) {
            ia_dynamic_params_cmds_st list = {};
            list.cmd_cnt = GetParam();
            const std::vector<u32> listed = listedCommands();
            std::memcpy(list.cmd_list, listed.data(), sizeof(list.cmd_list));
            std::memcpy(data, &list, sizeof(list));
            return 0;
        });
        service_.intercept([](u32, int opt, void* data) -> std::optional<int> {
            if (opt == IA_CMD_OPT_GET_PARAM_RNAGE)
            {
                ia_dynamic_params_attr_st attr = {-1, 2, -1, -1, GetParam(), {}};
                for (int i = 0; i < kDynamicItemsMax; ++i)
                {
                    attr.item[i] = i - 3;
                }
                std::memcpy(data, &attr, sizeof(attr));
                return 0;
            }
            if (opt == IA_CMD_OPT_CORRECT_PARAM)
            {
                std::memcpy(data, &kCorrected, sizeof(kCorrected));
                return 0;
            }
            return std::nullopt;
        });
    }

    void stopLying()
    {
        service_.forget(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET);
        behave();
    }
};

TEST_P(WrongCount, CameraComesUpOnItsSavedFiles)
{
    writeSavedCamera();
    const auto before = savedFiles();
    lie();
    construct();
    outputOf([&] { EXPECT_TRUE(initialise()); });
    EXPECT_EQ(30U, ControllerProbe::keyValSum(c()));
    EXPECT_EQ(0, current());
    EXPECT_EQ(10U, service_.stored(IA_CMD_BRIGHTNESS));
    EXPECT_EQ(before, savedFiles());
    stopLying();
    expectWorks();
}

TEST_P(WrongCount, CorrectionStaysInsideTheCurrentScheme)
{
    bringUpHostile();
    c().setParamMode(0);
    c().setParamScheme(1);
    const std::vector<std::vector<KeyVal>> before = {scheme(0), scheme(1), scheme(2), scheme(3)};
    const auto files = savedFiles();
    service_.clearCalls();
    lie();
    std::string pairs;
    outputOf([&] { EXPECT_TRUE(c().getAllParameters(pairs)); });
    EXPECT_EQ(static_cast<size_t>(correctable()), service_.sent(IA_CMD_OPT_CORRECT_PARAM).size());
    for (const int neighbour : {0, 2, 3})
    {
        EXPECT_EQ(before[neighbour], scheme(neighbour)) << neighbour;
    }
    for (size_t i = 0; i < before[1].size(); ++i)
    {
        EXPECT_EQ(before[1][i].key, scheme(1)[i].key);
    }
    EXPECT_EQ(correctable() == 0, before[1] == scheme(1));
    EXPECT_EQ(files, savedFiles());
    stopLying();
    expectWorks();
}

TEST_P(WrongCount, StyleIsServedWhole)
{
    bringUpHostile();
    lie();
    std::string style;
    outputOf([&] { style = c().getUIStyleFile(); });
    EXPECT_EQ(0U, style.find("<?xml"));
    EXPECT_NE(std::string::npos, style.rfind("</Style>"));
    const bool keepsChoices = GetParam() <= 0 || GetParam() > 4;  // the values 1 to 4 stand behind -3 to 0
    EXPECT_EQ(keepsChoices, style.find("<Item index=\"1\"") != std::string::npos) << style;
    stopLying();
    expectWorks();
}

TEST_P(WrongCount, FactoryResetMakesTheSameNumberOfParametersAgain)
{
    bringUpHostile();
    lie();
    outputOf([&] { EXPECT_TRUE(c().resetParameters()); });
    EXPECT_EQ(30U, ControllerProbe::keyValSum(c()));
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(30 * sizeof(KeyVal), readFile(schemeFile(i)).size());
    }
    stopLying();
    expectWorks();
}

std::string countName(const testing::TestParamInfo<int>& count)
{
    const std::string digits = std::to_string(count.param);
    return count.param < 0 ? "minus" + digits.substr(1) : digits;
}

INSTANTIATE_TEST_SUITE_P(Counts, WrongCount, testing::Values(INT_MIN, -1, 0, 16, 17, 65, INT_MAX), countName);

}  // namespace
