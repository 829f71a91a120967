#include "services/linux/HotPlug.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libudev.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>
#include <future>
#include <string>
#include <system_error>

namespace {

std::atomic<int> overflow{-1};  // readable once the monitor has lost what it was told; -1 for a monitor of its own

std::string subsystems;  // that were listened to

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
    rlimit before{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit none{0, before.rlim_max};
    std::exception_ptr refused;
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    try
    {
        devices::HotPlug hotPlug;
    }
    catch (...)
    {
        refused = std::current_exception();  // looked at when the sanitizers have descriptors again
    }
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    ASSERT_TRUE(refused);
    try
    {
        std::rethrow_exception(refused);
    }
    catch (const std::system_error& error)
    {
        EXPECT_EQ(EMFILE, error.code().value());
    }
}

}  // namespace
