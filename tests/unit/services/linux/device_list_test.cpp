#include "services/linux/DeviceList.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "services/linux/ControlIds.h"
#include "tests/unit/services/linux/FolderSource.h"
#include "tests/unit/services/linux/MadeTree.h"
#include "tests/unit/services/linux/Webcam.h"

namespace {

using devices::Board;
using devices::DeviceList;

class DeviceListTest : public testing::Test
{
protected:
    // What describe says when the source answers that.
    std::string whyNot(int error, const Board& board)
    {
        support::FolderSource source("/tmp");
        source.error = error;
        try
        {
            describe(source, board, tree_.roots());
        }
        catch (const std::runtime_error& reason)
        {
            return reason.what();
        }
        return "";
    }

    support::MadeTree tree_;
};

TEST_F(DeviceListTest, KeysStandWithTheirControlsAndWhatTheyTake)
{
    std::string text;
    for (const devices::ListedKey& key : devices::listKeys(
             {support::number(V4L2_CID_BRIGHTNESS, -64, 64, 0), support::menu(V4L2_CID_POWER_LINE_FREQUENCY, {0, 1}, 1),
              support::yesNo(V4L2_CID_HFLIP, false), support::yesNo(V4L2_CID_VFLIP, false),
              support::menu(V4L2_CID_EXPOSURE_AUTO, {1, 3}, 3),
              support::number(V4L2_CID_EXPOSURE_ABSOLUTE, 1, 3333, 200), support::number(V4L2_CID_HUE, 0, 10, 5)}))
    {
        text += key.key + ": " + key.control + ": " + key.values + "\n";
    }
    EXPECT_EQ("KEY_BRIGHTNESS: number: 0 to 100\n"
              "KEY_EXPOSE_MODE: menu: 0, 1, 2, 3\n"
              "KEY_FIX_SHUTTER: number: 0 to 25\n"
              "KEY_IN_OUT_SIDE: menu: 0, 1\n"
              "KEY_MIRROR: yes or no and yes or no: 0, 1, 2, 3\n",
              text);
}

TEST_F(DeviceListTest, IsLinesForPeople)
{
    DeviceList list;
    EXPECT_EQ("no camera is plugged in\n", textOf(list));
    devices::ListedCamera camera;
    camera.camera.identity = "1d6b-0105-7";
    camera.camera.node = "/dev/video0";
    camera.camera.name = "Webcam";
    camera.camera.driver = "uvcvideo";
    camera.users = "process 7 (player)";
    camera.keys = {{"KEY_BRIGHTNESS", "Brightness", "0 to 100"}, {"KEY_GAMMA", "Gamma", "0, 1"}};
    camera.others = "Hue; Privacy";
    camera.subdevices = {{"imx 1-0010", "/dev/v4l-subdev0", ""}, {"lens", "/dev/v4l-subdev1", "you may not"}};
    list.cameras = {camera, {}};
    list.cameras[1].camera.identity = "isp-platform.isp";
    list.cameras[1].camera.node = "/dev/video2";
    list.cameras[1].camera.name = "ISP";
    list.cameras[1].problem = "you may not";
    list.lights = {{"/sys/bus/iio/devices/iio:device0", "al3010"}};
    list.lamps = {{"white:flash", "255"}};
    list.chips = {{{"/dev/gpiochip0", "bridge", 8, 0},
                   "",
                   {{3, "IR", "sensorcam", true}, {4, "", "", true}, {5, "X", "", false}}},
                  {{"/dev/gpiochip1", "", 0, EACCES}, "only root may", {}}};
    EXPECT_EQ("camera 1d6b-0105-7\n"
              "  Webcam, /dev/video0, uvcvideo\n"
              "  with imx 1-0010, /dev/v4l-subdev0\n"
              "  with lens, /dev/v4l-subdev1\n"
              "  without its controls: you may not\n"
              "  in use by process 7 (player)\n"
              "  KEY_BRIGHTNESS  Brightness  0 to 100\n"
              "  KEY_GAMMA       Gamma       0, 1\n"
              "  without a key: Hue; Privacy\n"
              "camera isp-platform.isp\n"
              "  ISP, /dev/video2\n"
              "  you may not\n"
              "light sensor al3010\n"
              "  /sys/bus/iio/devices/iio:device0\n"
              "lamp white:flash\n"
              "  0 to 255\n"
              "GPIO chip gpiochip0\n"
              "  bridge, lines 0 to 7\n"
              "  line 3 IR, in use by sensorcam\n"
              "  line 4, in use by the kernel\n"
              "  line 5 X\n"
              "GPIO chip gpiochip1\n"
              "  only root may\n",
              textOf(list));
}

TEST_F(DeviceListTest, HasWhatCannotBeOpenedToo)
{
    tree_.plug(0, "1", "4A1B");
    tree_.write("sys/class/leds/lamp/max_brightness", "255\n");
    tree_.write("sys/bus/gpio/devices/gpiochip0/dev", "254:0\n");
    tree_.write("dev/gpiochip0", "");
    EXPECT_EQ("camera 1d6b-0105-4A1B\n"
              "  Webcam in sysfs, /tmp/tree/dev/video0\n"
              "  /tmp/tree/dev/video0 is no such device\n"
              "lamp lamp\n"
              "  0 to 255\n"
              "GPIO chip gpiochip0\n"
              "  /tmp/tree/dev/gpiochip0 is no such device\n",
              textOf(devices::listDevices(tree_.roots())));
}

TEST_F(DeviceListTest, WhoHasANodeOpenIsNamed)
{
    tree_.write("proc/7/comm", "player\n");
    tree_.link("/dev/video0", "proc/7/fd/3");
    tree_.write("proc/9/comm", "evil\033name\n");
    tree_.link("/dev/null", "proc/9/fd/0");
    tree_.link("/dev/video0", "proc/9/fd/1");
    tree_.write("proc/11/comm", "other\n");
    tree_.link("/dev/video01", "proc/11/fd/1");
    tree_.link("/dev/video0", "proc/" + std::to_string(getpid()) + "/fd/1");
    tree_.link("/dev/video0", "proc/self/fd/1");
    EXPECT_EQ("process 7 (player), process 9 (evil name)", devices::usersOf("/dev/video0", tree_.roots()));
    EXPECT_EQ("/dev/video0 is in use by process 7 (player), process 9 (evil name); end that first",
              devices::whyNot(EBUSY, "/dev/video0", tree_.roots()));
    EXPECT_EQ("/dev/video1 is in use by another program; end that first",
              devices::whyNot(EBUSY, "/dev/video1", tree_.roots()));
}

TEST_F(DeviceListTest, WhoMayNotOpenANodeReadsWhichGroupWould)
{
    tree_.write("dev/video0", "");
    ASSERT_EQ(0, chmod("/tmp/tree/dev/video0", 0600));
    EXPECT_EQ("you may not open /tmp/tree/dev/video0: only root may",
              devices::whyNot(EACCES, "/tmp/tree/dev/video0", tree_.roots()));
}

TEST_F(DeviceListTest, ACameraThatCannotBeDescribedIsASentence)
{
    const std::string list = "; sensorcam devices shows what there is";
    Board board;
    EXPECT_EQ("no camera is named" + list, whyNot(EINVAL, board));
    board.camera = "4A1B";
    EXPECT_EQ("no camera is plugged in" + list, whyNot(ENODEV, board));
    tree_.plug(0, "1", "4A1B");
    EXPECT_EQ("/tmp/tree/dev/video0 is in use by another program; end that first", whyNot(EBUSY, board));
    EXPECT_EQ("/tmp/tree/dev/video0 does not answer; plug the device out and in again", whyNot(ETIMEDOUT, board));
    board.camera = "other";
    EXPECT_EQ("no camera is called other; there is:\n  1d6b-0105-4A1B  /tmp/tree/dev/video0  Webcam in sysfs",
              whyNot(ENODEV, board));
}

}  // namespace
