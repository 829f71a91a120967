#include "camera/Camera.h"

#include <algorithm>

#include "HostClock.h"
#include "KSDeviceTime.h"
#include "MachineInfo.h"
#include "ModuleConfigureParser.h"
#include "SensorFile.h"
#include "SensorKeys.h"
#include "SensorPaths.h"
#include "SysConfig.h"
#include "SystemInfoParser.h"
#include "camera/Failure.h"
#include "camera/KeyNames.h"
#include "camera/Operation.h"
#include "services/CommandNames.h"

namespace camera {

using sensorpaths::kMachineInfoFile;
using sensorpaths::kModuleConfigFile;

namespace {

constexpr u32 kDefaultFrameRate = 25;

// Thresholds and times of day and night go out as records that hold their partners too.
Value valueOfSet(ia_cmd_e command, const services::Call::Words& words)
{
    const u32 key = services::keyOfCommand(command);
    const std::size_t word = key == KEY_NTD_THR || key == KEY_DTN_M ? 1
                             : key == KEY_NTD_H                     ? 2
                             : key == KEY_NTD_M                     ? 3
                                                                    : 0;
    return {static_cast<int>(key != 0 ? key : static_cast<u32>(command)), static_cast<int>(words[word])};
}

}  // namespace

Camera::Camera(const Setup& setup, services::Journal& service)
    : setup_(setup),
      uiFiles_(setup.texts.empty() ? setup.share : setup.texts),
      service_(service),
      trials_(leaseAt(setup.speed)),
      speed_(setup.speed),
      watcher_([this] { return watch(); }, "CameraWatch", GThread::emptyFun, GThread::emptyFun),
      follower_([this] { return follow(); }, "CameraFollow", GThread::emptyFun, GThread::emptyFun)
{
    startClock();
    const ModuleConfigure board = boardConfiguration();
    if (!service_.setModule(board.getModuleId()))
    {
        throw Failure(Problem::noModule, kModuleConfigFile, std::to_string(board.getModuleId()));
    }
    u32 frameRate = kDefaultFrameRate;
    getDetailFieldTou32(board.getParameters().c_str(), "fps", &frameRate);
    video_.setFrameRates({static_cast<int>(frameRate)});
    controller_.setVideoStreamModule(&video_);
    controller_.init(board);
    uiFiles_.fill(g_stSysConf);
    if (!hasParameters())
    {
        controller_.uinit();
        throw Failure(Problem::noParameters);
    }
    up_ = true;
    subscription_ = service_.subscribe([this](ia_cmd_e command, const services::Call::Words& words) {
        const Value set = valueOfSet(command, words);
        if (!OwnSets::hear(set))
        {
            others_.hear(set);
        }
    });
    toldNight_ = night();
    toldDevice_ = device().value_or(DeviceState());
    loadControls();
    lensPositions_ = lensPositions();
    look();
    if (!watcher_.start() || !follower_.start())
    {
        shutDown();
        throw Failure(Problem::noThread);
    }
}

Camera::~Camera()
{
    shutDown();
}

void Camera::shutDown()
{
    others_.end();
    follower_.stop();
    watcher_.stop();
    if (up_)
    {
        {
            const Change change(*this);
            endAllTrials(TrialState::cameraEnds);
            sendOwed();
        }
        controller_.uinit();
    }
    service_.unsubscribe(subscription_);
}

void Camera::startClock()
{
    if (setup_.startMinutes)
    {
        const int minutes = *setup_.startMinutes;
        host::setClock(std::make_shared<host::ScaledClock>(setup_.speed, minutes / 60, minutes % 60));
    }
    else if (setup_.speed != 1.0 || !setup_.systemClock)
    {
        host::setClock(std::make_shared<host::ScaledClock>(setup_.speed));
    }
}

ModuleConfigure Camera::boardConfiguration() const
{
    MachineInfo info;
    std::vector<ModuleConfigure> modules;
    if (!SystemInfoParser::parseMachineInfo(kMachineInfoFile, info))
    {
        throw Failure(Problem::machineInfo, kMachineInfoFile);
    }
    if (!ModuleConfigureParser::parse(kModuleConfigFile, info.getHardwareModel(), info.getHardwareCode(), modules) ||
        modules.empty())
    {
        throw Failure(Problem::noBoard, kModuleConfigFile, info.getHardwareModel() + " " + info.getHardwareCode());
    }
    return modules.front();
}

// The default scheme shows what the style documents gave: no scheme file is read into it.
bool Camera::hasParameters()
{
    if (!schemeValue(schemeCount(), KEY_SCHEME_ENABLE))
    {
        return false;
    }
    const std::vector<KeyName>& rows = keyNames();
    return std::any_of(rows.begin(), rows.end(),
                       [&](const KeyName& row) { return !row.onlyStored && schemeValue(schemeCount(), row.key); });
}

int Camera::schemeCount() const
{
    const Gate::Pass pass(gate_);
    return static_cast<int>(g_stSysConf.nSchemeSum);
}

int Camera::currentScheme()
{
    const Gate::Pass pass(gate_);
    int scheme = -1;
    controller_.getParamScheme(scheme);
    return scheme;
}

int Camera::mode()
{
    const Gate::Pass pass(gate_);
    const std::lock_guard<std::mutex> lock(showing_);
    int mode = 1;
    controller_.getParamMode(mode);
    return chosenMode_.value_or(mode);
}

std::optional<int> Camera::schemeValue(int scheme, int key)
{
    const Gate::Pass pass(gate_);
    unsigned value = 0;
    if (controller_.getKeyValFromCache(static_cast<unsigned>(scheme), static_cast<unsigned>(key), value) < 0)
    {
        return std::nullopt;
    }
    return static_cast<int>(value);
}

std::optional<int> Camera::peek(int key)
{
    const std::optional<int> stored = schemeValue(currentScheme(), key);
    if (stored)
    {
        return stored;
    }
    const auto held = parameterOfKey(service_, key);
    return held ? std::optional<int>(held->value) : std::nullopt;
}

std::optional<int> Camera::read(int key)
{
    const Gate::Pass pass(gate_);
    int value = 0;
    return controller_.getParameter(key, value) ? std::optional<int>(value) : std::nullopt;
}

std::string Camera::pairText()
{
    const Change change(*this);  // what is corrected is corrected in the scheme too
    std::string pairs;
    controller_.getAllParameters(pairs);
    return pairs;
}

bool Camera::night() const
{
    const auto state = service_.parameter(IA_CMD_DN_STATE);
    return state && state->value != 0;
}

Schedule Camera::schedule()
{
    const Gate::Pass pass(gate_);
    Schedule schedule;
    for (int scheme = 0; scheme < schemeCount(); ++scheme)
    {
        const auto word = [&](int key) { return static_cast<u32>(schemeValue(scheme, key).value_or(0)); };
        schedule.windows.push_back({word(KEY_SCHEME_ENABLE) != 0, word(KEY_SCHEME_START_HOUR),
                                    word(KEY_SCHEME_START_MIN), word(KEY_SCHEME_END_HOUR), word(KEY_SCHEME_END_MIN)});
    }
    schedule.byDayAndNight = isPlateCamera(g_stSysConf.nDeviceType, g_stSysConf.moduleConfig.szDetail);
    schedule.automatic = mode() != 0;
    schedule.currentScheme = currentScheme();
    schedule.minutes = minutesOfDay();
    return schedule;
}

int Camera::sensorModule()
{
    const Gate::Pass pass(gate_);
    return controller_.getSensorType();
}

std::string Camera::version()
{
    std::string version;
    controller_.getCameraVerInf(version);
    return version;
}

std::string Camera::style()
{
    const Gate::Pass pass(gate_);
    return controller_.getUIStyleFile();
}

LanguageTexts Camera::texts(int language)
{
    const Gate::Pass pass(gate_);
    const bool known = std::any_of(languages().begin(), languages().end(),
                                   [&](const Language& entry) { return entry.id == language; });
    return {known, controller_.getUILanguageFile(language), controller_.getUICommonFile(language)};
}

}  // namespace camera
