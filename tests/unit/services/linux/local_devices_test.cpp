#include "services/linux/LocalDevices.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <future>
#include <mutex>
#include <utility>

#include "services/linux/ControlIds.h"
#include "tests/unit/services/linux/MadeTree.h"

namespace {

using devices::Board;
using devices::LocalDevices;
using devices::Role;

class LocalDevicesTest : public testing::Test
{
protected:
    std::unique_ptr<LocalDevices> devicesOf(const Board& board)
    {
        return std::make_unique<LocalDevices>(board, tree_.roots(), tree_.query(), [this](const std::string& node) {
            opened_ = node.substr(node.rfind('/') + 1);
            return open(node.c_str(), O_RDONLY | O_CLOEXEC);
        });
    }

    std::unique_ptr<LocalDevices> devicesOfCamera(const std::string& camera)
    {
        Board board;
        board.camera = camera;
        return devicesOf(board);
    }

    // The node that is opened, or the error's number.
    std::string camera(LocalDevices& devices)
    {
        opened_.clear();
        const int descriptor = devices.open(Role::camera);
        if (descriptor >= 0)
        {
            close(descriptor);
        }
        return descriptor >= 0 ? opened_ : std::to_string(-descriptor);
    }

    // What stands in the file, or the error's number.
    static std::string read(LocalDevices& devices, Role role, const std::string& file)
    {
        const int descriptor = devices.open(role, file);
        if (descriptor < 0)
        {
            return std::to_string(-descriptor);
        }
        char text[64] = {};
        const ssize_t length = ::read(descriptor, text, sizeof text);
        close(descriptor);
        return std::string(text, length > 0 ? static_cast<std::size_t>(length) : 0);
    }

    static std::string errorOf(int error) { return std::to_string(error); }

    support::MadeTree tree_;
    std::string opened_;
};

TEST_F(LocalDevicesTest, FollowTheCameraToAnyPortAndNode)
{
    tree_.plug(0, "1", "4A1B");
    const auto devices = devicesOfCamera("/tmp/tree/dev/video0");
    EXPECT_EQ("video0", camera(*devices));
    tree_.pull("1");
    EXPECT_EQ(errorOf(ENODEV), camera(*devices));
    tree_.plug(0, "1", "other");
    EXPECT_EQ(errorOf(ENODEV), camera(*devices)) << "its node is another camera's now";
    tree_.plug(4, "2", "4A1B");
    EXPECT_EQ("video4", camera(*devices));
}

TEST_F(LocalDevicesTest, LeaveOtherCamerasAlone)
{
    tree_.plug(0, "1", "other");
    tree_.add(5, "sys/devices/platform/isp", 0, {V4L2_CAP_VIDEO_CAPTURE, "isp", "platform:isp"});
    tree_.plug(2, "2", "4A1B");
    const auto devices = devicesOfCamera("4A1B");
    EXPECT_EQ("video2", camera(*devices));
    EXPECT_EQ("video2 video3 video5 ", tree_.asked) << "what is not on USB tells nothing else";
    tree_.asked.clear();
    EXPECT_EQ("video2", camera(*devices));
    EXPECT_EQ("video2 video3 ", tree_.asked) << "to be opened may wake a camera";
}

TEST_F(LocalDevicesTest, LeaveOtherCamerasAloneWhileTheirOwnHasNeverBeenThere)
{
    tree_.plug(0, "1", "other");
    for (const char* name : {"4A1B", "1d6b-0105-4A1B", "1d6b-0105-other_p0000.00.14.0-2"})
    {
        EXPECT_EQ(errorOf(ENODEV), camera(*devicesOfCamera(name)));
        EXPECT_EQ("", tree_.asked) << name;
    }
    for (const char* name : {"other", "1d6b-0105-other", "1d6b-0105-other_p0000.00.14.0-1"})
    {
        EXPECT_EQ("video0", camera(*devicesOfCamera(name))) << name;
    }
}

TEST_F(LocalDevicesTest, WhoListensDoesNotWaitForACameraThatHangs)
{
    tree_.plug(0, "1", "4A1B");
    std::promise<void> asked;
    std::promise<void> go;
    Board board;
    board.camera = "4A1B";
    LocalDevices devices(
        board, tree_.roots(),
        [&, isFirst = true](const std::string& node, v4l2_capability& capability) mutable {
            if (std::exchange(isFirst, false))
            {
                asked.set_value();
                go.get_future().get();
            }
            return tree_.query()(node, capability);
        },
        [](const std::string& node) { return open(node.c_str(), O_RDONLY | O_CLOEXEC); });
    auto opening = std::async(std::launch::async, [&] { return devices.open(Role::camera); });
    asked.get_future().get();
    auto listening = std::async(std::launch::async, [&] {
        devices.listen([] {});
        devices.listenToUse([] {});
    });
    EXPECT_EQ(std::future_status::ready, listening.wait_for(std::chrono::seconds(60)));
    go.set_value();
    EXPECT_EQ(0, close(opening.get()));
    devices.listen(nullptr);
    devices.listenToUse(nullptr);
}

TEST_F(LocalDevicesTest, FindACameraThatComesLater)
{
    const auto devices = devicesOfCamera("4A1B");
    EXPECT_EQ(errorOf(ENODEV), camera(*devices));
    tree_.plug(2, "1", "4A1B");
    EXPECT_EQ("video2", camera(*devices));
    EXPECT_EQ(errorOf(EINVAL), camera(*devicesOfCamera("")));
}

TEST_F(LocalDevicesTest, WithoutASerialNumberAnotherPortIsAnotherCamera)
{
    tree_.plug(0, "1", "");
    const auto devices = devicesOfCamera("/tmp/tree/dev/video0");
    EXPECT_EQ("video0", camera(*devices));
    tree_.pull("1");
    tree_.plug(0, "2", "");
    EXPECT_EQ(errorOf(ENODEV), camera(*devices));
    tree_.plug(2, "1", "");
    EXPECT_EQ("video2", camera(*devices));
}

TEST_F(LocalDevicesTest, ATwinDoesNotTakeTheCamerasPlace)
{
    tree_.plug(2, "2", "7");
    const auto devices = devicesOfCamera("1d6b-0105-7");
    EXPECT_EQ("video2", camera(*devices));
    tree_.plug(0, "1", "7");
    EXPECT_EQ("video2", camera(*devices));
    EXPECT_EQ(errorOf(ENODEV), camera(*devicesOfCamera("1d6b-0105-7"))) << "which of them, nobody said";
    EXPECT_EQ("video0", camera(*devicesOfCamera("1d6b-0105-7_p0000.00.14.0-1")));
}

TEST_F(LocalDevicesTest, OpenTheFilesOfLampsAndNoOthers)
{
    tree_.write("sys/devices/usb/leds/white:flash/brightness", "7\n");
    tree_.write("sys/devices/usb/leds/white:flash/max_brightness", "255\n");
    tree_.write("sys/devices/usb/leds/white:flash/trigger", "none\n");
    tree_.link("sys/devices/usb/leds/white:flash", "sys/class/leds/white:flash");
    tree_.write("sys/class/brightness", "9\n");
    Board board;
    board.lamps = {{devices::kLampNear, "white:flash"}, {devices::kLampMedium, ".."}, {devices::kLampFar, "gone"}};
    const auto devices = devicesOf(board);
    EXPECT_EQ("7\n", read(*devices, Role::lampNear, "brightness"));
    EXPECT_EQ("255\n", read(*devices, Role::lampNear, "max_brightness"));
    for (const char* file : {"", ".", "trigger", "../white:flash/brightness", "/etc/passwd", "brightness "})
    {
        EXPECT_EQ(errorOf(ENOENT), read(*devices, Role::lampNear, file)) << file;
    }
    EXPECT_EQ(errorOf(ENODEV), read(*devices, Role::lampMedium, "brightness"));
    EXPECT_EQ(errorOf(ENODEV), read(*devices, Role::lampFar, "brightness"));
    EXPECT_EQ(errorOf(EINVAL), read(*devices, Role::light, "in_illuminance_raw"));
    EXPECT_EQ(errorOf(EINVAL), read(*devices, Role::filter, devices::kLineIn));
}

TEST_F(LocalDevicesTest, NeitherFollowALinkNorWaitForAPipeInsteadOfAFile)
{
    tree_.write("secret", "1\n");
    tree_.link("secret", "sys/class/leds/lamp/brightness");
    ASSERT_EQ(0, mkfifo("/tmp/tree/sys/class/leds/lamp/max_brightness", 0600));
    Board board;
    board.lamps = {{devices::kLampNear, "lamp"}};
    const auto devices = devicesOf(board);
    EXPECT_EQ(errorOf(ELOOP), read(*devices, Role::lampNear, "brightness"));
    EXPECT_EQ(errorOf(EBADMSG), read(*devices, Role::lampNear, "max_brightness"));
}

TEST_F(LocalDevicesTest, FindTheLightSensorByNameFolderOrAsTheOnlyOne)
{
    const auto light = [this](const std::string& name) {
        Board board;
        board.light = name;
        return read(*devicesOf(board), Role::light, "in_illuminance_raw");
    };
    EXPECT_EQ(errorOf(ENODEV), light("auto"));
    tree_.write("sys/bus/iio/devices/iio:device0/name", "bme280\n");
    tree_.write("sys/bus/iio/devices/iio:device1/name", "al3010\n");
    tree_.write("sys/bus/iio/devices/iio:device1/in_illuminance_raw", "100\n");
    EXPECT_EQ("100\n", light("auto"));
    EXPECT_EQ("100\n", light("al3010"));
    EXPECT_EQ("100\n", light("/tmp/tree/sys/bus/iio/devices/iio:device1"));
    EXPECT_EQ(errorOf(ENODEV), light("bme280"));
    tree_.write("sys/bus/iio/devices/iio:device2/in_illuminance0_input", "100\n");
    EXPECT_EQ(errorOf(ENODEV), light("auto")) << "there are two";
    EXPECT_EQ("100\n", light("al3010"));
}

TEST_F(LocalDevicesTest, ACameraWithoutAMediaControllerHasNoSubdevices)
{
    tree_.plug(0, "1", "4A1B");
    const auto devices = devicesOfCamera("4A1B");
    EXPECT_EQ(-ENOENT, devices->open(Role::camera, "0")) << "nobody has found it yet";
    EXPECT_EQ("video0", camera(*devices));
    for (const char* file : {"0", "7", "8", "/dev/null", "brightness"})
    {
        EXPECT_EQ(-ENOENT, devices->open(Role::camera, file)) << file;
    }
}

TEST_F(LocalDevicesTest, ACameraWhoseMediaControllerHasNoNodeYetIsToldLater)
{
    const std::string controller = "sys/devices/platform/isp/media0";
    tree_.add(0, "sys/devices/platform/isp", 0, {V4L2_CAP_VIDEO_CAPTURE, "isp", "platform:isp"});
    tree_.write("sys/devices/platform/isp/video4linux/video0/dev", "81:0\n");
    tree_.write(controller + "/dev", "245:0\n");
    const auto devices = devicesOfCamera("/tmp/tree/dev/video0");
    EXPECT_EQ("video0", camera(*devices));
    tree_.age(controller, std::chrono::seconds(-3));
    EXPECT_EQ(-ENODEV, devices->open(Role::camera, "0"));
    tree_.age(controller, std::chrono::hours(1));
    EXPECT_EQ(-ENOENT, devices->open(Role::camera, "0")) << "nobody will make one";
}

TEST_F(LocalDevicesTest, AChipThatIsNoneIsNotOpened)
{
    const auto chip = [this](const std::string& name) {
        Board board;
        board.filter = devices::FilterLines();
        board.filter->chip = name;
        return devicesOf(board)->open(Role::filter, devices::kLineIn);
    };
    tree_.write("sys/bus/gpio/devices/gpiochip0/dev", "254:0\n");
    tree_.write("dev/gpiochip0", "");
    EXPECT_EQ(-ENOTTY, chip("gpiochip0"));
    EXPECT_EQ(-ENODEV, chip("gpiochip1"));
    EXPECT_EQ(-ENODEV, chip("../gpiochip0"));
}

TEST_F(LocalDevicesTest, OnlyTheLinesOfTheFilterAreOpened)
{
    Board board;
    board.filter = devices::FilterLines();
    board.filter->chip = "gpiochip0";
    const auto devices = devicesOf(board);
    EXPECT_EQ(-ENODEV, devices->open(Role::filter, devices::kLineIn));
    EXPECT_EQ(-EINVAL, devices->open(Role::filter, devices::kLineOut)) << "it follows a level";
    for (const char* file : {"", "0", "3", "chip", "in "})
    {
        EXPECT_EQ(-ENOENT, devices->open(Role::filter, file)) << file;
    }
    board.filter->out = 4;
    EXPECT_EQ(-ENODEV, devicesOf(board)->open(Role::filter, devices::kLineOut));
}

// Waits until it was called so often, within a bound that only a fault reaches.
class Calls
{
public:
    std::function<void()> call()
    {
        return [this] {
            const std::lock_guard<std::mutex> lock(mutex_);
            ++count_;
            changed_.notify_all();
        };
    }

    bool waitFor(int count)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), [&] { return count_ >= count; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

TEST_F(LocalDevicesTest, TellThatSomebodyHasUsedTheCamera)
{
    tree_.plug(0, "1", "4A1B");
    Calls used;
    const auto devices = devicesOfCamera("4A1B");
    devices->listenToUse(used.call());
    EXPECT_EQ("video0", camera(*devices));
    EXPECT_TRUE(used.waitFor(1)) << "the test itself has closed the node";
    close(open("/tmp/tree/dev/video0", O_RDWR | O_CLOEXEC));
    EXPECT_TRUE(used.waitFor(2));
    const int file = open("/tmp/tree/dev/video0", O_RDWR | O_CLOEXEC);
    EXPECT_TRUE(used.waitFor(3)) << "also of a program that keeps the node open";
    close(file);
    devices->listenToUse(nullptr);
}

TEST_F(LocalDevicesTest, TellOfUseThoughTheCameraWasOpenedBefore)
{
    tree_.plug(0, "1", "4A1B");
    Calls used;
    const auto devices = devicesOfCamera("4A1B");
    EXPECT_EQ("video0", camera(*devices));
    devices->listenToUse(used.call());
    close(open("/tmp/tree/dev/video0", O_RDWR | O_CLOEXEC));
    EXPECT_TRUE(used.waitFor(1));
    devices->listenToUse(nullptr);
}

}  // namespace
