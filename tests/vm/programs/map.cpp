// vm-map NODE: makes two controls of the camera's own unit V4L2 controls, as a maker's tool does after plugging in: the
// mirror as horizontal flip, and the scene as a menu whose names are what a careless maker may have written.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/v4l2-controls.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

namespace {

constexpr std::uint32_t kSceneId = V4L2_CID_USER_BASE + 0x10f0;

uvc_menu_info scenes[] = {
    {0, "Plain"},
    {1, "Caf\xe9"},                             // Latin-1
    {2, "<b>&\"\x01\t"},                        // what other formats give a meaning, and control characters
    {3, "After thirty bytes, here, is: \xc3"},  // cut within a letter of two bytes
    {4, ""},
};

uvc_xu_control_mapping mapping(std::uint32_t id, const char* name, std::uint8_t selector)
{
    uvc_xu_control_mapping map{};
    map.id = id;
    std::snprintf(reinterpret_cast<char*>(map.name), sizeof map.name, "%s", name);
    std::memcpy(map.entity, "vm camera unit 1", sizeof map.entity);
    map.selector = selector;
    map.size = 8;
    map.v4l2_type = V4L2_CTRL_TYPE_BOOLEAN;
    map.data_type = UVC_CTRL_DATA_TYPE_BOOLEAN;
    return map;
}

}  // namespace

int main(int argc, char** argv)
{
    uvc_xu_control_mapping mirror = mapping(V4L2_CID_HFLIP, "Horizontal Flip", 1);
    uvc_xu_control_mapping scene = mapping(kSceneId, "Scene", 2);
    scene.v4l2_type = V4L2_CTRL_TYPE_MENU;
    scene.data_type = UVC_CTRL_DATA_TYPE_ENUM;
    scene.menu_info = scenes;
    scene.menu_count = static_cast<std::uint32_t>(std::size(scenes));
    const int node = open(argc == 2 ? argv[1] : "", O_RDWR | O_CLOEXEC);
    if (node < 0 || ioctl(node, UVCIOC_CTRL_MAP, &mirror) != 0 || ioctl(node, UVCIOC_CTRL_MAP, &scene) != 0)
    {
        std::fprintf(stderr, "vm-map NODE: %s\n", std::strerror(errno));
        return 1;
    }
    return 0;
}
