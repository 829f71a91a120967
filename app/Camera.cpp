#include "app/Camera.h"

#include <algorithm>
#include <stdexcept>

#include "DeviceType.h"
#include "HostClock.h"
#include "KSDeviceTime.h"
#include "MachineInfo.h"
#include "ModuleConfigureParser.h"
#include "SensorFile.h"
#include "SensorKeys.h"
#include "SysConfig.h"
#include "SystemInfoParser.h"
#include "app/Failure.h"
#include "app/KeyNames.h"
#include "app/SchemeFile.h"

namespace app {
namespace {

constexpr char kMachineInfoFile[] = "/mnt/mtd/code/factory_setting/machineinfo.ini";
constexpr char kModuleConfigFile[] = "/hd1/moduleConfig/moduleConfig.xml";
constexpr char kNoParameters[] =
    "the camera has no parameters: the style documents in /hd1/moduleConfig/sensorConfig could not be read, or not "
    "merged into /tmp/merge_style.xml; is the disk full?";
constexpr u32 kDefaultFrameRate = 25;
constexpr std::size_t kPlainDetailLength = 14;  // shorter texts cannot name the infrared variant

}  // namespace

Camera::Camera(const Setup& setup, services::ImageService& service)
    : setup_(setup),
      uiFiles_(setup.share),
      service_(service)
{
    startClock();
    const ModuleConfigure board = boardConfiguration();
    if (!service_.setModule(board.getModuleId()))
    {
        throw Failure(std::string(kModuleConfigFile) + " names sensor module " + std::to_string(board.getModuleId()) +
                      ", which does not exist");
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
        throw Failure(kNoParameters);
    }
    up_ = true;
}

Camera::~Camera()
{
    if (up_)
    {
        controller_.uinit();
    }
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
        throw Failure(std::string(kMachineInfoFile) + " cannot be read or names no device type");
    }
    if (!ModuleConfigureParser::parse(kModuleConfigFile, info.getHardwareModel(), info.getHardwareCode(), modules) ||
        modules.empty())
    {
        throw Failure(std::string(kModuleConfigFile) + " has no entry for the board " + info.getHardwareModel() + " " +
                      info.getHardwareCode());
    }
    return modules.front();
}

bool Camera::factoryReset()
{
    try
    {
        controller_.resetParameters();
    }
    catch (const std::out_of_range&)
    {
        // At debug level 6 and above the module configuration is read again, after the old one was given up.
        up_ = false;
        return false;
    }
    uiFiles_.fill(g_stSysConf);
    if (!hasParameters())
    {
        throw Failure(kNoParameters);
    }
    for (int scheme = 0; scheme < schemeCount(); ++scheme)
    {
        if (readSchemeFile(scheme).empty())
        {
            throw Failure("factory values are in force, but " + schemeFilePath(scheme) +
                          " could not be made; is the disk full?");
        }
    }
    return true;
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
    return static_cast<int>(g_stSysConf.nSchemeSum);
}

int Camera::currentScheme()
{
    int scheme = -1;
    controller_.getParamScheme(scheme);
    return scheme;
}

bool Camera::defaultSchemeIsCurrent()
{
    return currentScheme() == schemeCount();
}

int Camera::mode()
{
    int mode = 1;
    controller_.getParamMode(mode);
    return mode;
}

std::optional<int> Camera::schemeValue(int scheme, int key)
{
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
    const KeyName* row = findKey(key);
    const auto held =
        row == nullptr || row->onlyStored ? std::nullopt : service_.parameter(static_cast<ia_cmd_e>(row->command));
    return held ? std::optional<int>(held->value) : std::nullopt;
}

bool Camera::night() const
{
    const auto state = service_.parameter(IA_CMD_DN_STATE);
    return state && state->value != 0;
}

bool Camera::choosesByDayAndNight() const
{
    const std::string detail = g_stSysConf.moduleConfig.szDetail;
    const bool namesInfrared =
        detail.size() >= kPlainDetailLength &&
        (detail.find("(isInfrared=0)") != std::string::npos || detail.find("(isInfrared=1)") != std::string::npos);
    return g_stSysConf.nDeviceType == DEVICE_TYPE_LPR && !namesInfrared;
}

Schedule Camera::schedule()
{
    Schedule schedule;
    for (int scheme = 0; scheme < schemeCount(); ++scheme)
    {
        const auto word = [&](int key) { return static_cast<unsigned>(schemeValue(scheme, key).value_or(0)); };
        schedule.windows.push_back({word(KEY_SCHEME_ENABLE) != 0, word(KEY_SCHEME_START_HOUR),
                                    word(KEY_SCHEME_START_MIN), word(KEY_SCHEME_END_HOUR), word(KEY_SCHEME_END_MIN)});
    }
    schedule.byDayAndNight = choosesByDayAndNight();
    schedule.automatic = mode() != 0;
    schedule.currentScheme = currentScheme();
    schedule.minutes = minutesOfDay();
    return schedule;
}

int Camera::minutesOfDay() const
{
    const KSDeviceTime now = KSDeviceTime::getCurrentTime();
    return now.getHour() * 60 + now.getMinute();
}

bool Camera::setTimeOfDay(int minutes)
{
    const auto clock = std::dynamic_pointer_cast<host::ScaledClock>(host::clock());
    if (!clock)
    {
        return false;
    }
    clock->setTimeOfDay(minutes / 60, minutes % 60);
    return true;
}

}  // namespace app
