#include "app/web/Guard.h"

#include <algorithm>

#include "app/web/RequestHead.h"

namespace web {
namespace {

constexpr const char* kOwnNames[] = {"localhost", "127.0.0.1", "[::1]"};

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    });
    return text;
}

// "localhost:8080"; without the port where it is the scheme's own.
bool isOwnHost(const std::string& host, int port, const Door& door)
{
    const int usualPort = door.tls ? 443 : 80;
    return std::any_of(std::begin(kOwnNames), std::end(kOwnNames), [&](const char* name) {
        return host == name + (":" + std::to_string(port)) || (port == usualPort && host == name);
    });
}

// Beyond loopback a camera has names that it does not know: its page is the one that was asked for by the same name.
bool isOwnOrigin(const std::string& origin, const std::string& host, int port, const Door& door)
{
    const std::string scheme = door.tls ? "https://" : "http://";
    const std::string name = origin.rfind(scheme, 0) == 0 ? origin.substr(scheme.size()) : "";
    return !name.empty() && (door.loopback ? isOwnHost(name, port, door) : name == host);
}

bool isAllowed(const std::string& origin, const std::vector<std::string>& allowed)
{
    return std::find(allowed.begin(), allowed.end(), origin) != allowed.end();
}

bool changes(const Request& request)
{
    return request.method != "GET" && request.method != "HEAD" && request.method != "OPTIONS";
}

// "theme=dark; sensorcam-8080=TOKEN"
std::optional<std::string> cookieOf(const std::string& cookies, const std::string& name)
{
    const std::string text = "; " + cookies;
    const std::string mark = "; " + name + "=";
    const std::size_t found = text.find(mark);
    if (found == std::string::npos)
    {
        return std::nullopt;
    }
    const std::size_t begin = found + mark.size();
    return text.substr(begin, std::min(text.find(';', begin), text.size()) - begin);
}

}  // namespace

bool isLoopback(const std::string& address)
{
    return address == "::1" || address.rfind("127.", 0) == 0;
}

std::optional<Response> refuse(const Request& request, const Door& door)
{
    if (request.peer.local)
    {
        return std::nullopt;
    }
    const std::string host = lower(request.header("host"));
    if (door.loopback && !isOwnHost(host, request.port, door))
    {
        return problem(421, "wrong-host", "this camera answers to localhost and 127.0.0.1 with its port alone");
    }
    const std::string origin = request.header("origin");
    const std::string site = request.header("sec-fetch-site");
    const bool elsewhere = origin.empty() ? !site.empty() && site != "same-origin" && site != "none"
                                          : !isOwnOrigin(lower(origin), host, request.port, door);
    if (changes(request) && elsewhere && !isAllowed(origin, door.origins))
    {
        return problem(403, "wrong-origin", "a page from elsewhere may change nothing; --allow-origin lets one in");
    }
    return std::nullopt;
}

std::string cookieName(const Request& request)
{
    return "sensorcam-" + std::to_string(request.port);
}

Visitor visitorOf(const Request& request, Sessions* sessions)
{
    if (request.peer.local || sessions == nullptr)
    {
        return {"", Role::administrator};
    }
    constexpr char kBearer[] = "bearer ";
    const std::string authorization = request.header("authorization");
    if (!authorization.empty())
    {
        const bool isBearer = lower(authorization).rfind(kBearer, 0) == 0;
        return isBearer ? sessions->visitor(authorization.substr(sizeof kBearer - 1)) : Visitor();
    }
    const std::optional<std::string> token = cookieOf(request.header("cookie"), cookieName(request));
    Visitor visitor = token ? sessions->visitor(*token) : Visitor();
    visitor.byCookie = true;
    return visitor;
}

std::optional<Response> refuse(const Request& request, const Visitor& visitor, Role needed)
{
    if (visitor.role < needed && visitor.role == Role::none)
    {
        Response response = problem(401, "no-session", "log in first: POST /api/session with name and password");
        response.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"sensorcam\"");
        return response;
    }
    if (visitor.role < needed)
    {
        return problem(403, "wrong-role",
                       std::string("this needs the role ") + roleName(needed) + "; " + visitor.name + " is " +
                           roleName(visitor.role));
    }
    // A browser that sends the cookie by itself says for which page; what does not say so cannot be told from one that
    // was made to send it.
    if (visitor.byCookie && visitor.role != Role::none && changes(request) && request.header("origin").empty() &&
        request.header("sec-fetch-site").empty())
    {
        return problem(403, "wrong-origin", "a change by cookie needs an Origin; programs send Authorization: Bearer");
    }
    return std::nullopt;
}

std::vector<std::pair<std::string, std::string>> guardHeaders(const Request& request, const Door& door)
{
    const std::string origin = request.header("origin");
    std::vector<std::pair<std::string, std::string>> headers = {{"Vary", "Origin"}};
    if (door.tls && !request.peer.local)
    {
        headers.emplace_back("Strict-Transport-Security", "max-age=31536000");
    }
    if (isAllowed(origin, door.origins))
    {
        headers.emplace_back("Access-Control-Allow-Origin", origin);
        headers.emplace_back("Access-Control-Expose-Headers", "ETag, Location, Retry-After");
        if (request.method == "OPTIONS")
        {
            headers.emplace_back("Access-Control-Allow-Methods", "GET, HEAD, PUT, PATCH, POST, DELETE, OPTIONS");
            headers.emplace_back("Access-Control-Allow-Headers",
                                 "Authorization, Content-Type, If-Match, Last-Event-ID");
            headers.emplace_back("Access-Control-Max-Age", "600");
        }
    }
    return headers;
}

}  // namespace web
