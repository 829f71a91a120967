#pragma once

#include <linux/videodev2.h>

#include <functional>
#include <string>
#include <vector>

// Which cameras are plugged in, and what tells each of them from all others. Reentrant.
namespace devices {

// Where the kernel shows its devices.
struct Roots
{
    std::string sys = "/sys";
    std::string dev = "/dev";
    std::string proc = "/proc";
};

struct CameraNode
{
    // Vendor, product and serial number; the port too without a serial number, or while another camera has the same.
    // Without USB, driver and bus. Of [0-9A-Za-z._-], at most 128: a file's name and an instance of systemd's units.
    std::string identity;
    std::string node;    // "/dev/video0"
    std::string name;    // for people, printable UTF-8
    std::string driver;  // "uvcvideo"
    std::string serial;  // for people, printable UTF-8; empty without one
    std::string port;    // "0000.00.14.0-1.4"; empty for what is not on USB
    std::string model;   // the identity without port
    int error = 0;       // why its node cannot be opened
};

// A descriptor of a video node; below 0, an error number with a minus.
int openVideoNode(const std::string& node);

// What a node says of itself: 0, or an error number.
using NodeQuery = std::function<int(const std::string& node, v4l2_capability& capability)>;
int queryNode(const std::string& node, v4l2_capability& capability);

// Those that give pictures, in the order of their nodes; of a camera's several nodes, the first. One that may not be opened
// is there too. concerns: asked before a node is opened, with the node, serial number, port and model; what is not on USB has
// the node alone then. Others than those of which it says so are not there.
using Concerns = std::function<bool(const CameraNode&)>;
std::vector<CameraNode> findCameras(const Roots& roots = {}, const NodeQuery& query = queryNode,
                                    const Concerns& concerns = {});

// The one that somebody calls so: by identity, node, a link to the node, or serial number. Throws std::runtime_error, with
// what to do, when there is none, or more than one.
CameraNode chooseCamera(const std::vector<CameraNode>& cameras, const std::string& name);
// Whether a camera of which no more is known than Concerns is told could be it, or be taken for it.
bool mayBeCalled(const CameraNode& camera, const std::string& name);

// Of [0-9A-Za-z.-] and an escape for all else, at most 32 characters; what differs stays different.
std::string safeName(const std::string& text);

// Sorted; none where there is no such folder.
std::vector<std::string> namesIn(const std::string& folder);

// The line of a file of the kernel's, printable; empty when it cannot be read.
std::string readLine(const std::string& path);

}  // namespace devices
