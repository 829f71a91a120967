#include "services/linux/DeviceList.h"

#include <grp.h>
#include <linux/videodev2.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "services/linux/ControlIds.h"
#include "services/linux/ControlTable.h"
#include "services/linux/Filter.h"
#include "services/linux/JoinedDevice.h"
#include "services/linux/Lamps.h"
#include "services/linux/Subdevices.h"
#include "services/linux/V4l2Description.h"
#include "services/linux/V4l2Device.h"

namespace devices {
namespace {

constexpr char kSeeList[] = "; sensorcam devices shows what there is";
constexpr std::size_t kMaxVersion = 49;  // bytes

const char* keyName(u32 cmd)
{
    switch (cmd)
    {
#define SNS_KEY(name, key, ia, number, handler) \
    case number:                                \
        return #name;
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
    default:
        return nullptr;
    }
}

constexpr std::size_t kMostItems = 8;  // that are named one by one

void append(std::string& list, const std::string& item, const char* between = ", ")
{
    list += (list.empty() ? "" : between) + item;
}

std::string valuesOf(const services::AllowedValues& allowed)
{
    const std::vector<int>& items = allowed.items;
    const std::string range = std::to_string(allowed.minimum) + " to " + std::to_string(allowed.maximum);
    const bool isWhole = !items.empty() && items.back() - items.front() + 1 == static_cast<int>(items.size());
    if (items.empty() || (isWhole && items.size() > kMostItems))
    {
        return range;
    }
    std::string values;
    for (const int item : items)
    {
        append(values, std::to_string(item));
    }
    return values;
}

std::string userName()
{
    const passwd* const user = getpwuid(geteuid());
    return user != nullptr ? user->pw_name : "NAME";
}

// Is it what the groups' file says of the user, whether this process has it or not?
bool isMember(const group& group)
{
    const std::string name = userName();
    for (char** member = group.gr_mem; member != nullptr && *member != nullptr; ++member)
    {
        if (name == *member)
        {
            return true;
        }
    }
    return false;
}

std::string whyNotAllowed(const std::string& node)
{
    const std::string begin = "you may not open " + node;
    struct stat status;
    const bool isKnown = stat(node.c_str(), &status) == 0;
    const group* const owner = isKnown ? getgrgid(status.st_gid) : nullptr;
    if (owner == nullptr || status.st_gid == 0 || (status.st_mode & (S_IRGRP | S_IWGRP)) != (S_IRGRP | S_IWGRP))
    {
        return begin + ": only root may";
    }
    const std::string name = owner->gr_name;
    if (isMember(*owner))
    {
        return begin + ": you are in the group " + name + " since you logged in; log in again";
    }
    return begin + ": you are not in the group " + name + "; as root: usermod -aG " + name + " " + userName() +
           ", then log in again";
}

// Of all devices of a camera, in the order in which they are opened.
class Describer
{
public:
    Describer(DeviceSource& source, const Board& board, const Roots& roots)
        : source_(source),
          board_(board),
          roots_(roots)
    {
    }

    Description describe()
    {
        addCamera();
        addLamps();
        addFilter();
        return std::move(description_);
    }

private:
    void addCamera()
    {
        const int descriptor = source_.open(Role::camera);
        v4l2_capability capability = {};
        if (descriptor >= 0 && ioctl(descriptor, VIDIOC_QUERYCAP, &capability) == 0)
        {
            description_.name = cleanText(capability.card, sizeof capability.card);
            description_.version = cleanText(capability.driver, sizeof capability.driver) + " " +
                                   std::to_string(capability.version >> 16 & 0xff) + "." +
                                   std::to_string(capability.version >> 8 & 0xff) + "." +
                                   std::to_string(capability.version & 0xff);
            description_.version.resize(std::min(description_.version.size(), kMaxVersion));
        }
        int error = 0;
        const std::unique_ptr<ControlDevice> device = openCamera(source_, descriptor, error);
        if (device == nullptr)
        {
            throw std::runtime_error(whyNoCamera(error));
        }
        if (add(*device) == ETIMEDOUT)
        {
            throw std::runtime_error("the camera " + board_.camera + " does not answer; plug it out and in again");
        }
    }

    std::string whyNoCamera(int error) const
    {
        if (error == EINVAL && board_.camera.empty())
        {
            return std::string("no camera is named") + kSeeList;
        }
        try
        {
            // The source has found it, unless this throws.
            const CameraNode camera = chooseCamera(findCameras(roots_), board_.camera);
            return whyNot(error, camera.node, roots_);
        }
        catch (const std::runtime_error& reason)
        {
            return reason.what();
        }
    }

    void addLamps()
    {
        for (const auto& [control, name] : board_.lamps)
        {
            int error = 0;
            const std::unique_ptr<Lamps> lamp = Lamps::open({{control, name}}, filesOf(source_), error);
            if (lamp == nullptr)
            {
                throw std::runtime_error(error == ENODEV
                                             ? "there is no lamp " + name + kSeeList
                                             : whyNot(error == EPERM ? EACCES : error,
                                                      roots_.sys + "/class/leds/" + name + "/brightness", roots_));
            }
            add(*lamp);
        }
    }

    void addFilter()
    {
        if (!board_.filter)
        {
            return;
        }
        int error = 0;
        const std::unique_ptr<Filter> filter = Filter::open(source_, *board_.filter, error);
        if (filter == nullptr)
        {
            throw std::runtime_error(whyNoFilter(error));
        }
        add(*filter);
    }

    std::string whyNoFilter(int error) const
    {
        const FilterLines& lines = *board_.filter;
        if (error == ENODEV)
        {
            return "there is no GPIO chip " + lines.chip + kSeeList;
        }
        if (error == EINVAL)
        {
            return "the GPIO chip " + lines.chip + " has no such line as the filter's" + kSeeList;
        }
        for (const Chip& chip : findChips(roots_))
        {
            const bool isIt = lines.chip == chip.node || roots_.dev + "/" + lines.chip == chip.node ||
                              (chip.error == 0 && lines.chip == chip.label);
            for (const ChipLine& line : isIt&& error == EBUSY ? findLines(chip) : std::vector<ChipLine>())
            {
                if (line.isUsed && (line.offset == lines.in || line.offset == lines.out))
                {
                    return "line " + std::to_string(line.offset) + " of " + chip.node + " is in use by " + line.user;
                }
            }
            if (isIt)
            {
                return whyNot(error, chip.node, roots_);
            }
        }
        return whyNot(error, lines.chip, roots_);
    }

    int add(ControlDevice& device)
    {
        for (const Control& control : device.controls())
        {
            std::int64_t value = 0;
            const int error = control.isReadable ? device.get(control.id, value) : EACCES;
            if (error == ETIMEDOUT)
            {
                return error;
            }
            if (error == 0)
            {
                description_.values[control.id] = value;
            }
            description_.controls.push_back(control);
        }
        return 0;
    }

    DeviceSource& source_;
    const Board& board_;
    const Roots& roots_;
    Description description_;
};

// Adds what the camera's other nodes have, each control with the node that it is at.
void addSubdevices(ListedCamera& listed, std::vector<Control>& controls, const Roots& roots)
{
    int error = 0;
    for (const Subdevice& subdevice : findSubdevices(listed.camera.node, error, roots))
    {
        const std::unique_ptr<V4l2Device> device = V4l2Device::open(openSubdevice(subdevice), error);
        const std::string problem = device != nullptr ? "" : whyNot(error, subdevice.node, roots);
        listed.subdevices.push_back({subdevice.name, subdevice.node, problem});
        for (Control control : device != nullptr ? device->controls() : std::vector<Control>())
        {
            if (findControl(controls, control.id) == nullptr)
            {
                control.name += " of " + subdevice.node.substr(subdevice.node.rfind('/') + 1);
                controls.push_back(std::move(control));
            }
        }
    }
}

ListedCamera listCamera(const CameraNode& camera, const Roots& roots)
{
    ListedCamera listed;
    listed.camera = camera;
    listed.users = usersOf(camera.node, roots);
    int error = camera.error;
    const std::unique_ptr<V4l2Device> device =
        error == 0 ? V4l2Device::open(openVideoNode(camera.node), error) : nullptr;
    if (device == nullptr)
    {
        listed.problem = whyNot(error, camera.node, roots);
        return listed;
    }
    std::vector<Control> controls = device->controls();
    addSubdevices(listed, controls, roots);
    listed.keys = listKeys(controls);
    std::set<u32> taken;
    const ControlTable table(controls);
    for (const ia_cmd_e cmd : table.commands())
    {
        const std::vector<u32> ids = table.controlsOf(cmd);
        taken.insert(ids.begin(), ids.end());
    }
    for (const Control& control : controls)
    {
        if (taken.count(control.id) == 0 && control.isSettable)
        {
            append(listed.others, control.name, "; ");
        }
    }
    return listed;
}

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

template <typename Rows, typename Member>
std::size_t widest(const Rows& rows, Member member)
{
    std::size_t width = 0;
    for (const auto& row : rows)
    {
        width = std::max(width, (row.*member).size());
    }
    return width;
}

std::string textOfCamera(const ListedCamera& listed)
{
    const CameraNode& camera = listed.camera;
    std::string text = "camera " + camera.identity + "\n  " + camera.name + ", " + camera.node;
    text += (camera.driver.empty() ? "" : ", " + camera.driver) + "\n";
    for (const ListedSubdevice& subdevice : listed.subdevices)
    {
        text += "  with " + subdevice.name + ", " + subdevice.node + "\n";
        text += subdevice.problem.empty() ? "" : "  without its controls: " + subdevice.problem + "\n";
    }
    text += listed.users.empty() ? "" : "  in use by " + listed.users + "\n";
    text += listed.problem.empty() ? "" : "  " + listed.problem + "\n";
    const std::size_t keys = widest(listed.keys, &ListedKey::key);
    const std::size_t controls = widest(listed.keys, &ListedKey::control);
    for (const ListedKey& key : listed.keys)
    {
        text += "  " + padded(key.key, keys) + "  " + padded(key.control, controls) + "  " + key.values + "\n";
    }
    return text + (listed.others.empty() ? "" : "  without a key: " + listed.others + "\n");
}

std::string textOfChip(const ListedChip& listed)
{
    const Chip& chip = listed.chip;
    std::string text = "GPIO chip " + chip.node.substr(chip.node.rfind('/') + 1) + "\n  ";
    if (!listed.problem.empty())
    {
        return text + listed.problem + "\n";
    }
    text += chip.label + ", lines 0 to " + std::to_string(chip.lines - 1) + "\n";
    for (const ChipLine& line : listed.lines)
    {
        text += "  line " + std::to_string(line.offset) + (line.name.empty() ? "" : " " + line.name);
        text += (line.isUsed ? ", in use by " + (line.user.empty() ? "the kernel" : line.user) : "") + "\n";
    }
    return text;
}

}  // namespace

std::vector<ListedKey> listKeys(const std::vector<Control>& controls)
{
    const ControlTable table(controls);
    std::vector<ListedKey> keys;
    for (const ia_cmd_e cmd : table.commands())
    {
        const char* const name = keyName(cmd);
        const std::optional<services::AllowedValues> allowed = table.allowed(cmd);
        if (name == nullptr || !allowed)
        {
            continue;
        }
        ListedKey key{name, "", table.button(cmd) ? "acts" : valuesOf(*allowed)};
        for (const u32 id : table.controlsOf(cmd))
        {
            const Control* const control = findControl(controls, id);
            append(key.control, control != nullptr ? control->name : "", " and ");
        }
        keys.push_back(std::move(key));
    }
    return keys;
}

DeviceList listDevices(const Roots& roots)
{
    DeviceList list;
    for (const CameraNode& camera : findCameras(roots))
    {
        list.cameras.push_back(listCamera(camera, roots));
    }
    list.lights = findLightSensors(roots);
    for (const std::string& name : namesIn(roots.sys + "/class/leds"))
    {
        list.lamps.push_back({name, readLine(roots.sys + "/class/leds/" + name + "/max_brightness")});
    }
    for (const Chip& chip : findChips(roots))
    {
        list.chips.push_back({chip, chip.error != 0 ? whyNot(chip.error, chip.node, roots) : "", findLines(chip)});
    }
    return list;
}

std::string textOf(const DeviceList& list)
{
    std::string text;
    for (const ListedCamera& camera : list.cameras)
    {
        text += textOfCamera(camera);
    }
    for (const FoundSensor& light : list.lights)
    {
        text += "light sensor " + light.name + "\n  " + light.folder + "\n";
    }
    for (const ListedLamp& lamp : list.lamps)
    {
        text += "lamp " + lamp.name + "\n  0 to " + lamp.greatest + "\n";
    }
    for (const ListedChip& chip : list.chips)
    {
        text += textOfChip(chip);
    }
    return list.cameras.empty() ? "no camera is plugged in\n" + text : text;
}

Description describe(DeviceSource& source, const Board& board, const Roots& roots)
{
    return Describer(source, board, roots).describe();
}

std::string whyNot(int error, const std::string& node, const Roots& roots)
{
    const std::string users = error == EBUSY ? usersOf(node, roots) : "";
    switch (error)
    {
    case EACCES:
    case EPERM:
        return whyNotAllowed(node);
    case EBUSY:
        return node + " is in use by " + (users.empty() ? "another program" : users) + "; end that first";
    case ENOTTY:
        return node + " is no such device";
    case ETIMEDOUT:
        return node + " does not answer; plug the device out and in again";
    case ENODEV:
    case ENOENT:
    case ENXIO:
        return node + " is not plugged in" + kSeeList;
    default:
        return node + " cannot be used: " + std::strerror(error);
    }
}

std::string usersOf(const std::string& node, const Roots& roots)
{
    std::string users;
    const std::string own = std::to_string(getpid());
    for (const std::string& process : namesIn(roots.proc))
    {
        if (process.find_first_not_of("0123456789") != std::string::npos || process == own)
        {
            continue;
        }
        const std::string folder = roots.proc + "/" + process;
        const std::vector<std::string> files = namesIn(folder + "/fd");
        const bool isUser = std::any_of(files.begin(), files.end(), [&](const std::string& file) {
            std::error_code error;
            return std::filesystem::read_symlink(folder + "/fd/" + file, error) == node;
        });
        if (isUser)
        {
            append(users, "process " + process + " (" + readLine(folder + "/comm") + ")");
        }
    }
    return users;
}

}  // namespace devices
