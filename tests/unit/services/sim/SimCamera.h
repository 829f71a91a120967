#pragma once

#include "HostClock.h"
#include "services/sim/Service.h"

#include <gtest/gtest.h>

#include <memory>

// A service of its own on a clock that the test moves.
class SimCamera : public testing::Test
{
protected:
    SimCamera()
    {
        host::setClock(clock_);
        service_ = std::make_unique<sim::Service>();
        front_ = service_.get();
    }

    ~SimCamera() override { host::setClock(nullptr); }

    int set(ia_cmd_e cmd, int value) { return front_->call(cmd, IA_CMD_OPT_SET, &value); }

    int setThresholds(u32 dayToNight, u32 nightToDay)
    {
        dn_thr_st record{dayToNight, nightToDay};
        return front_->call(IA_CMD_DTN_THR, IA_CMD_OPT_SET, &record);
    }

    int setTimes(u32 nightHour, u32 nightMinute, u32 dayHour, u32 dayMinute)
    {
        dn_time_st record{nightHour, nightMinute, dayHour, dayMinute};
        return front_->call(IA_CMD_NTD_M, IA_CMD_OPT_SET, &record);
    }

    int get(ia_cmd_e cmd)
    {
        int value = -77;
        EXPECT_EQ(0, front_->call(cmd, IA_CMD_OPT_GET, &value)) << services::commandName(cmd);
        return value;
    }

    int status(ia_cmd_e cmd)
    {
        int value = -77;
        EXPECT_EQ(0, front_->call(cmd, IA_CMD_OPT_GET_EXEC_STATUS, &value)) << services::commandName(cmd);
        return value;
    }

    int correct(ia_cmd_e cmd, int value)
    {
        EXPECT_EQ(0, front_->call(cmd, IA_CMD_OPT_CORRECT_PARAM, &value)) << services::commandName(cmd);
        return value;
    }

    ia_dynamic_params_attr_st describe(ia_cmd_e cmd)
    {
        ia_dynamic_params_attr_st record;
        record.items_cnt = -77;
        EXPECT_EQ(0, front_->call(cmd, IA_CMD_OPT_GET_PARAM_RNAGE, &record)) << services::commandName(cmd);
        return record;
    }

    void pass(host::Span span) { clock_->advance(span); }

    const std::shared_ptr<host::ManualClock> clock_ = std::make_shared<host::ManualClock>(12, 0);
    std::unique_ptr<sim::Service> service_;
    services::ImageService* front_ = nullptr;  // where calls go: the service, unless a test puts something before it
};
