#pragma once

#include <functional>
#include <string>

namespace devices {

enum class Role : unsigned char
{
    camera,  // its node; "0", "1" … the subdevices that its picture comes from, the nearest first
    light,   // a sensor of the kernel's industrial I/O
    lampNear,
    lampMedium,
    lampFar,
    filter,  // lines of a GPIO chip
};

// What is opened of a role: a file of the kernel's of a light sensor or a lamp ("in_illuminance_raw", "brightness"), a line
// of a filter; "" for a node, and for a subdevice.
struct RoleFile
{
    const char* name;
    int mode;  // as open takes it
};
inline constexpr char kLineIn[] = "in";  // the only one of a filter that follows a level
inline constexpr char kLineOut[] = "out";

// Null when no camera has a use for it. Reentrant.
const RoleFile* findFile(Role role, const std::string& name);

// Who opens the devices of one camera: this process, or another one outside of its private tree. Thread-safe.
class DeviceSource
{
public:
    virtual ~DeviceSource() = default;

    // A descriptor of the role's device as it is plugged in now, which the caller closes. file: one that
    // findFile knows. Below 0, the error number with a minus: -ENODEV while it is not plugged in, -ENOENT for a file that
    // it does not have, -EINVAL for a role that the camera has nothing for. Does not wait for the device.
    virtual int open(Role role, const std::string& file = "") = 0;

    // From now on changed is called whenever a device has come or gone, on a thread of the source's own; it may call
    // open. One listener; null takes it off, and then a call under way has ended when this returns.
    virtual void listen(std::function<void()> changed) = 0;
    // The same, called when a program has opened or closed the camera's node, this one not excepted: it may have set what
    // a driver does not tell. Never, where nobody watches.
    virtual void listenToUse(std::function<void()>) {}
};

}  // namespace devices
