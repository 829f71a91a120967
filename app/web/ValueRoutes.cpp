#include "app/cli/KeyText.h"
#include "app/cli/Parsing.h"
#include "app/json/Results.h"
#include "app/web/Answers.h"
#include "app/web/RequestHead.h"
#include "camera/KeyNames.h"

namespace web {
namespace {

using app::ErrorCode;

app::KeyRow rowOf(const Call& call, int key)
{
    camera::Camera& camera = call.camera;
    return {key, camera.peek(key), camera.schemeValue(camera.currentScheme(), key).has_value(),
            camera::parameterOfKey(camera.service(), key)};
}

// Of a list that ended early what was applied stands beside the reason; values on trial come with the trial.
Response valuesResponse(const Call& call, const camera::ApplyResult& result,
                        const std::optional<camera::Trial>& trial = std::nullopt)
{
    app::Json json = app::toJson(result);
    if (trial)
    {
        json["trial"] = app::toJson(*trial);
    }
    if (result.ok())
    {
        return jsonResponse(json);
    }
    if (result.tooMany != 0)
    {
        return errorResponse({ErrorCode::tooManyValues, "this camera takes " + std::to_string(result.tooMany) +
                                                            " values at once; nothing was applied"});
    }
    app::Error error = {ErrorCode::deviceRefused, app::keyTitle(*result.refusedKey) + " refused", *result.refusedKey};
    if (result.refused)
    {
        error = refusedValue(call, result.keys[*result.refused]);
    }
    return errorResponse(error, json);
}

// Another number than any trial's when it is none.
unsigned trialOf(const std::string& text)
{
    return static_cast<unsigned>(app::parseInt(text).value_or(0));
}

Response noTrial(const std::string& text)
{
    return problem(404, "no-trial", "no trial " + text + " is open; when one ends, what is remembered is sent again");
}

Response tryOut(const Call& call, const std::vector<camera::Value>& values, bool dryRun)
{
    using Kind = camera::TrialResult::Kind;
    const auto id = call.request.query.find("trial");
    const bool goesOn = id != call.request.query.end();
    const std::optional<unsigned> trial = goesOn ? std::optional<unsigned>(trialOf(id->second)) : std::nullopt;
    const camera::TrialResult tried =
        dryRun ? call.camera.wouldTryOut(values, trial) : call.camera.tryOut(values, trial);
    switch (tried.kind)
    {
    case Kind::noTrial:
        return noTrial(id->second);
    case Kind::keyTaken:
        return problem(409, "on-trial",
                       app::keyTitle(tried.taken->key) + " is tried out in trial " +
                           std::to_string(tried.taken->trial) + "; nothing was applied");
    case Kind::applied:
        break;
    }
    return valuesResponse(call, tried.result, tried.trial);
}

}  // namespace

Response getParameters(const Call& call)
{
    std::vector<app::KeyRow> rows;
    for (const camera::KeyName& name : camera::keyNames())
    {
        rows.push_back(rowOf(call, name.key));
    }
    return jsonResponse(app::toJson(rows));
}

Response patchParameters(const Call& call)
{
    const std::vector<camera::Value> values = bodyValues(call);
    const bool keeps = queryFlag(call, "keep", true);
    if (keeps && call.request.query.count("trial") != 0)
    {
        return errorResponse({ErrorCode::badValue, "trial goes with keep=false"});
    }
    const bool dryRun = queryFlag(call, "dry-run", false);
    if (!keeps)
    {
        return tryOut(call, values, dryRun);
    }
    return valuesResponse(call, dryRun ? call.camera.wouldApply(values) : call.camera.apply(values));
}

app::Json trialsJson(const camera::Camera& camera)
{
    app::Json list = app::Json::array();
    for (const camera::Trial& trial : camera.trials())
    {
        list.push_back(app::toJson(trial));
    }
    return {{"trials", list}};
}

Response getTrials(const Call& call)
{
    return jsonResponse(trialsJson(call.camera));
}

Response holdTrial(const Call& call)
{
    const std::optional<camera::Trial> trial = call.camera.holdTrial(trialOf(call.parts[0]));
    return trial ? jsonResponse(app::toJson(*trial)) : noTrial(call.parts[0]);
}

Response keepTrial(const Call& call)
{
    const std::optional<camera::ApplyResult> result = call.camera.keepTrial(trialOf(call.parts[0]));
    return result ? valuesResponse(call, *result) : noTrial(call.parts[0]);
}

Response undoTrial(const Call& call)
{
    const std::optional<std::vector<int>> refused = call.camera.undoTrial(trialOf(call.parts[0]));
    if (!refused)
    {
        return noTrial(call.parts[0]);
    }
    if (refused->empty())
    {
        return getTrials(call);
    }
    std::string names;
    for (const int key : *refused)
    {
        names += " " + app::keyTitle(key);
    }
    return errorResponse(
        {ErrorCode::deviceRefused, "the trial is over, but the device did not take back" + names, refused->front()});
}

Response getParameter(const Call& call)
{
    const int key = keyOf(call.parts[0]);
    const camera::KeyExplanation explanation = call.camera.explainKey(key);
    if (explanation.source == camera::KeyExplanation::Source::nowhere && camera::findKey(key) == nullptr)
    {
        return errorResponse({ErrorCode::unknownKey, "there is no key " + call.parts[0], key});
    }
    app::Json json = app::toJson(explanation);
    if (const std::optional<services::Standing> standing = call.camera.standing(key))
    {
        json["standing"] = app::standingWord(*standing);
    }
    return jsonResponse(json);
}

Response restoreParameter(const Call& call)
{
    const int key = keyOf(call.parts[0]);
    using Kind = camera::RestoreResult::Kind;
    const camera::RestoreResult result = call.camera.restore(key);
    if (result.kind == Kind::notHeld)
    {
        return errorResponse({ErrorCode::noValue, "the scheme in force does not hold " + app::keyTitle(key), key});
    }
    if (result.kind == Kind::refused)
    {
        const services::ImageService& service = call.camera.service();
        return errorResponse(
            {app::codeOf(result.status),
             app::keyTitle(key) + " refused: " + app::reasonText(service, key, result.value, result.status), key,
             result.value, camera::parameterOfKey(service, key)});
    }
    return jsonResponse(app::valueJson(key, result.value));
}

Response defaultParameter(const Call& call)
{
    const int key = keyOf(call.parts[0]);
    const std::optional<int> factory = call.camera.factoryValue(key);
    if (!factory)
    {
        return errorResponse(
            {ErrorCode::noValue, app::keyTitle(key) + " has no factory value: the schemes do not keep it", key});
    }
    const camera::ApplyResult result = call.camera.apply({{key, *factory}});
    return valuesResponse(call, result);
}

}  // namespace web
