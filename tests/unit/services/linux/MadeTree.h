#pragma once

#include <linux/videodev2.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "services/linux/Identity.h"

namespace support {

// A tree as the kernel shows it, with devices that a test plugs in.
class MadeTree
{
public:
    MadeTree() { std::filesystem::remove_all(root_); }

    devices::Roots roots() const { return {root_ + "/sys", root_ + "/dev", root_ + "/proc"}; }
    std::string sys() const { return root_ + "/sys"; }

    void write(const std::string& path, const std::string& text) const
    {
        const std::filesystem::path whole = root_ + "/" + path;
        std::filesystem::create_directories(whole.parent_path());
        std::ofstream(whole, std::ios::binary) << text;
    }

    // From now on it came so long ago; below 0, it is yet to come.
    void age(const std::string& path, std::chrono::seconds age) const
    {
        std::filesystem::last_write_time(root_ + "/" + path, std::filesystem::file_time_type::clock::now() - age);
    }

    void link(const std::string& target, const std::string& path) const
    {
        const std::filesystem::path whole = root_ + "/" + path;
        std::filesystem::create_directories(whole.parent_path());
        std::filesystem::create_symlink(target[0] == '/' ? target : root_ + "/" + target, whole);
    }

    // A camera on that port of the only controller, with its picture's node and one for what is no picture.
    void plug(int node, const std::string& port, const std::string& serial, const std::string& interface = "00")
    {
        const std::string device = "sys/devices/pci0000:00/0000:00:14.0/usb1/1-" + port;
        write(device + "/idVendor", "1d6b\n");
        write(device + "/idProduct", "0105\n");
        write(device + "/devpath", port + "\n");
        if (!serial.empty())
        {
            write(device + "/serial", serial + "\n");
        }
        const std::string part = device + "/1-" + port + ":1." + interface;
        write(part + "/bInterfaceNumber", interface + "\n");
        add(node, part, 0, {V4L2_CAP_VIDEO_CAPTURE, "uvcvideo", "usb-0000:00:14.0-" + port});
        add(node + 1, part, 1, {V4L2_CAP_META_CAPTURE, "uvcvideo", "usb-0000:00:14.0-" + port});
    }

    struct Said
    {
        unsigned caps;
        std::string driver;
        std::string bus;
    };

    void add(int node, const std::string& device, int index, const Said& said)
    {
        const std::string name = "video" + std::to_string(node);
        const std::string entry = device + "/video4linux/" + name;
        write(entry + "/index", std::to_string(index) + "\n");
        write(entry + "/name", "Webcam in sysfs\n");
        std::filesystem::create_directory_symlink(root_ + "/" + device, root_ + "/" + entry + "/device");
        link(entry, "sys/class/video4linux/" + name);
        write("dev/" + name, "");
        said_[root_ + "/dev/" + name] = said;
    }

    void pull(const std::string& port)
    {
        std::filesystem::remove_all(root_ + "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-" + port);
        for (int i = 0; i < 20; ++i)
        {
            const std::filesystem::path entry = root_ + "/sys/class/video4linux/video" + std::to_string(i);
            if (std::filesystem::is_symlink(entry) && !std::filesystem::exists(entry))
            {
                std::filesystem::remove(entry);
                std::filesystem::remove(root_ + "/dev/video" + std::to_string(i));
            }
        }
    }

    devices::NodeQuery query() const
    {
        return [this](const std::string& node, v4l2_capability& capability) {
            asked += node.substr(node.rfind('/') + 1) + " ";
            if (errors.count(node) != 0)
            {
                return errors.at(node);
            }
            const Said& said = said_.at(node);
            capability.capabilities = V4L2_CAP_DEVICE_CAPS | V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_META_CAPTURE;
            capability.device_caps = said.caps;
            std::strcpy(reinterpret_cast<char*>(capability.driver), said.driver.c_str());
            std::strcpy(reinterpret_cast<char*>(capability.card), "Webcam: Webcam");
            std::strcpy(reinterpret_cast<char*>(capability.bus_info), said.bus.c_str());
            return 0;
        };
    }

    std::map<std::string, int> errors;  // of nodes
    mutable std::string asked;          // what they are

private:
    const std::string root_ = "/tmp/tree";
    std::map<std::string, Said> said_;
};

}  // namespace support
