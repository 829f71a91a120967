#include "app/cli/KeyText.h"
#include "app/json/Results.h"
#include "app/web/Answers.h"
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

// Of a list that ended early: what was applied stands beside the reason.
Response refusedValues(const Call& call, const camera::ApplyResult& result)
{
    if (result.tooMany != 0)
    {
        return errorResponse({ErrorCode::tooManyValues, "this camera takes " + std::to_string(result.tooMany) +
                                                            " values at once; nothing was applied"});
    }
    app::Error error = {ErrorCode::deviceRefused, app::keyTitle(*result.refusedKey) + " refused", *result.refusedKey};
    if (result.refused)
    {
        const camera::KeyResult& key = result.keys[*result.refused];
        error = {app::codeOf(key.status),
                 app::keyTitle(key.key) +
                     " refused: " + app::reasonText(call.camera.service(), key.key, key.asked, key.status),
                 key.key, key.asked, key.allowed};
    }
    Response response = errorResponse(error);
    app::Json body = app::Json::parse(response.body);
    body["result"] = app::toJson(result);
    response.body = app::jsonLine(body);
    return response;
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
    const camera::ApplyResult result = queryFlag(call, "dry-run", false)
                                           ? call.camera.wouldApply(values)
                                           : call.camera.apply(values, queryFlag(call, "keep", true));
    return result.ok() ? jsonResponse(app::toJson(result)) : refusedValues(call, result);
}

Response getParameter(const Call& call)
{
    const int key = keyOf(call.parts[0]);
    const camera::KeyExplanation explanation = call.camera.explainKey(key);
    if (explanation.source == camera::KeyExplanation::Source::nowhere && camera::findKey(key) == nullptr)
    {
        return errorResponse({ErrorCode::unknownKey, "there is no key " + call.parts[0], key});
    }
    return jsonResponse(app::toJson(explanation));
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
    return result.ok() ? jsonResponse(app::toJson(result)) : refusedValues(call, result);
}

}  // namespace web
