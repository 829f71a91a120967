#include <algorithm>
#include <cctype>

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
"keyValues": {"type": "object", "minProperties": 1, "additionalProperties": {"type": "integer"},
    "description": "Values by key: a name with or without KEY_, or a number.", "examples": [{"brightness": 60, "mirror": 1}]},
"schemeInForce": {"type": "object", "properties": {"scheme": {"$ref": "#/$defs/schemeNumber"}},
    "additionalProperties": false},
"newScheme": {"type": "object", "required": ["scheme"], "properties": {"scheme": {"$ref": "#/$defs/schemeNumber"}}},
"newMode": {"type": "object", "required": ["mode"], "properties": {"mode": {"enum": ["auto", "manual"]}}},
"schemeValues": {"type": "object", "required": ["scheme", "values"], "additionalProperties": false, "properties": {
    "scheme": {"$ref": "#/$defs/schemeNumber"}, "values": {"type": "array", "items": {"$ref": "#/$defs/value"}}}},
"storedValues": {"type": "object", "required": ["scheme", "values"], "additionalProperties": false, "properties": {
    "scheme": {"$ref": "#/$defs/schemeNumber"}, "values": {"type": "array", "items": {"$ref": "#/$defs/keyResult"}}}},
"newWindow": {"type": "object", "required": ["enabled", "from", "to"], "properties": {
    "enabled": {"type": "boolean"}, "from": {"$ref": "#/$defs/timeOfDay"}, "to": {"$ref": "#/$defs/endTime"}}},
"newLens": {"type": "object", "minProperties": 1, "maxProperties": 1, "additionalProperties": false, "properties": {
    "zoom": {"type": "integer"}, "focus": {"type": "integer"}, "focusMode": {"type": "integer"}}},
"world": {"type": "object", "required": ["time", "speed", "night"], "additionalProperties": false, "properties": {
    "time": {"$ref": "#/$defs/timeOfDay"}, "speed": {"type": "number"}, "night": {"type": "boolean"},
    "lux": {"$ref": "#/$defs/lux"}, "faults": {"type": "array", "items": {"$ref": "#/$defs/fault"}}}},
"newWorld": {"type": "object", "additionalProperties": false, "properties": {
    "light": {"anyOf": [{"type": "number", "minimum": 0}, {"const": "daylight"}], "description": "Lux"},
    "distance": {"type": "number", "exclusiveMinimum": 0, "description": "Metres"},
    "time": {"$ref": "#/$defs/timeOfDay"}, "faults": {"type": "array", "maxItems": 100, "items": {"type": "object",
        "required": ["key"], "properties": {"key": {"type": ["integer", "string"]}, "status": {"type": "integer"},
        "after": {"type": "integer", "minimum": 0}, "count": {"type": "integer", "minimum": 0}}}}}},
"newDiagnostics": {"type": "object", "minProperties": 1, "additionalProperties": false, "properties": {
    "level": {"type": "integer"}, "assertions": {"type": "boolean"}, "marker": {"const": false}}}
})json";

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

void collect(const Json& json, const Json& all, Json& used)
{
    if (json.is_object() && json.contains("$ref"))
    {
        const std::string target = json["$ref"];
        const std::string name = target.substr(target.rfind('/') + 1);
        if (!used.contains(name))
        {
            used[name] = all.at(name);
            collect(used[name], all, used);
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

// "getSchemesWindow", for generated clients.
std::string operationId(const Route& route)
{
    std::string id;
    for (const char* letter = route.method; *letter != '\0'; ++letter)
    {
        id += static_cast<char>(std::tolower(static_cast<unsigned char>(*letter)));
    }
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

Json parametersOf(const Route& route)
{
    Json parameters = Json::array();
    const std::string path = route.path;
    for (std::size_t begin = path.find('{'); begin != std::string::npos; begin = path.find('{', begin + 1))
    {
        const std::string name = path.substr(begin + 1, path.find('}', begin) - begin - 1);
        parameters.push_back({{"name", name}, {"in", "path"}, {"required", true}, {"schema", {{"type", "string"}}}});
    }
    for (const char* name : {"keep", "dry-run"})
    {
        if (std::string(route.summary).find(std::string("?") + name + "=") != std::string::npos)
        {
            parameters.push_back({{"name", name}, {"in", "query"}, {"schema", {{"type", "boolean"}}}});
        }
    }
    for (const char* name : {"trial", "filter"})
    {
        if (std::string(route.summary).find(std::string("?") + name + "=") != std::string::npos)
        {
            parameters.push_back({{"name", name}, {"in", "query"}, {"schema", {{"type", "string"}}}});
        }
    }
    return parameters;
}

Json operationOf(const Route& route)
{
    Json operation = {{"operationId", operationId(route)}, {"summary", route.summary}};
    const Json parameters = parametersOf(route);
    if (!parameters.empty())
    {
        operation["parameters"] = parameters;
    }
    if (route.body != nullptr)
    {
        operation["requestBody"] = {{"required", true},
                                    {"content", content("application/json", reference(route.body))}};
    }
    Json answer = {{"description", "Done"}};
    answer["content"] = route.answer == nullptr ? content(route.type, {{"type", "string"}})
                                                : content("application/json", reference(route.answer));
    operation["responses"] = {
        {"200", answer},
        {"default",
         {{"description", "Why not"}, {"content", content("application/problem+json", reference("problem"))}}}};
    return operation;
}

}  // namespace

Json openApi(const Json& commands)
{
    Json all = Json::parse(kOwnSchemas);
    for (const auto& [name, schema] : commands.at("$defs").items())
    {
        all[name] = isCommand(schema) ? withoutEnvelope(schema) : schema;
    }
    Json paths = Json::object();
    for (const Route& route : routes())
    {
        std::string method = route.method;
        std::transform(method.begin(), method.end(), method.begin(),
                       [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
        paths[route.path][method] = operationOf(route);
    }
    Json used = Json::object();
    collect(paths, all, used);
    Json document = {{"openapi", "3.1.0"},
                     {"info",
                      {{"title", "sensorcam"},
                       {"version", "1"},
                       {"description", "A camera's image parameters, schemes and lens."},
                       {"license", {{"name", "MIT"}, {"identifier", "MIT"}}}}},
                     {"servers", Json::array({{{"url", "/"}}})},
                     {"paths", paths},
                     {"components", {{"schemas", used}}}};
    relocate(document);
    return document;
}

}  // namespace web
