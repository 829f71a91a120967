#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <future>

#include "app/Devices.h"

namespace {

using services::Standing;

// A service on a device of which a test says how it stands.
class FakeDevice : public services::ImageService, public services::Device
{
public:
    int call(ia_cmd_e, int, void*) override { return services::kNotSupported; }
    bool setModule(int) override { return true; }
    std::vector<services::ParameterState> parameters() const override { return {}; }
    std::optional<services::ParameterState> parameter(ia_cmd_e) const override { return std::nullopt; }
    services::Device* device() override { return this; }

    std::string name() const override { return "Webcam"; }
    bool isThere() const override { return isThere_; }
    bool hasOtherControls() const override { return hasOtherControls_; }
    std::map<ia_cmd_e, Standing> standings() const override
    {
        return isApplied_ ? std::map<ia_cmd_e, Standing>{{IA_CMD_BRIGHTNESS, Standing::held}}
                          : std::map<ia_cmd_e, Standing>{{IA_CMD_BRIGHTNESS, Standing::waiting}};
    }
    std::map<ia_cmd_e, int> takenOver() override { return {}; }
    std::vector<services::NamedControl> controls() const override { return {}; }
    int set(const std::string&, int) override { return services::kUnknownCommand; }

    std::atomic<bool> isThere_{true};
    std::atomic<bool> hasOtherControls_{false};
    std::atomic<bool> isApplied_{true};
};

class FakePlugs : public devices::DeviceSource
{
public:
    explicit FakePlugs(std::function<void()>& changed) : changed_(changed) {}

    int open(devices::Role, const std::string&) override { return -ENODEV; }
    void listen(std::function<void()> changed) override { changed_ = std::move(changed); }

private:
    std::function<void()>& changed_;
};

class DeviceWatchTest : public testing::Test
{
protected:
    DeviceWatchTest() : manager_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const std::string name = "sensorcam-watch-test-" + std::to_string(getpid());
        std::memcpy(address.sun_path + 1, name.data(), name.size());
        EXPECT_EQ(bind(manager_.number(), reinterpret_cast<const sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size())),
                  0);
        setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
        plugs_.listen([] {});
    }
    ~DeviceWatchTest() override { unsetenv("NOTIFY_SOCKET"); }

    // The next message to the service manager.
    std::string told()
    {
        char text[200];
        const ssize_t count = recv(manager_.number(), text, sizeof text, 0);
        return count < 0 ? "nothing" : std::string(text, static_cast<std::size_t>(count));
    }

    app::DeviceService service() { return {journal_, plugs_}; }

    FakeDevice device_;
    services::Journal journal_{device_};
    std::function<void()> plugged_;
    app::OverheardDevices plugs_{std::make_unique<FakePlugs>(plugged_)};

private:
    const camera::Descriptor manager_;
};

TEST_F(DeviceWatchTest, ReadyMeansThatAllIsAppliedThatCanBe)
{
    device_.isApplied_ = false;
    const app::DeviceWatch watch(service(), [] {});
    device_.isApplied_ = true;
    EXPECT_EQ(told(), "READY=1\nSTATUS=everything is applied");
}

TEST_F(DeviceWatchTest, ADeviceThatIsLostAndBackIsToldOnceEach)
{
    const app::DeviceWatch watch(service(), [] {});
    EXPECT_EQ(told(), "READY=1\nSTATUS=everything is applied");
    device_.isThere_ = false;
    plugged_();
    EXPECT_EQ(told(), "STATUS=the device is lost");
    device_.isThere_ = true;
    plugged_();
    EXPECT_EQ(told(), "STATUS=the device is back");
}

TEST_F(DeviceWatchTest, OtherControlsAreToldToTheOneWhoEndsTheCamera)
{
    device_.hasOtherControls_ = true;
    std::promise<void> ended;
    const app::DeviceWatch watch(service(), [&] { ended.set_value(); });
    ended.get_future().get();
    EXPECT_EQ(told(), "STATUS=Webcam has other controls now");
    while (!watch.hasOtherControls())
    {
        std::this_thread::yield();
    }
}

TEST_F(DeviceWatchTest, WithoutAManagerNobodyIsTold)
{
    for (const std::string place : {"", "nothing", "/nowhere/at/all", "@"})
    {
        setenv("NOTIFY_SOCKET", place.c_str(), 1);
        app::notifyManager("READY=1");
    }
}

}  // namespace
