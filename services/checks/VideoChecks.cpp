#include <atomic>
#include <thread>

#include "VideoStreamModule.h"
#include "services/checks/Commands.h"
#include "services/checks/Parts.h"

namespace portcheck {
namespace {

constexpr int kCallers = 4;
constexpr int kRounds = 50;

constexpr char kStreams[] = "the video module names its streams to several threads at once";
constexpr char kNotified[] = "the video module accepts the wide dynamic range that is in force";

std::string checkStreams(Watch& watch, const VideoStreamModule& video)
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kCallers; ++i)
    {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round)
            {
                const Step step(watch, "VideoStreamModule::getStreamParams");
                for (const AVStreamParam& stream : video.getStreamParams())
                {
                    wrong += stream.getFrameRate() > 0 ? 0 : 1;
                }
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    return wrong == 0 ? "" : "a frame rate below 1";
}

void notify(Watch& watch, VideoStreamModule& video, int cmd, int value, Findings& findings)
{
    const Step step(watch, "VideoStreamModule::notifyParam");
    const int status = video.notifyParam(cmd, value);
    if (status != 0)
    {
        findings.add("notifyParam(" + std::to_string(cmd) + ", " + std::to_string(value) + ") gave " +
                     std::to_string(status));
    }
}

// As the library tells of a change.
std::string checkNotified(Watch& watch, VideoStreamModule& video)
{
    GuardedWord mode;
    const bool isThere = ask(watch, IA_CMD_WDR_MODE, IA_CMD_OPT_GET, mode.data()) == 0;
    Findings findings;
    notify(watch, video, IA_CMD_WDR_BRACKET, 0, findings);
    if (isThere)
    {
        notify(watch, video, IA_CMD_WDR_MODE, mode.get<int>(), findings);
    }
    notify(watch, video, IA_CMD_WDR_BRACKET, 1, findings);
    return findings.text();
}

}  // namespace

void checkVideo(Report& report, const Options& options, VideoStreamModule* video)
{
    report.begin("video module");
    if (video == nullptr)
    {
        report.leaveOut(kStreams, "there is none");
        report.leaveOut(kNotified, "there is none");
        return;
    }
    report.check(kStreams, [video](Watch& watch) { return checkStreams(watch, *video); });
    if (options.set)
    {
        report.check(kNotified, [video](Watch& watch) { return checkNotified(watch, *video); });
    }
    else
    {
        report.leaveOut(kNotified, "not told to, --set");
    }
}

}  // namespace portcheck
