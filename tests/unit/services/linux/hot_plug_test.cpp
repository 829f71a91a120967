#include "services/linux/HotPlug.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libudev.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <string>
#include <system_error>

namespace {

std::atomic<int> overflow{-1};  // readable once the monitor has lost what it was told; -1 for a monitor of its own

std::string subsystems;  // that were listened to

std::atomic<bool> isExhausted{false};  // no eventfd is to be had; a lower limit would leave sanitizers none either

template <typename Function>
Function* library(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// In place of the library's.
extern "C" __attribute__((visibility("default"))) int udev_monitor_get_fd(udev_monitor* monitor)
{
    return overflow >= 0 ? overflow.load() : library<int(udev_monitor*)>("udev_monitor_get_fd")(monitor);
}

extern "C" __attribute__((visibility("default"))) int udev_monitor_filter_add_match_subsystem_devtype(
    udev_monitor* monitor, const char* subsystem, const char* type)
{
    subsystems += std::string(subsystem) + " ";
    return library<int(udev_monitor*, const char*, const char*)>("udev_monitor_filter_add_match_subsystem_devtype")(
        monitor, subsystem, type);
}

extern "C" __attribute__((visibility("default"))) udev_device* udev_monitor_receive_device(udev_monitor* monitor)
{
    eventfd_t told = 0;
    if (overflow < 0)
    {
        return library<udev_device*(udev_monitor*)>("udev_monitor_receive_device")(monitor);
    }
    errno = eventfd_read(overflow, &told) == 0 ? ENOBUFS : EAGAIN;
    return nullptr;
}

extern "C" __attribute__((visibility("default"))) int eventfd(unsigned count, int flags) noexcept
{
    if (isExhausted)
    {
        errno = EMFILE;
        return -1;
    }
    return library<int(unsigned, int)>("eventfd")(count, flags);
}

namespace {

TEST(HotPlug, TellsOfPluggingAlsoWhenTooMuchHappenedAtOnce)
{
    overflow = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    ASSERT_GE(overflow, 0);
    {
        std::promise<void> plugged;
        devices::HotPlug hotPlug;
        hotPlug.tellPlugging([&plugged] { plugged.set_value(); });
        eventfd_write(overflow, 1);
        EXPECT_EQ(std::future_status::ready, plugged.get_future().wait_for(std::chrono::seconds(60)));
        hotPlug.tellPlugging(nullptr);
    }
    close(overflow.exchange(-1));
}

TEST(HotPlug, ListensToAllThatACameraMayConsistOf)
{
    subsystems.clear();
    devices::HotPlug hotPlug;
    EXPECT_EQ("video4linux media leds iio gpio ", subsystems);
}

// Without it nobody could end its thread.
TEST(HotPlug, IsRefusedWithoutADescriptor)
{
    isExhausted = true;
    try
    {
        devices::HotPlug hotPlug;
        ADD_FAILURE();
    }
    catch (const std::system_error& refused)
    {
        EXPECT_EQ(EMFILE, refused.code().value());
    }
    isExhausted = false;
}

}  // namespace
