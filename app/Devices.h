#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "app/Options.h"
#include "app/box/StateFolder.h"
#include "camera/Events.h"
#include "services/ImageService.h"
#include "services/Journal.h"
#include "services/linux/Board.h"
#include "services/linux/DeviceSource.h"

// Cameras that are plugged into this machine.
namespace app {

// What is plugged in, or the identity of one node. The exit status. Throws std::runtime_error.
int listDevices(const DeviceListOptions& options, bool json);

// A camera with a real device, where its devices are: outside of the private tree. Host thread only.
class DeviceCamera
{
public:
    // named: what the command line says; nothing: all as remembered. stateFolder: empty for that of its identity below the
    // user's state folder. Throws std::runtime_error.
    DeviceCamera(const std::optional<DeviceOptions>& named, const std::string& stateFolder);

    const std::string& stateFolder() const { return stateFolder_; }

    // Brings the documents of the device into force, or leaves those that there are while it is not plugged in, and
    // remembers board and model. state: the locked one. Throws std::runtime_error.
    void bringUp(StateFolder& state);

    // After bringUp.
    devices::DeviceSource& source() { return *source_; }
    // To a service in this process.
    std::unique_ptr<devices::DeviceSource> handOver() { return std::move(source_); }

private:
    devices::Board boardFor(const StateFolder& state) const;

    const std::optional<DeviceOptions> named_;
    devices::Board written_;  // of a board file; otherwise with the camera alone
    std::string stateFolder_;
    std::unique_ptr<devices::DeviceSource> source_;
};

// The service on the devices of source, with what the state folder remembers, and in force from the first call of this on.
// Once in a process. It is never destroyed: the sensor thread of a camera that ends without uinit may call until the very
// end. Throws std::runtime_error.
services::Journal& deviceService(const std::string& stateFolder, std::unique_ptr<devices::DeviceSource> source);

// Looks at a camera's device: at the start until everything wished has been applied, later at each event of the device,
// and sleeps otherwise. Tells systemd, where that asked for it, of readiness, of a device that is lost and of one that is
// back.
class DeviceWatch
{
public:
    // onOtherControls is called once, on a thread of this object. Device and events must outlive it.
    DeviceWatch(const services::Device& device, camera::Events& events, std::function<void()> onOtherControls);
    ~DeviceWatch();
    DeviceWatch(const DeviceWatch&) = delete;
    DeviceWatch& operator=(const DeviceWatch&) = delete;

    // Any thread.
    bool hasOtherControls() const;

private:
    void run();
    bool look(bool isLate);

    const services::Device& device_;
    camera::Events& events_;
    const std::function<void()> onOtherControls_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    bool isToLook_ = true;
    bool isEnding_ = false;
    bool hasOtherControls_ = false;

    // Of its thread.
    bool isReady_ = false;
    bool wasThere_ = true;

    // The last ones: they call, and begin, when all others are made.
    const int subscription_;
    std::thread thread_;
};

// To the service manager that asked for it: NOTIFY_SOCKET. lines: "READY=1\nSTATUS=…".
void notifyManager(const std::string& lines);

}  // namespace app
