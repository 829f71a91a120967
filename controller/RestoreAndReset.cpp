#include <cstdio>
#include <vector>

#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "ModuleConfigureParser.h"
#include "SensorFile.h"
#include "SysConfig.h"
#include "SystemInfoParser.h"
#include "base/SharedWord.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerParts.h"
#include "controller/ControllerUnit.h"
#include "sy_system.h"

using diag::Kind;

namespace {

// The module configuration of this board as its files say. contract: std::out_of_range when they name none.
ModuleConfigure moduleFromFiles()
{
    MachineInfo machineInfo;
    SystemInfoParser::parseMachineInfo(kMachineInfoFile, machineInfo);
    std::vector<ModuleConfigure> modules;
    ModuleConfigureParser::parse(sensorpaths::kModuleConfigFile, machineInfo.getHardwareModel(),
                                 machineInfo.getHardwareCode(), modules);
    return modules.at(0);
}

// As init was told. contract: the texts are the copies that the configuration kept, cut where they were cut.
ModuleConfigure moduleFromConfiguration()
{
    ModuleConfigure module;
    module.setDetail(g_stSysConf.moduleConfig.szDetail);
    module.setModuleId(g_stSysConf.moduleConfig.nModuleId);
    module.setParameters(g_stSysConf.moduleConfig.szParameters);
    return module;
}

// Calls that waited for the mutex, and a later uinit, must not find what uinit released if no init follows.
void forgetReleasedTexts()
{
    g_stSysConf.szUIStyle = nullptr;
    g_stSysConf.pUIFiles = nullptr;
    g_stSysConf.nUIFileSum = 0;
}

}  // namespace

int ISensorController::restore(int p_nKey)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    diag::tracePlain(Kind::debug, "p_nKey(%d)\n", p_nKey);
    if (const KeyVal* const stored = Parts::findRecord(*this, m_nCurScheme, p_nKey))
    {
        KeyVal record = {stored->key, base::sharedLoad(stored->value)};  // a handler may change it
        return setParameters(&record, 1, false);
    }
    diag::reportUnless(false, CONTROLLER_PLACE, "-1 != nPos",
                       "restore key(%d) failed! make sure it is sensor ui key \n", p_nKey);
    return -1;
}

bool ISensorController::restoreAeMode()
{
    return restore(KEY_EXPOSE_MODE) == SNS_SUCCESS && restore(KEY_AUTO_FOCUS_MODE) == SNS_SUCCESS;
}

bool ISensorController::resetToLastParameters()
{
    diag::trace(Kind::debug, CONTROLLER_PLACE, "\n");
    const int scheme = m_nCurScheme;
    if (static_cast<u32>(scheme) >= base::sharedLoad(g_stSysConf.nSchemeSum))
    {
        return true;
    }
    char szTmp[sizeof(kSchemeFile) + 16];
    std::snprintf(szTmp, sizeof(szTmp), kSchemeFile, scheme);

    const ControllerLock lock(m_objMutex, __LINE__);
    const RaisedFlag reloading(m_nFlags, kReloadFlag);
    diag::reportUnless(keyValFromFile(szTmp, m_pstKeyValTmp, m_nKeyValSum) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == keyValFromFile(szTmp, m_pstKeyValTmp, m_nKeyValSum)",
                       "szTmp(%s), m_nKeyValSum(%d)\n", szTmp, static_cast<int>(m_nKeyValSum));
    return setParameters(m_pstKeyValTmp, m_nKeyValSum, true) == SNS_SUCCESS;
}

bool ISensorController::resetParameters()
{
    const ControllerLock lock(m_objMutex, __LINE__);
    diag::trace(Kind::debug, CONTROLLER_PLACE, "resetting\n");
    const RaisedFlag resetting(m_nFlags, kResetFlag);
    const int defaultScheme = static_cast<int>(g_stSysConf.nSchemeSum);
    diag::reportUnless(switch_to(defaultScheme, false) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == switch_to(g_stSysConf.nSchemeSum)", "g_stSysConf.nSchemeSum(%d)\n",
                       defaultScheme);
    sy_system(kRemoveSchemeFiles, kRemoveLimitSeconds);
    uinit();
    forgetReleasedTexts();
    const ModuleConfigure module = diag::enabled(Kind::debug) ? moduleFromFiles() : moduleFromConfiguration();
    diag::reportUnless(init(module), CONTROLLER_PLACE, "init(objModuleConfigure)");
    return true;  // contract: always true
}
