#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <future>

#include "app/Devices.h"
#include "tests/support/FakeDevice.h"

namespace {

using services::Standing;

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
    }
    ~DeviceWatchTest() override { unsetenv("NOTIFY_SOCKET"); }

    // The next message to the service manager.
    std::string told()
    {
        char text[200];
        const ssize_t count = recv(manager_.number(), text, sizeof text, 0);
        return count < 0 ? "nothing" : std::string(text, static_cast<std::size_t>(count));
    }

    void plug(bool isThere)
    {
        device_.plug(isThere);
        events_.tell({camera::Event::Kind::device});
    }

    support::FakeDevice device_;
    camera::Events events_;

private:
    const camera::Descriptor manager_;
};

TEST_F(DeviceWatchTest, ReadyMeansThatAllIsAppliedThatCanBe)
{
    device_.stand(IA_CMD_CONTRAST, Standing::held);
    device_.stand(IA_CMD_BRIGHTNESS, Standing::waiting);
    const app::DeviceWatch watch(device_, events_, [] {});
    device_.stand(IA_CMD_BRIGHTNESS, Standing::applied);
    EXPECT_EQ(told(), "READY=1\nSTATUS=everything is applied");
}

TEST_F(DeviceWatchTest, ADeviceThatIsLostAndBackIsToldOnceEach)
{
    const app::DeviceWatch watch(device_, events_, [] {});
    EXPECT_EQ(told(), "READY=1\nSTATUS=everything is applied");
    plug(false);
    EXPECT_EQ(told(), "STATUS=the device is lost");
    plug(true);
    EXPECT_EQ(told(), "STATUS=the device is back");
}

TEST_F(DeviceWatchTest, OtherControlsAreToldToTheOneWhoEndsTheCamera)
{
    device_.plug(true, true);
    std::promise<void> ended;
    const app::DeviceWatch watch(device_, events_, [&] { ended.set_value(); });
    ended.get_future().get();
    EXPECT_EQ(told(), "STATUS=USB Camera has other controls now");
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
