#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "services/linux/V4l2Device.h"
#include "tests/unit/services/linux/ScriptedDriver.h"

namespace {

using devices::ControlEvent;
using devices::V4l2Device;
using support::answer;

// A node that has something to tell all the time, as a socket with urgent data has.
class TellingNode
{
public:
    TellingNode()
    {
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        other_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        const bool isReady = bind(listener, any, size) == 0 && listen(listener, 1) == 0 &&
                             getsockname(listener, any, &size) == 0 && connect(other_, any, size) == 0;
        node_ = isReady ? accept4(listener, nullptr, nullptr, SOCK_CLOEXEC) : -1;
        close(listener);
        send(other_, "!", 1, MSG_OOB | MSG_NOSIGNAL);
    }
    ~TellingNode() { close(other_); }
    TellingNode(const TellingNode&) = delete;
    TellingNode& operator=(const TellingNode&) = delete;

    // Whoever takes it closes it.
    int descriptor() const { return node_; }

private:
    int other_ = -1;
    int node_ = -1;
};

bool isTold(const V4l2Device& device, int timeout)
{
    pollfd told = {device.eventDescriptor(), POLLIN, 0};
    return poll(&told, 1, timeout) == 1;
}

class V4l2DeviceEvents : public testing::Test
{
protected:
    V4l2DeviceEvents() { driver_.add(answer(5, V4L2_CTRL_TYPE_INTEGER, "Brightness", -10, 20, 1, 0)); }

    void tell(u32 changes, u32 flags = 0)
    {
        v4l2_event event = {};
        event.type = V4L2_EVENT_CTRL;
        event.id = 5;
        event.u.ctrl.changes = changes;
        event.u.ctrl.flags = flags;
        driver_.events.push_back(event);
    }

    support::ScriptedDriver driver_;
    int error_ = -1;
};

TEST_F(V4l2DeviceEvents, OfMoreThanAreTakenAtOnceTheRestIsToldOfAgain)
{
    const TellingNode node;
    ASSERT_GE(node.descriptor(), 0);
    const std::unique_ptr<V4l2Device> device = V4l2Device::open(driver_.ioctl(), node.descriptor(), error_);
    ASSERT_TRUE(device);
    for (int i = 0; i < 300; ++i)
    {
        tell(V4L2_EVENT_CTRL_CH_VALUE);
    }
    ASSERT_TRUE(isTold(*device, 60'000));
    std::vector<ControlEvent> events;
    EXPECT_EQ(0, device->events(events));
    ASSERT_EQ(256u, events.size());
    ASSERT_TRUE(isTold(*device, 0));
    EXPECT_EQ(0, device->events(events));
    EXPECT_EQ(300u, events.size());
    EXPECT_FALSE(isTold(*device, 0)) << "a driver that calls it an event that nobody streams is not asked without end";
}

TEST_F(V4l2DeviceEvents, AControlIsFreeOnceNeitherAnAutomaticNorAStreamHoldsIt)
{
    const std::unique_ptr<V4l2Device> device = V4l2Device::open(driver_.ioctl(), -1, error_);
    tell(V4L2_EVENT_CTRL_CH_FLAGS, V4L2_CTRL_FLAG_INACTIVE);
    tell(V4L2_EVENT_CTRL_CH_FLAGS, V4L2_CTRL_FLAG_GRABBED);
    std::vector<ControlEvent> events;
    EXPECT_EQ(0, device->events(events));
    EXPECT_TRUE(events.empty());
    tell(V4L2_EVENT_CTRL_CH_FLAGS);
    EXPECT_EQ(0, device->events(events));
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(ControlEvent::Kind::freed, events[0].kind);
}

}  // namespace
