#include "KSDeviceTime.h"
#include "KestraTime.h"
#include "SysConfig.h"
#include "base/SharedWord.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerParts.h"
#include "controller/ControllerUnit.h"
#include "ia_ioctrl.h"

using diag::Kind;

namespace {

constexpr long kTurnPauseSeconds = 1;  // windows begin and end on minutes: a second's delay goes unnoticed
constexpr int kDayScheme = 0;
constexpr int kNightScheme = 1;

enum schedule_e
{
    kOutsideWindows = 0,
    kInsideWindow = 1,
};

}  // namespace

// One turn. Takes no lock: the busy bits are the handshake with the host's callers. Testing them and raising
// switching_flag are two steps; the narrow race between them is accepted.
int ISensorController::sensorThread()
{
    if ((m_nFlags & kResetFlag) == 0)
    {
        KestraTime::wait(KestraTime(kTurnPauseSeconds, 0));
    }
    if (m_nParamMode == 0)
    {
        return 0;
    }
    int scheme = 0;
    int schedule = kOutsideWindows;
    const diag::Place place = CONTROLLER_PLACE;
    const int judged = judgeCurScheme(scheme, schedule);
    diag::reportUnless(judged == SNS_SUCCESS, place, "SNS_SUCCESS == judgeCurScheme(nScheme, nSchedule)",
                       "nScheme(%d)\n", scheme);
    if (!m_bLPR)
    {
        Parts::turnOrdinary(*this, place, scheme);
    }
    else if (schedule == kInsideWindow)
    {
        Parts::turnScheduledLpr(*this, place, scheme);
    }
    else
    {
        Parts::turnDayNightLpr(*this);
    }
    return 0;
}

void ISensorController::Parts::turnOrdinary(ISensorController& self, const diag::Place& place, int scheme)
{
    if (scheme == self.m_nCurScheme || isBusy(self.m_nFlags))
    {
        return;
    }
    diag::trace(Kind::debug, place, "SCHEME: auto switch_to(%d)\n", scheme);
    diag::reportUnless(self.switch_to(scheme, false) == SNS_SUCCESS, place, "SNS_SUCCESS == switch_to(nScheme)",
                       "nScheme(%d)\n", scheme);
}

void ISensorController::Parts::turnScheduledLpr(ISensorController& self, const diag::Place& place, int scheme)
{
    const bool wasInside = self.m_nLastSchedule == kInsideWindow;
    if ((wasInside && scheme == self.m_nCurScheme) || isBusy(self.m_nFlags))
    {
        return;
    }
    diag::trace(Kind::debug, place, "SCHEME: auto switch_to(%d)\n", scheme);
    if (wasInside)
    {
        diag::reportUnless(self.switch_to(scheme, false) == SNS_SUCCESS, place, "SNS_SUCCESS == switch_to(nScheme)",
                           "nScheme(%d)\n", scheme);
    }
    else
    {
        // The day/night pair was sent with KEY_DN_MODE forced, so a comparison with it would mislead: send everything.
        diag::reportUnless(self.switch_to(scheme, true) == SNS_SUCCESS, place,
                           "SNS_SUCCESS == switch_to(nScheme, true)", "nScheme(%d)\n", scheme);
    }
    self.m_nLastSchedule = kInsideWindow;
}

void ISensorController::Parts::turnDayNightLpr(ISensorController& self)
{
    int mode = 0;
    self.getDNMode(mode);  // a failed reading counts as day
    const int scheme = mode != 0 ? kNightScheme : kDayScheme;
    if ((self.m_nLastSchedule == kOutsideWindows && scheme == self.m_nCurScheme) || isBusy(self.m_nFlags))
    {
        return;
    }
    self.LPR_switch_to(scheme);
    self.m_nLastSchedule = kOutsideWindows;
}

int ISensorController::judgeCurScheme(int& p_nScheme, int& p_nSchedule)
{
    const KSDeviceTime time = KSDeviceTime::getCurrentTime();
    const u32 hour = static_cast<u32>(time.getHour());
    const u32 minute = static_cast<u32>(time.getMinute());
    const u32 schemes = base::sharedLoad(g_stSysConf.nSchemeSum);
    p_nSchedule = kOutsideWindows;
    p_nScheme = static_cast<int>(schemes);
    for (u32 i = 0; i < schemes; ++i)
    {
        if (windowHolds(Parts::windowOf(*this, i), hour, minute))
        {
            p_nScheme = static_cast<int>(i);
            p_nSchedule = kInsideWindow;
            break;
        }
    }
    return SNS_SUCCESS;  // contract: always success
}

int ISensorController::LPR_switch_to(int p_nScheme)
{
    const RaisedFlag switching(m_nFlags, kSwitchingFlag);
    m_nLastScheme = m_nCurScheme.load();
    m_nCurScheme = p_nScheme;
    if (const KeyVal* const records = Parts::recordsOf(*this, p_nScheme))
    {
        bool modeSeen = false;
        for (u32 i = 0; i < m_nKeyValSum; ++i)
        {
            const bool forced = !modeSeen && records[i].key == KEY_DN_MODE;
            modeSeen = modeSeen || forced;
            base::sharedStore(m_pstKeyValBuf[i].key, records[i].key);
            base::sharedStore(m_pstKeyValBuf[i].value, forced ? 0u : base::sharedLoad(records[i].value));
        }
        setParameters(m_pstKeyValBuf, m_nKeyValSum, false);
    }
    return SNS_SUCCESS;  // contract: always success
}

bool ISensorController::getDNMode(int& p_nMode)
{
    int mode = 0;
    if (doIaCmd(IA_CMD_DN_STATE, IA_CMD_OPT_GET, &mode) != SNS_SUCCESS)
    {
        return false;
    }
    p_nMode = mode;
    return true;
}
