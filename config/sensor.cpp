#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "SensorFile.h"
#include "SensorPaths.h"
#include "SysConfig.h"
#include "SystemInfoParser.h"
#include "base/SharedWord.h"
#include "config/ConfigUnit.h"
#include "config/TextFile.h"
#include "diag/SensorTrace.h"

using config::kSensor;

SysConfig g_stSysConf;

namespace {

constexpr char kUnknownName[] = "xxx";  // contract: both names, always
constexpr u32 kSchemesDefault = 4;
constexpr u32 kSchemesMax = 65535;  // with 87 parameters each, their arrays take 46 MB of a camera's memory

// Fills the whole array with the text, cut to fit, and zeros.
template <std::size_t size>
void copyText(char (&target)[size], const std::string& text)
{
    std::memset(target, 0, size);
    std::memcpy(target, text.data(), std::min(text.size(), size - 1));
}

// Every field that initSysConf does not set itself.
void clearRest(SysConfig& sysConf)
{
    copyText(sysConf.moduleConfig.szName, kUnknownName);
    copyText(sysConf.moduleConfig.szShortName, kUnknownName);
    sysConf.nUIFileSum = 0;
    sysConf.pUIFiles = nullptr;
    sysConf.szUIStyle = nullptr;
}

// The report carries place.
u32 schemesOf(const char* detail, const diag::Place& place)
{
    u32 schemes = kSchemesDefault;
    if (getDetailFieldTou32(detail, "max_scheme", &schemes) != 0)
    {
        return kSchemesDefault;
    }
    const bool isUsable =
        diag::reportUnless(schemes <= kSchemesMax, place, "nSchemeSum <= 65535", "max_scheme(%u)\n", schemes);
    return isUsable ? schemes : kSchemesDefault;
}

// contract: a type that is none of the known ones counts as a dome.
bool hasDomeDocuments(u32 deviceType)
{
    return deviceType != DEVICE_TYPE_CAMERA && deviceType != DEVICE_TYPE_LPR && deviceType != DEVICE_TYPE_FISHEYE;
}

// The file as a terminated heap text, empty where it could not be read; null only without memory. What
// loadFromFile returned, or -1.
int loadText(const std::string& fileName, char*& text)
{
    const INT64 room = config::textLength(getFileLen(fileName.c_str()));
    if (!config::makeRoom(text, room))
    {
        return -1;
    }
    // contract: the length is asked for a second time. The file may have grown since.
    const INT64 length = config::textLength(getFileLen(fileName.c_str()));
    return config::readText(fileName.c_str(), text, std::min(room, length));
}

}  // namespace

int initSysConf(const ModuleConfigure& p_objModuleConfigure, SysConfig* p_stSysConf)
{
    clearRest(*p_stSysConf);
    base::sharedStore(p_stSysConf->moduleConfig.nModuleId, p_objModuleConfigure.getModuleId());
    copyText(p_stSysConf->moduleConfig.szDetail, p_objModuleConfigure.getDetail());
    copyText(p_stSysConf->moduleConfig.szParameters, p_objModuleConfigure.getParameters());
    base::sharedStore(p_stSysConf->nSchemeSum, schemesOf(p_stSysConf->moduleConfig.szDetail, DIAG_PLACE(kSensor)));

    MachineInfo machineInfo;
    diag::reportUnless(SystemInfoParser::parseMachineInfo(sensorpaths::kMachineInfoFile, machineInfo),
                       DIAG_PLACE_AT(kSensor, 141),
                       "SystemInfoParser::parseMachineInfo(\"/mnt/mtd/code/factory_setting/machineinfo.ini\", "
                       "machineInfo)");
    p_stSysConf->nDeviceType = static_cast<u32>(machineInfo.getDeviceType());
    const bool isDomeStyle = hasDomeDocuments(p_stSysConf->nDeviceType);
    diag::reportUnless(!isDomeStyle || DEVICE_TYPE_DOME == p_stSysConf->nDeviceType, DIAG_PLACE_AT(kSensor, 146),
                       "DEVICE_TYPE_CAMERA == p_stSysConf->nDeviceType || DEVICE_TYPE_DOME == "
                       "p_stSysConf->nDeviceType || DEVICE_TYPE_LPR == p_stSysConf->nDeviceType || "
                       "DEVICE_TYPE_FISHEYE == p_stSysConf->nDeviceType",
                       "machineinfo, devicetype(%d) error, must be 1 or 4 or 8\n",  // contract: 9 is accepted too
                       static_cast<int>(p_stSysConf->nDeviceType));

    const std::string styleFile = isDomeStyle ? sensorpaths::kDomeStyleFile : sensorpaths::kStyleFile;
    diag::reportUnless(loadText(styleFile, p_stSysConf->szUIStyle) > 0, DIAG_PLACE_AT(kSensor, 158),
                       "loadFromFile(strStyleFileName.c_str(), p_stSysConf->szUIStyle, "
                       "getFileLen(strStyleFileName.c_str())) > 0");
    const std::string diversityFile = isDomeStyle ? sensorpaths::kDomeDiversityFile : sensorpaths::kDiversityFile;
    char* diversity = nullptr;
    diag::reportUnless(loadText(diversityFile, diversity) > 0, DIAG_PLACE_AT(kSensor, 170),
                       "loadFromFile(strStyleDivFileName.c_str(), ui_styleDiversity, "
                       "getFileLen(strStyleDivFileName.c_str())) > 0");
    diag::reportUnless(SNS_SUCCESS == mergeStyle(&p_stSysConf->moduleConfig, &p_stSysConf->szUIStyle, diversity),
                       DIAG_PLACE_AT(kSensor, 173),
                       "SNS_SUCCESS == mergeStyle(&p_stSysConf->moduleConfig, &p_stSysConf->szUIStyle, "
                       "ui_styleDiversity)");
    std::free(diversity);
    return SNS_SUCCESS;  // contract: always success
}

void uinitSysConf(SysConfig* p_stSysConf)
{
    const u32 entries = p_stSysConf->pUIFiles == nullptr ? 0 : p_stSysConf->nUIFileSum;
    for (u32 i = 0; i < entries; ++i)
    {
        std::free(p_stSysConf->pUIFiles[i].szCommonFile);
        std::free(p_stSysConf->pUIFiles[i].szLanguageFile);
    }
    std::free(p_stSysConf->szUIStyle);  // contract: no field is reset
}
