// Prints what a frame of the simulated picture costs, stage by stage: milliseconds of processor time, and the cores that
// 25 frames a second take. build/bench/bin/picture_bench, after ./bench has built it.

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "services/sim/ParameterTable.h"
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
    {"zooming", 20000, false, 0, 120, {}},
};

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
}
