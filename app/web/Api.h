#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "app/json/Json.h"
#include "app/web/AuditLog.h"
#include "app/web/EventStream.h"
#include "app/web/Guard.h"
#include "app/web/HttpServer.h"
#include "app/web/PageFiles.h"
#include "app/web/PictureStream.h"
#include "app/web/TraceStream.h"
#include "camera/Camera.h"

// The camera's operations as paths. Adds no rule of its own: what it answers is what camera/ answers.
namespace web {

class Api;

// A request on its way through the table of routes.
struct Call
{
    Api& api;
    camera::Camera& camera;
    const Request& request;
    std::vector<std::string> parts;  // what stands in the path for {…}, in order
    app::Json body;                  // null without one
    Visitor visitor;
};

// One row for each path and method: what is answered, and what openapi.json says of it.
struct Route
{
    const char* method;
    const char* path;  // "/api/schemes/{scheme}/window"
    Handler::Lane lane;
    Response (*run)(const Call&);
    const char* summary;
    const char* body;    // name of its schema; null: none is taken
    const char* answer;  // name of its schema, of a stream's each event; null: a text
    const char* type = "application/json";
    std::optional<Role> role = {};  // nothing: viewers read, operators change
};

// The least that may use it.
Role roleOf(const Route& route);
// ?…= in the summary.
std::vector<std::string> queryNames(const Route& route);

const std::vector<Route>& routes();

// What openapi.json says: made from the routes and the schemas of the commands' answers.
app::Json openApi(const app::Json& commands);

class Api : public Handler
{
public:
    struct Settings
    {
        Door door = {};
        Sessions* sessions = nullptr;  // null: everybody may do everything
        AuditLog* audit = nullptr;     // null: nothing is noted
    };

    // camera, and what the settings name, must outlive it.
    Api(camera::Camera& camera, Settings settings);
    ~Api() override;

    Lane lane(const Request& request) override;
    std::size_t mostBody(const Request& request) override;
    Response answer(const Request& request) override;

    EventLog& events() { return events_; }
    TraceLog& trace() { return trace_; }
    Pictures& pictures() { return pictures_; }
    Sessions* sessions() { return settings_.sessions; }
    // In the audit log.
    void note(const Request& request, const std::string& who, const std::string& body, int status);
    // Of all that may be changed through this: another one after each change, whoever made it. One for the whole camera,
    // since a change of one thing changes what others show.
    std::string revision() const;
    // Something has been changed of which the camera tells no event.
    void changed() { ++untold_; }

private:
    void noteChange(const Request& request, const Visitor& visitor, int status);
    Response routed(const Request& request, const Visitor& visitor);
    Response run(const Route& route, const Call& call);

    camera::Camera& camera_;
    const Settings settings_;
    const PageFiles page_;
    EventLog events_;
    TraceLog trace_;
    Pictures pictures_;
    std::atomic<unsigned> untold_ = 0;
};

}  // namespace web
