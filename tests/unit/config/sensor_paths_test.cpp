#include "SensorPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace {

// Cameras in the field, their hosts and their tools go by these names. Elsewhere tests take them from the header.
TEST(SensorPaths, AreThoseOfEveryCameraInTheField)
{
    using namespace sensorpaths;
    const std::vector<std::string> found = {
        kMachineInfoFile, kModuleConfigFile, kStyleFile,    kDomeStyleFile, kDiversityFile, kDomeDiversityFile,
        kMergedStyleFile, kDebugMarkerFile,  kErrorLogFile, kVersionFile,   schemeFile(0),  schemeFile(65534),
    };
    EXPECT_EQ(found, (std::vector<std::string>{
                         "/mnt/mtd/code/factory_setting/machineinfo.ini",
                         "/hd1/moduleConfig/moduleConfig.xml",
                         "/hd1/moduleConfig/sensorConfig/style/Style.xml",
                         "/hd1/moduleConfig/sensorConfig/style/Style_dome.xml",
                         "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml",
                         "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity_dome.xml",
                         "/tmp/merge_style.xml",
                         "/mnt/mtd/sign/Debug.sign",
                         "/mnt/mtd/log/SensorError.log",
                         "/mnt/mtd/code/config_file/snsversion.cfg",
                         "/mnt/mtd/code/config_file/sensor0.cfg",
                         "/mnt/mtd/code/config_file/sensor65534.cfg",
                     }));
}

TEST(SensorPaths, EveryFileOfTheCameraLiesInAFolderThatAHostMakes)
{
    using namespace sensorpaths;
    const std::vector<std::string> folders(std::begin(kFolders), std::end(kFolders));
    for (const std::string& file :
         {std::string(kMachineInfoFile), std::string(kStyleFile), std::string(kDomeStyleFile),
          std::string(kDiversityFile), std::string(kDomeDiversityFile), schemeFile(0), std::string(kVersionFile),
          std::string(kErrorLogFile), std::string(kDebugMarkerFile)})
    {
        EXPECT_EQ(1, std::count(folders.begin(), folders.end(), file.substr(0, file.rfind('/')))) << file;
    }
}

}  // namespace
