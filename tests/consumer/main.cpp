// The smallest complete host: an image-adjust service that remembers one word a command, a video module that
// counts, and the library brought up and down once. Reads the camera's absolute paths: start it in a private
// file tree. Prints what happened, a line a step; the exit status says whether it was as it must be.

#include <HostPlatform.h>
#include <sensordll.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace {

constexpr u32 kBrightness = KEY_BRIGHTNESS;
constexpr int kNewBrightness = 60;

std::mutex serviceMutex;
std::map<u32, u32> serviceValues;  // guarded by serviceMutex

class CountingVideo : public VideoStreamModule
{
public:
    int notifyParam(int, int) override
    {
        ++notifications;
        return 0;
    }

    std::vector<AVStreamParam> getStreamParams() const override { return std::vector<AVStreamParam>(2); }

    std::atomic<int> notifications{0};
};

int failures = 0;

void report(const char* step, bool good)
{
    std::printf("consumer: %s: %s\n", step, good ? "ok" : "FAILED");
    failures += good ? 0 : 1;
}

u32 sentToService(u32 command)
{
    const std::lock_guard<std::mutex> lock(serviceMutex);
    return serviceValues[command];
}

bool readBack(ISensorController& controller, int expected)
{
    int value = 0;
    return controller.getParameter(static_cast<int>(kBrightness), value) && value == expected;
}

void useParameters(ISensorController& controller)
{
    const std::string pair = "(" + std::to_string(kBrightness) + "," + std::to_string(kNewBrightness) + ")";
    report("setParameters", controller.setParameters(pair, true) == SNS_SUCCESS);
    report("getParameter", readBack(controller, kNewBrightness));
    report("the value in the service", sentToService(IA_CMD_BRIGHTNESS) == u32{kNewBrightness});
    report("flush", controller.flush() == SNS_SUCCESS);
}

}  // namespace

extern "C" int ia_ioctrl(ia_cmd_e cmd, int opt, void* data)
{
    const std::lock_guard<std::mutex> lock(serviceMutex);
    switch (opt)
    {
    case IA_CMD_OPT_SET:
        serviceValues[cmd] = *static_cast<u32*>(data);
        return 0;
    case IA_CMD_OPT_GET:
        // No dynamic parameters: that list came zero-filled.
        if (cmd != IA_CMD_DYNAMIC_PARAMS_CMDS_GET)
        {
            *static_cast<u32*>(data) = serviceValues[cmd];
        }
        return 0;
    default:
        return -1;
    }
}

int main()
{
    CountingVideo video;
    ModuleConfigure configuration;
    configuration.setModuleId(1);
    configuration.setDetail("(max_scheme=2)");

    ISensorController controller;
    controller.setVideoStreamModule(&video);
    report("init", controller.init(configuration) && controller.getSensorStatus());
    useParameters(controller);
    controller.uinit();

    controller.init(configuration);
    report("the value after a restart", readBack(controller, kNewBrightness));
    controller.uinit();

    std::printf("consumer: %d notifications to the video module\n", video.notifications.load());
    return failures == 0 ? 0 : 1;
}
