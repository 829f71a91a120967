#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "app/json/Error.h"
#include "app/web/Api.h"

// What the routes share. Reentrant.
namespace web {

// Ends a route's work with this error.
class Refused : public std::runtime_error
{
public:
    explicit Refused(app::Error error) : std::runtime_error(error.message), error_(std::move(error)) {}

    const app::Error& error() const { return error_; }

private:
    app::Error error_;
};

Response jsonResponse(const app::Json& body);
// result: what was done before, or planned.
Response errorResponse(const app::Error& error, const app::Json& result = nullptr);
app::Error refusedValue(const Call& call, const camera::KeyResult& key);
int statusOf(app::ErrorCode code);
// Whose tag tells its content, and not the camera's revision: 304 to whoever has it.
Response documentResponse(const Call& call, const char* type, const std::string& body);
// Whether If-Match, or If-None-Match, which takes weak tags too, is about what has this tag.
bool names(const std::string& condition, const std::string& tag, bool takesWeak = false);

app::Json statusJson(camera::Camera& camera);
app::Json trialsJson(const camera::Camera& camera);

// ---- what a request names; Refused when it names nothing ------------------------------------------------------

// A key by number or name.
int keyOf(const std::string& text);
int wholeNumber(const std::string& text);
// 0 … and, where withDefault, the default scheme.
int schemeOf(const Call& call, const std::string& text, bool withDefault);
// "true" or "false"; otherwise when the query does not say.
bool queryFlag(const Call& call, const char* name, bool otherwise);
// A member of the body of the wanted type.
int bodyNumber(const Call& call, const char* name);
bool bodyFlag(const Call& call, const char* name);
std::string bodyText(const Call& call, const char* name);
// {"brightness": 60, "mirror": "Both"}: a number, or the label of a choice.
std::vector<camera::Value> bodyValues(const Call& call);

// ---- the routes, a file for each duty ---------------------------------------------------------------------------

Response getParameters(const Call& call);
Response patchParameters(const Call& call);
Response getParameter(const Call& call);
Response restoreParameter(const Call& call);
Response defaultParameter(const Call& call);

Response getTrials(const Call& call);
Response holdTrial(const Call& call);
Response keepTrial(const Call& call);
Response undoTrial(const Call& call);

Response getStatus(const Call& call);
Response getScheme(const Call& call);
Response putScheme(const Call& call);
Response getMode(const Call& call);
Response putMode(const Call& call);
Response getSchemes(const Call& call);
Response getOneScheme(const Call& call);
Response putOneScheme(const Call& call);
Response getWindow(const Call& call);
Response putWindow(const Call& call);
Response save(const Call& call);
Response reload(const Call& call);
Response reset(const Call& call);
Response explain(const Call& call);

Response getDevice(const Call& call);
Response getControls(const Call& call);
Response patchControls(const Call& call);
Response getSchemeControls(const Call& call);
Response putSchemeControls(const Call& call);

Response getLens(const Call& call);
Response putLens(const Call& call);
Response stepLens(const Call& call);
std::vector<std::string> lensSteps();

Response getStyle(const Call& call);
Response getLanguages(const Call& call);
Response getLanguage(const Call& call);
Response getCommon(const Call& call);
Response getDiagnostics(const Call& call);
Response putDiagnostics(const Call& call);
Response getLog(const Call& call);
Response getOutput(const Call& call);
Response getWorld(const Call& call);
Response putWorld(const Call& call);
Response openSession(const Call& call);
Response getSession(const Call& call);
Response closeSession(const Call& call);

Response getStream(const Call& call);
Response getSnapshot(const Call& call);

Response getEvents(const Call& call);
Response getOpenApi(const Call& call);
Response getTrace(const Call& call);
Response getExport(const Call& call);
Response import(const Call& call);
Response getPairs(const Call& call);
Response getUnsaved(const Call& call);

}  // namespace web
