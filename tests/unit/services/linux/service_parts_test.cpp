#include "tests/unit/services/linux/ServiceTest.h"

namespace {

using services::Standing;

// Camera, lamps and filter come and go by themselves.
class LinuxServiceParts : public support::ServiceTest
{
};

TEST_F(LinuxServiceParts, WhatIsNotThereYetIsNoOtherControl)
{
    lamps.plug(false);
    filter.plug(false);
    start();
    ASSERT_TRUE(support::comes([this] { return service->isThere(); }));
    EXPECT_FALSE(service->hasOtherControls());
}

TEST_F(LinuxServiceParts, TheCameraIsThereThoughALampIsLost)
{
    start();
    EXPECT_EQ(0, set(IA_CMD_DN_MODE, 2));
    EXPECT_EQ(0, set(IA_CMD_IR_SWITCH, 1));
    EXPECT_EQ(0, set(IA_CMD_IR_MODE, 2));
    EXPECT_EQ(0, set(IA_CMD_IR_MANUAL_STRG_NEAR, 100));
    ASSERT_TRUE(lamps.waitFor({devices::kLampNear, 200}));
    ASSERT_TRUE(support::comes([this] { return service->isThere(); }));
    lamps.plug(false);
    ASSERT_TRUE(becomes(IA_CMD_IR_SWITCH, Standing::lost));
    EXPECT_TRUE(service->isThere());
}

}  // namespace
