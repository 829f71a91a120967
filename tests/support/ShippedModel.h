#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HostPlatform.h"
#include "tests/support/PrivateTree.h"

namespace support {

// A shipped document.
inline std::string shared(const std::string& name)
{
    return readFile(std::string(SENSORDLL_SOURCE_DIR "/share/") + name);
}

// Lays out the documents of a shipped model, as a board would carry them.
inline void installModel(const std::string& model)
{
    writeFile(kMachineInfoFile, shared("models/" + model + "/machineinfo.ini"));
    writeFile(kModuleConfigFile, shared("models/" + model + "/moduleConfig.xml"));
    writeFile(kStyleFile, shared("style/Style.xml"));
    writeFile(kDomeStyleFile, shared("style/Style_dome.xml"));
    writeFile(kDiversityFile, shared("styleDiversity/StyleDiversity.xml"));
    writeFile(kDomeDiversityFile, shared("styleDiversity/StyleDiversity_dome.xml"));
}

// The one module of the machine whose documents are laid out.
inline ModuleConfigure installedModule()
{
    MachineInfo machine;
    EXPECT_TRUE(SystemInfoParser::parseMachineInfo(kMachineInfoFile, machine));
    std::vector<ModuleConfigure> modules;
    EXPECT_TRUE(ModuleConfigureParser::parse(kModuleConfigFile, machine.getHardwareModel(), machine.getHardwareCode(),
                                             modules));
    return modules.at(0);
}

}  // namespace support
