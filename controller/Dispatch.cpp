#include <cstring>

#include "ISensorController.h"
#include "VideoStreamModule.h"
#include "controller/ControllerFlags.h"
#include "controller/ControllerUnit.h"
#include "ia_ioctrl.h"

using diag::Kind;

namespace {

// The first word of a command's data, for traces: the data may be a text or a record.
int firstWord(const void* data)
{
    int word = 0;
    if (data != nullptr)
    {
        std::memcpy(&word, data, sizeof(word));
    }
    return word;
}

}  // namespace

int ISensorController::doIaCmd(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    const diag::Place place = CONTROLLER_PLACE;
    const int cmd = static_cast<int>(p_nKey);
    const int dir = static_cast<int>(p_nDir);
    diag::trace(Kind::debug, place, "====================== cmd:%d dir:%d val:%d =====================begin\n", cmd,
                dir, firstWord(p_pVal));
    const int status = ia_ioctrl(static_cast<ia_cmd_e>(p_nKey), dir, p_pVal);
    diag::trace(Kind::debug, place, "====================== cmd:%d dir:%d val:%d =====================end\n", cmd, dir,
                firstWord(p_pVal));
    return status;
}

int ISensorController::doIaCmd_User(u32 p_nKey, u32 p_nDir, void* p_pVal)
{
    if ((m_nFlags & kBulkMask) != 0)
    {
        // contract: every one-shot key says so
        diag::trace(Kind::debug, CONTROLLER_PLACE, "ignored auto focus once !!!\n");
        return SNS_SUCCESS;  // contract: the bulk application goes on
    }
    return doIaCmd(p_nKey, p_nDir, p_pVal);
}

bool ISensorController::getCmdExecStatus(int cmd, int& status)
{
    if (doIaCmd(cmd, IA_CMD_OPT_GET_EXEC_STATUS, &status) != SNS_SUCCESS)
    {
        return false;
    }
    diag::trace(Kind::debug, CONTROLLER_PLACE,
                "=================  get exec status cmd(0x%x)       value(%d)   ======================\n",
                static_cast<u32>(cmd), status);
    return true;
}

void ISensorController::setVideoStreamModule(const VideoStreamModule* p_pVideoStreamModule)
{
    // The only cast: hosts pass the module as const, but notifyParam is not a const operation.
    m_pVideoStreamModule = const_cast<VideoStreamModule*>(p_pVideoStreamModule);
}

int ISensorController::notifyToVideo(int cmd, int value)
{
    VideoStreamModule* const video = m_pVideoStreamModule;
    return video == nullptr ? static_cast<int>(SNS_SUCCESS) : video->notifyParam(cmd, value);
}
