#include <string>
#include <string_view>
#include <vector>

#include "ModuleConfigure.h"
#include "SensorFlags.h"
#include "fuzz/CameraUnderTest.h"
#include "fuzz/DetailField.h"
#include "fuzz/HostStandIns.h"
#include "fuzz/ScriptedService.h"
#include "fuzz/Session.h"
#include "fuzz/TextParts.h"

// A whole camera: it comes up, takes a sequence of calls, and goes down.
// Input: device type, frame rate %% detail text %% the service's first answers %% style %% diversity rules %% calls.
// Without a style or rules the camera has small ones. A call is a line: a letter and what it takes (Session.cpp).

namespace {

constexpr int kDome = 4;

constexpr char kSmallStyle[] =
    "<Style><Tab key=\"schedule\"><P id=\"8000\" value=\"0\"/><P id=\"8001\" value=\"8\"/><P id=\"8002\" value=\"0\"/>"
    "<P id=\"8003\" value=\"18\"/><P id=\"8004\" value=\"0\"/></Tab><Tab key=\"image\"><P id=\"34\" value=\"50\"/>"
    "<C id=\"49\" value=\"3\"><I index=\"1\"/><I index=\"3\"/></C>"
    "<P id=\"16\" value=\"0\"/><P id=\"1536\" value=\"2\"/><P id=\"144\" value=\"1\"/><P id=\"2368\" value=\"1\"/><P "
    "id=\"2384\" value=\"1\"/><P id=\"2385\" value=\"0\"/>"
    "<P id=\"145\" value=\"30\"/><P id=\"146\" value=\"70\"/><P id=\"149\" value=\"18\"/><P id=\"152\" value=\"15\"/>"
    "<P id=\"2416\" value=\"0\"/><P id=\"2432\" value=\"0\"/><P id=\"1539\" value=\"1\"/></Tab></Style>";
constexpr char kSmallRules[] = "<None/>";
constexpr char kModules[] = "<ModuleConfigs><ModuleConfig hardwareModel=\"M\" hardwareCode=\"C\"><ModuleId>7</ModuleId>"
                            "<Detail>(max_scheme=2)</Detail></ModuleConfig></ModuleConfigs>";

void provideFiles(int deviceType, const std::string& style, const std::string& rules)
{
    fuzz::emptyCamera();
    fuzz::writeFile(fuzz::kMachineInfoFile,
                    "DeviceType=" + std::to_string(deviceType) + "\nHardwareModel=M\nHardwareCode=C\n");
    fuzz::writeFile(fuzz::kModuleConfigFile, kModules);
    for (const char* file : {fuzz::kStyleFile, fuzz::kDomeStyleFile})
    {
        fuzz::writeFile(file, style.empty() ? kSmallStyle : style);
    }
    for (const char* file : {fuzz::kDiversityFile, fuzz::kDomeDiversityFile})
    {
        fuzz::writeFile(file, rules.empty() ? kSmallRules : rules);
    }
}

ModuleConfigure moduleWith(const std::string& detail)
{
    ModuleConfigure module;
    module.setModuleId(7);
    module.setDetail(detail);
    module.setParameters(detail);
    return module;
}

// As a new process finds it.
void forgetLastInput()
{
    fuzz::refuseThreads(false);
    fuzz::refuseCommands(false);
    setshowWDRFalg(true);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 6);
    std::string_view head = parts[0];
    const int deviceType = fuzz::takeNumber(head, kDome);
    const int frameRate = fuzz::takeNumber(head, 25);
    if (fuzz::asksForTooManySchemes(parts[1]))
    {
        return 0;
    }
    forgetLastInput();
    provideFiles(deviceType, parts[3], parts[4]);
    fuzz::ScriptedService service(parts[2], fuzz::ScriptedService::Mood::fickle);
    fuzz::CameraUnderTest camera(moduleWith(parts[1]));
    camera.video().frameRate = frameRate;
    camera.bringUp();
    fuzz::Session(camera, service).run(parts[5]);
    return 0;
}
