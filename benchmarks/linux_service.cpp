// vm-service-cost NODE [replug]: what the service of real cameras costs beside the driver's bare calls, in microseconds of
// this process, kernel included: of a set, and of a switch of three controls. The floor is the same calls made by a thread
// that is handed them and does nothing else, since no set may wait for the device. What the service costs above that is to
// be no more than the bare calls; the exit status is 1 if it is. With replug it says then when the plug may be pulled, and
// how long after the node's return all was applied. In the virtual machine the clock counts instructions, so that ratios are
// those of the work done, whatever the host does.

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "services/linux/LocalDevices.h"
#include "services/linux/Service.h"
#include "services/linux/V4l2Device.h"

namespace {

constexpr int kRounds = 200;

using Batch = std::vector<devices::Setting>;

double seconds(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

[[noreturn]] void giveUp(const std::string& why)
{
    std::fprintf(stderr, "vm-service-cost: %s\n", why.c_str());
    std::exit(2);
}

// What arrives at the device, for whoever waits for it. Thread-safe.
class Arrivals
{
public:
    void add(const Batch& batch)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        batches_.push_back(batch);
        count_ += batch.size();
        changed_.notify_all();
    }

    // Waits for so many settings, and hands over how they came.
    std::vector<Batch> take(std::size_t settings)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, std::chrono::seconds(10), [&] { return count_ >= settings; }))
        {
            giveUp("only " + std::to_string(count_) + " of " + std::to_string(settings) + " settings arrived");
        }
        count_ = 0;
        return std::exchange(batches_, {});
    }

    void clear()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        batches_.clear();
        count_ = 0;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Batch> batches_;
    std::size_t count_ = 0;
};

class WatchedDevice : public devices::ControlDevice
{
public:
    WatchedDevice(std::unique_ptr<devices::V4l2Device> device, Arrivals& arrivals)
        : device_(std::move(device)),
          arrivals_(arrivals)
    {
    }

    const std::vector<devices::Control>& controls() const override { return device_->controls(); }
    int get(u32 id, std::int64_t& value) override { return device_->get(id, value); }
    int eventDescriptor() const override { return device_->eventDescriptor(); }
    int events(std::vector<devices::ControlEvent>& events) override { return device_->events(events); }

    int set(Batch& settings) override
    {
        const Batch sent = settings;
        const int error = device_->set(settings);
        arrivals_.add(sent);
        return error;
    }

private:
    const std::unique_ptr<devices::V4l2Device> device_;
    Arrivals& arrivals_;
};

// Null while the device is not there.
std::unique_ptr<devices::ControlDevice> openDevice(devices::DeviceSource& source, Arrivals& arrivals)
{
    int error = 0;
    auto device = devices::V4l2Device::open(source.open(devices::Role::camera), error);
    return device == nullptr ? nullptr : std::make_unique<WatchedDevice>(std::move(device), arrivals);
}

void setBarely(int descriptor, const Batch& batch)
{
    v4l2_ext_control packed[16] = {};
    v4l2_ext_controls all = {};
    all.which = V4L2_CTRL_WHICH_CUR_VAL;
    all.count = static_cast<__u32>(batch.size());
    all.controls = packed;
    for (std::size_t i = 0; i < batch.size(); ++i)
    {
        packed[i].id = batch[i].id;
        packed[i].value = static_cast<int>(batch[i].value);
    }
    if (ioctl(descriptor, VIDIOC_S_EXT_CTRLS, &all) != 0)
    {
        giveUp("a bare call failed");
    }
}

struct Assignment
{
    ia_cmd_e cmd;
    int words[2];
};

// Of schemes 0 and 1: one control each, and none that an automatic holds.
constexpr Assignment kSwitch[] = {
    {IA_CMD_BRIGHTNESS, {40, 60}}, {IA_CMD_SATURATION, {30, 70}}, {IA_CMD_CONTRAST, {20, 80}}};

// The processor time of one round, after a first one.
template <typename Round>
double measure(const Round& round)
{
    round(0);
    round(1);
    const double begin = seconds(CLOCK_PROCESS_CPUTIME_ID);
    for (int i = 0; i < kRounds; ++i)
    {
        round(i % 2);
    }
    return (seconds(CLOCK_PROCESS_CPUTIME_ID) - begin) / kRounds;
}

struct Cost
{
    const char* what;
    std::size_t count;  // of the switch's controls
    double all = 0;     // of a round with the service, in seconds
    double caller = 0;  // of that, the thread that sets
    std::vector<Batch> arrived[2] = {};
};

void measureService(devices::Service& service, Arrivals& arrivals, Cost& cost)
{
    cost.all = measure([&](int scheme) {
        const double begin = seconds(CLOCK_THREAD_CPUTIME_ID);
        for (std::size_t i = 0; i < cost.count; ++i)
        {
            int word = kSwitch[i].words[scheme];
            if (service.call(kSwitch[i].cmd, IA_CMD_OPT_SET, &word) != 0)
            {
                giveUp(std::string(cost.what) + " is refused");
            }
        }
        cost.caller += (seconds(CLOCK_THREAD_CPUTIME_ID) - begin) / (kRounds + 2);
        cost.arrived[scheme] = arrivals.take(cost.count);
    });
}

// The bare calls by a thread that is handed each batch, as the service's is.
double measureHanded(int descriptor, const Cost& cost)
{
    Arrivals wishes;
    Arrivals arrivals;
    std::thread worker([&] {
        while (true)
        {
            for (const Batch& batch : wishes.take(1))
            {
                if (batch.empty() || batch.front().id == 0)
                {
                    return;
                }
                setBarely(descriptor, batch);
                arrivals.add(batch);
            }
        }
    });
    const double time = measure([&](int scheme) {
        for (const Batch& batch : cost.arrived[scheme])
        {
            wishes.add(batch);
        }
        arrivals.take(cost.count);
    });
    wishes.add({{0, 0}});
    worker.join();
    return time;
}

// False if the target is missed.
bool report(int descriptor, const Cost& cost)
{
    const double bare = measure([&](int scheme) {
        for (const Batch& batch : cost.arrived[scheme])
        {
            setBarely(descriptor, batch);
        }
    });
    const double handed = measureHanded(descriptor, cost);
    const double own = (cost.all - handed) / bare;
    std::printf("%s: %.0f us, of which the caller %.0f us; handed to a thread %.0f us; bare calls %.0f us; "
                "own work %.2f of the bare calls, target 1, %s; with the handing %.2f\n",
                cost.what, 1e6 * cost.all, 1e6 * cost.caller, 1e6 * handed, 1e6 * bare, own,
                own <= 1 ? "met" : "MISSED", (cost.all - bare) / bare);
    return own <= 1;
}

void measureReplug(const char* node, Arrivals& arrivals, std::size_t count)
{
    arrivals.clear();
    std::puts("pull the plug");
    std::fflush(stdout);
    while (access(node, F_OK) == 0)
    {
        usleep(1'000);
    }
    while (access(node, F_OK) != 0)
    {
        usleep(1'000);
    }
    const double begin = seconds(CLOCK_MONOTONIC);
    arrivals.take(count);
    std::printf("replug to applied: %.1f ms\n", 1e3 * (seconds(CLOCK_MONOTONIC) - begin));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        giveUp("name a node");
    }
    devices::Board board;
    board.camera = argv[1];
    devices::LocalDevices source(board);
    Arrivals arrivals;
    std::unique_ptr<devices::ControlDevice> first = openDevice(source, arrivals);
    if (first == nullptr)
    {
        giveUp(std::string(argv[1]) + " cannot be used");
    }
    const devices::Description description{"camera", "", first->controls(), {}};
    first.reset();  // a node that is open keeps its number, also when the device is gone
    Cost costs[] = {{"a set", 1}, {"a switch of three controls", std::size(kSwitch)}};
    {
        devices::Devices devices;
        devices.camera = [&] { return openDevice(source, arrivals); };
        const double begin = seconds(CLOCK_MONOTONIC);
        devices::Service service(description, board, source, devices, {}, {});
        int word = 99;
        service.call(kSwitch[0].cmd, IA_CMD_OPT_SET, &word);
        arrivals.take(1);
        std::printf("start to applied: %.1f ms\n", 1e3 * (seconds(CLOCK_MONOTONIC) - begin));
        for (Cost& cost : costs)
        {
            measureService(service, arrivals, cost);
        }
        if (argc > 2)
        {
            measureReplug(argv[1], arrivals, std::size(kSwitch));
        }
    }
    // By themselves: the service would put back what the bare calls set.
    const int descriptor = open(argv[1], O_RDWR | O_CLOEXEC);
    bool isMet = true;
    for (const Cost& cost : costs)
    {
        isMet = report(descriptor, cost) && isMet;
    }
    close(descriptor);
    return isMet ? 0 : 1;
}
