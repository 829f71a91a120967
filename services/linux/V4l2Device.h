#pragma once

#include <memory>
#include <string>
#include <vector>

#include "services/linux/Control.h"
#include "services/linux/V4l2Description.h"

namespace devices {

// The controls and the frame rate of a node of a video device, or the controls of a subdevice's. For one thread at a
// time; each call may hang as long as the driver waits for the device.
class V4l2Device : public ControlDevice
{
public:
    // descriptor: as a DeviceSource gives it; closed with the object, or at once. Null when there is none or it cannot be
    // described, and then error says why; ENOTTY is no video device.
    static std::unique_ptr<V4l2Device> open(int descriptor, int& error);

    // The same for a device that is open. descriptor: where it tells events, -1 for none; closed in any case.
    static std::unique_ptr<V4l2Device> open(Ioctl ioctl, int descriptor, int& error);

    ~V4l2Device() override;

    V4l2Device(const V4l2Device&) = delete;
    V4l2Device& operator=(const V4l2Device&) = delete;

    const std::vector<Control>& controls() const override { return controls_; }
    int set(std::vector<Setting>& settings) override;
    int get(u32 id, std::int64_t& value) override;
    int eventDescriptor() const override { return events_; }
    int events(std::vector<ControlEvent>& events) override;

private:
    V4l2Device(Ioctl ioctl, int descriptor);

    int setControls(std::vector<Setting>& settings);
    int setFrameRate(Setting& setting);
    int getFrameRate(std::int64_t& value);
    v4l2_ext_control pack(const Setting& setting) const;
    std::int64_t unpack(const v4l2_ext_control& packed) const;
    void addEvents(const v4l2_event& told, std::vector<ControlEvent>& events);
    int query();
    void listen();
    bool watch(int operation);

    const Ioctl ioctl_;
    const int descriptor_;
    int events_ = -1;
    std::vector<Control> controls_;
};

}  // namespace devices
