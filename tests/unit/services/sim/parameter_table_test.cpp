#include "services/sim/ParameterTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

namespace {

struct KeyRow
{
    const char* name;
    u32 key;
    u32 cmd;
};

constexpr KeyRow kSentKeys[] = {
#define SNS_KEY(name, key, ia, cmd, handler) {#name, key, cmd},
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
};

constexpr u32 kOtherCommands[] = {153, 1632, 1648, 2496, 2816, 4112};  // that the library sends by itself

TEST(ParameterTable, HasARowForEveryKeyThatIsSent)
{
    for (const KeyRow& row : kSentKeys)
    {
        EXPECT_NE(nullptr, sim::findParameter(row.cmd)) << row.name;
        EXPECT_EQ(row.key, services::keyOfCommand(row.cmd)) << row.name;
    }
}

TEST(ParameterTable, HasARowForEveryCommandThatTheLibrarySendsByItself)
{
    for (const u32 cmd : kOtherCommands)
    {
        EXPECT_NE(nullptr, sim::findParameter(cmd)) << cmd;
        EXPECT_EQ(0u, services::keyOfCommand(cmd)) << cmd;
    }
}

TEST(ParameterTable, DoesNotKnowWhatOnlyTheVideoModuleIsTold)
{
    EXPECT_EQ(nullptr, sim::findParameter(2370));
}

TEST(ParameterTable, DoesNotKnowKeysThatAreOnlyStored)
{
    for (u32 key = 8000; key <= 8004; ++key)
    {
        EXPECT_EQ(nullptr, sim::findParameter(key));
    }
}

TEST(ParameterTable, NamesEveryCommandOnce)
{
    std::set<u32> commands;
    std::set<std::string> names;
    for (const sim::Parameter& row : sim::parameters())
    {
        EXPECT_TRUE(commands.insert(row.cmd).second) << row.cmd;
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_STRNE("unknown", services::commandName(row.cmd));
    }
    EXPECT_EQ(std::size(kSentKeys) + std::size(kOtherCommands), sim::parameters().size());
}

TEST(ParameterTable, ListsChoicesInAscendingOrderWithALabelEach)
{
    for (const sim::Parameter& row : sim::parameters())
    {
        EXPECT_EQ(row.kind == sim::Kind::choice, row.choices != nullptr) << row.name;
        for (int i = 0; i < row.choiceCount; ++i)
        {
            EXPECT_STRNE("", row.choices[i].label) << row.name;
            EXPECT_TRUE(i == 0 || row.choices[i - 1].value < row.choices[i].value) << row.name;
        }
        EXPECT_LE(row.choiceCount, int(kDynamicItemsMax)) << row.name;
    }
}

TEST(ParameterTable, AllowsItsOwnDefaultsForEveryModule)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        for (const sim::Parameter& row : sim::parameters())
        {
            const sim::AllowedValues allowed = sim::allowedValues(row, module);
            EXPECT_TRUE(allowed.contains(allowed.defaultValue)) << module.id << " " << row.name;
            EXPECT_LE(allowed.minimum, allowed.maximum) << row.name;
            EXPECT_GT(allowed.step, 0) << row.name;
        }
    }
}

TEST(ParameterTable, ModulesAllowOnlyValuesThatHaveALabel)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        for (int i = 0; i < module.ownCount; ++i)
        {
            const sim::ModuleValues& own = module.own[i];
            const sim::Parameter* row = sim::findParameter(own.cmd);
            ASSERT_NE(nullptr, row);
            EXPECT_EQ(sim::Kind::choice, row->kind);
            ASSERT_LE(own.count, int(kDynamicItemsMax));
            EXPECT_TRUE(std::is_sorted(own.values, own.values + own.count)) << row->name;
            for (int n = 0; n < own.count; ++n)
            {
                EXPECT_STRNE("", sim::choiceLabel(*row, own.values[n])) << row->name << " " << own.values[n];
            }
        }
    }
}

TEST(ParameterTable, EveryLabelBelongsToAValueThatSomeParameterAllows)
{
    std::map<const sim::Choice*, std::set<int>> labelled;
    std::map<const sim::Choice*, std::set<int>> allowed;
    for (const sim::Parameter& row : sim::parameters())
    {
        for (int i = 0; i < row.choiceCount; ++i)
        {
            labelled[row.choices].insert(row.choices[i].value);
        }
        for (const sim::SensorModule& module : sim::sensorModules())
        {
            const std::vector<int> items = sim::allowedValues(row, module).items;
            allowed[row.choices].insert(items.begin(), items.end());
        }
    }
    for (const auto& [list, values] : labelled)
    {
        EXPECT_EQ(values, allowed[list]) << list[0].label;
    }
}

TEST(ParameterTable, DynamicListsFitTheRecordAndNameKeysOfTheSameNumber)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        const std::vector<ia_cmd_e> commands = sim::dynamicCommands(module);
        EXPECT_GE(commands.size(), 9u);
        EXPECT_LE(commands.size(), std::size_t(kDynamicCmdsMax));
        for (const ia_cmd_e cmd : commands)
        {
            EXPECT_EQ(u32(cmd), services::keyOfCommand(cmd));
            EXPECT_FALSE(sim::allowedValues(*sim::findParameter(cmd), module).items.empty())
                << services::commandName(cmd);
        }
        EXPECT_EQ(0, std::count(commands.begin(), commands.end(), IA_CMD_SENSOR_FPS));
    }
}

TEST(ParameterTable, ModulesDifferInShuttersGainsWideDynamicAndNoiseReduction)
{
    const sim::SensorModule& first = *sim::findModule(1);
    const sim::SensorModule& second = *sim::findModule(2);
    for (const u32 cmd : {49u, 50u, 65u, 66u, 2306u, 2307u, 2312u, 2313u, 2368u, 2464u})
    {
        const sim::Parameter& row = *sim::findParameter(cmd);
        EXPECT_NE(sim::allowedValues(row, first).items, sim::allowedValues(row, second).items) << row.name;
    }
    EXPECT_NE(sim::dynamicCommands(first), sim::dynamicCommands(second));
}

TEST(ParameterTable, ShuttersFollowTheFrameRateOfTheModule)
{
    const sim::Parameter& row = *sim::findParameter(IA_CMD_FIX_SHUTTER);
    const auto longest = [&row](int id) {
        return std::string(sim::choiceLabel(row, sim::allowedValues(row, *sim::findModule(id)).items.front()));
    };
    EXPECT_EQ("1/25 s", longest(1));
    EXPECT_EQ("1/30 s", longest(2));
}

TEST(ParameterTable, NeverAllowsTheShutterValueThatStandsForTheDefault)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        for (const ia_cmd_e cmd : {IA_CMD_MAX_SHUTTER, IA_CMD_FIX_SHUTTER})
        {
            EXPECT_FALSE(sim::allowedValues(*sim::findParameter(cmd), module).contains(sim::kShutterPreferred));
        }
    }
}

TEST(ParameterTable, AllowsTheNightValuesOfALicencePlateCameraOnEveryModule)
{
    constexpr std::pair<ia_cmd_e, int> kNight[] = {{IA_CMD_DN_MODE, 0},
                                                   {IA_CMD_MAX_SHUTTER, 18},
                                                   {IA_CMD_METER_AREA, 1},
                                                   {IA_CMD_IR_MODE, 2},
                                                   {IA_CMD_IR_MANUAL_STRG_NEAR, 40}};
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        for (const auto& [cmd, value] : kNight)
        {
            EXPECT_TRUE(sim::allowedValues(*sim::findParameter(cmd), module).contains(value))
                << services::commandName(cmd);
        }
    }
}

TEST(ParameterTable, VersionTextsLeaveRoomForTheirEnd)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        EXPECT_LT(std::string(module.version).size(), std::size_t(kCameraVersionSize));
    }
}

TEST(AllowedValues, NearestOfChoicesPrefersTheLowerOfTwoEquallyNear)
{
    const sim::AllowedValues allowed{0, 8, 1, 0, {0, 4, 8}};
    EXPECT_EQ(0, allowed.nearest(2));
    EXPECT_EQ(4, allowed.nearest(3));
    EXPECT_EQ(8, allowed.nearest(2147483647));
    EXPECT_EQ(0, allowed.nearest(-2147483647 - 1));
}

TEST(AllowedValues, NearestOfARangeIsClampedAndOnAStep)
{
    const sim::AllowedValues allowed{-10, 11, 5, 0, {}};
    EXPECT_EQ(-10, allowed.nearest(-1000));
    EXPECT_EQ(10, allowed.nearest(1000));
    EXPECT_EQ(-5, allowed.nearest(-7));
    EXPECT_EQ(0, allowed.nearest(2));
    EXPECT_EQ(8, (sim::AllowedValues{0, 8, 4, 0, {}}.nearest(7))) << "the last step ends at the maximum";
    EXPECT_TRUE(allowed.contains(5));
    EXPECT_FALSE(allowed.contains(6));
    EXPECT_FALSE(allowed.contains(-11));
}

TEST(AllowedValues, NearestOfARangePrefersTheLowerOfTwoEquallyNear)
{
    const sim::AllowedValues allowed{-10, 11, 4, 0, {}};
    EXPECT_EQ(-10, allowed.nearest(-8));
    EXPECT_EQ(-6, allowed.nearest(-7));
    EXPECT_EQ(2, allowed.nearest(4));
}

TEST(Names, CommandsAndOptionsPrintAsTheyAreDeclared)
{
    EXPECT_STREQ("IA_CMD_BRIGHTNESS", services::commandName(34));
    EXPECT_STREQ("IA_CMD_SENSOR_FPS", services::commandName(2464));
    EXPECT_STREQ("IA_CMD_WDR_BRACKET", services::commandName(2370));
    EXPECT_STREQ("IA_CMD_DN_STATE", services::commandName(153));
    EXPECT_STREQ("unknown", services::commandName(2497));
    EXPECT_STREQ("IA_CMD_OPT_SET", services::optionName(0));
    EXPECT_STREQ("IA_CMD_OPT_GET", services::optionName(1));
    EXPECT_STREQ("IA_CMD_OPT_GET_PARAM_RNAGE", services::optionName(2));
    EXPECT_STREQ("IA_CMD_OPT_CORRECT_PARAM", services::optionName(3));
    EXPECT_STREQ("IA_CMD_OPT_GET_EXEC_STATUS", services::optionName(4));
    EXPECT_STREQ("unknown", services::optionName(5));
    EXPECT_EQ(2497u, services::keyOfCommand(2464));
    EXPECT_EQ(17u, services::keyOfCommand(83));
}

}  // namespace
