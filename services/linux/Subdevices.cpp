#include "services/linux/Subdevices.h"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <filesystem>
#include <map>
#include <set>

#include "services/linux/OpenNode.h"

namespace devices {
namespace {

namespace fs = std::filesystem;

constexpr u32 kMaxOfAKind = 4096;  // entities, interfaces, pads or links; large boards have some hundreds
constexpr int kMaxQueries = 3;     // of a graph that grows meanwhile
constexpr int kSecondsNew = 5;     // udev needs less

template <typename Part>
std::uint64_t roomFor(u32 count, std::vector<Part>& parts)
{
    parts.resize(count);
    return reinterpret_cast<std::uintptr_t>(parts.data());
}

template <typename Part>
void cut(u32 count, std::vector<Part>& parts)
{
    parts.resize(std::min<std::size_t>(count, parts.size()));
}

bool hasControls(u32 function)
{
    return function == MEDIA_ENT_F_CAM_SENSOR || function == MEDIA_ENT_F_LENS || function == MEDIA_ENT_F_PROC_VIDEO_ISP;
}

u32 kindOf(const media_v2_link& link)
{
    return link.flags & MEDIA_LNK_FL_LINK_TYPE;
}

// A graph by its numbers. Of two parts with one number the first counts.
class Walk
{
public:
    explicit Walk(const MediaGraph& graph)
    {
        std::map<u32, u32> owners;  // of pads
        for (const media_v2_pad& pad : graph.pads)
        {
            owners.emplace(pad.id, pad.entity_id);
        }
        std::map<u32, const media_v2_interface*> interfaces;
        for (const media_v2_interface& interface : graph.interfaces)
        {
            interfaces.emplace(interface.id, &interface);
        }
        for (const media_v2_entity& entity : graph.entities)
        {
            entities_.emplace(entity.id, &entity);
        }
        for (const media_v2_link& link : graph.links)
        {
            const auto interface = interfaces.find(link.source_id);
            const auto from = owners.find(link.source_id);
            const auto to = owners.find(link.sink_id);
            if (kindOf(link) == MEDIA_LNK_FL_INTERFACE_LINK && interface != interfaces.end())
            {
                nodes_.emplace(link.sink_id, interface->second);
            }
            else if (kindOf(link) == MEDIA_LNK_FL_ANCILLARY_LINK)
            {
                behind_[link.source_id].push_back(link.sink_id);  // a sensor's lens
            }
            else if (kindOf(link) == MEDIA_LNK_FL_DATA_LINK && (link.flags & MEDIA_LNK_FL_ENABLED) != 0 &&
                     from != owners.end() && to != owners.end())
            {
                behind_[to->second].push_back(from->second);
            }
        }
    }

    // In the order of their distance; each once, however the links go.
    std::vector<Subdevice> from(dev_t videoNode) const
    {
        std::vector<Subdevice> found;
        std::set<u32> seen;
        std::deque<u32> next;
        for (const auto& [entity, interface] : nodes_)
        {
            if (interface->intf_type == MEDIA_INTF_T_V4L_VIDEO && numberOf(*interface) == videoNode)
            {
                next.push_back(entity);
                seen.insert(entity);
            }
        }
        for (; !next.empty() && found.size() < kMaxSubdevices; next.pop_front())
        {
            add(next.front(), found);
            const auto behind = behind_.find(next.front());
            for (const u32 entity : behind != behind_.end() ? behind->second : std::vector<u32>())
            {
                if (seen.insert(entity).second)
                {
                    next.push_back(entity);
                }
            }
        }
        return found;
    }

private:
    static dev_t numberOf(const media_v2_interface& interface)
    {
        return makedev(interface.devnode.major, interface.devnode.minor);
    }

    void add(u32 id, std::vector<Subdevice>& found) const
    {
        const auto entity = entities_.find(id);
        const auto node = nodes_.find(id);
        if (entity != entities_.end() && hasControls(entity->second->function) && node != nodes_.end() &&
            node->second->intf_type == MEDIA_INTF_T_V4L_SUBDEV)
        {
            const std::string name = cleanText(entity->second->name, sizeof entity->second->name);
            found.push_back({name, "", numberOf(*node->second)});
        }
    }

    std::map<u32, const media_v2_entity*> entities_;
    std::map<u32, const media_v2_interface*> nodes_;  // by entity
    std::map<u32, std::vector<u32>> behind_;          // by entity, those that its picture comes from
};

// Of "81:3", as the kernel writes it.
std::optional<dev_t> numberIn(const std::string& line)
{
    unsigned high = 0;
    unsigned low = 0;
    char more = 0;
    if (std::sscanf(line.c_str(), "%9u:%9u%c", &high, &low, &more) != 2)
    {
        return std::nullopt;
    }
    return makedev(high, low);
}

// "v4l-subdev0" of "v4l-subdev" and a number.
bool isNumbered(const std::string& name, const std::string& kind)
{
    return name.size() > kind.size() && name.compare(0, kind.size(), kind) == 0 &&
           name.find_first_not_of("0123456789", kind.size()) == std::string::npos;
}

// A node that is missing or is another device's is that of a device that is gone.
int openNumbered(const std::string& node, dev_t number)
{
    const int descriptor = openNode(node, major(number));
    if (descriptor < 0)
    {
        return descriptor == -ENOENT ? -ENODEV : descriptor;
    }
    struct stat status;
    if (fstat(descriptor, &status) != 0 || status.st_rdev != number)
    {
        close(descriptor);
        return -ENODEV;
    }
    return descriptor;
}

// Of a device's node, or of its folder in sysfs. Until then udev may be about to make the node, or to give it its group;
// after that, what is missing or refused must not keep a camera from being opened. A clock that was set back has no say.
bool isNew(const std::string& path)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && std::abs(std::time(nullptr) - status.st_mtime) < kSecondsNew;
}

// What is left of a media controller's error: 0 when it will stay as it is.
int momentary(int error, const std::string& folder)
{
    switch (error)
    {
    case 0:
    case EPERM:
    case ENOTTY:
    case E2BIG:
    case ENOSPC:
        return 0;
    case EMFILE:
    case ENFILE:
    case ENOMEM:
        return error;
    default:
        return isNew(folder) ? ENODEV : 0;
    }
}

// The name under which /dev has the device; empty when it is gone, or is no subdevice.
std::string nodeName(const Roots& roots, dev_t number)
{
    const std::string entry =
        roots.sys + "/dev/char/" + std::to_string(major(number)) + ":" + std::to_string(minor(number));
    std::error_code error;
    const std::string name = fs::read_symlink(entry, error).filename();
    return isNumbered(name, "v4l-subdev") ? name : "";
}

}  // namespace

int queryGraph(const Ioctl& ioctl, MediaGraph& graph)
{
    int error = ENOSPC;
    for (int i = 0; i < kMaxQueries && error == ENOSPC; ++i)
    {
        media_v2_topology topology = {};
        error = ioctl(MEDIA_IOC_G_TOPOLOGY, &topology);
        if (error != 0)
        {
            return error;
        }
        for (const u32 count : {topology.num_entities, topology.num_interfaces, topology.num_pads, topology.num_links})
        {
            if (count > kMaxOfAKind)
            {
                return E2BIG;
            }
        }
        topology.ptr_entities = roomFor(topology.num_entities, graph.entities);
        topology.ptr_interfaces = roomFor(topology.num_interfaces, graph.interfaces);
        topology.ptr_pads = roomFor(topology.num_pads, graph.pads);
        topology.ptr_links = roomFor(topology.num_links, graph.links);
        error = ioctl(MEDIA_IOC_G_TOPOLOGY, &topology);
        cut(topology.num_entities, graph.entities);
        cut(topology.num_interfaces, graph.interfaces);
        cut(topology.num_pads, graph.pads);
        cut(topology.num_links, graph.links);
    }
    return error;
}

std::vector<Subdevice> subdevicesOf(const MediaGraph& graph, dev_t videoNode)
{
    return Walk(graph).from(videoNode);
}

int queryMediaNode(const std::string& node, dev_t number, MediaGraph& graph)
{
    const int descriptor = openNumbered(node, number);
    if (descriptor < 0)
    {
        return -descriptor;
    }
    const auto call = [descriptor](unsigned long request, void* argument) {
        return ::ioctl(descriptor, request, argument) == 0 ? 0 : errno;
    };
    const int error = queryGraph(call, graph);
    close(descriptor);
    return error;
}

std::vector<Subdevice> findSubdevices(const std::string& videoNode, int& error, const Roots& roots,
                                      const GraphQuery& query)
{
    error = 0;
    const std::string entry = roots.sys + "/class/video4linux/" + videoNode.substr(videoNode.rfind('/') + 1);
    const std::optional<dev_t> video = numberIn(readLine(entry + "/dev"));
    std::vector<Subdevice> found;
    for (const std::string& name : namesIn(entry + "/device"))
    {
        const std::string folder = entry + "/device/" + name;
        const std::optional<dev_t> media =
            isNumbered(name, "media") ? numberIn(readLine(folder + "/dev")) : std::nullopt;
        if (!video || !media || !found.empty())
        {
            continue;
        }
        MediaGraph graph;
        const int answer = query(roots.dev + "/" + name, *media, graph);
        const int later = momentary(answer, folder);
        error = later != 0 ? later : error;
        found = answer == 0 ? subdevicesOf(graph, *video) : found;
    }
    error = found.empty() ? error : 0;
    for (Subdevice& subdevice : found)
    {
        const std::string name = nodeName(roots, subdevice.number);
        subdevice.node = name.empty() ? "" : roots.dev + "/" + name;
    }
    const auto isGone = [](const Subdevice& subdevice) { return subdevice.node.empty(); };
    found.erase(std::remove_if(found.begin(), found.end(), isGone), found.end());
    return found;
}

int openSubdevice(const Subdevice& subdevice)
{
    const int descriptor = openNumbered(subdevice.node, subdevice.number);
    return descriptor == -EACCES && isNew(subdevice.node) ? -ENODEV : descriptor;
}

std::string fileOfSubdevice(std::size_t index)
{
    return std::to_string(index);
}

std::optional<std::size_t> subdeviceOfFile(const std::string& file)
{
    static_assert(kMaxSubdevices <= 10, "a digit each");
    const std::size_t index = file.size() == 1 ? static_cast<unsigned char>(file[0]) - '0' : kMaxSubdevices;
    return index < kMaxSubdevices ? std::optional<std::size_t>(index) : std::nullopt;
}

}  // namespace devices
