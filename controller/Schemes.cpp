#include <chrono>
#include <thread>

#include "ISensorController.h"
#include "KestraTime.h"
#include "SysConfig.h"
#include "base/SharedWord.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerUnit.h"

namespace {

constexpr long kBusyWaitMicroseconds = 500000;

// In every step, because the host's wait may return at once: it does on a host thread that is being stopped.
// A hundred looks a second cost nothing.
constexpr std::chrono::milliseconds kLeastPause(10);

// Called with the mutex held: other host calls wait as well, until the busy bits are clear.
void waitWhileBusy(const std::atomic<unsigned char>& flags)
{
    while (isBusy(flags))
    {
        KestraTime::wait(KestraTime(0, kBusyWaitMicroseconds));
        std::this_thread::sleep_for(kLeastPause);
    }
}

}  // namespace

bool ISensorController::setParamScheme(int p_nScheme)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    // contract: reported, not refused
    diag::reportUnless(p_nScheme >= 0 && static_cast<u32>(p_nScheme) <= g_stSysConf.nSchemeSum, CONTROLLER_PLACE,
                       "p_nScheme >= 0 && (u32)p_nScheme <= g_stSysConf.nSchemeSum", "p_nScheme(%d)\n", p_nScheme);
    waitWhileBusy(m_nFlags);
    return switch_to(p_nScheme, false) == SNS_SUCCESS;
}

bool ISensorController::getParamScheme(int& p_nScheme)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    p_nScheme = m_nCurScheme;
    return true;
}

bool ISensorController::setParamMode(int p_nMode)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    // contract: reported, not refused
    diag::reportUnless(p_nMode == 0 || p_nMode == 1, CONTROLLER_PLACE, "0 == p_nMode || 1 == p_nMode", "p_nMode(%d)\n",
                       p_nMode);
    waitWhileBusy(m_nFlags);
    m_nParamMode = p_nMode;
    return true;
}

bool ISensorController::getParamMode(int& p_nMode)
{
    const ControllerLock lock(m_objMutex, __LINE__);
    p_nMode = m_nParamMode;
    return true;
}
