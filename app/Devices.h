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

// A source whose changes the service hears, and somebody else after it. Thread-safe.
class OverheardDevices : public devices::DeviceSource
{
public:
    explicit OverheardDevices(std::unique_ptr<devices::DeviceSource> source) : source_(std::move(source)) {}

    int open(devices::Role role, const std::string& file = "") override { return source_->open(role, file); }
    void listen(std::function<void()> changed) override;
    void listenToUse(std::function<void()> used) override { source_->listenToUse(std::move(used)); }
    // As listen.
    void overhear(std::function<void()> changed);

private:
    const std::unique_ptr<devices::DeviceSource> source_;
    std::mutex mutex_;
    std::function<void()> overheard_;  // guarded by mutex_, which is held during its call
};

// Both are never destroyed: the sensor thread of a camera that ends without uinit may call until the very end.
struct DeviceService
{
    services::Journal& service;
    OverheardDevices& devices;
};

// The service on the devices of source, with what the state folder remembers, and in force from the first call of this on.
// Once in a process. Throws std::runtime_error.
DeviceService deviceService(const std::string& stateFolder, std::unique_ptr<devices::DeviceSource> source);

// Looks at the device behind a service: at the start until everything wished has been applied, later whenever something
// was plugged, and sleeps otherwise. Tells systemd, where that asked for it, of readiness, of a device that is lost and of
// one that is back.
class DeviceWatch
{
public:
    // onOtherControls is called once, on a thread of this object. The service must outlive it.
    DeviceWatch(DeviceService service, std::function<void()> onOtherControls);
    ~DeviceWatch();
    DeviceWatch(const DeviceWatch&) = delete;
    DeviceWatch& operator=(const DeviceWatch&) = delete;

    // Any thread.
    bool hasOtherControls() const;

private:
    void lookAgain();
    void run();
    bool look();

    OverheardDevices& devices_;
    services::Device& device_;
    const std::function<void()> onOtherControls_;
    const std::chrono::steady_clock::time_point begin_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    int looks_;  // still to come
    bool isEnding_ = false;
    bool hasOtherControls_ = false;

    // Of its thread.
    bool isReady_ = false;
    bool wasThere_ = true;
    std::thread thread_;
};

// To the service manager that asked for it: NOTIFY_SOCKET. lines: "READY=1\nSTATUS=…".
void notifyManager(const std::string& lines);

}  // namespace app
