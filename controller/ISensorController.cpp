#include "ISensorController.h"

#include "GThread.h"
#include "controller/ControllerUnit.h"

namespace {

constexpr u32 kParameterLayoutVersion = 8;  // on disk: changing it makes every camera drop its scheme files
constexpr int kNoSchedule = 255;

}  // namespace

ISensorController::ISensorController()
    : m_pSensorThread(nullptr),
      m_nLastScheme(kNoScheme),
      m_nCurScheme(kNoScheme),
      m_nParamMode(kScheduledMode),
      m_ppUserKeyVal(nullptr),
      m_pstKeyValTmp(nullptr),
      m_pFctKeyVal(nullptr),
      m_nKeyValSum(0),
      m_pstKeyValBuf(nullptr),
      m_pKeyCmdMap(nullptr),
      m_nVersion(kParameterLayoutVersion),
      m_pVideoStreamModule(nullptr),
      m_nFlags(0),
      m_nLastSchedule(kNoSchedule),
      m_bLPR(false)
{
    m_pSensorThread =
        new GThread([this] { return sensorThread(); }, "SensorThread", &GThread::emptyFun, &GThread::emptyFun);
}

ISensorController::~ISensorController()
{
    if (m_pSensorThread != nullptr)
    {
        m_pSensorThread->stop();
        delete m_pSensorThread;
    }
}
