#include "app/web/RequestHead.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>

namespace web {
namespace {

// What to do about what the server itself refuses.
struct Hint
{
    const char* code;
    const char* hint;
};

constexpr Hint kHints[] = {
    {"bad-request", "correct the request; GET /api/openapi.json describes what each path takes"},
    {"busy", "come again after as many seconds as Retry-After says"},
    {"changed-meanwhile", "read it again, then send the change with the new ETag"},
    {"ending", "come again when the camera has been started anew"},
    {"internal", "this is a mistake in the program: report it"},
    {"no-picture", "come again after as many seconds as Retry-After says"},
    {"no-session", "POST /api/session answers with a token; send it: Authorization: Bearer TOKEN"},
    {"no-such-method", "use a method that Allow names"},
    {"no-such-path", "GET /api/openapi.json lists all paths"},
    {"no-trial", "begin a new one: PATCH /api/parameters?keep=false"},
    {"no-users", "go on without a session"},
    {"not-json", "send the header Content-Type: application/json"},
    {"on-trial", "GET /api/trials says who tries it and how long; wait, or set it to stay"},
    {"too-large", "send less in one request"},
    {"too-many-logins", "come again after as many seconds as Retry-After says"},
    {"wrong-host", "ask for localhost with the camera's port, or use its socket"},
    {"wrong-login", "'sensorcam passwd' sets a new password"},
    {"wrong-origin", "change it from the camera's own page, or from a program"},
    {"wrong-role", "ask somebody who has this role, or log in as one"},
};

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter; });
    return text;
}

int digit(char letter)
{
    if (letter >= '0' && letter <= '9')
    {
        return letter - '0';
    }
    const char small = static_cast<char>(letter | 0x20);
    return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

// Nothing for a bad escape and for control characters.
std::optional<std::string> decoded(const std::string& text, bool plusIsBlank)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        char letter = text[i];
        if (letter == '%')
        {
            const int high = i + 2 < text.size() ? digit(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? digit(text[i + 2]) : -1;
            if (high < 0 || low < 0)
            {
                return std::nullopt;
            }
            letter = static_cast<char>(high * 16 + low);
            i += 2;
        }
        else if (letter == '+' && plusIsBlank)
        {
            letter = ' ';
        }
        if (static_cast<unsigned char>(letter) < 0x20 || letter == 0x7f)
        {
            return std::nullopt;
        }
        out += letter;
    }
    return out;
}

bool readQuery(const std::string& text, std::map<std::string, std::string>& query)
{
    std::size_t begin = 0;
    while (begin <= text.size() && !text.empty())
    {
        const std::size_t end = std::min(text.find('&', begin), text.size());
        const std::string pair = text.substr(begin, end - begin);
        begin = end + 1;
        if (pair.empty())
        {
            continue;
        }
        const std::size_t sign = std::min(pair.find('='), pair.size());
        const auto name = decoded(pair.substr(0, sign), true);
        const auto value = decoded(sign < pair.size() ? pair.substr(sign + 1) : "", true);
        if (!name || !value || !query.emplace(*name, *value).second)  // twice: which one counts would be a guess
        {
            return false;
        }
    }
    return true;
}

// Nothing else may stand in a header's name, no blank either: "Content-Length : 3" is a length for some servers alone.
bool isName(const std::string& text)
{
    constexpr char kOther[] = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char letter) {
        const char small = static_cast<char>(letter | 0x20);
        return (letter >= '0' && letter <= '9') || (small >= 'a' && small <= 'z') ||
               (letter != '\0' && std::strchr(kOther, letter) != nullptr);
    });
}

bool isLength(const std::string& text, std::size_t& length)
{
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, length);
    return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

bool readTarget(const std::string& target, Request& request)
{
    const std::size_t mark = std::min(target.find('?'), target.size());
    const std::string written = target.substr(0, mark);
    const auto path = decoded(written, false);
    // An escaped slash is a part of a name, which no name here has; it must not divide the path.
    if (!path || path->empty() || path->front() != '/' || target.find('#') != std::string::npos ||
        std::count(path->begin(), path->end(), '/') != std::count(written.begin(), written.end(), '/'))
    {
        return false;
    }
    request.path = *path;
    return readQuery(mark < target.size() ? target.substr(mark + 1) : "", request.query);
}

std::optional<Response> readHead(const std::vector<HeaderLine>& lines, std::size_t mostBody, Request& request)
{
    int hosts = 0;
    int lengths = 0;
    bool encoded = false;
    std::size_t length = 0;
    for (const HeaderLine& line : lines)
    {
        if (!isName(line.name))
        {
            return problem(400, "bad-request", "a header name is malformed");
        }
        const std::string name = lower(line.name);
        std::string& held = request.headers[name];
        held += (held.empty() ? "" : ", ") + line.value;
        hosts += name == "host" ? 1 : 0;
        encoded = encoded || name == "transfer-encoding";
        if (name == "content-length" && (++lengths > 1 || !isLength(line.value, length)))
        {
            return problem(400, "bad-request", "Content-Length is given twice, or is not a number");
        }
    }
    if (encoded && (lengths > 0 || lower(request.header("transfer-encoding")) != "chunked"))
    {
        return problem(400, "bad-request", "the only transfer encoding is chunked, without Content-Length");
    }
    if (hosts != 1)
    {
        return problem(400, "bad-request", "a request needs one Host");
    }
    if (length > mostBody)
    {
        return problem(413, "too-large", "a body may have " + std::to_string(mostBody) + " bytes");
    }
    return std::nullopt;
}

Response problem(int status, const std::string& code, const std::string& detail)
{
    nlohmann::json body = {{"status", status}, {"code", code}, {"detail", detail}};
    const auto known =
        std::find_if(std::begin(kHints), std::end(kHints), [&code](const Hint& row) { return code == row.code; });
    if (known != std::end(kHints))
    {
        body["hint"] = known->hint;
    }
    return {status, "application/problem+json", body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)};
}

}  // namespace web
