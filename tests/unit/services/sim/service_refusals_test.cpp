#include "tests/unit/services/sim/SimCamera.h"

namespace {

class Refusals : public SimCamera
{
};

TEST_F(Refusals, AnUnknownCommandIsRefusedWithEveryOption)
{
    for (const u32 cmd : {0u, 1u, 2370u, 2497u, 8000u, 0xFFFFFFFFu})
    {
        for (int opt = 0; opt <= 4; ++opt)
        {
            ia_dynamic_params_attr_st data{};
            EXPECT_EQ(services::kUnknownCommand, service_->call(ia_cmd_e(cmd), opt, &data)) << cmd << " " << opt;
        }
    }
}

TEST_F(Refusals, NullDataIsRefusedWithEveryOptionOfEveryCommand)
{
    for (const sim::Parameter& row : sim::parameters())
    {
        for (int opt = 0; opt <= 4; ++opt)
        {
            const int expected = row.options & (1u << opt) ? services::kNoData : services::kNotSupported;
            EXPECT_EQ(expected, service_->call(row.cmd, opt, nullptr)) << row.name << " " << opt;
        }
    }
}

TEST_F(Refusals, AnUnknownOptionIsRefused)
{
    int value = 5;
    for (const int opt : {-1, 5, 31, 32, 1000})
    {
        EXPECT_EQ(services::kNotSupported, service_->call(IA_CMD_BRIGHTNESS, opt, &value)) << opt;
    }
    EXPECT_EQ(5, value);
}

TEST_F(Refusals, WhatCanOnlyBeReadRefusesToBeSetOrCorrected)
{
    int value = 0;
    constexpr ia_cmd_e kReadings[] = {IA_CMD_DN_STATE, IA_CMD_AF_STATISTIC, IA_CMD_CAMERA_VERSION,
                                      IA_CMD_DYNAMIC_PARAMS_CMDS_GET};
    for (const ia_cmd_e cmd : kReadings)
    {
        EXPECT_EQ(services::kNotSupported, service_->call(cmd, IA_CMD_OPT_SET, &value)) << services::commandName(cmd);
        EXPECT_EQ(services::kNotSupported, service_->call(cmd, IA_CMD_OPT_CORRECT_PARAM, &value))
            << services::commandName(cmd);
    }
}

}  // namespace
