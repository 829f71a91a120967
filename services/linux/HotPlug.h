#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "services/linux/Wake.h"

struct udev;
struct udev_monitor;

namespace devices {

// Hears of devices that come and go, and of programs that open and close one node: a thread that sleeps until then.
// Thread-safe. Where nothing can be heard, nothing is told.
class HotPlug
{
public:
    // Throws std::system_error where no descriptor is left for its end.
    HotPlug();
    // Waits for a call under way.
    ~HotPlug();

    HotPlug(const HotPlug&) = delete;
    HotPlug& operator=(const HotPlug&) = delete;

    // Called on the thread of this object, which may call anything here but these two and the end; null for nobody. A call
    // under way has ended when they return.
    void tellPlugging(std::function<void()> plugged);
    // Once a second at most, and a second after an opening: then something may have been set.
    void tellUse(std::function<void()> used);

    // The only node whose use is told, from now until it is gone.
    void watch(const std::string& node);

private:
    void run();
    void hearPlugging();
    void tell(const std::function<void()>& listener);

    const Wake end_;
    udev* const udev_;
    udev_monitor* const monitor_;
    const int inotify_;

    std::mutex watchMutex_;
    int watched_ = -1;  // guarded by watchMutex_

    std::mutex mutex_;  // held during a call of a listener

    // Guarded by mutex_.
    std::function<void()> plugged_;
    std::function<void()> used_;

    std::thread thread_;  // last: it uses the others
};

}  // namespace devices
