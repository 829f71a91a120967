#pragma once

#include <linux/media.h>
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "services/linux/Identity.h"
#include "services/linux/V4l2Description.h"

// Where a camera is several devices, its picture's node often has no controls: those are at the nodes of sensor, lens and
// image processor, and a media controller tells how they are joined. Reentrant.
namespace devices {

inline constexpr std::size_t kMaxSubdevices = 8;

// As a media controller tells it; nothing in it is checked.
struct MediaGraph
{
    std::vector<media_v2_entity> entities;
    std::vector<media_v2_interface> interfaces;
    std::vector<media_v2_pad> pads;
    std::vector<media_v2_link> links;
};

// 0 or an error number; E2BIG for a graph that no camera has.
int queryGraph(const Ioctl& ioctl, MediaGraph& graph);

struct Subdevice
{
    std::string name;  // for people, printable UTF-8
    std::string node;  // "/dev/v4l-subdev0"; empty while only the number is known
    dev_t number;
};

// Sensor, lens and image processor that the picture of that video node comes from, by links that are enabled; the nearest
// first, and without those that have no node.
std::vector<Subdevice> subdevicesOf(const MediaGraph& graph, dev_t videoNode);

// What a media controller's node says: 0 or an error number.
using GraphQuery = std::function<int(const std::string& node, dev_t number, MediaGraph& graph)>;
int queryMediaNode(const std::string& node, dev_t number, MediaGraph& graph);

// The same of a camera that is plugged in; none where there is no media controller, or it does not answer. error: 0, or why
// there are none for the moment only.
std::vector<Subdevice> findSubdevices(const std::string& videoNode, int& error, const Roots& roots = {},
                                      const GraphQuery& query = queryMediaNode);

// A descriptor; below 0, an error number with a minus: -ENODEV when the node is gone, another device's by now, or so new
// that it may be opened later.
int openSubdevice(const Subdevice& subdevice);

// What a DeviceSource calls them: "0" is the nearest. Nothing for another text.
std::string fileOfSubdevice(std::size_t index);
std::optional<std::size_t> subdeviceOfFile(const std::string& file);

}  // namespace devices
