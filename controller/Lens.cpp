#include <iterator>

#include "ISensorController.h"
#include "ia_ioctrl.h"

namespace {

constexpr int kFocusModeForSteps = 1;
constexpr int kExposureModeForSteps = 3;
constexpr int kOneStep = 1;

// Zoom positions of the optical magnifications 1 to 16.
constexpr u32 kZoomPositions[] = {16384, 24576, 27264, 28672, 29056, 29440, 29728, 30016,
                                  30208, 30400, 30560, 30720, 30912, 31104, 31232, 31424};

// Magnification in thousandths; ratio is untouched beyond the last position.
void zoomRatio(u32 position, int& ratio)
{
    if (position <= kZoomPositions[0])
    {
        ratio = 1000;
        return;
    }
    for (u32 i = 1; i < std::size(kZoomPositions); ++i)
    {
        if (position <= kZoomPositions[i])
        {
            const u32 missing = 1000 * (kZoomPositions[i] - position) / (kZoomPositions[i] - kZoomPositions[i - 1]);
            ratio = static_cast<int>((i + 1) * 1000 - missing);
            return;
        }
    }
}

bool setValue(ISensorController& controller, u32 cmd, int value)
{
    return controller.doIaCmd(cmd, IA_CMD_OPT_SET, &value) == SNS_SUCCESS;
}

bool getValue(ISensorController& controller, u32 cmd, int& value)
{
    return controller.doIaCmd(cmd, IA_CMD_OPT_GET, &value) == SNS_SUCCESS;
}

// Sends the mode that accepts steps, then the step.
bool step(ISensorController& controller, u32 modeCmd, int mode, u32 stepCmd)
{
    return setValue(controller, modeCmd, mode) && setValue(controller, stepCmd, kOneStep);
}

}  // namespace

bool ISensorController::focusFar()
{
    return step(*this, IA_CMD_AUTO_FOCUS_MODE, kFocusModeForSteps, IA_CMD_FOCUS_FAR);
}

bool ISensorController::focusNear()
{
    return step(*this, IA_CMD_AUTO_FOCUS_MODE, kFocusModeForSteps, IA_CMD_FOCUS_NEAR);
}

bool ISensorController::irisUp()
{
    return step(*this, IA_CMD_EXPOSE_MODE, kExposureModeForSteps, IA_CMD_IRIS_UP);
}

bool ISensorController::irisDown()
{
    return step(*this, IA_CMD_EXPOSE_MODE, kExposureModeForSteps, IA_CMD_IRIS_DOWN);
}

bool ISensorController::zoomIn()
{
    return setValue(*this, IA_CMD_ZOOM_IN, kOneStep);
}

bool ISensorController::zoomOut()
{
    return setValue(*this, IA_CMD_ZOOM_OUT, kOneStep);
}

bool ISensorController::getZoomValue(int& p_nPosition, int& p_nRatio)
{
    if (!getValue(*this, IA_CMD_MZ_POSITION, p_nPosition))
    {
        return false;
    }
    zoomRatio(static_cast<u32>(p_nPosition), p_nRatio);
    return true;
}

bool ISensorController::setZoomValue(int p_nPosition)
{
    return setValue(*this, IA_CMD_MZ_POSITION, p_nPosition);
}

bool ISensorController::setPTZRunState(int p_nState)
{
    return setValue(*this, IA_CMD_PTZ_RUN_STATE, p_nState);
}

bool ISensorController::setFocusValue(int p_nPosition)
{
    return setValue(*this, IA_CMD_MF_POSITION, p_nPosition);
}

bool ISensorController::getFocusValue(int& p_nPosition)
{
    return getValue(*this, IA_CMD_MF_POSITION, p_nPosition);
}

bool ISensorController::setFocusMode(int p_nMode)
{
    return setValue(*this, IA_CMD_AUTO_FOCUS_MODE, p_nMode);
}

bool ISensorController::getFocusMode(int& p_nMode)
{
    return getValue(*this, IA_CMD_AUTO_FOCUS_MODE, p_nMode);
}

bool ISensorController::getAFStatistic(unsigned& p_nStatistic)
{
    return doIaCmd(IA_CMD_AF_STATISTIC, IA_CMD_OPT_GET, &p_nStatistic) == SNS_SUCCESS;
}

bool ISensorController::getWDR(int& p_nMode)
{
    return getValue(*this, IA_CMD_WDR_MODE, p_nMode);
}
