#include "ISensorController.h"
#include "SensorFlags.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerUnit.h"
#include "ia_ioctrl.h"

using diag::Kind;

// Handlers of parameters that need more than one command. A failed step that is only reported does not stop its
// handler. For the keys handled here key and command number are the same, so the command also finds the partner's
// value in the cache.

namespace {

enum mirror_e : u32
{
    kMirrorFirst = 1,
    kMirrorSecond = 2,
};

enum wdr_bracket_e
{
    kWdrChangeBegins = 0,
    kWdrChangeEnds = 1,
};

u32 wordAt(const void* data)
{
    return *static_cast<const u32*>(data);
}

// In corridor mode the picture is turned, so the two flip directions trade places.
u32 mirrorInView(u32 mirror, u32 corridor)
{
    if (corridor == 0 || (mirror != kMirrorFirst && mirror != kMirrorSecond))
    {
        return mirror;
    }
    return mirror == kMirrorFirst ? kMirrorSecond : kMirrorFirst;
}

// The scheme's value, 0 if it lacks the key.
u32 partnerValue(ISensorController& controller, int scheme, u32 key)
{
    u32 value = 0;
    controller.getKeyValFromCache(scheme, key, value);
    return value;
}

}  // namespace

int ISensorController::doHwdr(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    if (!getshowWDRFalg())
    {
        *static_cast<u32*>(p_pVal) = 0;
        return SNS_SUCCESS;
    }
    notifyToVideo(IA_CMD_WDR_BRACKET, kWdrChangeBegins);
    const int result = notifyToVideo(p_nKey, wordAt(p_pVal));
    diag::reportUnless(doIaCmd(p_nKey, p_nDir, p_pVal) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)");
    notifyToVideo(IA_CMD_WDR_BRACKET, kWdrChangeEnds);
    return result;  // contract: the video module's answer, since the video side is what must follow
}

int ISensorController::doImageAdjust(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    diag::reportUnless(doIaCmd(p_nKey, p_nDir, p_pVal) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)");
    return notifyToVideo(p_nKey, wordAt(p_pVal));
}

int ISensorController::doDIS(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    diag::reportUnless(notifyToVideo(p_nKey, wordAt(p_pVal)) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == notifyToVideo(p_nKey, *(u32*)p_pVal)");
    return doIaCmd(p_nKey, p_nDir, p_pVal);
}

int ISensorController::doMirror(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    const u32 received = wordAt(p_pVal);
    const u32 nBeaway = partnerValue(*this, m_nCurScheme, KEY_BEAWAY);
    u32 nMirror = mirrorInView(received, nBeaway);
    diag::trace(Kind::debug, CONTROLLER_PLACE, "nMirror(%u --> %u), nBeaway:%u\n", received, nMirror, nBeaway);
    diag::reportUnless(notifyToVideo(p_nKey, nMirror) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == notifyToVideo(p_nKey, nMirror)");
    return doIaCmd(p_nKey, p_nDir, &nMirror);
}

int ISensorController::doBeaway(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    u32 nBeaway = wordAt(p_pVal);
    const u32 nMirror = mirrorInView(partnerValue(*this, m_nCurScheme, KEY_MIRROR), nBeaway);
    // contract: the service is sent no mirror value here, only the video module learns it
    diag::reportUnless(notifyToVideo(IA_CMD_UI_MIRROR, nMirror) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == notifyToVideo(IA_CMD_UI_MIRROR, nMirror)");
    diag::reportUnless(notifyToVideo(p_nKey, nBeaway) == SNS_SUCCESS, CONTROLLER_PLACE,
                       "SNS_SUCCESS == notifyToVideo(p_nKey, nBeaway)");
    return doIaCmd(p_nKey, p_nDir, &nBeaway);
}

int ISensorController::doDNThr(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    dn_thr_st record = {};
    record.d2n_thr = p_nKey == KEY_DTN_THR ? wordAt(p_pVal) : partnerValue(*this, m_nCurScheme, KEY_DTN_THR);
    record.n2d_thr = p_nKey == KEY_DTN_THR ? partnerValue(*this, m_nCurScheme, KEY_NTD_THR) : wordAt(p_pVal);
    diag::tracePlain(Kind::debug, "m_nCurScheme(%u) dn_thr_st.d2n_thr(%u) dn_thr_st.n2d_thr(%u)\n",
                     static_cast<u32>(m_nCurScheme.load()), record.d2n_thr, record.n2d_thr);
    const int status = doIaCmd(p_nKey, p_nDir, &record);
    // contract: thresholds that the service refuses must not end the reload of saved parameters
    return (m_nFlags & kReloadFlag) != 0 ? static_cast<int>(SNS_SUCCESS) : status;
}

int ISensorController::doDNTime(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    // contract: any other command counts as KEY_NTD_M
    const bool known = p_nKey == KEY_DTN_H || p_nKey == KEY_DTN_M || p_nKey == KEY_NTD_H;
    const u32 own = known ? p_nKey : static_cast<u32>(KEY_NTD_M);
    const auto valueOf = [&](u32 key) { return key == own ? wordAt(p_pVal) : partnerValue(*this, m_nCurScheme, key); };
    dn_time_st record = {};
    record.d2n_hour = valueOf(KEY_DTN_H);
    record.d2n_min = valueOf(KEY_DTN_M);
    record.n2d_hour = valueOf(KEY_NTD_H);
    record.n2d_min = valueOf(KEY_NTD_M);
    diag::tracePlain(Kind::debug,
                     "m_nCurScheme(%u) dn_time_st.d2n_hour(%u) dn_time_st.d2n_min(%u) dn_time_st.n2d_hour(%u) "
                     "dn_time_st.n2d_min(%u) \n",
                     static_cast<u32>(m_nCurScheme.load()), record.d2n_hour, record.d2n_min, record.n2d_hour,
                     record.n2d_min);
    return doIaCmd(p_nKey, p_nDir, &record);
}

void ISensorController::setShowWDRFalg(bool p_bShow)
{
    setshowWDRFalg(p_bShow);
}
