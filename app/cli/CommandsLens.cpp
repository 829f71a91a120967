#include "SensorKeys.h"
#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"

namespace app {
namespace {

using camera::LensStep;

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

std::string positionsText(const camera::LensState& lens, const services::ImageService& service)
{
    const camera::LensMovement& moving = lens.moving;
    TextTable table;
    if (lens.zoom)
    {
        const std::string magnification = lens.ratio > 0 ? ratioText(lens.ratio) : "beyond the optical range";
        table.addRow({"zoom", std::to_string(*lens.zoom), magnification, movement(moving.zoom)});
    }
    if (lens.focus)
    {
        const int mode = lens.focusMode.value_or(0);
        const std::string text =
            lens.focusMode ? "mode " + std::to_string(mode) + " " + valueNote(service, KEY_AUTO_FOCUS_MODE, mode) : "";
        table.addRow({"focus", std::to_string(*lens.focus), text, movement(moving.focus)});
    }
    if (lens.iris)
    {
        table.addRow({"iris", std::to_string(lens.iris->value),
                      lens.irisSize ? lens.irisSize->labelOf(lens.irisSize->value) : "", movement(moving.iris)});
    }
    if (lens.sharpness)
    {
        table.addRow({"sharpness", std::to_string(*lens.sharpness)});
    }
    return table.text() + (moving.resetting ? "the lens is being reset\n" : "");
}

Answer status(Session& session)
{
    const std::optional<camera::LensState> lens = session.camera().lens();
    if (!lens)
    {
        return Answer::failure({ErrorCode::deviceRefused, "the lens does not answer"});
    }
    if (!lens->isThere())
    {
        return Answer::failure({ErrorCode::notOnDevice, "this camera has no lens that moves"});
    }
    Answer answer;
    answer.text = positionsText(*lens, session.camera().service());
    answer.data = toJson(*lens);
    return answer;
}

// Where the lens is after a command, or why it refused.
Answer outcome(Session& session, const camera::LensResult& result)
{
    if (result.accepted)
    {
        return status(session);
    }
    if (!result.refusal)
    {
        return Answer::failure({ErrorCode::deviceRefused, "the lens refused"});
    }
    const camera::Refusal& last = *result.refusal;
    const services::ImageService& service = session.camera().service();
    return Answer::failure({codeOf(last.status),
                            "the lens refused: " + reasonText(service, last.key, last.value, last.status), last.key,
                            last.value, camera::limitsOfKey(service, last.key)});
}

Answer move(Session& session, camera::LensStep step)
{
    return outcome(session, session.camera().moveLens(step));
}

// Waits until nothing moves.
Answer waitForRest(Session& session)
{
    while (session.camera().lensMovement().any())
    {
        if (!session.console().pause(kLook))
        {
            session.console().takeInterrupt();
            return Answer::failure({ErrorCode::interrupted, "the lens is still moving"});
        }
    }
    return status(session);
}

Answer zoomCommand(Session& session, const std::string& what)
{
    if (what == "in" || what == "out")
    {
        return move(session, what == "in" ? LensStep::zoomIn : LensStep::zoomOut);
    }
    const std::optional<int> position = parseInt(what);
    return position ? outcome(session, session.camera().setZoom(*position)) : wrongUsage("lens");
}

Answer focusCommand(Session& session, const Words& arguments)
{
    const std::string& what = arguments[1];
    if (what == "mode")
    {
        const std::optional<int> mode = arguments.size() == 3 ? parseInt(arguments[2]) : std::nullopt;
        return mode ? outcome(session, session.camera().setFocusMode(*mode)) : wrongUsage("lens");
    }
    if (arguments.size() != 2)
    {
        return wrongUsage("lens");
    }
    if (what == "far" || what == "near")
    {
        return move(session, what == "far" ? LensStep::focusFar : LensStep::focusNear);
    }
    if (what == "once")
    {
        return move(session, LensStep::focusOnce);
    }
    const std::optional<int> position = parseInt(what);
    return position ? outcome(session, session.camera().setFocus(*position)) : wrongUsage("lens");
}

}  // namespace

Answer runLens(Session& session, const Words& typed)
{
    Words arguments;
    for (const std::string& word : typed)
    {
        arguments.push_back(toLower(word));
    }
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
        return move(session, LensStep::reset);
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
        return move(session, arguments[1] == "up" ? LensStep::irisUp : LensStep::irisDown);
    }
    return wrongUsage("lens");
}

}  // namespace app
