#include "app/web/Answers.h"
#include "app/web/Guard.h"
#include "app/web/Passwords.h"
#include "app/web/RequestHead.h"

// Logging in and out.
namespace web {
namespace {

app::Json sessionJson(const Visitor& visitor)
{
    app::Json json = app::Json::object();
    if (!visitor.name.empty())
    {
        json["name"] = visitor.name;
    }
    json["role"] = roleName(visitor.role);
    return json;
}

std::string cookie(const Request& request, const std::string& token, std::chrono::seconds age)
{
    return cookieName(request) + "=" + token +
           "; Path=/; HttpOnly; Secure; SameSite=Strict; Max-Age=" + std::to_string(age.count());
}

Response comeAgain(int status, const char* code, const char* detail, std::chrono::seconds wait)
{
    Response response = problem(status, code, detail);
    response.headers.emplace_back("Retry-After", std::to_string(wait.count()));
    return response;
}

Response answerTo(const Request& request, const Sessions::Login& login)
{
    switch (login.outcome)
    {
    case Sessions::Login::Outcome::limited:
        return comeAgain(429, "too-many-logins", "too many logins have failed, of this name or from this address",
                         login.wait);
    case Sessions::Login::Outcome::busy:
        return comeAgain(503, "busy", "too many passwords are being looked at", login.wait);
    case Sessions::Login::Outcome::wrong:
        return problem(401, "wrong-login", "the name or the password is wrong");
    case Sessions::Login::Outcome::done:
        break;
    }
    app::Json body = sessionJson(login.visitor);
    body["token"] = login.visitor.token;
    Response response = jsonResponse(body);
    response.headers.emplace_back("Set-Cookie", cookie(request, login.visitor.token, Sessions::kLongest));
    return response;
}

}  // namespace

Response openSession(const Call& call)
{
    Sessions* const sessions = call.api.sessions();
    if (sessions == nullptr)
    {
        return problem(409, "no-users", "this camera has no users: nobody has to log in");
    }
    const std::string name = bodyText(call, "name");
    std::string password = bodyText(call, "password");
    const Sessions::Login login = sessions->login(name, password, call.request.peer.address);
    clearSecret(password);
    Response response = answerTo(call.request, login);
    if (login.outcome == Sessions::Login::Outcome::done || login.outcome == Sessions::Login::Outcome::wrong)
    {
        // Others could fill the log. A name that no user has may be a password in the wrong place.
        const std::string& known = login.visitor.name;
        call.api.note(call.request, known.empty() ? "?" : known, "", response.status);
    }
    return response;
}

Response getSession(const Call& call)
{
    return jsonResponse(sessionJson(call.visitor));
}

Response closeSession(const Call& call)
{
    if (call.api.sessions() != nullptr && !call.visitor.token.empty())
    {
        call.api.sessions()->close(call.visitor.token);
        call.api.note(call.request, call.visitor.name, "", 200);
    }
    Response response = jsonResponse(sessionJson({}));
    response.headers.emplace_back("Set-Cookie", cookie(call.request, "", std::chrono::seconds(0)));
    return response;
}

}  // namespace web
