#include "services/linux/JoinedDevice.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "services/linux/Subdevices.h"
#include "services/linux/V4l2Device.h"

namespace devices {

JoinedDevice::JoinedDevice(std::vector<std::unique_ptr<ControlDevice>> parts) : parts_(std::move(parts))
{
    for (const auto& part : parts_)
    {
        for (const Control& control : part->controls())
        {
            // A description holds no more than one device may have.
            if (controls_.size() < kMaxControls && owners_.emplace(control.id, part.get()).second)
            {
                controls_.push_back(control);
            }
        }
    }
    listen();
}

JoinedDevice::~JoinedDevice()
{
    if (events_ >= 0)
    {
        close(events_);
    }
}

void JoinedDevice::listen()
{
    events_ = epoll_create1(EPOLL_CLOEXEC);
    for (const auto& part : parts_)
    {
        if (events_ >= 0 && part->eventDescriptor() >= 0)
        {
            epoll_event event = {};
            event.events = EPOLLIN;
            epoll_ctl(events_, EPOLL_CTL_ADD, part->eventDescriptor(), &event);
        }
    }
}

ControlDevice* JoinedDevice::partOf(u32 id) const
{
    const auto found = owners_.find(id);
    return found != owners_.end() ? found->second : nullptr;
}

int JoinedDevice::set(std::vector<Setting>& settings)
{
    std::vector<ControlDevice*> order;
    for (const Setting& setting : settings)
    {
        ControlDevice* const part = partOf(setting.id);
        if (part == nullptr)
        {
            return EINVAL;
        }
        if (std::find(order.begin(), order.end(), part) == order.end())
        {
            order.push_back(part);
        }
    }
    for (ControlDevice* const part : order)
    {
        if (const int error = setPart(part, settings))
        {
            return error;
        }
    }
    return 0;
}

int JoinedDevice::setPart(ControlDevice* part, std::vector<Setting>& settings)
{
    std::vector<Setting> own;
    std::copy_if(settings.begin(), settings.end(), std::back_inserter(own),
                 [&](const Setting& setting) { return partOf(setting.id) == part; });
    const int error = part->set(own);
    auto done = own.begin();
    for (Setting& setting : settings)
    {
        if (partOf(setting.id) == part)
        {
            setting = *done++;
        }
    }
    return error;
}

int JoinedDevice::get(u32 id, std::int64_t& value)
{
    ControlDevice* const part = partOf(id);
    return part != nullptr ? part->get(id, value) : EINVAL;
}

int JoinedDevice::events(std::vector<ControlEvent>& events)
{
    int first = 0;
    for (const auto& part : parts_)
    {
        std::vector<ControlEvent> told;
        const int error = part->events(told);
        first = first != 0 ? first : error;
        std::copy_if(told.begin(), told.end(), std::back_inserter(events),
                     [&](const ControlEvent& event) { return partOf(event.id) == part.get(); });
    }
    return first;
}

bool isLeftOut(int error)
{
    return error == EACCES || error == EPERM || error == EBUSY || error == ENOTTY;
}

std::unique_ptr<ControlDevice> openV4l2Device(int descriptor, int& error)
{
    return V4l2Device::open(descriptor, error);
}

std::unique_ptr<ControlDevice> openCamera(DeviceSource& source, int descriptor, int& error, const DescriptorOpen& open)
{
    std::vector<std::unique_ptr<ControlDevice>> parts;
    parts.push_back(open(descriptor, error));
    if (parts[0] == nullptr)
    {
        return nullptr;
    }
    for (std::size_t i = 0; i < kMaxSubdevices; ++i)
    {
        const int subdevice = source.open(Role::camera, fileOfSubdevice(i));
        if (subdevice == -ENOENT)
        {
            break;
        }
        std::unique_ptr<ControlDevice> part = open(subdevice, error);
        if (part != nullptr)
        {
            parts.push_back(std::move(part));
        }
        else if (!isLeftOut(error))
        {
            return nullptr;
        }
    }
    error = 0;
    return parts.size() == 1 ? std::move(parts[0]) : std::make_unique<JoinedDevice>(std::move(parts));
}

}  // namespace devices
