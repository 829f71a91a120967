#include "ISensorController.h"
#include "SysConfig.h"
#include "base/SharedWord.h"
#include "controller/ControllerFlags.h"
#include "ia_ioctrl.h"

int ISensorController::getSensorType()
{
    return base::sharedLoad(g_stSysConf.moduleConfig.nModuleId);
}

bool ISensorController::getSensorStatus()
{
    return (m_nFlags & kInitialised) != 0;
}

bool ISensorController::getCameraVerInf(std::string& p_strVersion)
{
    char text[kCameraVersionSize] = {};
    if (doIaCmd(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, text) != SNS_SUCCESS)
    {
        return false;
    }
    text[kCameraVersionSize - 1] = '\0';  // a service may have forgotten it
    p_strVersion = text;
    return true;
}

void ISensorController::printDebugMsg() {}
