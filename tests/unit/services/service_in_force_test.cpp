#include "tests/unit/services/sim/SimCamera.h"

namespace {

class ServiceInForce : public SimCamera
{
protected:
    ~ServiceInForce() override { services::setServiceInForce(nullptr); }
};

TEST_F(ServiceInForce, TheEntryPointForwardsToIt)
{
    services::setServiceInForce(service_.get());
    int value = 64;
    EXPECT_EQ(services::kDone, ia_ioctrl(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(64, get(IA_CMD_BRIGHTNESS));
    EXPECT_EQ(services::kOutOfRange, ia_ioctrl(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, &(value = 101)));
}

TEST_F(ServiceInForce, WithoutOneEveryCallIsAnUnknownCommand)
{
    int value = 64;
    EXPECT_EQ(services::kUnknownCommand, ia_ioctrl(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(64, value);
}

}  // namespace
