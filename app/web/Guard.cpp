#include "app/web/Guard.h"

#include <algorithm>

#include "app/web/RequestHead.h"

namespace web {
namespace {

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
    const std::string names[] = {"localhost", "127.0.0.1", "[::1]", door.address};
    return std::any_of(std::begin(names), std::end(names), [&](const std::string& name) {
        return host == name + ":" + std::to_string(port) || (port == usualPort && host == name);
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

// "theme=dark; __Host-sensorcam-8080=TOKEN"
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

std::optional<std::string> originOf(const std::string& text)
{
    const std::string origin = lower(text);
    const std::size_t scheme = origin.rfind("http://", 0) == 0 ? 7 : origin.rfind("https://", 0) == 0 ? 8 : 0;
    const bool isSix = scheme != 0 && origin.compare(scheme, 1, "[") == 0;
    const std::size_t close = isSix ? origin.find(']', scheme) : std::string::npos;
    if (scheme == 0 || (isSix && close == std::string::npos))
    {
        return std::nullopt;
    }
    const std::size_t colon = std::min(origin.find(':', isSix ? close : scheme), origin.size());
    const std::string host =
        isSix ? origin.substr(scheme + 1, close - scheme - 1) : origin.substr(scheme, colon - scheme);
    const std::string port = origin.substr(colon);
    const char* const letters = isSix ? "0123456789abcdef:." : "abcdefghijklmnopqrstuvwxyz0123456789.-_";
    const bool isPort = port.empty() || (port.size() > 1 && port.size() <= 6 &&
                                         port.find_first_not_of("0123456789", 1) == std::string::npos);
    const bool isHost =
        !host.empty() && host.find_first_not_of(letters) == std::string::npos && (!isSix || colon == close + 1);
    return isHost && isPort ? std::optional(origin) : std::nullopt;
}

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
        return problem(421, "wrong-host", "this camera answers to localhost and its own address, with its port, alone");
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
    return "__Host-sensorcam-" + std::to_string(request.port);
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
    if (door.tls && !door.loopback && !request.peer.local)  // localhost belongs to other programs too
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
