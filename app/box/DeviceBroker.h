#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "camera/Descriptor.h"
#include "services/linux/DeviceSource.h"

// A private tree shows none of the machine's devices. The process outside of it opens them and hands descriptors in, anew
// whenever the device has come back: a node that was bound there would stay the dead one.
namespace app {

// The two ends of what broker and camera talk over.
struct BrokerLine
{
    // Throws Failure.
    BrokerLine();

    camera::Descriptor brokers;
    camera::Descriptor copys;  // to be inherited
};

// Serves one camera, which is not trusted: it gets the descriptors of its own roles, of a light sensor and of lamps those
// files that a service reads and writes, and nothing else. Beside whatever else the process does: it takes no signal.
class DeviceBroker
{
public:
    // source outlives it. Throws Failure.
    DeviceBroker(devices::DeviceSource& source, camera::Descriptor brokersEnd);
    ~DeviceBroker();
    DeviceBroker(const DeviceBroker&) = delete;
    DeviceBroker& operator=(const DeviceBroker&) = delete;

private:
    void run();
    bool answerOne();
    void hearChanges();
    void tell(char change);

    devices::DeviceSource& source_;
    const camera::Descriptor line_;
    std::mutex mutex_;
    camera::Descriptor changes_;  // guarded by mutex_; none until the camera wants to hear of them
    std::thread thread_;
};

// The camera's side. After the broker's end nothing is there any more.
class RemoteDevices : public devices::DeviceSource
{
public:
    // Waits for the broker to begin. Throws Failure.
    explicit RemoteDevices(camera::Descriptor copysEnd);
    ~RemoteDevices() override;

    int open(devices::Role role, const std::string& file = "") override;
    void listen(std::function<void()> changed) override;
    void listenToUse(std::function<void()> used) override;

private:
    int ask(const std::string& request);
    void hear();

    const camera::Descriptor line_;
    const camera::Descriptor wake_;
    std::mutex asking_;  // held until the broker has answered, which may open a device first
    const camera::Descriptor changes_;

    std::mutex mutex_;  // held during a call of a listener

    // Guarded by mutex_.
    std::function<void()> changed_;
    std::function<void()> used_;

    std::thread thread_;  // last: it uses the others
};

}  // namespace app
