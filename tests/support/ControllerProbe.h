#pragma once

#include "ISensorController.h"

// What tests may see and change inside a controller.
struct ControllerProbe
{
    using C = ISensorController;

    static KSMutex& mutex(C& c) { return c.m_objMutex; }
    static GThread*& sensorThread(C& c) { return c.m_pSensorThread; }
    static std::atomic<int>& lastScheme(C& c) { return c.m_nLastScheme; }
    static std::atomic<int>& curScheme(C& c) { return c.m_nCurScheme; }
    static std::atomic<int>& paramMode(C& c) { return c.m_nParamMode; }
    static KeyVal**& userKeyVal(C& c) { return c.m_ppUserKeyVal; }
    static KeyVal*& keyValTmp(C& c) { return c.m_pstKeyValTmp; }
    static KeyVal*& fctKeyVal(C& c) { return c.m_pFctKeyVal; }
    static u32& keyValSum(C& c) { return c.m_nKeyValSum; }
    static KeyVal*& keyValBuf(C& c) { return c.m_pstKeyValBuf; }
    static keycmd*& keyCmdMap(C& c) { return c.m_pKeyCmdMap; }
    static u32& version(C& c) { return c.m_nVersion; }
    static VideoStreamModule* videoStreamModule(C& c) { return c.m_pVideoStreamModule; }
    static std::atomic<unsigned char>& flags(C& c) { return c.m_nFlags; }
    static std::atomic<int>& lastSchedule(C& c) { return c.m_nLastSchedule; }
    static bool& lpr(C& c) { return c.m_bLPR; }
};
