#include "SensorKeys.h"
#include "app/KeyLimits.h"
#include "app/cli/Commands.h"
#include "app/cli/Session.h"
#include "ia_ioctrl.h"

namespace app {
namespace {

constexpr auto kLook = std::chrono::milliseconds(5);

std::string ratioText(int ratio)
{
    char text[32];
    std::snprintf(text, sizeof text, "%d.%02dx", ratio / 1000, ratio % 1000 / 10);
    return text;
}

std::string movement(bool moving)
{
    return moving ? "moving" : "at rest";
}

// What is moving now, as the execution status of the commands says.
struct Movement
{
    bool zoom;
    bool focus;
    bool iris;
    bool resetting;

    bool any() const { return zoom || focus || iris || resetting; }
};

Movement movementOf(services::ImageService& service)
{
    const auto isRunning = [&](ia_cmd_e command) {
        int status = services::kIdle;
        return service.call(command, IA_CMD_OPT_GET_EXEC_STATUS, &status) == services::kDone &&
               status == services::kRunning;
    };
    return {isRunning(IA_CMD_MZ_POSITION), isRunning(IA_CMD_MF_POSITION), isRunning(IA_CMD_IRIS_POSITION),
            isRunning(IA_CMD_LENS_RESET)};
}

// Where the lens is, of what the device has.
struct Positions
{
    std::optional<int> zoom;
    int ratio = 0;
    std::optional<int> focus;
    std::optional<int> focusMode;
    std::optional<int> iris;
    std::string irisSize;
    std::optional<unsigned> sharpness;
};

// Nothing when the lens does not answer.
std::optional<Positions> positionsOf(Camera& camera)
{
    const auto has = [&](ia_cmd_e command) { return camera.service().parameter(command).has_value(); };
    ISensorController& controller = camera.controller();
    Positions now;
    const bool answers = (!has(IA_CMD_MZ_POSITION) || controller.getZoomValue(now.zoom.emplace(), now.ratio)) &&
                         (!has(IA_CMD_MF_POSITION) || controller.getFocusValue(now.focus.emplace())) &&
                         (!has(IA_CMD_AUTO_FOCUS_MODE) || controller.getFocusMode(now.focusMode.emplace())) &&
                         (!has(IA_CMD_AF_STATISTIC) || controller.getAFStatistic(now.sharpness.emplace()));
    if (const auto iris = camera.service().parameter(IA_CMD_IRIS_POSITION))
    {
        now.iris = iris->value;
    }
    if (const auto size = camera.service().parameter(IA_CMD_IRIS_SIZE))
    {
        now.irisSize = size->labelOf(size->value);
    }
    return answers ? std::optional(now) : std::nullopt;
}

std::string positionsText(const Positions& now, const Movement& moving, const services::ImageService& service)
{
    TextTable table;
    if (now.zoom)
    {
        const std::string magnification = now.ratio > 0 ? ratioText(now.ratio) : "beyond the optical range";
        table.addRow({"zoom", std::to_string(*now.zoom), magnification, movement(moving.zoom)});
    }
    if (now.focus)
    {
        const int mode = now.focusMode.value_or(0);
        const std::string text =
            now.focusMode ? "mode " + std::to_string(mode) + " " + valueNote(service, KEY_AUTO_FOCUS_MODE, mode) : "";
        table.addRow({"focus", std::to_string(*now.focus), text, movement(moving.focus)});
    }
    if (now.iris)
    {
        table.addRow({"iris", std::to_string(*now.iris), now.irisSize, movement(moving.iris)});
    }
    if (now.sharpness)
    {
        table.addRow({"sharpness", std::to_string(*now.sharpness)});
    }
    return table.text() + (moving.resetting ? "the lens is being reset\n" : "");
}

Answer status(Session& session)
{
    const services::ImageService& service = session.camera().service();
    const std::optional<Positions> now = positionsOf(session.camera());
    if (!now)
    {
        return Answer::failure("the lens does not answer");
    }
    if (!now->zoom && !now->focus && !now->iris)
    {
        return Answer::failure("this camera has no lens that moves");
    }
    const Movement moving = movementOf(session.camera().service());
    Answer answer;
    answer.text = positionsText(*now, moving, service);
    answer.data = {{"zoom", jsonOf(now->zoom)},   {"ratio", now->ratio > 0 ? Json(now->ratio) : Json()},
                   {"focus", jsonOf(now->focus)}, {"focusMode", jsonOf(now->focusMode)},
                   {"iris", jsonOf(now->iris)},   {"sharpness", jsonOf(now->sharpness)},
                   {"zoomMoving", moving.zoom},   {"focusMoving", moving.focus},
                   {"irisMoving", moving.iris},   {"resetting", moving.resetting}};
    return answer;
}

// After a command that returned accepted: where the lens is, or why it refused.
Answer outcome(Session& session, bool accepted, const services::OwnRefusals& own)
{
    if (accepted)
    {
        return status(session);
    }
    const std::vector<Refusal> refusals = refusalsOf(own);
    if (refusals.empty())
    {
        return Answer::failure("the lens refused");
    }
    const Refusal& last = refusals.back();
    return Answer::failure("the lens refused: " +
                           reasonText(session.camera().service(), last.key, last.value, last.status));
}

// Waits until nothing moves.
Answer waitForRest(Session& session)
{
    while (movementOf(session.camera().service()).any())
    {
        if (!session.pause(kLook))
        {
            if (session.interactive())
            {
                session.signals().takeInterrupt();
            }
            return Answer::failure("the lens is still moving");
        }
    }
    return status(session);
}

bool oneShot(ISensorController& controller, int key)
{
    // Not remembered: a stored 1 would make the next one count as unchanged.
    return controller.setParameter(key, 1, false) == 0;
}

Answer zoomCommand(Session& session, const std::string& what)
{
    ISensorController& controller = session.camera().controller();
    const services::OwnRefusals own;
    if (what == "in" || what == "out")
    {
        return outcome(session, what == "in" ? controller.zoomIn() : controller.zoomOut(), own);
    }
    const std::optional<int> position = parseInt(what);
    return position ? outcome(session, controller.setZoomValue(*position), own) : wrongUsage("lens");
}

Answer focusCommand(Session& session, const Words& arguments)
{
    ISensorController& controller = session.camera().controller();
    const services::OwnRefusals own;
    const std::string& what = arguments[1];
    if (what == "mode")
    {
        const std::optional<int> mode = arguments.size() == 3 ? parseInt(arguments[2]) : std::nullopt;
        return mode ? outcome(session, controller.setFocusMode(*mode), own) : wrongUsage("lens");
    }
    if (arguments.size() != 2)
    {
        return wrongUsage("lens");
    }
    if (what == "far" || what == "near")
    {
        return outcome(session, what == "far" ? controller.focusFar() : controller.focusNear(), own);
    }
    if (what == "once")
    {
        return outcome(session, oneShot(controller, KEY_AUTO_FOCUS_ONCE), own);
    }
    const std::optional<int> position = parseInt(what);
    return position ? outcome(session, controller.setFocusValue(*position), own) : wrongUsage("lens");
}

}  // namespace

Answer runLens(Session& session, const Words& typed)
{
    Words arguments;
    for (const std::string& word : typed)
    {
        arguments.push_back(toLower(word));
    }
    ISensorController& controller = session.camera().controller();
    const services::OwnRefusals own;
    const std::string what = arguments.empty() ? "" : arguments[0];
    if (arguments.empty() || (arguments.size() == 1 && what == "status"))
    {
        return status(session);
    }
    if (arguments.size() == 1 && what == "wait")
    {
        return waitForRest(session);
    }
    if (arguments.size() == 1 && what == "reset")
    {
        return outcome(session, oneShot(controller, KEY_LENS_RESET), own);
    }
    if (arguments.size() == 2 && what == "zoom")
    {
        return zoomCommand(session, arguments[1]);
    }
    if (arguments.size() >= 2 && what == "focus")
    {
        return focusCommand(session, arguments);
    }
    if (arguments.size() == 2 && what == "iris" && (arguments[1] == "up" || arguments[1] == "down"))
    {
        return outcome(session, arguments[1] == "up" ? controller.irisUp() : controller.irisDown(), own);
    }
    return wrongUsage("lens");
}

}  // namespace app
