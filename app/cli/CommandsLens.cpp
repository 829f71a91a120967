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

bool isMoving(const sim::LensState& lens)
{
    return lens.zoomMoving || lens.focusMoving || lens.irisMoving || lens.resetting;
}

// Positions come through the library, what moves from the service.
Answer status(Session& session)
{
    ISensorController& controller = session.camera().controller();
    int zoom = 0;
    int ratio = 0;
    int focus = 0;
    int mode = 0;
    unsigned sharpness = 0;
    if (!controller.getZoomValue(zoom, ratio) || !controller.getFocusValue(focus) || !controller.getFocusMode(mode) ||
        !controller.getAFStatistic(sharpness))
    {
        return Answer::failure("the lens does not answer");
    }
    const sim::LensState lens = session.camera().service().lens();
    const std::string modeName = valueNote(session.camera().service(), KEY_AUTO_FOCUS_MODE, mode);
    Answer answer;
    TextTable table;
    const std::string magnification = ratio > 0 ? ratioText(ratio) : "beyond the optical range";
    table.addRow({"zoom", std::to_string(zoom), magnification, movement(lens.zoomMoving)});
    table.addRow(
        {"focus", std::to_string(focus), "mode " + std::to_string(mode) + " " + modeName, movement(lens.focusMoving)});
    table.addRow({"iris", std::to_string(lens.iris), "", movement(lens.irisMoving)});
    table.addRow({"sharpness", std::to_string(sharpness)});
    answer.text = table.text() + (lens.resetting ? "the lens is being reset\n" : "");
    answer.data = {{"zoom", zoom},
                   {"ratio", ratio > 0 ? Json(ratio) : Json()},
                   {"focus", focus},
                   {"focusMode", mode},
                   {"iris", lens.iris},
                   {"sharpness", sharpness},
                   {"zoomMoving", lens.zoomMoving},
                   {"focusMoving", lens.focusMoving},
                   {"irisMoving", lens.irisMoving},
                   {"resetting", lens.resetting}};
    return answer;
}

// After a command that returned accepted: where the lens is, or why it refused.
Answer outcome(Session& session, bool accepted, u32 callsBefore)
{
    if (accepted)
    {
        return status(session);
    }
    const std::vector<Refusal> refusals = refusalsSince(session.camera().service(), callsBefore);
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
    while (isMoving(session.camera().service().lens()))
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
    const u32 before = session.camera().service().callCount();
    if (what == "in" || what == "out")
    {
        return outcome(session, what == "in" ? controller.zoomIn() : controller.zoomOut(), before);
    }
    const std::optional<int> position = parseInt(what);
    return position ? outcome(session, controller.setZoomValue(*position), before) : wrongUsage("lens");
}

Answer focusCommand(Session& session, const Words& arguments)
{
    ISensorController& controller = session.camera().controller();
    const u32 before = session.camera().service().callCount();
    const std::string& what = arguments[1];
    if (what == "mode")
    {
        const std::optional<int> mode = arguments.size() == 3 ? parseInt(arguments[2]) : std::nullopt;
        return mode ? outcome(session, controller.setFocusMode(*mode), before) : wrongUsage("lens");
    }
    if (arguments.size() != 2)
    {
        return wrongUsage("lens");
    }
    if (what == "far" || what == "near")
    {
        return outcome(session, what == "far" ? controller.focusFar() : controller.focusNear(), before);
    }
    if (what == "once")
    {
        return outcome(session, oneShot(controller, KEY_AUTO_FOCUS_ONCE), before);
    }
    const std::optional<int> position = parseInt(what);
    return position ? outcome(session, controller.setFocusValue(*position), before) : wrongUsage("lens");
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
    const u32 before = session.camera().service().callCount();
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
        return outcome(session, oneShot(controller, KEY_LENS_RESET), before);
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
        return outcome(session, arguments[1] == "up" ? controller.irisUp() : controller.irisDown(), before);
    }
    return wrongUsage("lens");
}

}  // namespace app
