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

// "localhost:8080"; without the port where it is HTTP's own.
bool isOwnHost(const std::string& host, int port)
{
    return std::any_of(std::begin(kOwnNames), std::end(kOwnNames), [&](const char* name) {
        return host == name + (":" + std::to_string(port)) || (port == 80 && host == name);
    });
}

bool isOwnOrigin(const std::string& origin, int port)
{
    constexpr char kScheme[] = "http://";
    return origin.rfind(kScheme, 0) == 0 && isOwnHost(origin.substr(sizeof kScheme - 1), port);
}

bool isAllowed(const std::string& origin, const std::vector<std::string>& allowed)
{
    return std::find(allowed.begin(), allowed.end(), origin) != allowed.end();
}

bool changes(const Request& request)
{
    return request.method != "GET" && request.method != "HEAD" && request.method != "OPTIONS";
}

}  // namespace

bool isLoopback(const std::string& address)
{
    return address == "::1" || address.rfind("127.", 0) == 0;
}

std::optional<Response> refuse(const Request& request, const std::vector<std::string>& allowedOrigins)
{
    if (request.peer.local)
    {
        return std::nullopt;
    }
    if (!isOwnHost(lower(request.header("host")), request.port))
    {
        return problem(421, "wrong-host", "this camera answers to localhost and 127.0.0.1 with its port alone");
    }
    const std::string origin = request.header("origin");
    const std::string site = request.header("sec-fetch-site");
    const bool elsewhere = origin.empty() ? !site.empty() && site != "same-origin" && site != "none"
                                          : !isOwnOrigin(lower(origin), request.port);
    if (changes(request) && elsewhere && !isAllowed(origin, allowedOrigins))
    {
        return problem(403, "wrong-origin", "a page from elsewhere may change nothing; --allow-origin lets one in");
    }
    return std::nullopt;
}

std::vector<std::pair<std::string, std::string>> sharingHeaders(const Request& request,
                                                                const std::vector<std::string>& allowedOrigins)
{
    const std::string origin = request.header("origin");
    std::vector<std::pair<std::string, std::string>> headers = {{"Vary", "Origin"}};
    if (isAllowed(origin, allowedOrigins))
    {
        headers.emplace_back("Access-Control-Allow-Origin", origin);
        headers.emplace_back("Access-Control-Expose-Headers", "ETag, Location");
        if (request.method == "OPTIONS")
        {
            headers.emplace_back("Access-Control-Allow-Methods", "GET, HEAD, PUT, PATCH, POST, OPTIONS");
            headers.emplace_back("Access-Control-Allow-Headers", "Content-Type, If-Match, Last-Event-ID");
            headers.emplace_back("Access-Control-Max-Age", "600");
        }
    }
    return headers;
}

}  // namespace web
