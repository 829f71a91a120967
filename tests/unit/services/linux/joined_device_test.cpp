#include "services/linux/JoinedDevice.h"

#include <gtest/gtest.h>
#include <linux/v4l2-controls.h>
#include <poll.h>

#include <cerrno>
#include <map>

#include "services/linux/V4l2Description.h"
#include "tests/unit/services/linux/ScriptedDevice.h"
#include "tests/unit/services/linux/Webcam.h"

namespace {

using devices::Control;
using devices::ControlDevice;
using devices::ControlEvent;
using devices::Setting;
using support::number;

using Settings = std::vector<Setting>;

// A camera whose node has the sensor's brightness too, as drivers make it, with a sensor and a lens.
class JoinedDeviceTest : public testing::Test
{
protected:
    std::unique_ptr<ControlDevice> join()
    {
        std::vector<std::unique_ptr<ControlDevice>> parts;
        for (support::Script* const script : {&node_, &sensor_, &lens_})
        {
            parts.push_back(script->open());
        }
        return std::make_unique<devices::JoinedDevice>(std::move(parts));
    }

    static bool isReadable(const ControlDevice& device)
    {
        pollfd waits = {device.eventDescriptor(), POLLIN, 0};
        return poll(&waits, 1, 0) == 1;
    }

    static ControlEvent changed(u32 id, std::int64_t value) { return {ControlEvent::Kind::changed, id, value, {}}; }

    support::Script node_{{number(V4L2_CID_BRIGHTNESS, 0, 255, 128)}};
    support::Script sensor_{{number(V4L2_CID_BRIGHTNESS, 0, 9, 5), number(V4L2_CID_CONTRAST, 0, 99, 50),
                             number(V4L2_CID_SATURATION, 0, 99, 50)}};
    support::Script lens_{{number(V4L2_CID_FOCUS_ABSOLUTE, 0, 1023, 0)}};
};

TEST_F(JoinedDeviceTest, HasTheControlsOfAllAndTheFirstOnesOfThoseThatAreTwice)
{
    std::string text;
    const auto device = join();
    for (const Control& control : device->controls())
    {
        text += std::to_string(control.id & 0xfff) + " to " + std::to_string(control.maximum) + ", ";
    }
    EXPECT_EQ("2304 to 255, 2305 to 99, 2306 to 99, 2314 to 1023, ", text);
}

TEST_F(JoinedDeviceTest, EachSettingGoesToItsPartInOneCallAndInTheirOrder)
{
    const auto device = join();
    Settings settings = {{V4L2_CID_CONTRAST, 10}, {V4L2_CID_BRIGHTNESS, 20}, {V4L2_CID_SATURATION, 30}};
    EXPECT_EQ(0, device->set(settings));
    EXPECT_EQ((Settings{{V4L2_CID_CONTRAST, 10}, {V4L2_CID_BRIGHTNESS, 20}, {V4L2_CID_SATURATION, 30}}), settings);
    EXPECT_EQ((std::vector<Settings>{{{V4L2_CID_BRIGHTNESS, 20}}}), node_.sets());
    EXPECT_EQ((std::vector<Settings>{{{V4L2_CID_CONTRAST, 10}, {V4L2_CID_SATURATION, 30}}}), sensor_.sets());
    EXPECT_TRUE(lens_.sets().empty());
    std::int64_t value = 0;
    EXPECT_EQ(0, device->get(V4L2_CID_BRIGHTNESS, value));
    EXPECT_EQ(20, value);
    EXPECT_EQ(0, device->get(V4L2_CID_SATURATION, value));
    EXPECT_EQ(30, value);
    EXPECT_EQ(0, device->get(V4L2_CID_FOCUS_ABSOLUTE, value));
    EXPECT_EQ(0, value);
}

TEST_F(JoinedDeviceTest, ThePartThatIsNamedFirstIsSetFirst)
{
    const auto device = join();
    sensor_.fail({EACCES});
    Settings settings = {{V4L2_CID_CONTRAST, 10}, {V4L2_CID_BRIGHTNESS, 20}};
    EXPECT_EQ(EACCES, device->set(settings));
    EXPECT_TRUE(node_.sets().empty()) << "what comes first may be an automatic that holds the others";
    EXPECT_EQ(0, device->set(settings));
    EXPECT_EQ(1u, node_.sets().size());
}

TEST_F(JoinedDeviceTest, AControlThatNoneHasIsRefused)
{
    const auto device = join();
    Settings settings = {{V4L2_CID_CONTRAST, 10}, {V4L2_CID_HUE, 1}};
    EXPECT_EQ(EINVAL, device->set(settings));
    EXPECT_TRUE(sensor_.sets().empty());
    std::int64_t value = 7;
    EXPECT_EQ(EINVAL, device->get(V4L2_CID_HUE, value));
    EXPECT_EQ(7, value);
}

TEST_F(JoinedDeviceTest, APartThatIsGoneIsTheDevicesEnd)
{
    const auto device = join();
    lens_.plug(false);
    Settings settings = {{V4L2_CID_BRIGHTNESS, 20}, {V4L2_CID_FOCUS_ABSOLUTE, 30}};
    EXPECT_EQ(ENODEV, device->set(settings));
    std::int64_t value = 0;
    EXPECT_EQ(ENODEV, device->get(V4L2_CID_FOCUS_ABSOLUTE, value));
    EXPECT_TRUE(isReadable(*device));
    node_.tell(changed(V4L2_CID_BRIGHTNESS, 3));
    std::vector<ControlEvent> events;
    EXPECT_EQ(ENODEV, device->events(events));
    EXPECT_EQ(1u, events.size()) << "the others are still heard";
}

TEST_F(JoinedDeviceTest, IsReadableWhenOneOfThemTellsAndNoLongerOnceItIsHeard)
{
    const auto device = join();
    EXPECT_FALSE(isReadable(*device));
    for (support::Script* const script : {&sensor_, &lens_, &sensor_})
    {
        const u32 id = script == &lens_ ? V4L2_CID_FOCUS_ABSOLUTE : V4L2_CID_CONTRAST;
        script->tell(changed(id, 4));
        EXPECT_TRUE(isReadable(*device));
        std::vector<ControlEvent> events;
        EXPECT_EQ(0, device->events(events));
        ASSERT_EQ(1u, events.size());
        EXPECT_EQ(id, events[0].id);
        EXPECT_FALSE(isReadable(*device));
    }
}

TEST_F(JoinedDeviceTest, OfAControlThatIsTwiceOnlyTheFirstOnesEventsCount)
{
    const auto device = join();
    sensor_.tell(changed(V4L2_CID_BRIGHTNESS, 1));
    sensor_.tell(changed(V4L2_CID_CONTRAST, 2));
    node_.tell(changed(V4L2_CID_BRIGHTNESS, 3));
    std::string text;
    std::vector<ControlEvent> events;
    EXPECT_EQ(0, device->events(events));
    for (const ControlEvent& event : events)
    {
        text += std::to_string(event.id & 0xfff) + " " + std::to_string(event.value) + ", ";
    }
    EXPECT_EQ("2304 3, 2305 2, ", text);
}

TEST_F(JoinedDeviceTest, HasNoMoreControlsThanADescriptionHolds)
{
    std::vector<std::unique_ptr<support::Script>> scripts;
    std::vector<std::unique_ptr<ControlDevice>> parts;
    for (u32 part = 0; part < 3; ++part)
    {
        std::vector<Control> controls;
        for (u32 i = 0; i < 300; ++i)
        {
            controls.push_back(number(1000 * part + i, 0, 1, 0));
        }
        scripts.push_back(std::make_unique<support::Script>(std::move(controls)));
        parts.push_back(scripts.back()->open());
    }
    devices::JoinedDevice device(std::move(parts));
    EXPECT_EQ(devices::kMaxControls, device.controls().size());
    std::int64_t value = 0;
    EXPECT_EQ(0, device.get(1211, value));
    EXPECT_EQ(EINVAL, device.get(1212, value));
}

// A camera's source whose descriptors are only numbers: what is at them is made up.
class OpeningACamera : public testing::Test, public devices::DeviceSource
{
protected:
    static constexpr int kNode = 1000;

    int open(devices::Role role, const std::string& file) override
    {
        asked_ += file + " ";
        const auto found = answers_.find(file);
        return role != devices::Role::camera || found == answers_.end() ? -ENOENT : found->second;
    }
    void listen(std::function<void()>) override {}

    // How many controls it has; below 0, an error number with a minus.
    int open()
    {
        int error = 77;
        const auto device = openCamera(*this, kNode, error, [this](int descriptor, int& failure) {
            const auto script = scripts_.find(descriptor);
            failure = script != scripts_.end() ? errors_[descriptor] : descriptor < 0 ? -descriptor : EBADF;
            return failure == 0 ? script->second.open() : nullptr;
        });
        EXPECT_EQ(device == nullptr, error != 0);
        return device != nullptr ? static_cast<int>(device->controls().size()) : -error;
    }

    std::map<std::string, int> answers_;  // descriptors, or errors with a minus
    std::map<int, int> errors_;           // by descriptor
    std::string asked_;

private:
    static Control control(u32 id) { return number(id, 0, 1, 0); }

    std::map<int, support::Script> scripts_ = [] {
        std::map<int, support::Script> scripts;
        scripts.try_emplace(kNode, std::vector<Control>{control(1)});
        scripts.try_emplace(kNode + 1, std::vector<Control>{control(2), control(3)});
        scripts.try_emplace(kNode + 2, std::vector<Control>{control(4), control(5), control(6)});
        return scripts;
    }();
};

TEST_F(OpeningACamera, TakesItsSubdevicesUntilThereIsNoOther)
{
    EXPECT_EQ(1, open());
    EXPECT_EQ("0 ", asked_);
    answers_ = {{"0", kNode + 1}, {"1", kNode + 2}, {"3", kNode + 1}};
    asked_.clear();
    EXPECT_EQ(6, open());
    EXPECT_EQ("0 1 2 ", asked_);
}

TEST_F(OpeningACamera, AsksForNoMoreThanThereMayBe)
{
    for (const std::string file : {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10"})
    {
        answers_[file] = -EACCES;
    }
    EXPECT_EQ(1, open());
    EXPECT_EQ("0 1 2 3 4 5 6 7 ", asked_);
}

TEST_F(OpeningACamera, GoesOnWithoutASubdeviceThatIsSomebodyElses)
{
    for (const int error : {EACCES, EPERM, EBUSY, ENOTTY})
    {
        answers_ = {{"0", -error}, {"1", kNode + 2}};
        EXPECT_EQ(4, open()) << error;
        answers_ = {{"0", kNode + 1}, {"1", kNode + 2}};
        errors_[kNode + 1] = error;
        EXPECT_EQ(4, open()) << error;
        errors_.clear();
    }
}

TEST_F(OpeningACamera, IsToldLaterWhereASubdeviceVanishesOrFailsForAMoment)
{
    for (const int error : {ENODEV, ENXIO, EIO, ETIMEDOUT, EMFILE})
    {
        answers_ = {{"0", kNode + 1}, {"1", -error}};
        EXPECT_EQ(-error, open());
        answers_ = {{"0", kNode + 1}, {"1", kNode + 2}};
        errors_[kNode + 2] = error;
        EXPECT_EQ(-error, open());
        errors_.clear();
    }
}

TEST_F(OpeningACamera, FailsWithItsNodeAndAsksForNoSubdevice)
{
    errors_[kNode] = EBUSY;
    EXPECT_EQ(-EBUSY, open());
    EXPECT_EQ("", asked_);
}

}  // namespace
