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

TEST_F(ServiceInForce, TheOneBeforeIsToldWhenAnotherTakesItsPlace)
{
    EXPECT_EQ(nullptr, services::setServiceInForce(service_.get()));
    EXPECT_EQ(service_.get(), services::setServiceInForce(nullptr));
}

}  // namespace
