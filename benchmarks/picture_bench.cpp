// Prints what a frame of the simulated picture costs, stage by stage: milliseconds of processor time, and the cores that
// 25 frames a second take. Then how long a parameter that is set takes to show: from the call to the first frame whose
// pixels are others. build/bench/bin/picture_bench, after ./bench has built it.

#include <opencv2/core.hpp>
#include <turbojpeg.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "services/sim/ParameterTable.h"
#include "services/sim/Service.h"
#include "services/sim/picture/Encoder.h"
#include "services/sim/picture/Picture.h"

namespace {

using sim::picture::Pipeline;
using sim::picture::View;

constexpr int kWarmUp = 10;
constexpr int kFrames = 100;
constexpr double kInterval = 0.04;
constexpr int kThreads = 2;

double processorTime()
{
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

struct Situation
{
    const char* name;
    double lux;
    bool night;
    int outOfFocus;  // motor steps
    int zoomed;      // positions by which the lens zooms with each frame
    std::map<ia_cmd_e, int> values;
};

const std::map<ia_cmd_e, int> kEverything = {
    {IA_CMD_WDR_MODE, 2},     {IA_CMD_HLC_SWITCH, 1},   {IA_CMD_BLC_SWITCH, 1}, {IA_CMD_ANTI_SHAKE_SWITCH, 1},
    {IA_CMD_DEFLG_SWITCH, 1}, {IA_CMD_SHARPNESS, 80},   {IA_CMD_UI_MIRROR, 3},  {IA_CMD_SATURATION, 70},
    {IA_CMD_2D_NR_MODE, 1},   {IA_CMD_2D_NR_STRG_M, 5}, {IA_CMD_3D_NR_MODE, 1}, {IA_CMD_3D_NR_STRG_M, 5},
    {IA_CMD_BRIGHTNESS, 60},  {IA_CMD_CONTRAST, 60},    {IA_CMD_GAMMA, 1},
};

View viewOf(const Situation& situation)
{
    View view;
    for (const sim::Parameter& parameter : sim::parameters())
    {
        view.values.set(parameter.cmd, parameter.defaultValue);
    }
    for (const auto& [cmd, value] : situation.values)
    {
        view.values.set(cmd, value);
    }
    view.lux = situation.lux;
    view.secondsOfDay = situation.night ? 23 * 3600 : 12 * 3600;
    view.night = situation.night;
    view.lamps = situation.night ? sim::Infrared{100, 100, 100} : sim::Infrared{};
    view.lens.zoom = view.values.get(IA_CMD_MZ_POSITION);
    view.lens.inFocus = view.values.get(IA_CMD_MF_POSITION);
    view.lens.focus = view.lens.inFocus + situation.outOfFocus;
    view.lens.iris = view.values.get(IA_CMD_IRIS_POSITION);
    return view;
}

using Costs = std::map<std::string, double>;  // milliseconds of a frame, by stage

// order: the stages as they come.
Costs measure(const Situation& situation, std::vector<std::string>& order)
{
    View view = viewOf(situation);
    Pipeline pipeline({sim::picture::kWidth, sim::picture::kHeight});
    sim::picture::Encoder encoder;
    Costs costs;
    double last = 0;
    const auto ended = [&](const std::string& stage) {
        const double now = processorTime();
        costs[stage] += (now - last) * 1e3 / kFrames;
        last = now;
        if (std::find(order.begin(), order.end(), stage) == order.end())
        {
            order.push_back(stage);
        }
    };
    pipeline.setWatch(ended);
    for (int frame = 0; frame < kWarmUp + kFrames; ++frame)
    {
        if (frame == kWarmUp)
        {
            costs.clear();
        }
        view.lens.zoom += situation.zoomed;
        view.lens.zoomMoving = situation.zoomed != 0;
        last = processorTime();
        encoder.encode(pipeline.shoot(view, frame * kInterval, kInterval));
        ended("encoding");
    }
    return costs;
}

const Situation kSituations[] = {
    {"day", 20000, false, 0, 0, {}},
    {"night", 0.05, true, 0, 0, {}},
    {"day, all on", 20000, false, 0, 0, kEverything},
    {"night, all on", 0.05, true, 0, 0, kEverything},
    {"out of focus", 20000, false, 1500, 0, {}},
    {"zoom, all on", 20000, false, 0, 120, kEverything},
};

// ---- from a call to its picture ------------------------------------------------------------------------------

constexpr int kCalls = 60;
constexpr double kMiddle = 128;  // between the brightnesses of a dark picture and a light one

// From 0 to 255, of an eighth of its size.
double brightnessOf(const std::string& jpeg)
{
    const std::unique_ptr<void, decltype(&tjDestroy)> decoder(tjInitDecompress(), tjDestroy);
    const int width = sim::picture::kWidth / 8, height = sim::picture::kHeight / 8;
    cv::Mat grey(height, width, CV_8U);
    const auto* const data = reinterpret_cast<const unsigned char*>(jpeg.data());
    if (tjDecompress2(decoder.get(), data, jpeg.size(), grey.data, width, 0, height, TJPF_GRAY, 0) != 0)
    {
        throw std::runtime_error("a frame is no JPEG");
    }
    return cv::mean(grey)[0];
}

// Reads frames on a thread of its own and counts them.
class Viewer
{
public:
    explicit Viewer(const sim::picture::Look& look) : picture_(look), reader_([this] { read(); }) {}

    ~Viewer()
    {
        picture_.stop();
        reader_.join();
    }

    int seen()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return seen_;
    }

    // The first frame that is light, or dark; its place among those seen.
    int waitFor(bool light)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        came_.wait(lock, [this, light] { return seen_ > 0 && (brightness_ > kMiddle) == light; });
        return seen_;
    }

private:
    void read()
    {
        while (const auto frame = picture_.next())
        {
            const double brightness = brightnessOf(frame->jpeg);
            const std::lock_guard<std::mutex> lock(mutex_);
            ++seen_;
            brightness_ = brightness;
            came_.notify_all();
        }
    }

    sim::picture::Picture picture_;
    std::mutex mutex_;
    std::condition_variable came_;
    int seen_ = 0;           // guarded by mutex_
    double brightness_ = 0;  // of the last one, guarded by mutex_
    std::thread reader_;
};

void printLatency()
{
    using Clock = std::chrono::steady_clock;
    sim::Service camera;
    const auto set = [&camera](ia_cmd_e cmd, int value) { camera.call(cmd, IA_CMD_OPT_SET, &value); };
    for (const auto& [cmd, value] : kEverything)
    {
        set(cmd, value);
    }
    Viewer viewer([&camera] { return camera.look(); });
    std::vector<double> milliseconds;
    std::map<int, int> frames;  // how many calls took so many
    bool light = false;
    set(IA_CMD_BRIGHTNESS, 0);
    viewer.waitFor(light);
    for (int i = 0; i < kCalls; ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(200 + 7 * i));  // anywhere between two frames
        light = !light;
        const int before = viewer.seen();
        const auto begun = Clock::now();
        set(IA_CMD_BRIGHTNESS, light ? 100 : 0);
        ++frames[viewer.waitFor(light) - before];
        milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begun).count());
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf("\nfrom a call to its picture, all on: median %.0f ms, longest %.0f ms;", milliseconds[kCalls / 2],
                milliseconds.back());
    for (const auto& [count, calls] : frames)
    {
        std::printf(" in frame %d: %d of %d", count, calls, kCalls);
    }
    std::printf("\n");
}

}  // namespace

int main()
{
    cv::setNumThreads(kThreads);
    std::vector<std::string> order;
    std::vector<Costs> all;
    for (const Situation& situation : kSituations)
    {
        all.push_back(measure(situation, order));
    }
    std::printf("%-22s", "ms of processor time");
    for (const Situation& situation : kSituations)
    {
        std::printf(" %13s", situation.name);
    }
    std::vector<double> sums(all.size());
    for (const std::string& stage : order)
    {
        std::printf("\n%-22s", stage.c_str());
        for (std::size_t i = 0; i < all.size(); ++i)
        {
            std::printf(" %13.1f", all[i][stage]);
            sums[i] += all[i][stage];
        }
    }
    std::printf("\n%-22s", "a frame");
    for (const double sum : sums)
    {
        std::printf(" %13.1f", sum);
    }
    std::printf("\n%-22s", "cores at 25 frames/s");
    for (const double sum : sums)
    {
        std::printf(" %13.2f", sum / 1e3 / kInterval);
    }
    std::printf("\n");
    printLatency();
}
