#include "SensorKeys.h"
#include "camera/Operation.h"

namespace camera {

// Unlike lens it leaves no trace in the recording.
std::vector<Value> Camera::lensPositions() const
{
    std::vector<Value> positions;
    for (const int key : {KEY_MZ_POSITION, KEY_MF_POSITION, KEY_IRIS_POSITION})
    {
        if (const auto held = parameterOfKey(service_, key))
        {
            positions.push_back({key, held->value});
        }
    }
    return positions;
}

LensResult Camera::begun(const LensResult& result)
{
    if (result.accepted)
    {
        lensMoves_ = true;
        tellLens(true);
    }
    return result;
}

LensMovement Camera::lensMovement()
{
    const auto isRunning = [this](ia_cmd_e command) {
        int status = services::kIdle;
        return service_.call(command, IA_CMD_OPT_GET_EXEC_STATUS, &status) == services::kDone &&
               status == services::kRunning;
    };
    return {isRunning(IA_CMD_MZ_POSITION), isRunning(IA_CMD_MF_POSITION), isRunning(IA_CMD_IRIS_POSITION),
            isRunning(IA_CMD_LENS_RESET)};
}

std::optional<LensState> Camera::lens()
{
    const Gate::Pass pass(gate_);
    const auto has = [this](ia_cmd_e command) { return service_.parameter(command).has_value(); };
    LensState state;
    const bool answers = (!has(IA_CMD_MZ_POSITION) || controller_.getZoomValue(state.zoom.emplace(), state.ratio)) &&
                         (!has(IA_CMD_MF_POSITION) || controller_.getFocusValue(state.focus.emplace())) &&
                         (!has(IA_CMD_AUTO_FOCUS_MODE) || controller_.getFocusMode(state.focusMode.emplace())) &&
                         (!has(IA_CMD_AF_STATISTIC) || controller_.getAFStatistic(state.sharpness.emplace()));
    if (!answers)
    {
        return std::nullopt;
    }
    state.moving = lensMovement();
    state.iris = service_.parameter(IA_CMD_IRIS_POSITION);
    state.irisSize = service_.parameter(IA_CMD_IRIS_SIZE);
    return state;
}

LensResult Camera::outcome(bool accepted, const services::OwnRefusals& own) const
{
    const std::vector<Refusal> refusals = refusalsOf(own);
    return {accepted, accepted || refusals.empty() ? std::nullopt : std::optional<Refusal>(refusals.back())};
}

bool Camera::oneShot(int key)
{
    // Not remembered: a stored 1 would make the next one count as unchanged.
    return controller_.setParameter(key, 1, false) == 0;
}

LensResult Camera::moveLens(LensStep step)
{
    const Doing doing(*this);
    const services::OwnRefusals own;
    switch (step)
    {
    case LensStep::zoomIn:
        return begun(outcome(controller_.zoomIn(), own));
    case LensStep::zoomOut:
        return begun(outcome(controller_.zoomOut(), own));
    case LensStep::focusFar:
        return begun(outcome(controller_.focusFar(), own));
    case LensStep::focusNear:
        return begun(outcome(controller_.focusNear(), own));
    case LensStep::focusOnce:
        return begun(outcome(oneShot(KEY_AUTO_FOCUS_ONCE), own));
    case LensStep::irisUp:
        return begun(outcome(controller_.irisUp(), own));
    case LensStep::irisDown:
        return begun(outcome(controller_.irisDown(), own));
    case LensStep::reset:
        return begun(outcome(oneShot(KEY_LENS_RESET), own));
    }
    return {false, {}};
}

LensResult Camera::setZoom(int position)
{
    const Doing doing(*this);
    const services::OwnRefusals own;
    return begun(outcome(controller_.setZoomValue(position), own));
}

LensResult Camera::setFocus(int position)
{
    const Doing doing(*this);
    const services::OwnRefusals own;
    return begun(outcome(controller_.setFocusValue(position), own));
}

LensResult Camera::setFocusMode(int mode)
{
    const Doing doing(*this);
    const services::OwnRefusals own;
    return outcome(controller_.setFocusMode(mode), own);
}

}  // namespace camera
