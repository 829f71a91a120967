#include "services/linux/LocalDevices.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "services/linux/ControlIds.h"
#include "services/linux/LightSensor.h"
#include "services/linux/Line.h"
#include "services/linux/Subdevices.h"

namespace devices {
namespace {

// A file of a device's folder, to which the kernel's lists of devices have links; nothing that the last step leads away to.
int openFile(const std::string& folder, const RoleFile& file)
{
    const int at = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (at < 0)
    {
        return errno == ENOENT ? -ENODEV : -errno;
    }
    const int descriptor = openat(at, file.name, file.mode | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    const int error = descriptor < 0 ? errno : 0;
    close(at);
    if (descriptor < 0)
    {
        return -error;
    }
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
    {
        close(descriptor);
        return -EBADMSG;
    }
    return descriptor;
}

}  // namespace

LocalDevices::LocalDevices(Board board, Roots roots, NodeQuery query, NodeOpen open)
    : board_(std::move(board)),
      roots_(std::move(roots)),
      query_(std::move(query)),
      openNode_(std::move(open))
{
}

int LocalDevices::open(Role role, const std::string& file)
{
    const RoleFile* const known = findFile(role, file);
    if (known == nullptr)
    {
        return -ENOENT;
    }
    switch (role)
    {
    case Role::camera:
        return file.empty() ? openCamera() : openSubdevice(file);
    case Role::light:
        return openLight(*known);
    case Role::lampNear:
        return openLamp(kLampNear, *known);
    case Role::lampMedium:
        return openLamp(kLampMedium, *known);
    case Role::lampFar:
        return openLamp(kLampFar, *known);
    case Role::filter:
        return openFilter(file == kLineIn);
    }
    return -EINVAL;
}

int LocalDevices::openCamera()
{
    if (board_.camera.empty())
    {
        return -EINVAL;
    }
    std::optional<CameraNode> before;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        before = camera_;
    }
    const std::optional<CameraNode> found = find(before);
    if (!found)
    {
        return -ENODEV;
    }
    const int descriptor = openNode_(found->node);
    HotPlug* hotPlug = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (descriptor >= 0 || !camera_)
        {
            camera_ = found;  // one that failed late may be somewhere else by now
        }
        hotPlug = hotPlug_.get();
    }
    if (descriptor >= 0 && hotPlug != nullptr)
    {
        hotPlug->watch(found->node);
    }
    return descriptor;
}

int LocalDevices::openSubdevice(const std::string& file)
{
    std::string node;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        node = camera_ ? camera_->node : "";
    }
    int error = 0;
    const std::vector<Subdevice> found = findSubdevices(node, error, roots_);
    const std::optional<std::size_t> index = subdeviceOfFile(file);
    if (index && *index < found.size())
    {
        return devices::openSubdevice(found[*index]);
    }
    return error != 0 ? -error : -ENOENT;
}

std::optional<CameraNode> LocalDevices::find(const std::optional<CameraNode>& before) const
{
    const std::vector<CameraNode> cameras = findCameras(roots_, query_, [&](const CameraNode& camera) {
        // What is not on USB could have been it where that was not on USB either.
        return !before                ? mayBeCalled(camera, board_.camera)
               : camera.model.empty() ? before->port.empty()
                                      : camera.model == before->model;
    });
    if (!before)
    {
        try
        {
            return chooseCamera(cameras, board_.camera);
        }
        catch (const std::runtime_error&)
        {
            return std::nullopt;
        }
    }
    std::optional<CameraNode> elsewhere;
    int count = 0;
    for (const CameraNode& camera : cameras)
    {
        if (camera.model != before->model)
        {
            continue;
        }
        if (camera.port == before->port)
        {
            return camera;
        }
        elsewhere = camera;
        ++count;
    }
    // Without a serial number another port is another camera; of two alike it could be either.
    return before->serial.empty() || count > 1 ? std::nullopt : elsewhere;
}

int LocalDevices::openLight(const RoleFile& file) const
{
    if (board_.light.empty())
    {
        return -EINVAL;
    }
    const std::vector<FoundSensor> sensors = findLightSensors(roots_);
    const FoundSensor* const sensor = chooseSensor(sensors, board_.light);
    return sensor != nullptr ? openFile(sensor->folder, file) : -ENODEV;
}

int LocalDevices::openLamp(u32 lamp, const RoleFile& file) const
{
    const auto found = board_.lamps.find(lamp);
    if (found == board_.lamps.end())
    {
        return -EINVAL;
    }
    const std::string& name = found->second;
    const bool isName = name != "." && name != ".." && name.find('/') == std::string::npos;
    return isName ? openFile(roots_.sys + "/class/leds/" + name, file) : -ENODEV;
}

int LocalDevices::openFilter(bool isIn) const
{
    if (!board_.filter || (!isIn && !board_.filter->out))
    {
        return -EINVAL;
    }
    return openLine(roots_, board_.filter->chip, isIn ? board_.filter->in : *board_.filter->out);
}

HotPlug& LocalDevices::hotPlug()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (hotPlug_ == nullptr)
    {
        hotPlug_ = std::make_unique<HotPlug>();
        if (camera_)
        {
            hotPlug_->watch(camera_->node);
        }
    }
    return *hotPlug_;
}

void LocalDevices::listen(std::function<void()> changed)
{
    hotPlug().tellPlugging(std::move(changed));
}

void LocalDevices::listenToUse(std::function<void()> used)
{
    hotPlug().tellUse(std::move(used));
}

}  // namespace devices
