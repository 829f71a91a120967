#pragma once

#include <cstdio>
#include <string>

/// Where the library, and a host that follows it, finds and leaves files on a camera. Header only, so nothing is
/// exported; all functions are reentrant. on disk: never rename.
namespace sensorpaths {

inline constexpr char kConfigFolder[] = "/mnt/mtd/code/config_file";  ///< what a user saved
inline constexpr char kFactoryFolder[] = "/mnt/mtd/code/factory_setting";
inline constexpr char kSignFolder[] = "/mnt/mtd/sign";
inline constexpr char kLogFolder[] = "/mnt/mtd/log";
inline constexpr char kModuleFolder[] = "/hd1/moduleConfig";
inline constexpr char kStyleFolder[] = "/hd1/moduleConfig/sensorConfig/style";
inline constexpr char kDiversityFolder[] = "/hd1/moduleConfig/sensorConfig/styleDiversity";

/// A host makes these before the first start.
inline constexpr const char* kFolders[] = {kConfigFolder, kFactoryFolder, kSignFolder,
                                           kLogFolder,    kStyleFolder,   kDiversityFolder};

inline constexpr char kMachineInfoFile[] = "/mnt/mtd/code/factory_setting/machineinfo.ini";
inline constexpr char kModuleConfigFile[] = "/hd1/moduleConfig/moduleConfig.xml";
inline constexpr char kStyleFile[] = "/hd1/moduleConfig/sensorConfig/style/Style.xml";
inline constexpr char kDomeStyleFile[] = "/hd1/moduleConfig/sensorConfig/style/Style_dome.xml";
inline constexpr char kDiversityFile[] = "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml";
inline constexpr char kDomeDiversityFile[] = "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_dome.xml";
inline constexpr char kMergedStyleFile[] = "/tmp/merge_style.xml";

inline constexpr char kVersionFile[] = "/mnt/mtd/code/config_file/snsversion.cfg";
inline constexpr char kSchemeFile[] = "/mnt/mtd/code/config_file/sensor%d.cfg";  ///< %d: the scheme's number
inline constexpr char kErrorLogFile[] = "/mnt/mtd/log/SensorError.log";
inline constexpr char kDebugMarkerFile[] = "/mnt/mtd/sign/Debug.sign";

inline std::string schemeFile(int scheme)
{
    char path[sizeof kSchemeFile + 16];
    std::snprintf(path, sizeof path, kSchemeFile, scheme);
    return path;
}

}  // namespace sensorpaths
