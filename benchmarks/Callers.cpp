#include "benchmarks/Callers.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "benchmarks/BenchCamera.h"
#include "benchmarks/ConstantService.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr u32 kKeys[] = {KEY_BRIGHTNESS, KEY_SATURATION,  KEY_CONTRAST, KEY_SHARPNESS,
                         KEY_METER_AREA, KEY_EXPOSE_MODE, KEY_MAX_GAIN, KEY_FIX_GAIN};
constexpr std::size_t kCallsMax = 8u << 20;  // of one caller; far more than it can make

float seconds(Clock::duration span)
{
    return std::chrono::duration<float>(span).count();
}

// One caller: waits for the start, calls until the end, and keeps how long each call took.
void callUntil(const std::atomic<bool>& started, const std::atomic<bool>& ended, ISensorController& controller, u32 key,
               std::vector<float>& waits)
{
    while (!started)
    {
        std::this_thread::yield();
    }
    for (int value = 0; !ended && waits.size() < kCallsMax; value ^= 1)
    {
        const Clock::time_point begin = Clock::now();
        controller.setParameter(static_cast<int>(key), value, true);
        waits.push_back(seconds(Clock::now() - begin));
    }
}

}  // namespace

CallersResult measureCallers(int callers, double length)
{
    answerWithoutDynamicCommands();
    BenchCamera camera(generated({std::begin(kKeys), std::end(kKeys)}));
    std::atomic<bool> started{false};
    std::atomic<bool> ended{false};
    std::vector<std::vector<float>> waits(static_cast<std::size_t>(callers));
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < waits.size(); ++i)
    {
        waits[i].reserve(static_cast<std::size_t>(length * 2e6));
        threads.emplace_back(
            [&, i] { callUntil(started, ended, camera.controller(), kKeys[i % std::size(kKeys)], waits[i]); });
    }
    const Clock::time_point begin = Clock::now();
    started = true;
    std::this_thread::sleep_for(std::chrono::duration<double>(length));
    ended = true;
    const double taken = std::chrono::duration<double>(Clock::now() - begin).count();
    std::vector<float> all;
    for (std::size_t i = 0; i < waits.size(); ++i)
    {
        threads[i].join();
        all.insert(all.end(), waits[i].begin(), waits[i].end());
    }
    std::sort(all.begin(), all.end());
    return {static_cast<double>(all.size()) / taken, all[all.size() / 2], all[all.size() * 999 / 1000], all.back()};
}

}  // namespace bench
