#include <cstring>

#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

class CameraInformation : public ControllerFixture
{
protected:
    void SetUp() override
    {
        ControllerFixture::SetUp();
        construct();
    }
};

TEST_F(CameraInformation, VersionIsTheServicesText)
{
    service_.setCameraVersion("sensor 1.2.3");
    std::string version = "old";
    EXPECT_TRUE(c().getCameraVerInf(version));
    EXPECT_EQ("sensor 1.2.3", version);
    EXPECT_EQ(2496U, service_.calls().at(0).cmd);
    EXPECT_EQ(1, service_.calls().at(0).opt);
}

TEST_F(CameraInformation, VersionBufferIsZeroFilledAndFiftyBytes)
{
    service_.answer(2496, 1, [](u32, int, void* data) {
        char* text = static_cast<char*>(data);
        for (int i = 0; i < 50; ++i)
        {
            EXPECT_EQ('\0', text[i]) << i;
        }
        std::memset(text, 'v', 49);
        return 0;
    });
    std::string version;
    EXPECT_TRUE(c().getCameraVerInf(version));
    EXPECT_EQ(std::string(49, 'v'), version);
}

TEST_F(CameraInformation, VersionWithoutTerminatorIsCut)
{
    service_.answer(2496, 1, [](u32, int, void* data) {
        std::memset(data, 'v', 50);
        return 0;
    });
    std::string version;
    EXPECT_TRUE(c().getCameraVerInf(version));
    EXPECT_EQ(49U, version.size());
}

TEST_F(CameraInformation, EmptyVersionReplacesTheText)
{
    service_.setCameraVersion("");
    std::string version = "old";
    EXPECT_TRUE(c().getCameraVerInf(version));
    EXPECT_EQ("", version);
}

TEST_F(CameraInformation, FailedVersionLeavesTheText)
{
    service_.answer(2496, 1, [](u32, int, void* data) {
        std::strcpy(static_cast<char*>(data), "half");
        return -1;
    });
    std::string version = "old";
    EXPECT_FALSE(c().getCameraVerInf(version));
    EXPECT_EQ("old", version);
}

TEST_F(CameraInformation, TypeIsTheHostsModuleId)
{
    bringUp();
    EXPECT_EQ(7, c().getSensorType());
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(CameraInformation, StatusIsTrueOnceInitHasFinishedAndEverAfter)
{
    EXPECT_FALSE(c().getSensorStatus());
    bringUp();
    EXPECT_TRUE(c().getSensorStatus());
    c().uinit();
    initialised_ = false;
    EXPECT_TRUE(c().getSensorStatus());
}

TEST_F(CameraInformation, DebugMessageDoesNothing)
{
    setDebug(9);
    EXPECT_EQ("", outputOf([&] { c().printDebugMsg(); }));
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(CameraInformation, TakesNoLock)
{
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    std::string version;
    EXPECT_TRUE(c().getCameraVerInf(version));
    c().getSensorType();
    c().getSensorStatus();
    c().printDebugMsg();
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
}

}  // namespace
