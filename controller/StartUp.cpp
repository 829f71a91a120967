#include <cstdio>
#include <cstring>
#include <vector>

#include "AVStreamParam.h"
#include "DeviceType.h"
#include "FactoryScheme.h"
#include "GThread.h"
#include "KSFile.h"
#include "MachineInfo.h"
#include "SensorFile.h"
#include "SensorFlags.h"
#include "SysConfig.h"
#include "SystemInfoParser.h"
#include "VideoStreamModule.h"
#include "base/SharedWord.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerParts.h"
#include "controller/ControllerUnit.h"
#include "controller/KeyCmdMap.h"
#include "keyval/KeyValSearch.h"
#include "sy_system.h"

using diag::Kind;

namespace {

// contract: the block that holds all schemes is never released; hosts keep pointers into it beyond uinit.
__attribute__((noinline)) KeyVal* allocateSchemeBlock(std::size_t records)
{
    return new KeyVal[records]();
}

void dropOutdatedSchemeFiles(const diag::Place& place, u32 version)
{
    u32 stored = 0;
    if (getVersion(&stored) == SNS_SUCCESS && stored == version)
    {
        return;
    }
    diag::warn(place,
               "check the sensor version,   local(%u) --> libsensordll.so(%u), source the cmd: rm -rf "
               "/mnt/mtd/code/config*/sensor*\n",
               stored, version);
    sy_system(kRemoveSchemeFiles, kRemoveLimitSeconds);
}

bool isPlateCameraByFiles()
{
    MachineInfo machineInfo;
    SystemInfoParser::parseMachineInfo(kMachineInfoFile, machineInfo);
    DeviceType deviceType;
    deviceType.setDeviceTypeId(machineInfo.getDeviceType());
    return isPlateCamera(static_cast<u32>(deviceType.getDeviceTypeId()), g_stSysConf.moduleConfig.szDetail);
}

// Wide dynamic range needs two exposures per frame: at 50 and 60 frames per second there is no time for them.
void settleWdrVisibility(const VideoStreamModule* video)
{
    setshowWDRFalg(true);
    if (video == nullptr)
    {
        return;
    }
    for (const AVStreamParam& stream : video->getStreamParams())
    {
        if (stream.getFrameRate() == 50 || stream.getFrameRate() == 60)
        {
            setshowWDRFalg(false);
        }
    }
}

}  // namespace

bool ISensorController::init(const ModuleConfigure& p_objModuleConfigure)
{
    RaisedFlag initialising(m_nFlags, kInitialising);
    m_nFlags &= static_cast<unsigned char>(~kInitialised);

    diag::reportUnless(initSysConf(p_objModuleConfigure, &g_stSysConf) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == initSysConf(p_objModuleConfigure, &g_stSysConf)");
    Parts::makeSchemes(*this, CONTROLLER_PLACE);
    dropOutdatedSchemeFiles(CONTROLLER_PLACE, m_nVersion);
    if (isPlateCameraByFiles())
    {
        m_bLPR = true;  // contract: never taken back, not by the init of a factory reset either
    }
    Parts::loadSchemeFiles(*this);
    diag::reportUnless(setVersion(m_nVersion) == SNS_SUCCESS, CONTROLLER_PLACE, "SNS_SUCCESS == setVersion(m_nVersion)",
                       "m_nVersion(%d)\n", static_cast<int>(m_nVersion));

    m_pKeyCmdMap = newKeyCmdMap(base::sharedLoad(g_nKeyCmdNum));
    g_pKeyCmdMap = m_pKeyCmdMap;
    base::sharedStore(g_nKeyCmdNum, kKeyCmdRows);
    m_pstKeyValTmp = new KeyVal[m_nKeyValSum]();

    sensorThread();  // the first scheme is in force before the host goes on
    diag::reportUnless(m_pSensorThread->start(), CONTROLLER_PLACE, "m_pSensorThread->start()");

    initialising.lower();
    m_nFlags |= kInitialised;
    settleWdrVisibility(m_pVideoStreamModule);
    diag::tracePlain(Kind::debug, "ISensorController::initSensor  success\n");
    return true;  // contract: always true
}

void ISensorController::Parts::makeSchemes(ISensorController& self, const diag::Place& place)
{
    self.m_pFctKeyVal = new KeyVal[kKeyValCapacity]();
    self.m_pstKeyValBuf = new KeyVal[kKeyValCapacity]();
    const int result = getFctData(g_stSysConf.szUIStyle, self.m_pFctKeyVal, &self.m_nKeyValSum);
    diag::reportUnless(result == SNS_SUCCESS, place,
                       "SNS_SUCCESS == getFctData(g_stSysConf.szUIStyle, m_pFctKeyVal, &m_nKeyValSum)",
                       "m_nKeyValSum(%d)\n", static_cast<int>(self.m_nKeyValSum));
    diag::tracePlain(Kind::debug, "m_nKeyValNum(%d)\n", static_cast<int>(self.m_nKeyValSum));

    // Every scheme starts with the factory values, so that a scheme file that turns out short leaves sensible
    // values past its end.
    const std::size_t arrays = static_cast<std::size_t>(g_stSysConf.nSchemeSum) + 1;
    KeyVal* const block = allocateSchemeBlock(arrays * self.m_nKeyValSum);
    self.m_ppUserKeyVal = new KeyVal*[arrays];
    for (std::size_t i = 0; i < arrays; ++i)
    {
        self.m_ppUserKeyVal[i] = block + i * self.m_nKeyValSum;
        std::memcpy(self.m_ppUserKeyVal[i], self.m_pFctKeyVal, self.m_nKeyValSum * sizeof(KeyVal));
    }
    delete[] self.m_pFctKeyVal;
    self.m_pFctKeyVal = self.m_ppUserKeyVal[arrays - 1];
}

void ISensorController::Parts::loadSchemeFiles(ISensorController& self)
{
    for (u32 i = 0; i < g_stSysConf.nSchemeSum; ++i)
    {
        char file[sizeof(kSchemeFile) + 16];
        std::snprintf(file, sizeof(file), kSchemeFile, static_cast<int>(i));
        if (!KSFile::exists(file))
        {
            writeFactoryScheme(self, static_cast<int>(i), file);
        }
        keyValFromFile(file, self.m_ppUserKeyVal[i], self.m_nKeyValSum);
    }
}

void ISensorController::Parts::writeFactoryScheme(ISensorController& self, int scheme, char* file)
{
    std::memcpy(self.m_pstKeyValBuf, self.m_pFctKeyVal, self.m_nKeyValSum * sizeof(KeyVal));
    for (const KeyVal& wanted : factoryChanges(self.m_bLPR, scheme))
    {
        const int position = findKey(self.m_pstKeyValBuf, self.m_nKeyValSum, wanted.key);
        if (position != -1)
        {
            self.m_pstKeyValBuf[position].value = wanted.value;
        }
    }
    keyValToFile(file, self.m_pstKeyValBuf, self.m_nKeyValSum);
    if (!self.m_bLPR && scheme == 0)
    {
        // contract: the default scheme is disabled from here on, whatever the style document says
        self.setKeyValToCache(g_stSysConf.nSchemeSum, KEY_SCHEME_ENABLE, 0, true);
    }
}

void ISensorController::uinit()
{
    const RaisedFlag stopping(m_nFlags, kStopping);
    diag::reportUnless(m_pSensorThread->stop(), CONTROLLER_PLACE, "m_pSensorThread->stop()");

    delete[] m_pstKeyValTmp;
    delete[] m_pKeyCmdMap;  // contract: g_pKeyCmdMap keeps its value
    delete[] m_ppUserKeyVal;
    delete[] m_pstKeyValBuf;
    m_pstKeyValTmp = nullptr;
    m_pKeyCmdMap = nullptr;
    m_pstKeyValBuf = nullptr;
    uinitSysConf(&g_stSysConf);  // contract: no field is reset

    m_nKeyValSum = 0;
    m_ppUserKeyVal = nullptr;
    m_pFctKeyVal = nullptr;
    m_nParamMode = kScheduledMode;
    m_nLastScheme = kNoScheme;
    m_nCurScheme = kNoScheme;
}
