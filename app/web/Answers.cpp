#include "app/web/Answers.h"

#include <functional>
#include <sstream>

#include "app/cli/KeyText.h"
#include "app/cli/Parsing.h"

namespace web {
namespace {

using app::ErrorCode;

[[noreturn]] void wrongMember(const char* name, const char* type)
{
    throw Refused({ErrorCode::badDocument, std::string("the body needs \"") + name + "\", " + type});
}

const app::Json& member(const Call& call, const char* name, const char* type)
{
    const auto found = call.body.find(name);
    if (found == call.body.end())
    {
        wrongMember(name, type);
    }
    return *found;
}

// Where the code's own hint names a command of the shell, or a cause that only the shell has.
void putHint(app::Json& told, const app::Error& error)
{
    if (!error.hint.empty())
    {
        return;
    }
    switch (error.code)
    {
    case ErrorCode::unknownKey:
        told["hint"] = "GET /api/parameters lists the keys";
        break;
    case ErrorCode::unknownScheme:
        told["hint"] = "GET /api/schemes lists the schemes";
        break;
    case ErrorCode::notFound:
        told.erase("hint");
        break;
    default:
        break;
    }
}

int valueOf(const Call& call, int key, const app::Json& json)
{
    if (const std::optional<int> number = app::intOf(json))
    {
        return *number;
    }
    app::Error error = {};
    const std::string text = json.is_string() ? json.get<std::string>() : json.dump();
    const std::optional<int> meant = app::parseValue(call.camera.service(), key, text, error);
    if (!meant || !json.is_string())
    {
        throw Refused(error);
    }
    return *meant;
}

}  // namespace

int statusOf(ErrorCode code)
{
    switch (code)
    {
    case ErrorCode::wrongUsage:
    case ErrorCode::unknownCommand:
    case ErrorCode::badValue:
    case ErrorCode::badDocument:
        return 400;
    case ErrorCode::unknownKey:
    case ErrorCode::unknownScheme:
    case ErrorCode::noValue:
    case ErrorCode::notFound:
    case ErrorCode::notOnDevice:
    case ErrorCode::notSettable:
        return 404;
    case ErrorCode::noFile:
    case ErrorCode::busy:
    case ErrorCode::wrongMode:
    case ErrorCode::readOnly:
        return 409;
    case ErrorCode::tooManyValues:
    case ErrorCode::refusedValue:
    case ErrorCode::windowRefused:
        return 422;
    case ErrorCode::deviceRefused:
        return 502;
    case ErrorCode::noCamera:
    case ErrorCode::noPicture:
        return 503;
    case ErrorCode::notWritten:
        return 507;
    case ErrorCode::unreadable:
    case ErrorCode::interrupted:
    case ErrorCode::notRun:
    case ErrorCode::internal:
        break;
    }
    return 500;
}

Response jsonResponse(const app::Json& body)
{
    return {200, "application/json", app::jsonLine(body)};
}

Response errorResponse(const app::Error& error, const app::Json& result)
{
    app::Json body = {{"status", statusOf(error.code)}};
    app::Json told = app::toJson(error);
    body["code"] = told["code"];
    body["detail"] = told["message"];
    told.erase("code");
    told.erase("message");
    putHint(told, error);
    body.update(told);
    if (!result.is_null())
    {
        body["result"] = result;
    }
    return {statusOf(error.code), "application/problem+json", app::jsonLine(body)};
}

app::Error refusedValue(const Call& call, const camera::KeyResult& key)
{
    return {app::codeOf(key.status),
            app::keyTitle(key.key) +
                " refused: " + app::reasonText(call.camera.service(), key.key, key.asked, key.status),
            key.key, key.asked, key.allowed};
}

Response documentResponse(const Call& call, const char* type, const std::string& body)
{
    const std::string tag = "\"" + std::to_string(std::hash<std::string>()(body)) + "\"";
    Response response = {200, type, body, {{"ETag", tag}, {"Cache-Control", "private, no-cache"}}};
    if (names(call.request.header("if-none-match"), tag, true))
    {
        response.status = 304;
        response.type.clear();
        response.body.clear();
    }
    return response;
}

bool names(const std::string& condition, const std::string& tag, bool takesWeak)
{
    std::istringstream list(condition);
    for (std::string item; std::getline(list, item, ',');)
    {
        item.erase(0, item.find_first_not_of(" \t"));
        item.erase(item.find_last_not_of(" \t") + 1);
        if (item == "*" || item == tag || (takesWeak && item == "W/" + tag))
        {
            return true;
        }
    }
    return false;
}

int keyOf(const std::string& text)
{
    std::string error;
    const std::optional<int> key = app::parseKey(text, error);
    if (!key)
    {
        throw Refused({ErrorCode::unknownKey, "there is no key " + text});
    }
    return *key;
}

int wholeNumber(const std::string& text)
{
    const std::optional<int> number = app::parseInt(text);
    if (!number)
    {
        throw Refused({ErrorCode::badValue, text + " is not a whole number"});
    }
    return *number;
}

int schemeOf(const Call& call, const std::string& text, bool withDefault)
{
    const std::optional<int> scheme = app::parseInt(text);
    const int end = call.camera.schemeCount() + (withDefault ? 1 : 0);
    if (!scheme || *scheme < 0 || *scheme >= end)
    {
        throw Refused(
            {ErrorCode::unknownScheme, "there is no scheme " + text + "; there are 0 to " + std::to_string(end - 1)});
    }
    return *scheme;
}

bool queryFlag(const Call& call, const char* name, bool otherwise)
{
    const auto found = call.request.query.find(name);
    if (found == call.request.query.end())
    {
        return otherwise;
    }
    if (found->second != "true" && found->second != "false")
    {
        throw Refused({ErrorCode::badValue, std::string(name) + " is true or false"});
    }
    return found->second == "true";
}

int bodyNumber(const Call& call, const char* name)
{
    const std::optional<int> number = app::intOf(member(call, name, "a whole number"));
    if (!number)
    {
        wrongMember(name, "a whole number");
    }
    return *number;
}

bool bodyFlag(const Call& call, const char* name)
{
    const app::Json& found = member(call, name, "true or false");
    if (!found.is_boolean())
    {
        wrongMember(name, "true or false");
    }
    return found.get<bool>();
}

std::string bodyText(const Call& call, const char* name)
{
    const app::Json& found = member(call, name, "a text");
    if (!found.is_string())
    {
        wrongMember(name, "a text");
    }
    return found.get<std::string>();
}

std::vector<camera::Value> bodyValues(const Call& call)
{
    std::vector<camera::Value> values;
    for (const auto& [name, json] : call.body.items())
    {
        const int key = keyOf(name);
        for (const camera::Value& before : values)
        {
            if (before.key == key)
            {
                throw Refused({ErrorCode::badDocument, "key " + std::to_string(key) + " is given twice", key});
            }
        }
        values.push_back({key, valueOf(call, key, json)});
    }
    if (values.empty())
    {
        throw Refused({ErrorCode::badDocument, "the body names no key"});
    }
    return values;
}

}  // namespace web
