#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include "app/web/Answers.h"
#include "app/web/Api.h"

namespace web {
namespace {

using app::Json;

// What only this interface takes or answers; the rest is the answers of the commands.
constexpr char kOwnSchemas[] = R"json({
"problem": {"type": "object", "required": ["status", "code", "detail"], "properties": {
    "status": {"type": "integer"}, "code": {"type": "string"}, "detail": {"type": "string"},
    "hint": {"type": "string"}, "key": {"$ref": "#/$defs/key"}, "name": {"$ref": "#/$defs/name"},
    "value": {"type": "integer"}, "allowed": {"$ref": "#/$defs/allowed"}, "check": {"enum": [505, 506, 507]},
    "result": {"type": "object"}}, "additionalProperties": false},
"keyValues": {"type": "object", "minProperties": 1, "additionalProperties": {"type": ["integer", "string"]},
    "description": "Values by key, a name with or without KEY_ or a number; a value is a number or the label of a choice.",
    "examples": [{"brightness": 60, "mirror": "Both"}]},
"controlValues": {"type": "object", "minProperties": 1, "additionalProperties": {"type": ["integer", "string"]},
    "description": "Values by the control's name; a value is a number or the label of a choice.",
    "examples": [{"hue": 10, "power_line_frequency": "50 Hz"}]},
"schemeInForce": {"type": "object", "properties": {"scheme": {"$ref": "#/$defs/schemeNumber"}},
    "additionalProperties": false},
"newScheme": {"type": "object", "required": ["scheme"], "properties": {"scheme": {"$ref": "#/$defs/schemeNumber"}}},
"newMode": {"type": "object", "required": ["mode"], "properties": {"mode": {"enum": ["auto", "manual"]}}},
"schemeValues": {"type": "object", "required": ["scheme", "values"], "additionalProperties": false, "properties": {
    "scheme": {"$ref": "#/$defs/schemeNumber"}, "values": {"type": "array", "items": {"$ref": "#/$defs/value"}}}},
"storedScheme": {"type": "object", "required": ["scheme", "stored", "values"], "additionalProperties": false, "properties": {
    "scheme": {"$ref": "#/$defs/schemeNumber"}, "stored": {"const": "done"}, "values": {"type": "array", "items": {"$ref": "#/$defs/keyResult"}}}},
"newWindow": {"type": "object", "minProperties": 1, "additionalProperties": false, "properties": {
    "enabled": {"type": "boolean"}, "from": {"$ref": "#/$defs/endTime"}, "to": {"$ref": "#/$defs/endTime"},
    "scheme": {"$ref": "#/$defs/schemeNumber"}, "neverHolds": {"type": "boolean"}},
    "description": "What is left out stays. What was read can be sent back: scheme is that of the path, neverHolds means nothing.",
    "examples": [{"enabled": false}, {"enabled": true, "from": "06:00", "to": "08:00"}]},
"newLens": {"type": "object", "minProperties": 1, "maxProperties": 1, "additionalProperties": false, "properties": {
    "zoom": {"type": "integer"}, "focus": {"type": "integer"}, "focusMode": {"type": "integer"}}},
"world": {"type": "object", "required": ["time", "speed", "distance", "haze", "wind", "night"], "additionalProperties": false, "properties": {
    "time": {"$ref": "#/$defs/timeOfDay"}, "speed": {"type": "number"}, "night": {"type": "boolean"},
    "distance": {"type": "number", "exclusiveMinimum": 0, "description": "Metres"},
    "haze": {"$ref": "#/$defs/haze"}, "wind": {"$ref": "#/$defs/wind"},
    "lux": {"$ref": "#/$defs/lux"}, "faults": {"type": "array", "items": {"$ref": "#/$defs/fault"}}}},
"newWorld": {"type": "object", "additionalProperties": false, "properties": {
    "time": {"$ref": "#/$defs/timeOfDay"},
    "speed": {"type": "number", "description": "Camera seconds in a real second"},
    "light": {"anyOf": [{"type": "number", "minimum": 0}, {"const": "daylight"}], "description": "Lux"},
    "distance": {"type": "number", "exclusiveMinimum": 0, "description": "Metres"},
    "haze": {"$ref": "#/$defs/haze"}, "wind": {"$ref": "#/$defs/wind"}, "faults": {"type": "array", "maxItems": 100, "items": {"type": "object",
        "required": ["key"], "properties": {"key": {"type": ["integer", "string"]}, "status": {"type": "integer"},
        "after": {"type": "integer", "minimum": 0}, "count": {"type": "integer", "minimum": 0}}}}}},
"login": {"type": "object", "required": ["name", "password"], "properties": {
    "name": {"type": "string"}, "password": {"type": "string", "format": "password"}}},
"session": {"type": "object", "required": ["role"], "additionalProperties": false, "properties": {
    "name": {"type": "string"}, "role": {"enum": ["none", "viewer", "operator", "administrator"]},
    "token": {"type": "string"}}},
"newDiagnostics": {"type": "object", "minProperties": 1, "additionalProperties": false, "properties": {
    "level": {"type": "integer"}, "assertions": {"type": "boolean"}, "marker": {"const": false}}},
"state": {"type": "object", "required": ["status", "values", "trials"], "additionalProperties": false, "properties": {
    "status": {"$ref": "#/$defs/status"}, "values": {"type": "array", "items": {"$ref": "#/$defs/value"}},
    "trials": {"type": "array", "items": {"$ref": "#/$defs/trial"}}}},
"eventData": {"description": "The data of one event", "anyOf": [{"$ref": "#/$defs/event"}, {"$ref": "#/$defs/state"}]},
"traceData": {"description": "Of the event \"line\": the line; of \"lost\": how many are missing before the next",
    "anyOf": [
        {"type": "object", "required": ["line"], "additionalProperties": false, "properties": {"line": {"type": "string"}}},
        {"type": "object", "required": ["lines"], "additionalProperties": false,
            "properties": {"lines": {"type": "integer", "minimum": 1}}}]},
"openApi": {"type": "object", "required": ["openapi", "info", "paths", "components"]}
})json";

// What stands in paths, queries and headers; what is not listed here is a text.
constexpr char kParameters[] = R"json({
"key": {"schema": {"type": "string"}, "example": "brightness",
    "description": "A name, in any case, with or without KEY_, or a number"},
"scheme": {"schema": {"type": "integer", "minimum": 0}},
"language": {"schema": {"type": "integer"}, "description": "Its id in /api/languages"},
"step": {"schema": {"type": "string"}},
"trial": {"schema": {"type": "integer", "minimum": 1}, "description": "A trial that goes on, as its first answer named it"},
"lines": {"schema": {"type": "integer", "minimum": 0}, "description": "How many; all of them without it"},
"filter": {"schema": {"type": "string"}, "description": "Only lines that contain this"},
"keep": {"schema": {"type": "boolean", "default": true},
    "description": "false: on the sensor alone, as a trial that ends when its holder is not heard"},
"dry-run": {"schema": {"type": "boolean", "default": false},
    "description": "true: nothing is applied; the answer says what would happen"},
"If-Match": {"schema": {"type": "string"},
    "description": "The ETag of what the change is based on; refused if somebody has changed the camera since"},
"Last-Event-ID": {"schema": {"type": "string"},
    "description": "The id of the last event that was seen, or an ETag without its quotation marks: what came after it is sent first"}
})json";

constexpr char kAbout[] =
    "A camera's image parameters, schemes and lens. Every path with GET answers to HEAD, and every path to OPTIONS. "
    "Errors are application/problem+json: compare code, and show detail to people. Where a camera has users, x-role is "
    "the least role that may use an operation; who comes by the Unix socket is an administrator.";

constexpr char kAboutEvents[] =
    "Server-sent events: each has an id, a name and, as data, a JSON object, whose schema is given here. The event "
    "\"state\" comes when others are missing, and says how everything is now. A stream whose reader has fallen far "
    "behind ends: come again with the last id. A line with a colon alone is a sign of life.";

constexpr char kAboutTrace[] =
    "Server-sent events: each has a name and, as data, a JSON object. \"line\" is a line of the library, \"lost\" says "
    "how many are missing for a reader that was too slow. A line with a colon alone is a sign of life.";

constexpr char kAboutPicture[] =
    "A part for each frame, with the headers of GET /api/snapshot.jpg; whoever is slow skips frames. When there is no "
    "picture any more, the last frame comes again with the header X-Frame-Problem, which has the problem as JSON, and "
    "it is tried again. Without news the last part comes again.";

constexpr char kFrameHeaders[] = R"json({
"X-Frame-Number": {"schema": {"type": "integer", "minimum": 1}, "description": "Of the frames since the picture was opened, which is when nobody looked before"},
"X-Frame-Time": {"schema": {"type": "number"}, "description": "Seconds of the camera's day"},
"X-Frame-Width": {"schema": {"type": "integer"}, "description": "Pixels"},
"X-Frame-Height": {"schema": {"type": "integer"}, "description": "Pixels"},
"X-Frame-Exposure": {"schema": {"type": "number"}, "description": "Seconds"},
"X-Frame-Gain": {"schema": {"type": "number"}, "description": "Decibels"},
"X-Frame-Rate": {"schema": {"type": "number"}, "description": "Frames in a second that the sensor is set to"},
"X-Frame-Light": {"schema": {"type": "number"}, "description": "Lux on the scene"},
"X-Frame-Night": {"schema": {"type": "boolean"}},
"X-Frame-Frozen": {"schema": {"type": "boolean"}, "description": "true: the picture is an earlier one"}
})json";

constexpr char kSecuritySchemes[] = R"json({
"bearer": {"type": "http", "scheme": "bearer", "description": "The token that POST /api/session answers with"},
"cookie": {"type": "apiKey", "in": "cookie", "name": "__Host-sensorcam-8080",
    "description": "Which POST /api/session sets; its name ends with the port"}
})json";

using Code = app::ErrorCode;

// What the server, and not the camera, says.
struct OwnRefusal
{
    int status;
    const char* code;
};

struct Refusals
{
    Response (*run)(const Call&);
    bool sends;               // values to the sensor, which may refuse them
    std::vector<Code> codes;  // beside these, and what every path may answer
    std::vector<OwnRefusal> own = {};
};

const Refusals kRefusals[] = {
    {getStyle, false, {Code::notFound}},
    {getLanguage, false, {Code::badValue, Code::notFound}},
    {getCommon, false, {Code::badValue, Code::notFound}},
    {patchParameters, true, {Code::badValue, Code::tooManyValues}, {{404, "no-trial"}, {409, "on-trial"}}},
    {holdTrial, false, {}, {{404, "no-trial"}}},
    {undoTrial, false, {Code::deviceRefused}, {{404, "no-trial"}}},
    {keepTrial, true, {Code::tooManyValues}, {{404, "no-trial"}}},
    {getDevice, false, {Code::notOnDevice}},
    {getControls, false, {Code::notOnDevice}},
    {patchControls, true, {Code::badValue}},
    {getSchemeControls, false, {Code::notOnDevice, Code::unknownScheme}},
    {putSchemeControls, true, {Code::unknownScheme, Code::badValue, Code::notWritten}},
    {getParameter, false, {Code::unknownKey}},
    {restoreParameter, true, {Code::noValue}},
    {defaultParameter, true, {Code::noValue}},
    {putScheme, false, {Code::unknownScheme}},
    {putMode, false, {Code::badValue}},
    {getOneScheme, false, {Code::unknownScheme}},
    {putOneScheme, true, {Code::unknownScheme, Code::badValue, Code::windowRefused, Code::notFound, Code::notWritten}},
    {getWindow, false, {Code::unknownScheme}},
    {putWindow, true, {Code::unknownScheme, Code::badValue, Code::windowRefused, Code::notFound, Code::notWritten}},
    {save, false, {Code::noFile, Code::windowRefused, Code::notWritten}},
    {reload, false, {Code::deviceRefused}},
    {getLens, false, {Code::notOnDevice, Code::deviceRefused}},
    {putLens, true, {}},
    {stepLens, true, {Code::notFound}},
    {getStream, false, {Code::notOnDevice}, {{503, "no-picture"}}},
    {getSnapshot, false, {Code::notOnDevice}, {{503, "no-picture"}}},
    {getWorld, false, {Code::notSettable}},
    {import, false, {Code::badValue, Code::notFound, Code::refusedValue, Code::notWritten}},
    {putWorld, false, {Code::badValue, Code::notSettable, Code::unknownKey}},
    {putDiagnostics, false, {Code::notWritten}},
    {getLog, false, {Code::badValue, Code::notFound}},
    {getOutput, false, {Code::badValue}},
    {openSession, false, {}, {{401, "wrong-login"}, {409, "no-users"}, {429, "too-many-logins"}}},
};

const std::vector<Code> kOfSensor = {Code::unknownKey, Code::notOnDevice,  Code::readOnly,     Code::busy,
                                     Code::wrongMode,  Code::refusedValue, Code::deviceRefused};

// Before or instead of a path.
struct GeneralRefusal
{
    bool (*may)(const Route&);
    std::vector<OwnRefusal> refusals;
};

bool isAny(const Route&)
{
    return true;
}

bool needsSession(const Route& route)
{
    return roleOf(route) > Role::none;
}

bool needsMoreThanViewer(const Route& route)
{
    return roleOf(route) > Role::viewer;
}

bool comesFromPages(const Route& route)
{
    return std::string(route.method) != "GET";
}

// Has the camera's turn, and looks at If-Match.
bool changes(const Route& route)
{
    return route.lane == Handler::Lane::change;
}

bool takesBody(const Route& route)
{
    return route.body != nullptr;
}

const GeneralRefusal kGeneralRefusals[] = {
    {isAny, {{400, "bad-request"}, {421, "wrong-host"}, {431, "too-large"}, {503, "busy"}, {503, "ending"}}},
    {needsSession, {{401, "no-session"}}},
    {needsMoreThanViewer, {{403, "wrong-role"}}},
    {comesFromPages, {{403, "wrong-origin"}}},
    {changes, {{412, "changed-meanwhile"}}},
    {takesBody, {{413, "too-large"}, {415, "not-json"}}},
};

// The answer of a command without the line that says which command it answers, and whether it succeeded: here the
// status says that.
Json withoutEnvelope(const Json& command)
{
    Json schema = command;
    for (const char* name : {"command", "ok", "error"})
    {
        schema["properties"].erase(name);
    }
    schema.erase("required");
    schema.erase("if");
    const Json required = command.value("then", Json::object());
    schema.erase("then");
    schema.update(required);
    return schema;
}

bool isCommand(const Json& schema)
{
    return schema.contains("properties") && schema["properties"].contains("command");
}

// References lead to where OpenAPI keeps schemas.
void relocate(Json& json)
{
    if (json.is_object() && json.contains("$ref"))
    {
        constexpr char kFrom[] = "#/$defs/";
        const std::string target = json["$ref"];
        json["$ref"] = "#/components/schemas/" + target.substr(sizeof kFrom - 1);
    }
    for (Json& inner : json)
    {
        if (inner.is_structured())
        {
            relocate(inner);
        }
    }
}

// Puts into used what json refers to, directly or through others.
void collect(const Json& json, const Json& all, Json& used)
{
    if (json.is_object() && json.contains("$ref"))
    {
        const std::string target = json["$ref"];
        const std::string name = target.substr(target.rfind('/') + 1);
        if (!used.contains(name))
        {
            used[name] = all.at(name);
            collect(all.at(name), all, used);  // not the copy: it moves when more are added
        }
    }
    for (const Json& inner : json)
    {
        if (inner.is_structured())
        {
            collect(inner, all, used);
        }
    }
}

Json reference(const char* name)
{
    return {{"$ref", std::string("#/$defs/") + name}};
}

Json content(const char* type, const Json& schema)
{
    return {{type, {{"schema", schema}}}};
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

// "getSchemesSchemeWindow", for generated clients.
std::string operationId(const Route& route)
{
    std::string id = lower(route.method);
    bool begins = true;
    for (const char letter : std::string(route.path).substr(sizeof "/api" - 1))
    {
        const bool isLetter = std::isalpha(static_cast<unsigned char>(letter)) != 0;
        if (isLetter)
        {
            id += begins ? static_cast<char>(std::toupper(static_cast<unsigned char>(letter))) : letter;
        }
        begins = !isLetter;
    }
    return id;
}

bool isStream(const Route& route)
{
    return std::string(route.type) == "text/event-stream" || route.run == getStream;
}

bool isPicture(const Route& route)
{
    return route.run == getStream || route.run == getSnapshot;
}

Json parameter(const std::string& name, const char* place)
{
    Json made = {{"name", name}, {"in", place}, {"required", std::string(place) == "path"}};
    made.update(Json::parse(kParameters).value(name, Json{{"schema", {{"type", "string"}}}}));
    if (name == "step")
    {
        made["schema"]["enum"] = lensSteps();
    }
    return made;
}

// {…} in the path, and ?…= in the summary.
Json parametersOf(const Route& route)
{
    Json parameters = Json::array();
    const std::string path = route.path;
    for (std::size_t begin = path.find('{'); begin != std::string::npos; begin = path.find('{', begin + 1))
    {
        parameters.push_back(parameter(path.substr(begin + 1, path.find('}', begin) - begin - 1), "path"));
    }
    for (const std::string& name : queryNames(route))
    {
        parameters.push_back(parameter(name, "query"));
    }
    if (changes(route))
    {
        parameters.push_back(parameter("If-Match", "header"));
    }
    if (route.run == getEvents)
    {
        parameters.push_back(parameter("Last-Event-ID", "header"));
    }
    return parameters;
}

std::map<int, std::set<std::string>> refusalsOf(const Route& route)
{
    std::map<int, std::set<std::string>> codes;
    const auto add = [&codes](const std::vector<OwnRefusal>& refusals) {
        for (const OwnRefusal& refusal : refusals)
        {
            codes[refusal.status].insert(refusal.code);
        }
    };
    for (const GeneralRefusal& general : kGeneralRefusals)
    {
        add(general.may(route) ? general.refusals : std::vector<OwnRefusal>());
    }
    std::vector<Code> refusals = {Code::internal, Code::unreadable, Code::noCamera};
    for (const Refusals& row : kRefusals)
    {
        if (row.run == route.run)
        {
            add(row.own);
            refusals.insert(refusals.end(), row.codes.begin(), row.codes.end());
            refusals.insert(refusals.end(), kOfSensor.begin(), row.sends ? kOfSensor.end() : kOfSensor.begin());
        }
    }
    if (takesBody(route))
    {
        refusals.push_back(Code::badDocument);
    }
    for (const Code code : refusals)
    {
        codes[statusOf(code)].insert(app::codeWord(code));
    }
    return codes;
}

Json problemWith(int status, const std::set<std::string>& codes)
{
    std::string list;
    for (const std::string& code : codes)
    {
        list += (list.empty() ? "" : ", ") + code;
    }
    const Json schema = {
        {"allOf", Json::array({reference("problem"),
                               {{"type", "object"},
                                {"properties", {{"status", {{"const", status}}}, {"code", {{"enum", codes}}}}}}})}};
    return {{"description", list}, {"content", content("application/problem+json", schema)}};
}

Json answerOf(const Route& route)
{
    Json schema = route.answer == nullptr ? Json{{"type", "string"}} : reference(route.answer);
    if (isPicture(route))
    {
        schema["format"] = "binary";
    }
    Json answer = {{"description", "Done"}, {"content", content(route.type, schema)}};
    if (isStream(route))
    {
        answer["description"] = route.run == getStream  ? kAboutPicture
                                : route.run == getTrace ? kAboutTrace
                                                        : kAboutEvents;
        return answer;
    }
    answer["headers"] = {
        {"ETag", {{"description", "The revision of the camera, for If-Match"}, {"schema", {{"type", "string"}}}}}};
    if (isPicture(route))
    {
        answer["headers"].update(Json::parse(kFrameHeaders));
    }
    return answer;
}

Json operationOf(const Route& route)
{
    Json operation = {{"operationId", operationId(route)}, {"summary", route.summary}};
    const Json parameters = parametersOf(route);
    if (!parameters.empty())
    {
        operation["parameters"] = parameters;
    }
    if (takesBody(route))
    {
        operation["requestBody"] = {{"required", true},
                                    {"content", content("application/json", reference(route.body))}};
    }
    operation["x-role"] = roleName(roleOf(route));
    if (!needsSession(route))
    {
        operation["security"] = Json::array();
    }
    Json& responses = operation["responses"];
    responses["200"] = answerOf(route);
    for (const auto& [status, codes] : refusalsOf(route))
    {
        responses[std::to_string(status)] = problemWith(status, codes);
    }
    return operation;
}

}  // namespace

Json openApi(const Json& commands)
{
    Json all = Json::parse(kOwnSchemas);
    all["newWorld"]["properties"]["speed"].update(
        {{"minimum", camera::Camera::kSlowest}, {"maximum", camera::Camera::kFastest}});
    for (const auto& [name, schema] : commands.at("$defs").items())
    {
        all[name] = isCommand(schema) ? withoutEnvelope(schema) : schema;
    }
    Json paths = Json::object();
    for (const Route& route : routes())
    {
        paths[route.path][lower(route.method)] = operationOf(route);
    }
    Json used = Json::object();
    collect(paths, all, used);
    Json document = {{"openapi", "3.1.0"},
                     {"info",
                      {{"title", "sensorcam"},
                       {"version", "1"},
                       {"description", kAbout},
                       {"license", {{"name", "MIT"}, {"identifier", "MIT"}}}}},
                     {"servers", Json::array({{{"url", "/"}}})},
                     {"security", Json::array({{{"bearer", Json::array()}},
                                               {{"cookie", Json::array()}},
                                               Json::object()})},  // nothing: by the socket, and without users
                     {"paths", paths},
                     {"components", {{"schemas", used}, {"securitySchemes", Json::parse(kSecuritySchemes)}}}};
    relocate(document);
    return document;
}

}  // namespace web
