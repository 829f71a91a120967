// The smallest complete host: an image-adjust service that remembers one word a command, a video module that
// counts, and the library brought up and down twice. Reads the camera's absolute paths: start it in a private
// file tree. Prints what happened, a line a step; the exit status says whether it was as it must be.
// docs/PORTING.md shows the part between the two lines "sample".

#include <HostPlatform.h>
#include <SensorPaths.h>
#include <sensordll.h>

#include <atomic>
#include <cstdio>
#include <cstring>
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

// ---- sample ------------------------------------------------------------------------------------------------------

bool hasContent(const char* path)
{
    KSFile file;
    return file.open(path) && file.getLength() > 0;
}

// Null, or what is wrong. Nothing is written before everything is there.
const char* bringUp(ISensorController& camera, VideoStreamModule& video)
{
    MachineInfo machine;
    std::vector<ModuleConfigure> modules;
    if (!SystemInfoParser::parseMachineInfo(sensorpaths::kMachineInfoFile, machine))
    {
        return "no machine information";
    }
    if (!ModuleConfigureParser::parse(sensorpaths::kModuleConfigFile, machine.getHardwareModel(),
                                      machine.getHardwareCode(), modules) ||
        modules.empty())  // a board that is not listed is no failure of the parser
    {
        return "no module configuration for this board";
    }
    if (!hasContent(sensorpaths::kStyleFile) ||  // a dome has names of its own
        !hasContent(sensorpaths::kDiversityFile))
    {
        return "no documents";
    }
    camera.setVideoStreamModule(&video);  // must outlive its use; init asks it for the streams
    camera.init(modules.front());         // a little over a second: the first turn's pause is part of it
    std::string pairs;
    camera.getAllParameters(pairs);
    return pairs.empty() ? "no parameters: the documents cannot be used" : nullptr;
}

// After bringUp, and again after each factory reset.
void fillTexts()
{
    static UIFileEntry english;  // the list stays the host's; uinit frees its texts
    english.szLanguageFile = strdup("<texts/>");
    english.szCommonFile = strdup("<common/>");
    g_stSysConf.pUIFiles = &english;
    g_stSysConf.nUIFileSum = 1;
}

bool setAndSave(ISensorController& camera, const std::string& pairs)
{
    int scheme = -1;
    camera.getParamScheme(scheme);
    const bool isStored = scheme >= 0 && scheme < static_cast<int>(g_stSysConf.nSchemeSum);  // not the default scheme
    return isStored && camera.setParameters(pairs, true) == SNS_SUCCESS && camera.flush() == SNS_SUCCESS;
}

// ---- sample ------------------------------------------------------------------------------------------------------

bool comesUp(ISensorController& camera, VideoStreamModule& video)
{
    const char* const wrong = bringUp(camera, video);
    if (wrong != nullptr)
    {
        std::printf("consumer: %s\n", wrong);
        return false;
    }
    fillTexts();
    return camera.getSensorStatus() && camera.getUICommonFile(0) == "<common/>";
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
    ISensorController controller;
    report("coming up", comesUp(controller, video));
    const std::string pair = "(" + std::to_string(kBrightness) + "," + std::to_string(kNewBrightness) + ")";
    report("setting and saving", setAndSave(controller, pair));
    report("getParameter", readBack(controller, kNewBrightness));
    report("the value in the service", sentToService(IA_CMD_BRIGHTNESS) == u32{kNewBrightness});
    controller.uinit();

    report("coming up again", comesUp(controller, video));
    report("the value after a restart", readBack(controller, kNewBrightness));
    controller.uinit();

    std::printf("consumer: %d notifications to the video module\n", video.notifications.load());
    return failures == 0 ? 0 : 1;
}
