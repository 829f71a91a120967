#include "services/linux/Identity.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>

#include "services/linux/OpenNode.h"
#include "services/linux/V4l2Description.h"

namespace devices {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kVideoMajor = 81;
constexpr std::size_t kMaxLine = 512;     // a serial number has at most 126 characters
constexpr std::size_t kMaxSafeName = 32;  // the identity is part of a socket's path, and those are short
constexpr std::size_t kKeptOfLongOne = 14;

// As it stands in the file, without the line's end; empty when it cannot be read.
std::string readRaw(const std::string& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (file < 0)
    {
        return "";
    }
    char text[kMaxLine];
    const ssize_t length = pread(file, text, sizeof text, 0);
    close(file);
    std::string line(text, length > 0 ? static_cast<std::size_t>(length) : 0);
    if (!line.empty() && line.back() == '\n')
    {
        line.pop_back();
    }
    return line;
}

std::string realPath(const std::string& path)
{
    char* const resolved = realpath(path.c_str(), nullptr);
    const std::string result = resolved != nullptr ? resolved : "";
    std::free(resolved);
    return result;
}

std::string lastPart(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// FNV-1a.
std::uint64_t hashOf(const std::string& text)
{
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char character : text)
    {
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
    }
    return hash;
}

bool isPlain(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '.' || character == '-';
}

// Of the kernel's own names, which differ in more than this.
std::string dotted(std::string text)
{
    std::replace(text.begin(), text.end(), ':', '.');
    std::replace(text.begin(), text.end(), '_', '-');
    return safeName(text);
}

// Of a USB device's folder, ".../0000:00:14.0/usb1/1-1/1-1.4": the controller and the way from it. The number of the bus
// changes from one start to the next.
std::string portOf(const std::string& folder)
{
    const std::size_t bus = folder.rfind("/usb");
    const std::string path = readRaw(folder + "/devpath");
    const std::string controller = bus != std::string::npos ? lastPart(folder.substr(0, bus)) : "";
    return dotted(controller) + "-" + dotted(path.empty() ? lastPart(folder) : path);
}

// Fills in what tells the camera from others; false for what is not on USB. device: the real path of what the node's
// driver drives.
bool identifyUsb(const Roots& roots, const std::string& device, CameraNode& camera)
{
    for (std::string folder = device; folder.size() > roots.sys.size(); folder.erase(folder.rfind('/')))
    {
        const std::string vendor = readRaw(folder + "/idVendor");
        if (vendor.empty())
        {
            continue;
        }
        const std::string serial = readRaw(folder + "/serial");
        camera.serial = cleanText(serial.data(), serial.size());
        camera.port = portOf(folder);
        camera.model = safeName(vendor) + "-" + safeName(readRaw(folder + "/idProduct"));
        // A device may be two cameras, each with an interface of its own.
        const std::string interface = readRaw(device + "/bInterfaceNumber");
        if (!interface.empty() && interface != "00")
        {
            camera.model += "." + safeName(interface);
        }
        camera.model += camera.serial.empty() ? "" : "-" + safeName(serial);
        return true;
    }
    return false;
}

template <std::size_t size>
std::string textIn(const __u8 (&bytes)[size])
{
    return cleanText(bytes, size);
}

bool givesPictures(const v4l2_capability& capability)
{
    const u32 all = capability.capabilities;
    const u32 own = (all & V4L2_CAP_DEVICE_CAPS) != 0 ? capability.device_caps : all;
    return (own & (V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_CAPTURE_MPLANE)) != 0;
}

// videoN by N, whose order as text is another one.
std::map<int, std::string> nodesOf(const Roots& roots)
{
    std::map<int, std::string> nodes;
    for (const std::string& name : namesIn(roots.sys + "/class/video4linux"))
    {
        int number = 0;
        char more = 0;
        if (std::sscanf(name.c_str(), "video%d%c", &number, &more) == 1)
        {
            nodes[number] = name;
        }
    }
    return nodes;
}

bool isItsPort(const CameraNode& camera, const std::string& name)
{
    return !camera.port.empty() && name == camera.model + "_p" + camera.port;
}

std::string addressOf(const CameraNode& camera)
{
    return "\n  " + camera.identity + "  " + camera.node + "  " + camera.name;
}

}  // namespace

int openVideoNode(const std::string& node)
{
    return openNode(node, kVideoMajor);
}

int queryNode(const std::string& node, v4l2_capability& capability)
{
    const int descriptor = openVideoNode(node);
    if (descriptor < 0)
    {
        return -descriptor;
    }
    const int error = ioctl(descriptor, VIDIOC_QUERYCAP, &capability) == 0 ? 0 : errno;
    close(descriptor);
    return error;
}

std::vector<CameraNode> findCameras(const Roots& roots, const NodeQuery& query, const Concerns& concerns)
{
    std::vector<CameraNode> cameras;
    std::set<std::string> known;  // devices
    for (const auto& [number, name] : nodesOf(roots))
    {
        const std::string entry = roots.sys + "/class/video4linux/" + name;
        const std::string parent = realPath(entry + "/device");
        const std::string device = parent.empty() ? realPath(entry) : parent;
        CameraNode camera;
        camera.node = roots.dev + "/" + name;
        const bool isOnUsb = identifyUsb(roots, device, camera);
        if (concerns && !concerns(camera))
        {
            continue;
        }
        v4l2_capability capability = {};
        camera.error = query(camera.node, capability);
        const bool isOpen = camera.error == 0;
        // Of one that says nothing the first node is the picture's.
        if (isOpen ? !givesPictures(capability) : readRaw(entry + "/index") != "0")
        {
            continue;
        }
        const std::string bus = isOpen ? textIn(capability.bus_info) : lastPart(device);
        if (!known.insert(device + " " + bus).second)
        {
            continue;
        }
        camera.name = isOpen ? textIn(capability.card) : readLine(entry + "/name");
        camera.driver = isOpen ? textIn(capability.driver) : lastPart(realPath(device + "/driver"));
        if (!isOnUsb)
        {
            camera.model = dotted(camera.driver.empty() ? "video" : camera.driver) + "-" + dotted(bus);
        }
        cameras.push_back(std::move(camera));
    }
    std::map<std::string, int> alike;
    for (const CameraNode& camera : cameras)
    {
        ++alike[camera.model];
    }
    for (CameraNode& camera : cameras)
    {
        const bool isTold = alike[camera.model] == 1 && !camera.serial.empty();
        camera.identity = camera.model + (isTold || camera.port.empty() ? "" : "_p" + camera.port);
    }
    return cameras;
}

CameraNode chooseCamera(const std::vector<CameraNode>& cameras, const std::string& name)
{
    if (cameras.empty())
    {
        throw std::runtime_error("no camera is plugged in; sensorcam devices shows what there is");
    }
    const std::string node = name.find('/') != std::string::npos ? realPath(name) : "";
    std::vector<CameraNode> found;
    for (const CameraNode& camera : cameras)
    {
        if (name == camera.identity || isItsPort(camera, name) || name == camera.node || node == camera.node)
        {
            return camera;
        }
        // A camera without its port in its name: alone it was called so.
        if ((!camera.serial.empty() && (name == camera.serial || name == camera.model)))
        {
            found.push_back(camera);
        }
    }
    if (found.size() == 1)
    {
        return found.front();
    }
    std::string all;
    for (const CameraNode& camera : found.empty() ? cameras : found)
    {
        all += addressOf(camera);
    }
    const std::string called = cleanText(name.data(), name.size());
    throw std::runtime_error(found.empty() ? "no camera is called " + called + "; there is:" + all
                                           : "more than one camera is called " + called + "; take one of:" + all);
}

bool mayBeCalled(const CameraNode& camera, const std::string& name)
{
    const bool isKnown = !camera.model.empty() && name.find('/') == std::string::npos;
    return !isKnown || name == camera.model || isItsPort(camera, name) ||
           (!camera.serial.empty() && name == camera.serial);
}

std::string safeName(const std::string& text)
{
    std::string safe;
    for (const char character : text)
    {
        char escape[8];
        std::snprintf(escape, sizeof escape, "_%02X", static_cast<unsigned>(static_cast<unsigned char>(character)));
        safe += isPlain(character) ? std::string(1, character) : escape;
    }
    if (safe.size() <= kMaxSafeName)
    {
        return safe;
    }
    // No escape begins with x.
    char hash[24];
    std::snprintf(hash, sizeof hash, "_x%016llx", static_cast<unsigned long long>(hashOf(text)));
    return safe.substr(0, kKeptOfLongOne) + hash;
}

std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
    {
        names.push_back(entry->path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string readLine(const std::string& path)
{
    const std::string line = readRaw(path);
    return cleanText(line.data(), line.size());
}

}  // namespace devices
