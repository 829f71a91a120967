#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "services/linux/Control.h"
#include "services/linux/DeviceSource.h"

namespace devices {

// Several devices that are used as one. A control that more than one has is the first's. For one thread at a time.
class JoinedDevice : public ControlDevice
{
public:
    explicit JoinedDevice(std::vector<std::unique_ptr<ControlDevice>> parts);
    ~JoinedDevice() override;

    JoinedDevice(const JoinedDevice&) = delete;
    JoinedDevice& operator=(const JoinedDevice&) = delete;

    const std::vector<Control>& controls() const override { return controls_; }
    // A call for each part, in the order in which the settings name them.
    int set(std::vector<Setting>& settings) override;
    int get(u32 id, std::int64_t& value) override;
    int eventDescriptor() const override { return events_; }
    int events(std::vector<ControlEvent>& events) override;

private:
    int setPart(ControlDevice* part, std::vector<Setting>& settings);
    ControlDevice* partOf(u32 id) const;
    void listen();

    const std::vector<std::unique_ptr<ControlDevice>> parts_;
    std::vector<Control> controls_;
    std::map<u32, ControlDevice*> owners_;  // by control
    int events_ = -1;
};

// Whether a camera is used without a subdevice for that error: it is somebody else's. After any other one the camera is
// opened again later, so that a moment's failure does not take controls away from it.
bool isLeftOut(int error);

// As V4l2Device::open does it.
using DescriptorOpen = std::function<std::unique_ptr<ControlDevice>(int descriptor, int& error)>;
std::unique_ptr<ControlDevice> openV4l2Device(int descriptor, int& error);

// A camera with its subdevices, as far as it has any. descriptor: its node, as the source has given it. Null when it cannot
// be had, and then error says why.
std::unique_ptr<ControlDevice> openCamera(DeviceSource& source, int descriptor, int& error,
                                          const DescriptorOpen& open = openV4l2Device);

}  // namespace devices
