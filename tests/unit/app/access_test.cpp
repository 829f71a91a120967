#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/app/ApiFixture.h"
#include "tests/unit/app/web/UsersOnDisk.h"

namespace web {
namespace {

using app::Json;
using web_tests::headerOf;
using web_tests::Headers;
using web_tests::someHash;

constexpr char kAudit[] = "/tmp/audit.log";

// What the users of a camera may do, and what is noted of it: by a port, without a server between.
class AccessTest : public web_tests::ApiFixture
{
protected:
    void SetUp() override
    {
        ApiFixture::SetUp();
        web_tests::writeUsers(web_tests::threeUsers(someHash()));
        sessions_.emplace(std::make_unique<Users>(UsersFile::at(web_tests::kUsersPath), [](const std::string&) {}),
                          Sessions::Means{[](const std::string& hash, const std::string& password) {
                                              return hash == someHash() && password == "password";
                                          },
                                          [this] { return now_; }});
        std::filesystem::remove(kAudit);
        audit_.emplace(kAudit, [](const std::string& text) { ADD_FAILURE() << text; });
        api_ = std::make_unique<Api>(c(), Api::Settings{{false, true, {}}, &*sessions_, &*audit_});
    }

    Response ask(const std::string& method, const std::string& target, const std::string& body = "",
                 const Headers& headers = {})
    {
        Request request = web_tests::request(method, target, body, headers);
        request.headers.emplace("host", "camera.example:8443");
        request.peer.address = "192.0.2.1";
        request.port = 8443;
        return api_->answer(request);
    }

    Response logIn(const std::string& name, const std::string& password = "password")
    {
        return ask("POST", "/api/session", Json{{"name", name}, {"password", password}}.dump());
    }

    Headers bearer(const std::string& name)
    {
        const Json body = Json::parse(logIn(name).body);
        return {{"authorization", "Bearer " + body["token"].get<std::string>()}};
    }

    static std::vector<Json> notes()
    {
        std::ifstream file(kAudit);
        std::vector<Json> notes;
        for (std::string line; std::getline(file, line);)
        {
            notes.push_back(Json::parse(line));
        }
        return notes;
    }

    // With something in each place.
    static std::string pathOf(const Route& route)
    {
        std::string path = route.path;
        for (const auto& [place, text] :
             {std::pair("{key}", "brightness"), std::pair("{scheme}", "0"), std::pair("{step}", "focus-near"),
              std::pair("{language}", "0"), std::pair("{trial}", "1")})
        {
            const std::size_t found = path.find(place);
            if (found != std::string::npos)
            {
                path.replace(found, std::string(place).size(), text);
            }
        }
        EXPECT_EQ(path.find('{'), std::string::npos) << path;
        return path;
    }

    Sessions::Time now_{std::chrono::hours(1000)};
    std::optional<Sessions> sessions_;
    std::optional<AuditLog> audit_;
};

// Of a body that is no JSON only those hear who may use the route.
TEST_F(AccessTest, EveryRouteLetsInItsRoleAndThoseAboveAndNobodyElse)
{
    const std::map<Role, Headers> visitors = {{Role::none, {}},
                                              {Role::viewer, bearer("vera")},
                                              {Role::operator_, bearer("otto")},
                                              {Role::administrator, bearer("anna")}};
    for (const Route& route : routes())
    {
        for (const auto& [role, headers] : visitors)
        {
            if (role >= roleOf(route) && (route.lane == Handler::Lane::change || std::string(route.method) != "GET") &&
                route.body == nullptr)
            {
                continue;  // it would do it: another test's
            }
            const int status = ask(route.method, pathOf(route), "no JSON", headers).status;
            const std::string what = std::string(route.method) + " " + route.path + " by " + roleName(role);
            if (role >= roleOf(route))
            {
                EXPECT_TRUE(status == 200 || status == 400 || status == 404 || status == 503) << what << ": " << status;
            }
            else
            {
                EXPECT_EQ(status, role == Role::none ? 401 : 403) << what;
            }
        }
    }
}

TEST_F(AccessTest, WhoeverChangesIsAnOperatorAtLeast)
{
    std::string administrators;
    for (const Route& route : routes())
    {
        const bool reads = std::string(route.method) == "GET";
        const bool isSession = std::string(route.path) == "/api/session";
        EXPECT_TRUE(reads || isSession || roleOf(route) >= Role::operator_) << route.method << " " << route.path;
        EXPECT_TRUE(!reads || roleOf(route) >= Role::viewer) << route.path;
        if (roleOf(route) == Role::administrator)
        {
            administrators += std::string(route.method) + " " + route.path + "\n";
        }
    }
    EXPECT_EQ(administrators, "POST /api/reset\nPOST /api/import\nPUT /api/world\nPUT /api/diagnostics\n");
}

TEST_F(AccessTest, AViewerReadsAnOperatorChangesAnAdministratorResets)
{
    const auto vera = bearer("vera");
    const auto otto = bearer("otto");
    const auto anna = bearer("anna");
    EXPECT_EQ(ask("GET", "/api/status", "", vera).status, 200);
    EXPECT_EQ(ask("POST", "/api/save", "", vera).status, 403);
    EXPECT_EQ(ask("PATCH", "/api/parameters", R"({"brightness":61})", otto).status, 200);
    EXPECT_EQ(ask("POST", "/api/reset", "", otto).status, 403);
    EXPECT_EQ(ask("POST", "/api/reset", "", anna).status, 200);
}

TEST_F(AccessTest, ALoginGivesATokenAndACookieThatNoPageCanRead)
{
    const Response response = logIn("otto");
    EXPECT_EQ(response.status, 200);
    const Json body = Json::parse(response.body);
    EXPECT_EQ(body["name"], "otto");
    EXPECT_EQ(body["role"], "operator");
    const std::string token = body["token"];
    EXPECT_EQ(headerOf(response, "Set-Cookie"),
              "__Host-sensorcam-8443=" + token + "; Path=/; HttpOnly; Secure; SameSite=Strict; Max-Age=43200");
    EXPECT_EQ(headerOf(response, "Strict-Transport-Security"), "max-age=31536000");
    const Response who = ask("GET", "/api/session", "", {{"cookie", "__Host-sensorcam-8443=" + token}});
    EXPECT_EQ(who.body, "{\"name\":\"otto\",\"role\":\"operator\"}\n");
}

TEST_F(AccessTest, WithoutASessionEvenReadingIsRefusedAndTheAnswerSaysHowToGetOne)
{
    const Response response = ask("GET", "/api/status");
    EXPECT_EQ(response.status, 401);
    EXPECT_EQ(headerOf(response, "WWW-Authenticate"), "Bearer realm=\"sensorcam\"");
    EXPECT_EQ(Json::parse(response.body)["detail"], "log in first: POST /api/session with name and password");
    EXPECT_EQ(ask("GET", "/api/session").status, 401);
    EXPECT_EQ(ask("GET", "/api/events").status, 401);
    EXPECT_EQ(ask("OPTIONS", "/api/status").status, 204);
}

TEST_F(AccessTest, AWrongPasswordAndAnUnknownNameHaveTheSameAnswer)
{
    const Response wrong = logIn("anna", "wrong");
    const Response unknown = logIn("nobody");
    EXPECT_EQ(wrong.status, 401);
    EXPECT_EQ(wrong.body, unknown.body);
    EXPECT_EQ(headerOf(wrong, "Set-Cookie"), "");
}

TEST_F(AccessTest, TooManyFailuresSayWhenToComeAgain)
{
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(logIn("anna", "wrong").status, 401);
    }
    const Response limited = logIn("anna");
    EXPECT_EQ(limited.status, 429);
    EXPECT_EQ(headerOf(limited, "Retry-After"), "30");
    now_ += std::chrono::seconds(30);
    EXPECT_EQ(logIn("anna").status, 200);
}

TEST_F(AccessTest, ALoginNeedsANameAndAPassword)
{
    for (const char* body : {"{}", R"({"name":"anna"})", R"({"name":1,"password":"password"})", "[]", ""})
    {
        EXPECT_EQ(ask("POST", "/api/session", body).status, 400) << body;
    }
}

TEST_F(AccessTest, LoggingOutEndsTheSessionAndTakesTheCookieAway)
{
    const auto anna = bearer("anna");
    const Response response = ask("DELETE", "/api/session", "", anna);
    EXPECT_EQ(response.body, "{\"role\":\"none\"}\n");
    EXPECT_EQ(headerOf(response, "Set-Cookie"),
              "__Host-sensorcam-8443=; Path=/; HttpOnly; Secure; SameSite=Strict; Max-Age=0");
    EXPECT_EQ(ask("GET", "/api/status", "", anna).status, 401);
}

TEST_F(AccessTest, ACookieWithoutAnOriginReadsAndChangesNothing)
{
    const std::string token = Json::parse(logIn("otto").body)["token"];
    const std::string cookie = "__Host-sensorcam-8443=" + token;
    const char* const body = R"({"brightness":61})";
    EXPECT_EQ(ask("GET", "/api/status", "", {{"cookie", cookie}}).status, 200);
    EXPECT_EQ(ask("PATCH", "/api/parameters", body, {{"cookie", cookie}}).status, 403);
    EXPECT_EQ(ask("PATCH", "/api/parameters", body, {{"cookie", cookie}, {"origin", "https://evil.example"}}).status,
              403);
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 50);
    EXPECT_EQ(
        ask("PATCH", "/api/parameters", body, {{"cookie", cookie}, {"origin", "https://camera.example:8443"}}).status,
        200);
}

TEST_F(AccessTest, AStreamEndsWithItsSession)
{
    const auto vera = bearer("vera");
    const Response response = ask("GET", "/api/events", "", vera);
    ASSERT_NE(response.source, nullptr);
    EXPECT_TRUE(response.source->next());
    ask("DELETE", "/api/session", "", vera);
    EXPECT_FALSE(response.source->next());
}

TEST_F(AccessTest, EventsNameTheUser)
{
    const auto otto = bearer("otto");
    const Response events = ask("GET", "/api/events", "", otto);
    ask("PATCH", "/api/parameters", R"({"brightness":61})", otto);
    std::string heard;
    for (std::optional<std::string> piece = events.source->next(); piece && !piece->empty();
         piece = events.source->next())
    {
        heard += *piece;
    }
    EXPECT_NE(heard.find("\"otto\""), std::string::npos) << heard;
}

TEST_F(AccessTest, EveryChangeIsNotedAndNoPasswordIs)
{
    const auto otto = bearer("otto");
    logIn("anna", "wrong-password");
    logIn("a-password", "anna");
    logIn("A password?", "anna");
    ask("PATCH", "/api/parameters", R"({"brightness":61})", otto);
    ask("POST", "/api/reset", "", otto);
    ask("GET", "/api/status", "", otto);
    ask("POST", "/api/save");
    ask("DELETE", "/api/session", "", otto);
    const std::vector<Json> found = notes();
    const std::vector<std::string> wanted = {
        R"(["otto","192.0.2.1","POST /api/session",200])",     R"(["anna","192.0.2.1","POST /api/session",401])",
        R"(["?","192.0.2.1","POST /api/session",401])",        R"(["?","192.0.2.1","POST /api/session",401])",
        R"(["otto","192.0.2.1","PATCH /api/parameters",200])", R"(["otto","192.0.2.1","POST /api/reset",403])",
        R"(["otto","192.0.2.1","DELETE /api/session",200])"};
    ASSERT_EQ(found.size(), wanted.size());  // a name that no user has may be a password in the wrong place
    for (std::size_t i = 0; i < wanted.size(); ++i)
    {
        EXPECT_EQ(Json::array({found[i]["who"], found[i]["from"], found[i]["what"], found[i]["status"]}).dump(),
                  wanted[i]);
        EXPECT_EQ(found[i].dump().find("password"), std::string::npos);
    }
    EXPECT_EQ(found[4]["body"], R"({"brightness":61})");
}

TEST_F(AccessTest, WithoutASessionABodyIsNoLongerThanALoginNeeds)
{
    Request request;
    request.peer.address = "192.0.2.1";
    EXPECT_EQ(api_->mostBody(request), 4096u);
    request.headers = bearer("vera");
    EXPECT_GT(api_->mostBody(request), std::size_t(1) << 20);
    request.headers["authorization"] += "x";
    EXPECT_EQ(api_->mostBody(request), 4096u);
    request.peer = {true, ""};
    EXPECT_GT(api_->mostBody(request), std::size_t(1) << 20);
}

TEST_F(AccessTest, WhoMayOnlyReadCannotPushChangesOutOfTheAuditLog)
{
    const auto otto = bearer("otto");
    const auto vera = bearer("vera");
    const std::uintmax_t before = std::filesystem::file_size(kAudit);
    ask("PATCH", "/api/parameters", R"({"brightness":61})", otto);
    for (int i = 0; i < 900; ++i)
    {
        ask("POST", "/api/save", std::string(2000, '\x01'), vera);
    }
    EXPECT_LT(std::filesystem::file_size(kAudit), before + 10'000);
    const std::vector<Json> found = notes();
    ASSERT_GE(found.size(), 4u);
    EXPECT_EQ(found[2]["what"], "PATCH /api/parameters");
    EXPECT_EQ(found[3].dump().substr(found[3].dump().find("\"who\"")),
              R"("who":"vera","from":"192.0.2.1","what":"POST /api/save","status":403,"refused":0})");
}

TEST_F(AccessTest, WhatChangesNothingIsNotNoted)
{
    const auto anna = bearer("anna");
    ask("PATCH", "/api/parameters?dry-run=true", R"({"brightness":61})", anna);
    ask("GET", "/api/parameters", "", anna);
    ask("HEAD", "/api/parameters", "", anna);
    EXPECT_EQ(notes().size(), 1u);
}

TEST_F(AccessTest, WhereThereAreNoUsersNobodyLogsIn)
{
    Api open(c(), Api::Settings());
    Request request = web_tests::request("POST", "/api/session", R"({"name":"anna","password":"password"})");
    request.peer.local = true;
    EXPECT_EQ(open.answer(request).status, 409);
    request.method = "GET";
    EXPECT_EQ(open.answer(request).body, "{\"role\":\"administrator\"}\n");
}

}  // namespace
}  // namespace web
