#include "services/linux/LocalDevices.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <stdexcept>

#include "services/linux/ControlIds.h"
#include "services/linux/LightSensor.h"
#include "services/linux/Line.h"
#include "services/linux/Subdevices.h"

namespace devices {
namespace {

struct KnownFile
{
    const char* name;
    int mode;
};

constexpr KnownFile kLightFiles[] = {
    {"in_illuminance_input", O_RDONLY},   {"in_illuminance_raw", O_RDONLY},    {"in_illuminance_offset", O_RDONLY},
    {"in_illuminance_scale", O_RDONLY},   {"in_illuminance0_input", O_RDONLY}, {"in_illuminance0_raw", O_RDONLY},
    {"in_illuminance0_offset", O_RDONLY}, {"in_illuminance0_scale", O_RDONLY},
};
constexpr KnownFile kLampFiles[] = {{"brightness", O_RDWR}, {"max_brightness", O_RDONLY}};

// A file of a device's folder, to which the kernel's lists of devices have links. Only the files that are known, and
// nothing that the last step leads away to.
template <std::size_t count>
int openFile(const std::string& folder, const std::string& name, const KnownFile (&known)[count])
{
    const auto found =
        std::find_if(std::begin(known), std::end(known), [&](const KnownFile& file) { return name == file.name; });
    if (found == std::end(known))
    {
        return -ENOENT;
    }
    const int at = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (at < 0)
    {
        return errno == ENOENT ? -ENODEV : -errno;
    }
    const int file = openat(at, found->name, found->mode | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    const int error = file < 0 ? errno : 0;
    close(at);
    if (file < 0)
    {
        return -error;
    }
    struct stat status;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
    {
        close(file);
        return -EBADMSG;
    }
    return file;
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
    switch (role)
    {
    case Role::camera:
        return file.empty() ? openCamera() : openSubdevice(file);
    case Role::light:
        return openLight(file);
    case Role::lampNear:
        return openLamp(kLampNear, file);
    case Role::lampMedium:
        return openLamp(kLampMedium, file);
    case Role::lampFar:
        return openLamp(kLampFar, file);
    case Role::filter:
        return board_.filter ? openChip(roots_, board_.filter->chip) : -EINVAL;
    }
    return -EINVAL;
}

int LocalDevices::openCamera()
{
    if (board_.camera.empty())
    {
        return -EINVAL;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::optional<CameraNode> found = find();
    if (!found)
    {
        return -ENODEV;
    }
    camera_ = found;
    const int descriptor = openNode_(found->node);
    if (descriptor >= 0 && hotPlug_ != nullptr)
    {
        hotPlug_->watch(found->node);
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
    const std::vector<Subdevice> found = findSubdevices(node, roots_);
    const std::optional<std::size_t> index = subdeviceOfFile(file);
    return index && *index < found.size() ? devices::openSubdevice(found[*index]) : -ENOENT;
}

std::optional<CameraNode> LocalDevices::find()
{
    const std::vector<CameraNode> cameras = findCameras(roots_, query_, camera_ ? &*camera_ : nullptr);
    if (!camera_)
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
        if (camera.model != camera_->model)
        {
            continue;
        }
        if (camera.port == camera_->port)
        {
            return camera;
        }
        elsewhere = camera;
        ++count;
    }
    // Without a serial number another port is another camera; of two alike it could be either.
    return camera_->serial.empty() || count > 1 ? std::nullopt : elsewhere;
}

int LocalDevices::openLight(const std::string& file) const
{
    if (board_.light.empty())
    {
        return -EINVAL;
    }
    const std::vector<FoundSensor> sensors = findLightSensors(roots_);
    const FoundSensor* const sensor = chooseSensor(sensors, board_.light);
    return sensor != nullptr ? openFile(sensor->folder, file, kLightFiles) : -ENODEV;
}

int LocalDevices::openLamp(u32 lamp, const std::string& file) const
{
    const auto found = board_.lamps.find(lamp);
    if (found == board_.lamps.end())
    {
        return -EINVAL;
    }
    const std::string& name = found->second;
    const bool isName = name != "." && name != ".." && name.find('/') == std::string::npos;
    return isName ? openFile(roots_.sys + "/class/leds/" + name, file, kLampFiles) : -ENODEV;
}

HotPlug& LocalDevices::hotPlug()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (hotPlug_ == nullptr)
    {
        hotPlug_ = std::make_unique<HotPlug>();
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
