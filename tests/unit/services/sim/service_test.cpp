#include "tests/unit/services/sim/SimCamera.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using namespace std::chrono_literals;

class Options : public SimCamera
{
protected:
    // Sets what is not a single word with records that hold the value everywhere.
    int setAny(ia_cmd_e cmd, int value)
    {
        const u32 word = static_cast<u32>(value);
        if (cmd == IA_CMD_DTN_THR || cmd == IA_CMD_NTD_THR)
        {
            dn_thr_st record{word, word};
            return service_->call(cmd, IA_CMD_OPT_SET, &record);
        }
        if (cmd >= IA_CMD_DTN_H && cmd <= IA_CMD_NTD_M)
        {
            dn_time_st record{word, word, word, word};
            return service_->call(cmd, IA_CMD_OPT_SET, &record);
        }
        return set(cmd, value);
    }

    sim::AllowedValues allowed(const sim::Parameter& row, int id) const
    {
        return sim::allowedValues(row, *sim::findModule(id));
    }
};

TEST_F(Options, EveryParameterStartsAtItsDefaultOnEveryModule)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        ASSERT_TRUE(service_->setModule(module.id));
        EXPECT_EQ(module.id, service_->module());
        for (const sim::Parameter& row : sim::parameters())
        {
            if (row.kind == sim::Kind::range || row.kind == sim::Kind::choice || row.kind == sim::Kind::action)
            {
                EXPECT_EQ(allowed(row, module.id).defaultValue, get(row.cmd)) << row.name;
            }
        }
    }
}

TEST_F(Options, EveryChoiceTakesEachAllowedValueAndGivesItBack)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        for (const sim::Parameter& row : sim::parameters())
        {
            if (row.kind != sim::Kind::choice)
            {
                continue;
            }
            service_->setModule(module.id);
            for (const int value : allowed(row, module.id).items)
            {
                EXPECT_EQ(0, set(row.cmd, value)) << row.name << " " << value;
                pass(1min);
                EXPECT_EQ(value, get(row.cmd)) << row.name;
            }
        }
    }
}

TEST_F(Options, EveryRangeTakesItsEndsAndRefusesWhatLiesBeyond)
{
    ASSERT_EQ(0, set(IA_CMD_DIGITAL_ZOOM, 1));
    ASSERT_EQ(0, set(IA_CMD_AUTO_FOCUS_MODE, 1));
    for (const ia_cmd_e cmd : {IA_CMD_CAP_OFF_ADJ_H_MIN, IA_CMD_CAP_OFF_ADJ_V_MIN})
    {
        ASSERT_EQ(0, set(cmd, -128));
    }
    for (const ia_cmd_e cmd : {IA_CMD_CAP_OFF_ADJ_H_MAX, IA_CMD_CAP_OFF_ADJ_V_MAX})
    {
        ASSERT_EQ(0, set(cmd, 128));
    }
    for (const sim::Parameter& row : sim::parameters())
    {
        if (row.kind != sim::Kind::range || std::strncmp(row.name, "Horizontal offset,", 18) == 0 ||
            std::strncmp(row.name, "Vertical offset,", 16) == 0 || (row.cmd >= IA_CMD_DTN_H && row.cmd <= IA_CMD_NTD_M))
        {
            continue;
        }
        for (const int value : {row.minimum, row.maximum})
        {
            EXPECT_EQ(0, setAny(row.cmd, value)) << row.name << " " << value;
            pass(1min);
            EXPECT_EQ(value, get(row.cmd)) << row.name;
        }
        EXPECT_EQ(services::kOutOfRange, setAny(row.cmd, row.minimum - 1)) << row.name;
        EXPECT_EQ(services::kOutOfRange, setAny(row.cmd, row.maximum + 1)) << row.name;
        EXPECT_EQ(row.maximum, get(row.cmd)) << row.name;
    }
}

TEST_F(Options, AValueOfTheOtherModuleIsRefusedAndChangesNothing)
{
    service_->setModule(1);
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_FIX_SHUTTER, 5));
    EXPECT_EQ(6, get(IA_CMD_FIX_SHUTTER));
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_SENSOR_FPS, 30));
    service_->setModule(2);
    EXPECT_EQ(0, set(IA_CMD_FIX_SHUTTER, 5));
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_FIX_SHUTTER, 6));
    EXPECT_EQ(0, set(IA_CMD_SENSOR_FPS, 60));
}

TEST_F(Options, AnUnknownModuleIsRefusedAndChangesNothing)
{
    ASSERT_TRUE(service_->setModule(2));
    ASSERT_EQ(0, set(IA_CMD_BRIGHTNESS, 71));
    EXPECT_FALSE(service_->setModule(3));
    EXPECT_EQ(2, service_->module());
    EXPECT_EQ(71, get(IA_CMD_BRIGHTNESS));
}

TEST_F(Options, AllowedValuesFillTheWholeRecord)
{
    const ia_dynamic_params_attr_st range = describe(IA_CMD_IRIS_POSITION);
    EXPECT_EQ(0, range.reserved0);
    EXPECT_EQ(72, range.default_value);
    EXPECT_EQ(96, range.reserved2);
    EXPECT_EQ(1, range.reserved3);
    EXPECT_EQ(0, range.items_cnt);
    EXPECT_EQ(0, range.item[63]);

    const ia_dynamic_params_attr_st choice = describe(IA_CMD_WDR_MODE);
    EXPECT_EQ(0, choice.reserved0);
    EXPECT_EQ(2, choice.reserved2);
    ASSERT_EQ(3, choice.items_cnt);
    EXPECT_EQ(2, choice.item[2]);
    EXPECT_EQ(0, choice.item[3]);
}

TEST_F(Options, AllowedValuesCanBeAskedForEverythingButRecords)
{
    for (const sim::Parameter& row : sim::parameters())
    {
        ia_dynamic_params_attr_st record{};
        const int expected = row.kind == sim::Kind::record ? services::kNotSupported : services::kDone;
        EXPECT_EQ(expected, service_->call(row.cmd, IA_CMD_OPT_GET_PARAM_RNAGE, &record)) << row.name;
    }
}

TEST_F(Options, CorrectionLeavesAllowedValuesAndMovesOthersToTheNearest)
{
    EXPECT_EQ(60, correct(IA_CMD_BRIGHTNESS, 60));
    EXPECT_EQ(100, correct(IA_CMD_BRIGHTNESS, 1000));
    EXPECT_EQ(0, correct(IA_CMD_BRIGHTNESS, -5));
    EXPECT_EQ(2, correct(IA_CMD_WDR_MODE, 3));
    EXPECT_EQ(4, correct(IA_CMD_FIX_SHUTTER, 5));
    EXPECT_EQ(20, correct(IA_CMD_MAX_SHUTTER, 21));
    EXPECT_EQ(50, get(IA_CMD_BRIGHTNESS)) << "correcting sets nothing";
}

TEST_F(Options, CorrectionOfThePreferredShutterGivesTheModulesDefault)
{
    EXPECT_EQ(4, correct(IA_CMD_MAX_SHUTTER, 100));
    EXPECT_EQ(6, correct(IA_CMD_FIX_SHUTTER, 100));
    service_->setModule(2);
    EXPECT_EQ(5, correct(IA_CMD_MAX_SHUTTER, 100));
    EXPECT_EQ(7, correct(IA_CMD_FIX_SHUTTER, 100));
    EXPECT_EQ(20, correct(IA_CMD_MAX_GAIN, 100)) << "only shutters know it";
}

TEST_F(Options, DynamicCommandsAreListedForEachModule)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        service_->setModule(module.id);
        ia_dynamic_params_cmds_st list{};
        ASSERT_EQ(0, service_->call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list));
        const std::vector<ia_cmd_e> expected = sim::dynamicCommands(module);
        ASSERT_EQ(expected.size(), std::size_t(list.cmd_cnt));
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), list.cmd_list));
        for (int i = 0; i < list.cmd_cnt; ++i)
        {
            const ia_dynamic_params_attr_st attr = describe(list.cmd_list[i]);
            ASSERT_GT(attr.items_cnt, 0);
            for (int n = 0; n < attr.items_cnt; ++n)
            {
                EXPECT_EQ(0, set(list.cmd_list[i], attr.item[n]));
            }
        }
    }
}

TEST_F(Options, VersionTextIsTerminatedAndNamesTheModule)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        service_->setModule(module.id);
        char text[kCameraVersionSize + 1];
        std::memset(text, 'x', sizeof text);
        ASSERT_EQ(0, service_->call(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, text));
        EXPECT_STREQ(module.version, text);
        EXPECT_EQ('\0', text[kCameraVersionSize - 1]);
        EXPECT_EQ('x', text[kCameraVersionSize]) << "wrote past the buffer";
    }
}

TEST_F(Options, SensorCheckReadsBackWhatItWrote)
{
    ia_sensor_check_st write{0x40, 1, 4711, -1};
    EXPECT_EQ(0, service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_SET, &write));
    EXPECT_EQ(-1, write.result);
    ia_sensor_check_st read{0x40, 2, 0, -1};
    EXPECT_EQ(0, service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_GET, &read));
    EXPECT_EQ(4711, read.result);
    ia_sensor_check_st untouched{0x41, 2, 0, -1};
    EXPECT_EQ(0, service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_GET, &untouched));
    EXPECT_EQ(0, untouched.result);
}

TEST_F(Options, SensorCheckHasReadOnlyRegistersForModuleFrameRateAndNight)
{
    service_->setModule(2);
    set(IA_CMD_DN_MODE, 2);
    const int expected[] = {2, 30, 1};
    for (int address = 0; address < 3; ++address)
    {
        ia_sensor_check_st read{address, 2, 0, -1};
        EXPECT_EQ(0, service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_GET, &read));
        EXPECT_EQ(expected[address], read.result);
        ia_sensor_check_st write{address, 1, 9, 0};
        EXPECT_EQ(services::kOutOfRange, service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_SET, &write));
    }
}

TEST_F(Options, SensorCheckRefusesAddressesAndValuesBeyondItsRegisters)
{
    for (const int address : {-1, 256})
    {
        ia_sensor_check_st read{address, 2, 0, -1};
        EXPECT_EQ(services::kOutOfRange, service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_GET, &read));
        EXPECT_EQ(-1, read.result);
    }
    for (const int value : {-1, 65536})
    {
        ia_sensor_check_st write{0x40, 1, value, 0};
        EXPECT_EQ(services::kOutOfRange, service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_SET, &write));
    }
}

TEST_F(Options, ThresholdsComeAsOneRecordWithEitherCommand)
{
    for (const ia_cmd_e cmd : {IA_CMD_DTN_THR, IA_CMD_NTD_THR})
    {
        service_->reset();
        dn_thr_st record{7, 9};
        EXPECT_EQ(0, service_->call(cmd, IA_CMD_OPT_SET, &record));
        EXPECT_EQ(7, get(IA_CMD_DTN_THR));
        EXPECT_EQ(9, get(IA_CMD_NTD_THR));
    }
}

TEST_F(Options, SwitchTimesComeAsOneRecordWithAnyOfTheFourCommands)
{
    for (const ia_cmd_e cmd : {IA_CMD_DTN_H, IA_CMD_DTN_M, IA_CMD_NTD_H, IA_CMD_NTD_M})
    {
        service_->reset();
        dn_time_st record{19, 31, 5, 47};
        EXPECT_EQ(0, service_->call(cmd, IA_CMD_OPT_SET, &record));
        EXPECT_EQ(19, get(IA_CMD_DTN_H));
        EXPECT_EQ(31, get(IA_CMD_DTN_M));
        EXPECT_EQ(5, get(IA_CMD_NTD_H));
        EXPECT_EQ(47, get(IA_CMD_NTD_M));
    }
}

TEST_F(Options, ARecordWithOneBadFieldIsRefusedWhole)
{
    EXPECT_EQ(services::kOutOfRange, setThresholds(1, 201));
    EXPECT_EQ(services::kOutOfRange, setThresholds(0xFFFFFFFFu, 1));
    EXPECT_EQ(20, get(IA_CMD_DTN_THR));
    EXPECT_EQ(60, get(IA_CMD_NTD_THR));
    EXPECT_EQ(services::kOutOfRange, setTimes(1, 2, 3, 60));
    EXPECT_EQ(services::kOutOfRange, setTimes(24, 2, 3, 4));
    EXPECT_EQ(18, get(IA_CMD_DTN_H));
    EXPECT_EQ(6, get(IA_CMD_NTD_H));
}

TEST_F(Options, EveryCommandTellsItsExecutionStatus)
{
    for (const sim::Parameter& row : sim::parameters())
    {
        EXPECT_EQ(services::kIdle, status(row.cmd)) << row.name;
    }
}

TEST_F(Options, PictureOffsetMovesByStepsAndStopsAtItsLimits)
{
    ASSERT_EQ(0, set(IA_CMD_CAP_OFF_ADJ_STEP, 32));
    EXPECT_EQ(0, set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 2));
    EXPECT_EQ(32, get(IA_CMD_CAP_OFF_ADJ_H_CUR));
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 2);
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 2);
    EXPECT_EQ(64, get(IA_CMD_CAP_OFF_ADJ_H_CUR));
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 1);
    EXPECT_EQ(32, get(IA_CMD_CAP_OFF_ADJ_H_CUR));
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 3);
    EXPECT_EQ(-32, get(IA_CMD_CAP_OFF_ADJ_V_CUR));
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 4);
    EXPECT_EQ(0, get(IA_CMD_CAP_OFF_ADJ_V_CUR));
    EXPECT_EQ(0, set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 0));
    EXPECT_EQ(0, get(IA_CMD_CAP_OFF_ADJ_V_CUR));
    EXPECT_EQ(32, get(IA_CMD_CAP_OFF_ADJ_H_CUR));
}

TEST_F(Options, PictureOffsetLimitsBindTheOffset)
{
    ASSERT_EQ(0, set(IA_CMD_CAP_OFF_ADJ_H_CUR, 50));
    EXPECT_EQ(0, set(IA_CMD_CAP_OFF_ADJ_H_MAX, 10));
    EXPECT_EQ(10, get(IA_CMD_CAP_OFF_ADJ_H_CUR));
    EXPECT_EQ(services::kOutOfRange, set(IA_CMD_CAP_OFF_ADJ_H_CUR, 11));
    EXPECT_EQ(10, describe(IA_CMD_CAP_OFF_ADJ_H_CUR).reserved2);
    EXPECT_EQ(-64, describe(IA_CMD_CAP_OFF_ADJ_H_CUR).reserved0);
    EXPECT_EQ(10, correct(IA_CMD_CAP_OFF_ADJ_H_CUR, 40));
    EXPECT_EQ(0, set(IA_CMD_CAP_OFF_ADJ_V_CUR, -50));
    EXPECT_EQ(0, set(IA_CMD_CAP_OFF_ADJ_V_MIN, -5));
    EXPECT_EQ(-5, get(IA_CMD_CAP_OFF_ADJ_V_CUR));
}

TEST_F(Options, ResetGoesBackToPowerOnButKeepsTheModule)
{
    service_->setModule(2);
    set(IA_CMD_BRIGHTNESS, 1);
    set(IA_CMD_MZ_POSITION, 20000);
    ia_sensor_check_st write{0x40, 1, 1, 0};
    service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_SET, &write);
    service_->setLight(3);
    service_->setWeather({30, 70});
    pass(1min);
    service_->reset();
    EXPECT_EQ(50, get(IA_CMD_BRIGHTNESS));
    EXPECT_EQ(16384, get(IA_CMD_MZ_POSITION));
    EXPECT_EQ(0, get(IA_CMD_DN_STATE));
    EXPECT_EQ(sim::Service::kPowerOnLux, service_->light());
    EXPECT_EQ(0, service_->weather().haze);
    EXPECT_EQ(20, service_->weather().wind);
    ia_sensor_check_st read{0x40, 2, 0, -1};
    service_->call(IA_CMD_SENSOR_CHECK, IA_CMD_OPT_GET, &read);
    EXPECT_EQ(0, read.result);
    EXPECT_EQ(30, get(IA_CMD_SENSOR_FPS));
}

TEST_F(Options, WeatherIsKeptWithinZeroAndAHundredPerCent)
{
    service_->setWeather({55, 0});
    EXPECT_EQ(55, service_->weather().haze);
    EXPECT_EQ(0, service_->weather().wind);
    service_->setWeather({-1, 101});
    EXPECT_EQ(0, service_->weather().haze);
    EXPECT_EQ(100, service_->weather().wind);
}

TEST_F(Options, StateListsEveryWordWithNameUnitRangeAndValue)
{
    set(IA_CMD_BRIGHTNESS, 61);
    set(IA_CMD_UI_MIRROR, 3);
    const std::vector<services::ParameterState> rows = service_->parameters();
    EXPECT_EQ(sim::parameters().size() - 3, rows.size()) << "all but the three records";
    const auto row = [&rows](ia_cmd_e cmd) {
        return *std::find_if(rows.begin(), rows.end(), [cmd](auto& candidate) { return candidate.cmd == cmd; });
    };
    EXPECT_EQ(61, row(IA_CMD_BRIGHTNESS).value);
    EXPECT_EQ("Brightness", row(IA_CMD_BRIGHTNESS).name);
    EXPECT_EQ("%", row(IA_CMD_BRIGHTNESS).unit);
    EXPECT_EQ(100, row(IA_CMD_BRIGHTNESS).allowed.maximum);
    EXPECT_EQ("Both", row(IA_CMD_UI_MIRROR).labelOf(3));
    EXPECT_EQ("", row(IA_CMD_UI_MIRROR).labelOf(4));
    for (const services::ParameterState& state : rows)
    {
        EXPECT_TRUE(state.allowed.contains(state.value)) << state.name;
        int value = -1;
        EXPECT_TRUE(service_->value(state.cmd, value));
        EXPECT_EQ(state.value, value);
    }
}

TEST_F(Options, OneParameterIsAskedForByItsCommand)
{
    int value = -1;
    EXPECT_TRUE(service_->value(IA_CMD_BRIGHTNESS, value));
    EXPECT_EQ(50, value);
    EXPECT_EQ(50, service_->parameter(IA_CMD_BRIGHTNESS)->value);
    for (const ia_cmd_e cmd : {IA_CMD_CAMERA_VERSION, IA_CMD_WDR_BRACKET})
    {
        EXPECT_FALSE(service_->value(cmd, value));
        EXPECT_FALSE(service_->parameter(cmd));
    }
}

}  // namespace
