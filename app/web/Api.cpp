#include "app/web/Api.h"

#include <strings.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "app/Failure.h"
#include "app/web/Answers.h"
#include "app/web/Guard.h"
#include "app/web/RequestHead.h"

namespace web {
namespace {

// The next part behind a slash; takes both away. Nothing at the end.
std::optional<std::string_view> takePart(std::string_view& path)
{
    if (path.empty())
    {
        return std::nullopt;
    }
    const std::size_t end = std::min(path.find('/', 1), path.size());
    const std::string_view part = path.substr(1, end - 1);
    path.remove_prefix(end);
    return part;
}

bool isPlace(std::string_view part)
{
    return !part.empty() && part.front() == '{';
}

// What stands for {…}; nothing when the path is another one. Of most routes that shows before the first place.
std::optional<std::vector<std::string>> match(std::string_view pattern, std::string_view path)
{
    const std::string_view fixed = pattern.substr(0, pattern.find('{'));
    if (path.substr(0, fixed.size()) != fixed)
    {
        return std::nullopt;
    }
    std::vector<std::string> places;
    while (true)
    {
        const std::optional<std::string_view> wanted = takePart(pattern);
        const std::optional<std::string_view> part = takePart(path);
        if (!wanted || !part)
        {
            return wanted || part ? std::nullopt : std::optional(places);
        }
        if (isPlace(*wanted) && !part->empty())
        {
            places.emplace_back(*part);
        }
        else if (*wanted != *part)
        {
            return std::nullopt;
        }
    }
}

struct Found
{
    const Route* route = nullptr;  // null: none with this method
    std::vector<std::string> places;
    std::string methods;  // that the path has; empty: there is no such path
};

Found find(const Request& request)
{
    const std::string wanted = request.method == "HEAD" ? "GET" : request.method;
    Found found;
    for (const Route& route : routes())
    {
        const auto places = match(route.path, request.path);
        if (!places)
        {
            continue;
        }
        found.methods += std::string(found.methods.empty() ? "" : ", ") + route.method +
                         (std::string(route.method) == "GET" ? ", HEAD" : "");
        if (route.method == wanted)
        {
            found.route = &route;
            found.places = *places;
        }
    }
    return found;
}

bool isJson(const std::string& type)
{
    std::string plain = type.substr(0, type.find(';'));
    plain.erase(plain.find_last_not_of(" \t") + 1);
    return strcasecmp(plain.c_str(), "application/json") == 0 ||
           strcasecmp(plain.c_str(), "application/merge-patch+json") == 0;
}

// Null when the route takes no body.
app::Json bodyOf(const Request& request, const Route& route)
{
    if (route.body == nullptr)
    {
        return nullptr;
    }
    constexpr std::size_t kLevels = 8;  // more than any body here needs, and less than a parser's stack has
    using Event = app::Json::parse_event_t;
    std::size_t levels = 0;
    std::vector<std::set<std::string>> names(kLevels + 2);  // of the objects that the parser is in
    std::string twice;
    const auto look = [&](int depth, Event event, app::Json& json) {
        const auto level = static_cast<std::size_t>(depth);
        levels = std::max(levels, level);
        if (levels > kLevels)
        {
            return false;
        }
        if (event == Event::object_start)
        {
            names[level + 1].clear();
        }
        else if (event == Event::key && !names[level].insert(json.get<std::string>()).second)
        {
            twice = json.get<std::string>();
        }
        return true;
    };
    const app::Json body = app::Json::parse(request.body, look, false);
    if (!twice.empty())
    {
        throw Refused({app::ErrorCode::badDocument, "\"" + twice + "\" is given twice"});
    }
    // The parser takes a zero for the end.
    const bool isWhole = request.body.find('\0') == std::string::npos;
    if (!isWhole || body.is_discarded() || levels > kLevels || !body.is_object())
    {
        throw Refused({app::ErrorCode::badDocument, "the body is not a JSON object"});
    }
    return body;
}

// The first name of the query that means nothing to the route.
std::optional<Response> refuseQuery(const Request& request, const Route& route)
{
    const std::vector<std::string> known = queryNames(route);
    for (const auto& [name, value] : request.query)
    {
        if (std::find(known.begin(), known.end(), name) == known.end())
        {
            return problem(400, "bad-request", "the query has \"" + name + "\", which means nothing here");
        }
    }
    return std::nullopt;
}

bool has(const Response& response, const char* header)
{
    return std::any_of(response.headers.begin(), response.headers.end(),
                       [header](const auto& known) { return known.first == header; });
}

}  // namespace

Api::Api(camera::Camera& camera, Settings settings)
    : camera_(camera),
      settings_(std::move(settings)),
      page_(camera.setup().share),
      events_(camera),
      pictures_([&camera] { return camera.service().openPicture(); })
{
}

Api::~Api() = default;

Handler::Lane Api::lane(const Request& request)
{
    const Route* const route = find(request).route;
    // A reader of events who comes back may have to be told everything.
    const bool asksForState = route != nullptr && route->run == getEvents && !request.header("last-event-id").empty();
    return route == nullptr ? Lane::aside : asksForState ? Lane::read : route->lane;
}

// Whoever has not come in logs in at most.
std::size_t Api::mostBody(const Request& request)
{
    constexpr std::size_t kLogin = 4096;
    const bool isStranger = visitorOf(request, settings_.sessions).role == Role::none;
    return isStranger ? kLogin : Handler::mostBody(request);
}

std::string Api::revision() const
{
    return "\"" + events_.lastChange() + "." + std::to_string(untold_) + "\"";
}

Response Api::answer(const Request& request)
{
    Response response;
    if (std::optional<Response> refusal = refuse(request, settings_.door))
    {
        response = std::move(*refusal);
    }
    else
    {
        const Visitor visitor = visitorOf(request, settings_.sessions);
        response = routed(request, visitor);
        noteChange(request, visitor, response.status);
    }
    for (auto& header : guardHeaders(request, settings_.door))
    {
        response.headers.push_back(std::move(header));
    }
    response.headers.emplace_back("X-Content-Type-Options", "nosniff");
    if (!has(response, "Cache-Control"))
    {
        response.headers.emplace_back("Cache-Control", "no-store");
    }
    return response;
}

// The server has one thread for changes, but other front ends, and the camera itself, have theirs: the camera's turn
// makes the look at If-Match and the change one step. A reader's revision is from before it reads, so that a change
// meanwhile makes it too old and never too new.
Response Api::run(const Route& route, const Call& call)
{
    if (route.lane == Lane::change)
    {
        const camera::Camera::Turn turn(camera_);
        const std::string condition = call.request.header("if-match");
        if (!condition.empty() && !names(condition, revision()))
        {
            return problem(412, "changed-meanwhile", "somebody changed the camera since you read it");
        }
        Response response = route.run(call);
        response.headers.emplace_back("ETag", revision());
        return response;
    }
    const std::string before = revision();
    Response response = route.run(call);
    if (response.source == nullptr && !has(response, "ETag"))
    {
        response.headers.emplace_back("ETag", before);
    }
    return response;
}

void Api::note(const Request& request, const std::string& who, const std::string& body, int status)
{
    if (settings_.audit == nullptr)
    {
        return;
    }
    std::string what = request.method + " " + request.path;
    for (const auto& [name, value] : request.query)
    {
        what += (what.find('?') == std::string::npos ? "?" : "&") + name + "=" + value;
    }
    settings_.audit->add({who, request.peer.local ? "socket" : request.peer.address, what, body, status});
}

void Api::noteChange(const Request& request, const Visitor& visitor, int status)
{
    if (settings_.audit == nullptr)
    {
        return;
    }
    const Route* const route = find(request).route;
    const auto dryRun = request.query.find("dry-run");
    if (route == nullptr || route->lane != Lane::change || visitor.role == Role::none ||
        std::string(route->method) == "GET" || (dryRun != request.query.end() && dryRun->second == "true"))
    {
        return;
    }
    if (status != 403)
    {
        note(request, visitor.name, request.body, status);
    }
    else  // by the route alone: what is refused must not take the place of changes
    {
        settings_.audit->addRefused(
            {visitor.name, request.peer.address, std::string(route->method) + " " + route->path, "", status});
    }
}

Response Api::routed(const Request& request, const Visitor& visitor)
{
    const Found found = find(request);
    if (found.methods.empty())
    {
        if (std::optional<Response> file = page_.answer(request))
        {
            return std::move(*file);
        }
        return problem(404, "no-such-path", "there is nothing at " + request.path);
    }
    if (request.method == "OPTIONS")
    {
        return {204, "", "", {{"Allow", found.methods + ", OPTIONS"}}};
    }
    if (found.route == nullptr)
    {
        Response response = problem(405, "no-such-method", request.path + " answers to " + found.methods);
        response.headers.emplace_back("Allow", found.methods + ", OPTIONS");
        return response;
    }
    const Route& route = *found.route;
    if (std::optional<Response> refusal = refuse(request, visitor, roleOf(route)))
    {
        return std::move(*refusal);
    }
    if (std::optional<Response> refusal = refuseQuery(request, route))
    {
        return std::move(*refusal);
    }
    if (route.body != nullptr && !isJson(request.header("content-type")))
    {
        return problem(415, "not-json", "the body is not said to be JSON");
    }
    try
    {
        const camera::Acting acting(!visitor.name.empty() ? visitor.name
                                    : request.peer.local  ? "socket"
                                                          : request.peer.address);
        Response response = run(route, {*this, camera_, request, found.places, bodyOf(request, route), visitor});
        if (response.source != nullptr && !visitor.token.empty())
        {
            response.source = settings_.sessions->whileOpen(response.source, visitor.token);
        }
        return response;
    }
    catch (const Refused& refused)
    {
        return errorResponse(refused.error());
    }
    catch (const camera::Failure& failure)
    {
        return errorResponse({app::codeOf(failure.problem()), app::failureText(failure)});
    }
}

}  // namespace web
