#include <gtest/gtest.h>

#include <memory>

#include "HostPlatform.h"

namespace {

TEST(ModuleConfigure, KeepsWhatItIsGivenAlsoInCopies)
{
    ModuleConfigure configure;
    EXPECT_EQ(configure.getModuleId(), 0);
    EXPECT_EQ(configure.getDetail(), "");
    EXPECT_EQ(configure.getParameters(), "");
    configure.setModuleId(-7);
    configure.setDetail("(max_scheme=2)");
    configure.setParameters("text");
    const ModuleConfigure copy = configure;
    configure.setDetail("changed");
    EXPECT_EQ(copy.getModuleId(), -7);
    EXPECT_EQ(copy.getDetail(), "(max_scheme=2)");
    EXPECT_EQ(copy.getParameters(), "text");
}

TEST(DeviceType, TakesWhatMachineInfoGives)
{
    MachineInfo machineInfo;
    EXPECT_EQ(machineInfo.getDeviceType(), 0);
    EXPECT_EQ(machineInfo.getHardwareModel(), "");
    EXPECT_EQ(machineInfo.getHardwareCode(), "");
    machineInfo.setDeviceType(8);
    DeviceType deviceType;
    EXPECT_EQ(deviceType.getDeviceTypeId(), 0);
    deviceType.setDeviceTypeId(machineInfo.getDeviceType());
    EXPECT_EQ(deviceType.getDeviceTypeId(), 8);
}

class OneStream : public VideoStreamModule
{
public:
    explicit OneStream(bool& gone) : gone_(gone) {}
    ~OneStream() override { gone_ = true; }

    int notifyParam(int cmd, int value) override { return cmd + value; }

    std::vector<AVStreamParam> getStreamParams() const override
    {
        AVStreamParam stream;
        stream.setFrameRate(50);
        return {stream, AVStreamParam()};
    }

private:
    bool& gone_;
};

TEST(VideoStreamModule, IsUsedAndDestroyedThroughItsBase)
{
    bool gone = false;
    std::unique_ptr<VideoStreamModule> module = std::make_unique<OneStream>(gone);
    EXPECT_EQ(module->notifyParam(3, 4), 7);
    const VideoStreamModule& constant = *module;
    ASSERT_EQ(constant.getStreamParams().size(), 2u);
    EXPECT_EQ(constant.getStreamParams()[0].getFrameRate(), 50);
    EXPECT_EQ(constant.getStreamParams()[1].getFrameRate(), 25);
    module.reset();
    EXPECT_TRUE(gone);
}

}  // namespace
