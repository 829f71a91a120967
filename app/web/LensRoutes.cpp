#include "app/cli/KeyText.h"
#include "app/cli/Parsing.h"
#include "app/json/Results.h"
#include "app/web/Answers.h"

namespace web {
namespace {

using app::ErrorCode;
using camera::LensStep;

struct StepName
{
    const char* name;
    LensStep step;
};

constexpr StepName kSteps[] = {
    {"focus-near", LensStep::focusNear}, {"focus-far", LensStep::focusFar}, {"zoom-in", LensStep::zoomIn},
    {"zoom-out", LensStep::zoomOut},     {"iris-open", LensStep::irisUp},   {"iris-close", LensStep::irisDown},
    {"focus-once", LensStep::focusOnce}, {"reset", LensStep::reset},
};

// Where the lens is after a command, or why it refused.
Response outcome(const Call& call, const camera::LensResult& result)
{
    if (result.accepted)
    {
        return getLens(call);
    }
    if (!result.refusal)
    {
        return errorResponse({ErrorCode::deviceRefused, "the lens refused"});
    }
    const camera::Refusal& last = *result.refusal;
    const services::ImageService& service = call.camera.service();
    return errorResponse({app::codeOf(last.status),
                          "the lens refused: " + app::reasonText(service, last.key, last.value, last.status), last.key,
                          last.value, camera::parameterOfKey(service, last.key)});
}

}  // namespace

std::vector<std::string> lensSteps()
{
    std::vector<std::string> names;
    for (const StepName& row : kSteps)
    {
        names.emplace_back(row.name);
    }
    return names;
}

Response getLens(const Call& call)
{
    const std::optional<camera::LensState> lens = call.camera.lens();
    if (!lens)
    {
        return errorResponse({ErrorCode::deviceRefused, "the lens does not answer"});
    }
    if (!lens->isThere())
    {
        return errorResponse({ErrorCode::notOnDevice, "this camera has no lens that moves"});
    }
    return jsonResponse(app::toJson(*lens));
}

// One of zoom, focus, focusMode: each is a movement of its own, and the next may have to wait for it.
Response putLens(const Call& call)
{
    if (call.body.size() != 1)
    {
        return errorResponse({ErrorCode::badDocument, "the body has one of zoom, focus and focusMode"});
    }
    const std::string name = call.body.begin().key();
    if (name == "zoom")
    {
        return outcome(call, call.camera.setZoom(bodyNumber(call, "zoom")));
    }
    if (name == "focus")
    {
        return outcome(call, call.camera.setFocus(bodyNumber(call, "focus")));
    }
    if (name == "focusMode")
    {
        return outcome(call, call.camera.setFocusMode(bodyNumber(call, "focusMode")));
    }
    return errorResponse({ErrorCode::badDocument, "the body has one of zoom, focus and focusMode"});
}

Response stepLens(const Call& call)
{
    for (const StepName& row : kSteps)
    {
        if (call.parts[0] == row.name)
        {
            return outcome(call, call.camera.moveLens(row.step));
        }
    }
    app::Error error = {ErrorCode::notFound, "the lens has no step " + call.parts[0]};
    error.hint = "the steps are " + app::joinWords(lensSteps());
    return errorResponse(error);
}

}  // namespace web
