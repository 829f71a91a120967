#include "services/linux/V4l2Device.h"

#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "services/linux/ControlIds.h"

namespace devices {
namespace {

constexpr unsigned kVideoMajor = 81;  // the kernel's, for nodes of video devices and of their parts
constexpr int kMaxEvents = 256;       // taken at once: a device may tell faster than anybody can read

bool isVideoNode(const struct stat& status)
{
    return S_ISCHR(status.st_mode) && major(status.st_rdev) == kVideoMajor;
}

}  // namespace

std::unique_ptr<V4l2Device> V4l2Device::open(int descriptor, int& error)
{
    if (descriptor < 0)
    {
        error = -descriptor;
        return nullptr;
    }
    // Looked at before: another driver's node may make something else of the calls.
    struct stat status;
    error = fstat(descriptor, &status) != 0 ? errno : isVideoNode(status) ? 0 : ENOTTY;
    if (error != 0)
    {
        close(descriptor);
        return nullptr;
    }
    const auto call = [descriptor](unsigned long request, void* argument) {
        int result;
        do
        {
            result = ::ioctl(descriptor, request, argument);
        }
        while (result < 0 && errno == EINTR);
        return result < 0 ? errno : 0;
    };
    return open(call, descriptor, error);
}

std::unique_ptr<V4l2Device> V4l2Device::open(Ioctl ioctl, int descriptor, int& error)
{
    std::unique_ptr<V4l2Device> device(new V4l2Device(std::move(ioctl), descriptor));
    error = device->query();
    if (error != 0)
    {
        return nullptr;
    }
    device->listen();
    return device;
}

V4l2Device::V4l2Device(Ioctl ioctl, int descriptor) : ioctl_(std::move(ioctl)), descriptor_(descriptor) {}

int V4l2Device::query()
{
    if (const int error = queryControls(ioctl_, controls_))
    {
        return error;
    }
    std::optional<Control> rate;
    const int error = queryFrameRate(ioctl_, rate);
    if (rate)
    {
        controls_.push_back(std::move(*rate));
    }
    return error;
}

V4l2Device::~V4l2Device()
{
    for (const int descriptor : {events_, descriptor_})
    {
        if (descriptor >= 0)
        {
            close(descriptor);
        }
    }
}

void V4l2Device::listen()
{
    for (const Control& control : controls_)
    {
        v4l2_event_subscription subscription = {};
        subscription.type = V4L2_EVENT_CTRL;
        subscription.id = control.id;
        if (control.id != kFrameRate)
        {
            ioctl_(VIDIOC_SUBSCRIBE_EVENT, &subscription);
        }
    }
    if (descriptor_ < 0)
    {
        return;
    }
    events_ = epoll_create1(EPOLL_CLOEXEC);
    if (events_ >= 0 && !watch(EPOLL_CTL_ADD))
    {
        close(events_);
        events_ = -1;
    }
}

bool V4l2Device::watch(int operation)
{
    // Told once: some drivers call it an error, without end, that nobody streams.
    epoll_event event = {};
    event.events = EPOLLPRI | EPOLLET;
    return epoll_ctl(events_, operation, descriptor_, &event) == 0;
}

int V4l2Device::set(std::vector<Setting>& settings)
{
    const auto rate =
        std::find_if(settings.begin(), settings.end(), [](const Setting& s) { return s.id == kFrameRate; });
    if (rate == settings.end())
    {
        return setControls(settings);
    }
    if (const int error = setFrameRate(*rate))
    {
        return error;
    }
    std::vector<Setting> others;
    std::copy_if(settings.begin(), settings.end(), std::back_inserter(others),
                 [](const Setting& s) { return s.id != kFrameRate; });
    const int error = others.empty() ? 0 : setControls(others);
    auto other = others.begin();
    for (Setting& setting : settings)
    {
        setting = setting.id == kFrameRate ? setting : *other++;
    }
    return error;
}

v4l2_ext_control V4l2Device::pack(const Setting& setting) const
{
    v4l2_ext_control packed = {};
    packed.id = setting.id;
    const Control* const control = findControl(controls_, setting.id);
    if (control != nullptr && control->is64Bits)
    {
        packed.value64 = setting.value;
    }
    else
    {
        packed.value = static_cast<int>(setting.value);
    }
    return packed;
}

std::int64_t V4l2Device::unpack(const v4l2_ext_control& packed) const
{
    const Control* const control = findControl(controls_, packed.id);
    return control != nullptr && control->is64Bits ? packed.value64 : packed.value;
}

int V4l2Device::setControls(std::vector<Setting>& settings)
{
    std::vector<v4l2_ext_control> values;
    for (const Setting& setting : settings)
    {
        values.push_back(pack(setting));
    }
    v4l2_ext_controls call = {};
    call.which = V4L2_CTRL_WHICH_CUR_VAL;
    call.count = static_cast<u32>(values.size());
    call.controls = values.data();
    if (const int error = ioctl_(VIDIOC_S_EXT_CTRLS, &call))
    {
        return error;
    }
    for (std::size_t i = 0; i < settings.size(); ++i)
    {
        settings[i].value = unpack(values[i]);
    }
    return 0;
}

int V4l2Device::get(u32 id, std::int64_t& value)
{
    if (id == kFrameRate)
    {
        return getFrameRate(value);
    }
    v4l2_ext_control control = pack({id, 0});
    v4l2_ext_controls call = {};
    call.which = V4L2_CTRL_WHICH_CUR_VAL;
    call.count = 1;
    call.controls = &control;
    const int error = ioctl_(VIDIOC_G_EXT_CTRLS, &call);
    if (error == 0)
    {
        value = unpack(control);
    }
    return error;
}

int V4l2Device::setFrameRate(Setting& setting)
{
    v4l2_streamparm parameters = {};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    parameters.parm.capture.timeperframe = {1, static_cast<u32>(setting.value)};
    const int error = ioctl_(VIDIOC_S_PARM, &parameters);
    if (error == 0)
    {
        setting.value = rateOf(parameters.parm.capture.timeperframe);
        // Some drivers keep the stream for whoever has set its rate, until that one wants no buffers.
        v4l2_requestbuffers none = {};
        none.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        none.memory = V4L2_MEMORY_MMAP;
        ioctl_(VIDIOC_REQBUFS, &none);
    }
    // While it streams none can be set, and whoever streams may have set this one.
    std::int64_t inForce = 0;
    return error == EBUSY && getFrameRate(inForce) == 0 && inForce == setting.value ? 0 : error;
}

int V4l2Device::getFrameRate(std::int64_t& value)
{
    v4l2_streamparm parameters = {};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    const int error = ioctl_(VIDIOC_G_PARM, &parameters);
    if (error == 0)
    {
        value = rateOf(parameters.parm.capture.timeperframe);
    }
    return error;
}

int V4l2Device::events(std::vector<ControlEvent>& events)
{
    if (events_ >= 0)
    {
        epoll_event taken;
        epoll_wait(events_, &taken, 1, 0);
    }
    for (int i = 0; i < kMaxEvents; ++i)
    {
        v4l2_event told = {};
        if (const int error = ioctl_(VIDIOC_DQEVENT, &told))
        {
            return error == ENOENT || error == ENOTTY || error == EAGAIN ? 0 : error;
        }
        if (told.type == V4L2_EVENT_CTRL && findControl(controls_, told.id) != nullptr)
        {
            addEvents(told, events);
        }
    }
    // There may be more, and then they are to be told of again.
    if (events_ >= 0)
    {
        watch(EPOLL_CTL_MOD);
    }
    return 0;
}

void V4l2Device::addEvents(const v4l2_event& told, std::vector<ControlEvent>& events)
{
    const v4l2_event_ctrl& change = told.u.ctrl;
    // The range first: by the old one the value may be none.
    if ((change.changes & V4L2_EVENT_CTRL_CH_RANGE) != 0)
    {
        if (std::optional<Control> control = queryControl(ioctl_, told.id))
        {
            events.push_back({ControlEvent::Kind::described, told.id, 0, std::move(control)});
        }
    }
    if ((change.changes & V4L2_EVENT_CTRL_CH_VALUE) != 0)
    {
        const bool is64Bits = findControl(controls_, told.id)->is64Bits;
        const std::int64_t value = is64Bits ? change.value64 : change.value;
        events.push_back({ControlEvent::Kind::changed, told.id, value, {}});
    }
    if ((change.changes & V4L2_EVENT_CTRL_CH_FLAGS) != 0 &&
        (change.flags & (V4L2_CTRL_FLAG_INACTIVE | V4L2_CTRL_FLAG_GRABBED)) == 0)
    {
        events.push_back({ControlEvent::Kind::freed, told.id, 0, {}});
    }
}

}  // namespace devices
