#include "services/linux/HotPlug.h"

#include <libudev.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace devices {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kUsePause{1};
constexpr Clock::time_point kNever = Clock::time_point::max();

udev_monitor* listenTo(udev* library)
{
    if (library == nullptr)
    {
        return nullptr;
    }
    // What udev tells comes after it has seen to the node's group; where there is none, the kernel itself is heard.
    const bool hasUdev = access("/run/udev/control", F_OK) == 0;
    udev_monitor* const monitor = udev_monitor_new_from_netlink(library, hasUdev ? "udev" : "kernel");
    if (monitor == nullptr)
    {
        return nullptr;
    }
    for (const char* subsystem : {"video4linux", "media", "leds", "iio", "gpio"})
    {
        udev_monitor_filter_add_match_subsystem_devtype(monitor, subsystem, nullptr);
    }
    udev_monitor_enable_receiving(monitor);
    return monitor;
}

// How often the node was opened and how often closed.
struct Use
{
    int openings = 0;
    int closings = 0;
};

Use readUse(int inotify)
{
    Use use;
    alignas(inotify_event) char buffer[4096];
    for (ssize_t length; (length = read(inotify, buffer, sizeof buffer)) > 0;)
    {
        for (ssize_t at = 0; at < length;)
        {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
            use.openings += (event->mask & IN_OPEN) != 0 ? 1 : 0;
            use.closings += (event->mask & (IN_CLOSE | IN_Q_OVERFLOW)) != 0 ? 1 : 0;
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
    return use;
}

int timeoutUntil(Clock::time_point due)
{
    if (due == kNever)
    {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT32_MAX));
}

}  // namespace

HotPlug::HotPlug()
    : udev_(udev_new()),
      monitor_(listenTo(udev_)),
      inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      thread_([this] { run(); })
{
}

HotPlug::~HotPlug()
{
    end_.signal();
    thread_.join();
    udev_monitor_unref(monitor_);
    udev_unref(udev_);
    if (inotify_ >= 0)
    {
        close(inotify_);
    }
}

void HotPlug::tellPlugging(std::function<void()> plugged)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    plugged_ = std::move(plugged);
}

void HotPlug::tellUse(std::function<void()> used)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    used_ = std::move(used);
}

void HotPlug::watch(const std::string& node)
{
    const std::lock_guard<std::mutex> lock(watchMutex_);
    // The same node has the same number again.
    const int watched = inotify_add_watch(inotify_, node.c_str(), IN_OPEN | IN_CLOSE | IN_DONT_FOLLOW);
    if (watched_ >= 0 && watched_ != watched)
    {
        inotify_rm_watch(inotify_, watched_);
    }
    watched_ = watched;
}

void HotPlug::run()
{
    Clock::time_point due = kNever;  // to tell of use
    Clock::time_point lastTold{};
    for (;;)
    {
        pollfd descriptors[] = {{end_.descriptor(), POLLIN, 0},
                                {monitor_ != nullptr ? udev_monitor_get_fd(monitor_) : -1, POLLIN, 0},
                                {inotify_, POLLIN, 0}};
        poll(descriptors, 3, timeoutUntil(due));
        if (descriptors[0].revents != 0)
        {
            return;
        }
        if (descriptors[1].revents != 0)
        {
            hearPlugging();
        }
        if (descriptors[2].revents != 0)
        {
            const Use use = readUse(inotify_);
            const Clock::time_point now = Clock::now();
            if (use.closings > 0)
            {
                due = std::max(now, lastTold + kUsePause);
            }
            else if (use.openings > 0 && due == kNever)
            {
                due = now + kUsePause;
            }
        }
        if (due <= Clock::now())
        {
            due = kNever;
            lastTold = Clock::now();
            tell(used_);
        }
    }
}

void HotPlug::hearPlugging()
{
    // A camera with its parts is several; one look at what is there does for all, and for those that were lost because
    // too many came at once: then there is none to receive.
    while (udev_device* const device = udev_monitor_receive_device(monitor_))
    {
        udev_device_unref(device);
    }
    tell(plugged_);
}

void HotPlug::tell(const std::function<void()>& listener)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (listener)
    {
        listener();
    }
}

}  // namespace devices
