#include "services/linux/V4l2Device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "services/linux/ControlIds.h"
#include "tests/unit/services/linux/ScriptedDriver.h"

namespace {

using devices::ControlEvent;
using devices::Setting;
using devices::V4l2Device;
using support::answer;
using support::ScriptedDriver;

class V4l2DeviceTest : public testing::Test
{
protected:
    V4l2DeviceTest()
    {
        driver_.add(answer(5, V4L2_CTRL_TYPE_INTEGER, "Brightness", -10, 20, 1, 0));
        driver_.add(answer(6, V4L2_CTRL_TYPE_INTEGER64, "Rate", INT64_MIN, INT64_MAX, 1, 0));
        driver_.intervals = {{1, 30}, {1, 15}};
        device_ = V4l2Device::open(driver_.ioctl(), -1, error_);
    }

    void tell(u32 id, u32 changes, int value, u32 flags = 0)
    {
        v4l2_event event = {};
        event.type = V4L2_EVENT_CTRL;
        event.id = id;
        event.u.ctrl.changes = changes;
        event.u.ctrl.value = value;
        event.u.ctrl.flags = flags;
        driver_.events.push_back(event);
    }

    ScriptedDriver driver_;
    int error_ = -1;
    std::unique_ptr<V4l2Device> device_;
};

TEST_F(V4l2DeviceTest, HasTheDriversControlsAndTheFrameRate)
{
    ASSERT_TRUE(device_);
    EXPECT_EQ(0, error_);
    ASSERT_EQ(3u, device_->controls().size());
    EXPECT_EQ(devices::kFrameRate, device_->controls().back().id);
    EXPECT_EQ(-1, device_->eventDescriptor());
}

TEST_F(V4l2DeviceTest, IsNotOpenedWithHalfOfItsControls)
{
    driver_.errors[VIDIOC_QUERY_EXT_CTRL] = ETIMEDOUT;
    EXPECT_FALSE(V4l2Device::open(driver_.ioctl(), -1, error_));
    EXPECT_EQ(ETIMEDOUT, error_);
}

TEST_F(V4l2DeviceTest, SetsSeveralInOneCallAndTellsWhatTheDeviceMadeOfThem)
{
    std::vector<Setting> settings = {{5, 1000}, {6, -5'000'000'000}};
    driver_.asked.clear();
    EXPECT_EQ(0, device_->set(settings));
    EXPECT_EQ((std::vector<Setting>{{5, 20}, {6, -5'000'000'000}}), settings);
    EXPECT_EQ((std::vector<unsigned long>{VIDIOC_S_EXT_CTRLS}), driver_.asked);
    std::int64_t value = 0;
    EXPECT_EQ(0, device_->get(6, value));
    EXPECT_EQ(-5'000'000'000, value);
}

TEST_F(V4l2DeviceTest, NegativeValuesOfEitherSizeArriveWhole)
{
    std::vector<Setting> settings = {{5, -3}, {6, -3}};
    EXPECT_EQ(0, device_->set(settings));
    EXPECT_EQ(-3, driver_.values[5]);
    EXPECT_EQ(-3, driver_.values[6]);
}

TEST_F(V4l2DeviceTest, AnErrorLeavesTheSettingsAsTheyWere)
{
    driver_.errors[VIDIOC_S_EXT_CTRLS] = EACCES;
    std::vector<Setting> settings = {{5, 7}};
    EXPECT_EQ(EACCES, device_->set(settings));
    EXPECT_EQ(7, settings[0].value);
    driver_.errors[VIDIOC_G_EXT_CTRLS] = EIO;
    std::int64_t value = 99;
    EXPECT_EQ(EIO, device_->get(5, value));
    EXPECT_EQ(99, value);
}

TEST_F(V4l2DeviceTest, TheFrameRateGoesItsOwnWay)
{
    std::vector<Setting> settings = {{5, 7}, {devices::kFrameRate, 15}};
    EXPECT_EQ(0, device_->set(settings));
    EXPECT_EQ((std::vector<Setting>{{5, 7}, {devices::kFrameRate, 15}}), settings);
    EXPECT_EQ(15u, driver_.interval.denominator);
    EXPECT_EQ(7, driver_.values[5]);
    std::int64_t value = 0;
    EXPECT_EQ(0, device_->get(devices::kFrameRate, value));
    EXPECT_EQ(15, value);
}

TEST_F(V4l2DeviceTest, WhereAnotherRateCannotBeSetTheOneInForceIsNoFailure)
{
    driver_.errors[VIDIOC_S_PARM] = EBUSY;
    std::vector<Setting> settings = {{devices::kFrameRate, 15}};
    EXPECT_EQ(EBUSY, device_->set(settings));
    driver_.interval = {1, 15};
    EXPECT_EQ(0, device_->set(settings));
}

TEST_F(V4l2DeviceTest, TheStreamIsLeftToOthersAfterItsRateWasSet)
{
    std::vector<Setting> settings = {{devices::kFrameRate, 15}};
    driver_.asked.clear();
    EXPECT_EQ(0, device_->set(settings));
    EXPECT_EQ((std::vector<unsigned long>{VIDIOC_S_PARM, VIDIOC_REQBUFS}), driver_.asked);
}

TEST_F(V4l2DeviceTest, TellsWhatOthersHaveDone)
{
    tell(5, V4L2_EVENT_CTRL_CH_VALUE, -4);
    tell(5, V4L2_EVENT_CTRL_CH_FLAGS, 0);
    tell(5, V4L2_EVENT_CTRL_CH_FLAGS, 0, V4L2_CTRL_FLAG_INACTIVE);
    tell(99, V4L2_EVENT_CTRL_CH_VALUE, 1);
    std::vector<ControlEvent> events;
    EXPECT_EQ(0, device_->events(events));
    ASSERT_EQ(2u, events.size());
    EXPECT_EQ(ControlEvent::Kind::changed, events[0].kind);
    EXPECT_EQ(5u, events[0].id);
    EXPECT_EQ(-4, events[0].value);
    EXPECT_EQ(ControlEvent::Kind::freed, events[1].kind);
}

TEST_F(V4l2DeviceTest, ARangeThatChangedIsAskedForAnew)
{
    driver_.controls[5].maximum = 12;
    tell(5, V4L2_EVENT_CTRL_CH_RANGE | V4L2_EVENT_CTRL_CH_VALUE, 12);
    std::vector<ControlEvent> events;
    EXPECT_EQ(0, device_->events(events));
    ASSERT_EQ(2u, events.size());
    EXPECT_EQ(ControlEvent::Kind::described, events[0].kind);
    EXPECT_EQ(12, events[0].control->maximum);
    EXPECT_EQ(ControlEvent::Kind::changed, events[1].kind);
}

TEST_F(V4l2DeviceTest, SaysWhenTheDeviceIsGone)
{
    driver_.errors[VIDIOC_DQEVENT] = ENODEV;
    std::vector<ControlEvent> events;
    EXPECT_EQ(ENODEV, device_->events(events));
}

TEST_F(V4l2DeviceTest, ADriverThatTellsNothingIsNoFault)
{
    driver_.errors[VIDIOC_DQEVENT] = ENOTTY;
    std::vector<ControlEvent> events;
    EXPECT_EQ(0, device_->events(events));
    EXPECT_TRUE(events.empty());
}

TEST_F(V4l2DeviceTest, ADriverThatTellsWithoutEndIsLeftInBetween)
{
    for (int i = 0; i < 1000; ++i)
    {
        tell(5, V4L2_EVENT_CTRL_CH_VALUE, i);
    }
    std::vector<ControlEvent> events;
    EXPECT_EQ(0, device_->events(events));
    EXPECT_FALSE(driver_.events.empty());
    EXPECT_FALSE(events.empty());
}

// A camera with a menu and two frame rates.
class V4l2DeviceOpen : public testing::Test
{
protected:
    V4l2DeviceOpen()
    {
        driver_.add(answer(5, V4L2_CTRL_TYPE_INTEGER, "Brightness", -10, 20, 1, 0));
        driver_.add(answer(6, V4L2_CTRL_TYPE_MENU, "Exposure", 0, 3, 1, 0));
        driver_.items[6] = {{1, "Manual Mode"}, {3, "Aperture Priority"}};
        driver_.intervals = {{1, 30}, {1, 15}};
    }

    std::unique_ptr<V4l2Device> open() { return V4l2Device::open(driver_.ioctl(), -1, error_); }

    auto timesAsked(unsigned long request) const
    {
        return std::count(driver_.asked.begin(), driver_.asked.end(), request);
    }

    ScriptedDriver driver_;
    int error_ = -1;
};

TEST_F(V4l2DeviceOpen, FailsWheneverTheDeviceIsUnpluggedMeanwhile)
{
    ASSERT_TRUE(open());
    const auto end = std::find(driver_.asked.begin(), driver_.asked.end(), VIDIOC_SUBSCRIBE_EVENT);
    const auto calls = end - driver_.asked.begin();
    ASSERT_GT(calls, 10);
    for (int before = 0; before < calls; ++before)
    {
        int left = before;
        const auto unplugged = [&](unsigned long request, void* argument) {
            return left-- > 0 ? driver_.ioctl()(request, argument) : ENODEV;
        };
        EXPECT_FALSE(V4l2Device::open(unplugged, -1, error_)) << before;
        EXPECT_EQ(ENODEV, error_) << before;
    }
}

TEST_F(V4l2DeviceOpen, AHangingDeviceIsNotAskedForTheRest)
{
    for (const unsigned long request : {VIDIOC_QUERYMENU, VIDIOC_G_FMT, VIDIOC_G_PARM, VIDIOC_ENUM_FRAMEINTERVALS})
    {
        driver_.errors = {{request, ETIMEDOUT}};
        driver_.asked.clear();
        EXPECT_FALSE(open());
        EXPECT_EQ(ETIMEDOUT, error_);
        EXPECT_EQ(1, timesAsked(request));
        EXPECT_EQ(request, driver_.asked.back());
    }
}

TEST_F(V4l2DeviceOpen, WhatTheDriverDoesNotHaveIsMissing)
{
    for (const int error : {EINVAL, ENOTTY, ENODATA})
    {
        for (const unsigned long request : {VIDIOC_G_FMT, VIDIOC_G_PARM, VIDIOC_ENUM_FRAMEINTERVALS})
        {
            driver_.errors = {{request, error}};
            const auto device = open();
            ASSERT_TRUE(device);
            EXPECT_EQ(0, error_);
            EXPECT_EQ(2u, device->controls().size()) << "no frame rate";
        }
        driver_.errors = {{VIDIOC_QUERYMENU, error}};
        const auto device = open();
        ASSERT_TRUE(device);
        EXPECT_EQ(2u, device->controls().size()) << "no menu";
    }
}

TEST_F(V4l2DeviceOpen, WhatIsNoVideoDeviceIsClosedAgain)
{
    EXPECT_FALSE(V4l2Device::open(-ENODEV, error_));
    EXPECT_EQ(ENODEV, error_);
    ASSERT_EQ(0, mkfifo("/tmp/opened_pipe", 0600));
    for (const char* path : {"/dev/null", "/tmp/opened_pipe"})
    {
        const int descriptor = ::open(path, O_RDWR | O_CLOEXEC);
        ASSERT_GE(descriptor, 0);
        EXPECT_FALSE(V4l2Device::open(descriptor, error_));
        EXPECT_EQ(ENOTTY, error_) << path;
        EXPECT_EQ(-1, fcntl(descriptor, F_GETFD)) << path;
    }
}

}  // namespace
