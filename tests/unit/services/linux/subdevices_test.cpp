#include "services/linux/Subdevices.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/unit/services/linux/MadeTree.h"

namespace {

using devices::MediaGraph;
using devices::openSubdevice;
using devices::Subdevice;

constexpr u32 kEnabled = MEDIA_LNK_FL_ENABLED;
constexpr u32 kVideoMajor = 81;
const dev_t kVideoNode = makedev(kVideoMajor, 0);

// A media controller's graph by the names of its parts. Numbers go up from 1, as the kernel's do.
class MadeGraph
{
public:
    // minor: of its node; 0, in this place, for none.
    MadeGraph& add(const std::string& name, u32 function, u32 minor)
    {
        media_v2_entity entity = {};
        entity.id = ++last_;
        entity.function = function;
        std::memcpy(entity.name, name.data(), std::min(name.size(), sizeof entity.name));
        graph.entities.push_back(entity);
        return minor != 0 ? interface(entity.id, MEDIA_INTF_T_V4L_SUBDEV, minor) : *this;
    }

    MadeGraph& addVideo(const std::string& name, u32 minor)
    {
        add(name, MEDIA_ENT_F_IO_V4L, 0);
        return interface(last_, MEDIA_INTF_T_V4L_VIDEO, minor);
    }

    MadeGraph& join(const std::string& source, const std::string& sink, u32 flags = kEnabled)
    {
        return link(pad(idOf(source)), pad(idOf(sink)), flags | MEDIA_LNK_FL_DATA_LINK);
    }

    MadeGraph& accompany(const std::string& sensor, const std::string& lens)
    {
        return link(idOf(sensor), idOf(lens), kEnabled | MEDIA_LNK_FL_ANCILLARY_LINK);
    }

    MadeGraph& link(u32 source, u32 sink, u32 flags)
    {
        media_v2_link link = {};
        link.id = ++last_;
        link.source_id = source;
        link.sink_id = sink;
        link.flags = flags;
        graph.links.push_back(link);
        return *this;
    }

    MediaGraph graph;

private:
    MadeGraph& interface(u32 entity, u32 type, u32 minor)
    {
        media_v2_interface interface = {};
        interface.id = ++last_;
        interface.intf_type = type;
        interface.devnode = {kVideoMajor, minor};
        graph.interfaces.push_back(interface);
        return link(interface.id, entity, kEnabled | MEDIA_LNK_FL_INTERFACE_LINK);
    }

    u32 pad(u32 entity)
    {
        media_v2_pad pad = {};
        pad.id = ++last_;
        pad.entity_id = entity;
        graph.pads.push_back(pad);
        return pad.id;
    }

    u32 idOf(const std::string& name) const
    {
        const auto found =
            std::find_if(graph.entities.begin(), graph.entities.end(),
                         [&](const media_v2_entity& entity) { return std::string(entity.name) == name; });
        return found != graph.entities.end() ? u32{found->id} : 0;
    }

    u32 last_ = 0;
};

// Two sensors, of which one is what the picture comes from.
MadeGraph board()
{
    MadeGraph made;
    made.addVideo("capture", 0)
        .add("isp", MEDIA_ENT_F_PROC_VIDEO_ISP, 1)
        .add("csi", MEDIA_ENT_F_VID_IF_BRIDGE, 2)
        .add("front", MEDIA_ENT_F_CAM_SENSOR, 3)
        .add("back", MEDIA_ENT_F_CAM_SENSOR, 4)
        .add("front lens", MEDIA_ENT_F_LENS, 5)
        .add("back lens", MEDIA_ENT_F_LENS, 6)
        .add("flash", MEDIA_ENT_F_FLASH, 7)
        .join("isp", "capture")
        .join("csi", "isp")
        .join("front", "csi")
        .join("back", "csi", 0)
        .accompany("front", "front lens")
        .accompany("front", "flash")
        .accompany("back", "back lens");
    return made;
}

std::string namesOf(const std::vector<Subdevice>& subdevices)
{
    std::string names;
    for (const Subdevice& subdevice : subdevices)
    {
        names += subdevice.name + " " + std::to_string(minor(subdevice.number)) + ", ";
    }
    return names;
}

std::string found(const MediaGraph& graph, dev_t node = kVideoNode)
{
    return namesOf(subdevicesOf(graph, node));
}

TEST(Subdevices, AreThoseThatThePictureComesFromTheNearestFirst)
{
    EXPECT_EQ("isp 1, front 3, front lens 5, ", found(board().graph));
}

TEST(Subdevices, OfAnotherVideoNodeAreOthers)
{
    MadeGraph made = board();
    made.addVideo("raw", 9).join("back", "raw");
    EXPECT_EQ("back 4, back lens 6, ", found(made.graph, makedev(kVideoMajor, 9)));
    EXPECT_EQ("isp 1, front 3, front lens 5, ", found(made.graph));
    EXPECT_EQ("", found(made.graph, makedev(kVideoMajor, 8)));
    EXPECT_EQ("", found(made.graph, makedev(kVideoMajor, 3))) << "a subdevice's is no video node";
}

TEST(Subdevices, APictureThatGoesOutIsNotFollowed)
{
    MadeGraph made;
    made.addVideo("output", 0).add("isp", MEDIA_ENT_F_PROC_VIDEO_ISP, 1).join("output", "isp");
    EXPECT_EQ("", found(made.graph));
}

TEST(Subdevices, WithoutANodeOrAnEntityAreNone)
{
    MadeGraph made;
    made.addVideo("capture", 0)
        .add("sensor", MEDIA_ENT_F_CAM_SENSOR, 0)
        .add("lens", MEDIA_ENT_F_LENS, 5)
        .join("sensor", "capture")
        .accompany("sensor", "lens")
        .accompany("sensor", "nobody");
    EXPECT_EQ("lens 5, ", found(made.graph));
    made.graph.entities.clear();
    EXPECT_EQ("", found(made.graph));
    EXPECT_EQ("", found(MediaGraph()));
}

TEST(Subdevices, ARoundOfLinksIsGoneRoundOnce)
{
    MadeGraph made = board();
    made.join("capture", "front").join("isp", "isp").join("front", "isp").accompany("front lens", "front");
    EXPECT_EQ("isp 1, front 3, front lens 5, ", found(made.graph));
}

TEST(Subdevices, LinksOfNothingAndOfNoKnownKindArePassedOver)
{
    MadeGraph made = board();
    made.link(0, 0, kEnabled)
        .link(4000000000u, 1, kEnabled)
        .link(1, 1, kEnabled | MEDIA_LNK_FL_INTERFACE_LINK)
        .link(1, 2, kEnabled | 7u << 28);
    made.graph.pads.push_back({});
    made.graph.pads.push_back(made.graph.pads.front());
    made.graph.pads.back().entity_id = 77;
    EXPECT_EQ("isp 1, front 3, front lens 5, ", found(made.graph)) << "of two pads of one number the first counts";
}

TEST(Subdevices, AreNotMoreThanCanBeUsed)
{
    MadeGraph made;
    made.addVideo("capture", 0);
    for (u32 i = 1; i <= 20; ++i)
    {
        const std::string name = "sensor " + std::to_string(i);
        made.add(name, MEDIA_ENT_F_CAM_SENSOR, i).join(name, "capture");
    }
    EXPECT_EQ(devices::kMaxSubdevices, subdevicesOf(made.graph, kVideoNode).size());
}

TEST(Subdevices, HaveNamesThatCanBeShown)
{
    MadeGraph made;
    made.addVideo("capture", 0).add("a\033b", MEDIA_ENT_F_CAM_SENSOR, 1).join("a\033b", "capture");
    EXPECT_EQ("a b 1, ", found(made.graph));
    std::memset(made.graph.entities[1].name, 'x', sizeof made.graph.entities[1].name);
    EXPECT_EQ(std::string(64, 'x') + " 1, ", found(made.graph));
}

// A media controller that answers as the kernel does.
class MediaDriver
{
public:
    explicit MediaDriver(MediaGraph graph) : graph_(std::move(graph)) {}

    int error = 0;
    int growth = 0;   // how often the graph is larger by a link when it is asked for
    u32 claimed = 0;  // more links than there are
    int calls = 0;

    int query(MediaGraph& graph)
    {
        return queryGraph(
            [this](unsigned long request, void* argument) {
                ++calls;
                return request != MEDIA_IOC_G_TOPOLOGY ? ENOTTY
                       : error != 0                    ? error
                                                       : answer(*static_cast<media_v2_topology*>(argument));
            },
            graph);
    }

private:
    template <typename Part>
    static bool give(const std::vector<Part>& parts, u32& count, std::uint64_t room)
    {
        const bool fits = room == 0 || parts.size() <= count;
        if (room != 0 && fits && !parts.empty())
        {
            std::memcpy(reinterpret_cast<void*>(room), parts.data(), parts.size() * sizeof(Part));
        }
        count = static_cast<u32>(parts.size());
        return fits;
    }

    int answer(media_v2_topology& topology)
    {
        if (topology.ptr_links != 0 && growth > 0)
        {
            --growth;
            graph_.links.push_back(graph_.links.back());
        }
        media_v2_topology own = topology;
        u32 counts[] = {own.num_entities, own.num_interfaces, own.num_pads, own.num_links};
        const bool entities = give(graph_.entities, counts[0], own.ptr_entities);
        const bool interfaces = give(graph_.interfaces, counts[1], own.ptr_interfaces);
        const bool pads = give(graph_.pads, counts[2], own.ptr_pads);
        const bool links = give(graph_.links, counts[3], own.ptr_links);
        topology.num_entities = counts[0];
        topology.num_interfaces = counts[1];
        topology.num_pads = counts[2];
        topology.num_links = counts[3] + claimed;
        return entities && interfaces && pads && links ? 0 : ENOSPC;
    }

    MediaGraph graph_;
};

TEST(MediaGraphQuery, ReadsTheWholeGraph)
{
    MediaDriver driver(board().graph);
    MediaGraph graph;
    EXPECT_EQ(0, driver.query(graph));
    EXPECT_EQ("isp 1, front 3, front lens 5, ", found(graph));
}

TEST(MediaGraphQuery, AGraphThatGrowsMeanwhileIsAskedForAgainButNotForEver)
{
    MediaDriver driver(board().graph);
    MediaGraph graph;
    driver.growth = 2;
    EXPECT_EQ(0, driver.query(graph));
    EXPECT_EQ(6, driver.calls);
    driver.growth = 100;
    EXPECT_EQ(ENOSPC, driver.query(graph));
    EXPECT_EQ(12, driver.calls);
}

TEST(MediaGraphQuery, NumbersThatNoCameraHasAreRefused)
{
    MediaGraph graph;
    MediaDriver driver(board().graph);
    driver.claimed = 4000000000u;
    EXPECT_EQ(E2BIG, driver.query(graph));
    EXPECT_EQ(1, driver.calls);
    driver.claimed = 1;
    EXPECT_EQ(0, driver.query(graph)) << "there was room for one more, and nothing stands in it";
    EXPECT_EQ("isp 1, front 3, front lens 5, ", found(graph));
    driver.error = ENOTTY;
    EXPECT_EQ(ENOTTY, driver.query(graph));
}

class FindSubdevicesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        tree_.add(0, kDevice, 0, {V4L2_CAP_VIDEO_CAPTURE, "isp", "platform:isp"});
        tree_.write(kDevice + "/video4linux/video0/dev", "81:0\n");
        tree_.write(kDevice + "/media2/dev", "245:2\n");
        for (const int minor : {1, 3, 5})
        {
            tree_.link("/nowhere/video4linux/v4l-subdev" + std::to_string(minor - 1),
                       "sys/dev/char/81:" + std::to_string(minor));
        }
    }

    std::string find(const std::string& node = "/dev/video0")
    {
        std::string text;
        const auto query = [this](const std::string& asked, dev_t number, MediaGraph& graph) {
            asked_ += asked + " " + std::to_string(major(number)) + ":" + std::to_string(minor(number)) + " ";
            graph = made_.graph;
            return asked == "/tmp/tree/dev/media2" ? error_ : 0;
        };
        for (const Subdevice& subdevice : devices::findSubdevices(node, found_, tree_.roots(), query))
        {
            text += subdevice.name + " " + subdevice.node + ", ";
        }
        return text;
    }

    const std::string kDevice = "sys/devices/platform/isp";
    const std::chrono::seconds kHour{3600};
    support::MadeTree tree_;
    MadeGraph made_ = board();
    std::string asked_;
    int error_ = 0;   // of the media controller
    int found_ = 77;  // what was said of it
};

TEST_F(FindSubdevicesTest, AsksTheMediaControllerOfTheSameDevice)
{
    tree_.write("sys/devices/platform/other/media0/dev", "245:0\n");
    EXPECT_EQ("isp /tmp/tree/dev/v4l-subdev0, front /tmp/tree/dev/v4l-subdev2, front lens /tmp/tree/dev/v4l-subdev4, ",
              find());
    EXPECT_EQ("/tmp/tree/dev/media2 245:2 ", asked_);
}

TEST_F(FindSubdevicesTest, OneThatHasGoneMeanwhileIsLeftOut)
{
    std::filesystem::remove(tree_.sys() + "/dev/char/81:3");
    EXPECT_EQ("isp /tmp/tree/dev/v4l-subdev0, front lens /tmp/tree/dev/v4l-subdev4, ", find());
    tree_.link("/nowhere/video4linux/video7", "sys/dev/char/81:3");
    EXPECT_EQ("isp /tmp/tree/dev/v4l-subdev0, front lens /tmp/tree/dev/v4l-subdev4, ", find()) << "it is a video node";
}

TEST_F(FindSubdevicesTest, NothingIsAskedWithoutAMediaController)
{
    std::filesystem::remove_all("/tmp/tree/" + kDevice + "/media2");
    for (const char* const name : {"media", "mediax", "media2x", "video4linux"})
    {
        tree_.write(kDevice + "/" + std::string(name) + "/dev", "245:2\n");
    }
    EXPECT_EQ("", find());
    EXPECT_EQ("", find("/dev/video1"));
    EXPECT_EQ("", find(""));
    EXPECT_EQ("", asked_);
}

TEST_F(FindSubdevicesTest, NumbersThatAreNoneAreNotAskedWith)
{
    for (const char* const number : {"", "245", "245:", "245:2:1", "x:y", "99999999999:0"})
    {
        tree_.write(kDevice + "/media2/dev", number);
        EXPECT_EQ("", find()) << number;
    }
    EXPECT_EQ("", asked_);
}

TEST_F(FindSubdevicesTest, AMediaControllerThatDoesNotAnswerHasNone)
{
    tree_.age(kDevice + "/media2", kHour);
    for (const int error : {EACCES, EPERM, ENODEV, ENOTTY, E2BIG, ENOSPC, EIO, ENXIO})
    {
        error_ = error;
        EXPECT_EQ("", find());
        EXPECT_EQ(0, found_) << error;
    }
    EXPECT_NE("", asked_);
}

TEST_F(FindSubdevicesTest, WhatUdevHasYetToMakeOfANewMediaControllerComesLater)
{
    for (const int error : {EACCES, ENODEV, ENXIO})
    {
        error_ = error;
        tree_.age(kDevice + "/media2", std::chrono::seconds(-3));
        EXPECT_EQ("", find());
        EXPECT_EQ(ENODEV, found_) << error;
        for (const std::chrono::seconds age : {std::chrono::seconds(6), kHour, -kHour})
        {
            tree_.age(kDevice + "/media2", age);
            find();
            EXPECT_EQ(0, found_) << error << " after " << age.count();
        }
    }
    tree_.age(kDevice + "/media2", std::chrono::seconds(-3));
    for (const int error : {EPERM, ENOTTY, E2BIG, ENOSPC})
    {
        error_ = error;
        find();
        EXPECT_EQ(0, found_) << error;
    }
}

TEST_F(FindSubdevicesTest, OneMediaControllersFailureIsNothingToThoseOfAnother)
{
    tree_.write(kDevice + "/media3/dev", "245:3\n");
    error_ = EMFILE;
    EXPECT_NE("", find());
    EXPECT_EQ("/tmp/tree/dev/media2 245:2 /tmp/tree/dev/media3 245:3 ", asked_);
    EXPECT_EQ(0, found_);
    made_.graph = {};
    EXPECT_EQ("", find());
    EXPECT_EQ(EMFILE, found_);
}

TEST_F(FindSubdevicesTest, AMomentsFailureIsSaid)
{
    tree_.age(kDevice + "/media2", kHour);
    for (const int error : {EMFILE, ENFILE, ENOMEM})
    {
        error_ = error;
        EXPECT_EQ("", find());
        EXPECT_EQ(error, found_);
    }
    error_ = 0;
    EXPECT_NE("", find());
    EXPECT_EQ(0, found_);
}

TEST(OpeningASubdevice, OpensTheDeviceOfThatNumberAndNothingElse)
{
    support::MadeTree tree;
    tree.write("file", "");
    tree.link("/dev/null", "link");
    ASSERT_EQ(0, mkfifo("/tmp/tree/pipe", 0600));
    const dev_t null = makedev(1, 3);
    const int descriptor = openSubdevice({"", "/dev/null", null});
    ASSERT_LE(0, descriptor);
    EXPECT_EQ(FD_CLOEXEC, fcntl(descriptor, F_GETFD));
    EXPECT_EQ(O_RDWR | O_NONBLOCK, fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
    close(descriptor);
    EXPECT_EQ(-ENODEV, openSubdevice({"", "/dev/zero", null})) << "it has another's name by now";
    EXPECT_EQ(-ENODEV, openSubdevice({"", "/tmp/tree/nothing", null}));
    for (const char* const other : {"file", "link", "pipe"})
    {
        EXPECT_EQ(-ENOTTY, openSubdevice({"", "/tmp/tree/" + std::string(other), null})) << other;
    }
    MediaGraph graph;
    const int asked = devices::queryMediaNode("/dev/null", null, graph);
    EXPECT_TRUE(asked == ENOTTY || asked == ENOSYS) << asked << "; the second is the word of an emulated kernel";
    EXPECT_EQ(ENODEV, devices::queryMediaNode("/tmp/tree/nothing", null, graph));
}

// A terminal of its own is the only device whose node anybody may lock; not against root.
TEST(OpeningASubdevice, ARefusalOfANewOneIsForAMomentOnly)
{
    const uid_t user = geteuid();
    ASSERT_EQ(0, seteuid(user == 0 ? 65534 : user));
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    const std::string node = terminal >= 0 ? ptsname(terminal) : "";
    struct stat status = {};
    EXPECT_EQ(0, stat(node.c_str(), &status));
    EXPECT_EQ(0, chmod(node.c_str(), 0));
    const auto refused = [&](std::chrono::seconds age) {
        std::filesystem::last_write_time(node, std::filesystem::file_time_type::clock::now() - age);
        return openSubdevice({"", node, status.st_rdev});
    };
    EXPECT_EQ(-ENODEV, refused(std::chrono::seconds(-3)));
    EXPECT_EQ(-EACCES, refused(std::chrono::seconds(6)));
    EXPECT_EQ(-EACCES, refused(std::chrono::hours(-1))) << "the clock was set back";
    close(terminal);
    ASSERT_EQ(0, seteuid(user));
}

TEST(FilesOfSubdevices, AreADigitEach)
{
    for (std::size_t i = 0; i < devices::kMaxSubdevices; ++i)
    {
        EXPECT_EQ(i, devices::subdeviceOfFile(devices::fileOfSubdevice(i)));
    }
    for (const std::string file : {"", "8", "9", "00", "-1", "a", "/", " ", "brightness"})
    {
        EXPECT_FALSE(devices::subdeviceOfFile(file)) << file;
    }
    EXPECT_FALSE(devices::subdeviceOfFile(std::string(1, '\0')));
    EXPECT_FALSE(devices::subdeviceOfFile("\xff"));
}

}  // namespace
