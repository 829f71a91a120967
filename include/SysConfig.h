#pragma once

#include <cstring>

#include "SensorTypes.h"
#include "sensordll_export.h"

class ModuleConfigure;

/// The library's copy of the host's ModuleConfigure.
struct ModuleConfig
{
    int nModuleId;
    char szName[32];         // "xxx": nothing writes it after initSysConf
    char szShortName[10];    // "xxx": nothing writes it after initSysConf
    char szParameters[256];  ///< a longer text is cut to fit
    char szDetail[512];      // fields "(name=value)" without separators; a longer text is cut to fit
};

/// The user-interface texts of one language. The host fills the list; see SysConfig::pUIFiles.
struct UIFileEntry
{
    int nLanguageId;
    u32 nReserved[8];      ///< keeps the record's shape; neither read nor written
    char* szLanguageFile;  ///< malloc; freed by uinitSysConf
    char* szCommonFile;    ///< malloc; freed by uinitSysConf
};

/// Values of SysConfig::nDeviceType.
enum device_type_e : u32
{
    DEVICE_TYPE_CAMERA = 1,
    DEVICE_TYPE_DOME = 4,
    DEVICE_TYPE_LPR = 8,
    DEVICE_TYPE_FISHEYE = 9,
};

/// True for a licence-plate camera: outside the windows day and night choose between its schemes 0 and 1.
/// contract: one whose detail names its infrared variant, with either value, is run as an ordinary camera. Reentrant.
inline bool isPlateCamera(u32 deviceType, const char* detail)
{
    return deviceType == DEVICE_TYPE_LPR && std::strstr(detail, "(isInfrared=0)") == nullptr &&
           std::strstr(detail, "(isInfrared=1)") == nullptr;
}

/// The global configuration. Filled by initSysConf, then only read until uinitSysConf.
struct SysConfig
{
    ModuleConfig moduleConfig;
    u32 nSchemeSum;         ///< scheduled schemes, at most 65535; scheme nSchemeSum is the default scheme
    u32 nUIFileSum;         ///< entries in pUIFiles; 0 after initSysConf
    UIFileEntry* pUIFiles;  ///< the host's array, set by the host after init and again after a factory reset;
                            ///< its texts are freed by uinitSysConf, the array itself stays the host's. No
                            ///< getUI...File may run while the host fills it
    char* szUIStyle;        ///< merged style document, terminated UTF-8, malloc
    u32 nDeviceType;        ///< device_type_e as the machine information gave it, unchecked
};

extern SENSORDLL_API SysConfig g_stSysConf;

/// Fills *p_stSysConf from the module configuration, the machine information and the style documents.
/// contract: always SNS_SUCCESS; what failed is reported and left empty. A record that was filled before must
/// pass uinitSysConf first, or its style text is lost. Host thread only.
SENSORDLL_API int initSysConf(const ModuleConfigure& p_objModuleConfigure, SysConfig* p_stSysConf);

/// Frees the texts that the record owns and resets no field: the record must not be read before the next
/// initSysConf. Host thread only.
SENSORDLL_API void uinitSysConf(SysConfig* p_stSysConf);
