#pragma once

#include <cstdio>
#include <string>

/// Where the library, and a host that follows it, finds and leaves files on a camera. Header only, so nothing is
/// exported; all functions are reentrant. on disk: never rename.
namespace sensorpaths {

constexpr char kConfigFolder[] = "/mnt/mtd/code/config_file";  ///< what a user saved
constexpr char kFactoryFolder[] = "/mnt/mtd/code/factory_setting";
constexpr char kSignFolder[] = "/mnt/mtd/sign";
constexpr char kLogFolder[] = "/mnt/mtd/log";
constexpr char kModuleFolder[] = "/hd1/moduleConfig";
constexpr char kStyleFolder[] = "/hd1/moduleConfig/sensorConfig/style";
constexpr char kDiversityFolder[] = "/hd1/moduleConfig/sensorConfig/styleDiversity";

/// A host makes these before the first start.
constexpr const char* kFolders[] = {kConfigFolder, kFactoryFolder, kSignFolder,
                                    kLogFolder,    kStyleFolder,   kDiversityFolder};

constexpr char kMachineInfoFile[] = "/mnt/mtd/code/factory_setting/machineinfo.ini";
constexpr char kModuleConfigFile[] = "/hd1/moduleConfig/moduleConfig.xml";
constexpr char kStyleFile[] = "/hd1/moduleConfig/sensorConfig/style/Style.xml";
constexpr char kDomeStyleFile[] = "/hd1/moduleConfig/sensorConfig/style/Style_dome.xml";
constexpr char kDiversityFile[] = "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml";
constexpr char kDomeDiversityFile[] = "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_dome.xml";
constexpr char kMergedStyleFile[] = "/tmp/merge_style.xml";

constexpr char kVersionFile[] = "/mnt/mtd/code/config_file/snsversion.cfg";
constexpr char kSchemeFile[] = "/mnt/mtd/code/config_file/sensor%d.cfg";  ///< for printf, with the scheme's number
constexpr char kErrorLogFile[] = "/mnt/mtd/log/SensorError.log";
constexpr char kDebugMarkerFile[] = "/mnt/mtd/sign/Debug.sign";

inline std::string schemeFile(int scheme)
{
    char path[sizeof kSchemeFile + 16];
    std::snprintf(path, sizeof path, kSchemeFile, scheme);
    return path;
}

}  // namespace sensorpaths
