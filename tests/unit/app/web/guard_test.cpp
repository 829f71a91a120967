#include "app/web/Guard.h"

#include <gtest/gtest.h>

namespace web {
namespace {

const Door kLoopback;
const Door kAllowed = {true, false, {"http://dev.example:5173"}};
const Door kBeyond = {false, true, {}};

Request fromPort(const std::string& method, std::map<std::string, std::string> headers)
{
    Request request;
    request.method = method;
    request.headers = std::move(headers);
    request.peer = {false, "127.0.0.1"};
    request.port = 8080;
    return request;
}

int statusOf(const Request& request, const Door& door = kLoopback)
{
    const std::optional<Response> refusal = refuse(request, door);
    return refusal ? refusal->status : 0;
}

TEST(Guard, TheUnixSocketIsGuardedByItsModeAlone)
{
    Request request = fromPort("PUT", {{"host", "anything"}, {"origin", "http://evil.example"}});
    request.peer = {true, ""};
    EXPECT_EQ(statusOf(request), 0);
}

TEST(Guard, ThisMachinesNamesWithThePortAreTheHost)
{
    for (const char* host : {"localhost:8080", "127.0.0.1:8080", "[::1]:8080", "LocalHost:8080"})
    {
        EXPECT_EQ(statusOf(fromPort("GET", {{"host", host}})), 0) << host;
    }
}

TEST(Guard, TheAddressThatThePortIsBoundToIsTheHostToo)
{
    const Door door = {true, false, {}, "127.0.0.2"};
    EXPECT_EQ(statusOf(fromPort("GET", {{"host", "127.0.0.2:8080"}}), door), 0);
    EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "127.0.0.2:8080"}, {"origin", "http://127.0.0.2:8080"}}), door), 0);
    EXPECT_EQ(statusOf(fromPort("GET", {{"host", "127.0.0.3:8080"}}), door), 421);
}

TEST(Guard, AnOriginIsSchemeHostAndPort)
{
    for (const char* origin :
         {"http://dev.example:5173", "https://dev.example", "http://[::1]:5173", "http://127.0.0.1:1"})
    {
        EXPECT_EQ(originOf(origin), origin);
    }
    EXPECT_EQ(originOf("HTTP://AZ.Example:5173"), "http://az.example:5173");
    for (const char* text : {"", "null", "*", "dev.example", "http://", "http://dev.example/", "http://dev.example:",
                             "http://dev.example:x", "http://dev.example:123456", "http://:80", "http://a b",
                             "ftp://dev.example", "http://[::1", "http://[::1]x:1", "http://[]:1", "http://u@h"})
    {
        EXPECT_FALSE(originOf(text)) << text;
    }
}

TEST(Guard, AnotherNameForThisAddressIsNoHost)
{
    for (const char* host : {"evil.example:8080", "localhost", "localhost:80", "localhost:8080.evil.example",
                             "localhost.evil.example:8080", "127.0.0.1:80801", ""})
    {
        EXPECT_EQ(statusOf(fromPort("GET", {{"host", host}})), 421) << host;
    }
}

TEST(Guard, OnPortEightyTheHostNeedsNoPort)
{
    Request request = fromPort("GET", {{"host", "localhost"}});
    request.port = 80;
    EXPECT_EQ(statusOf(request), 0);
}

TEST(Guard, ProgramsWithoutAnOriginMayChange)
{
    EXPECT_EQ(statusOf(fromPort("PATCH", {{"host", "localhost:8080"}})), 0);
}

TEST(Guard, TheCamerasOwnPageMayChange)
{
    EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "localhost:8080"}, {"origin", "http://localhost:8080"}})), 0);
    EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "localhost:8080"}, {"sec-fetch-site", "same-origin"}})), 0);
    EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "localhost:8080"}, {"sec-fetch-site", "none"}})), 0);
}

TEST(Guard, APageElsewhereMayChangeNothing)
{
    for (const char* origin : {"http://evil.example", "null", "http://localhost:8081", "https://localhost:8080",
                               "http://localhost:8080.evil.example", "http://dev.example:5173"})
    {
        for (const char* method : {"PUT", "POST", "PATCH", "DELETE", "FOO"})
        {
            EXPECT_EQ(statusOf(fromPort(method, {{"host", "localhost:8080"}, {"origin", origin}})), 403)
                << method << " " << origin;
        }
        EXPECT_EQ(statusOf(fromPort("GET", {{"host", "localhost:8080"}, {"origin", origin}})), 0) << origin;
    }
    EXPECT_EQ(statusOf(fromPort("POST", {{"host", "localhost:8080"}, {"sec-fetch-site", "cross-site"}})), 403);
    EXPECT_EQ(statusOf(fromPort("POST", {{"host", "localhost:8080"}, {"sec-fetch-site", "same-site"}})), 403);
}

TEST(Guard, AnAllowedOriginMayChangeAndReadTheAnswer)
{
    const Request request = fromPort("PUT", {{"host", "localhost:8080"}, {"origin", kAllowed.origins.front()}});
    EXPECT_EQ(statusOf(request, kAllowed), 0);
    const std::vector<std::pair<std::string, std::string>> headers = {
        {"Vary", "Origin"},
        {"Access-Control-Allow-Origin", "http://dev.example:5173"},
        {"Access-Control-Expose-Headers", "ETag, Location, Retry-After"}};
    EXPECT_EQ(guardHeaders(request, kAllowed), headers);
}

TEST(Guard, NobodyElseMayReadTheAnswer)
{
    const std::vector<std::pair<std::string, std::string>> headers = {{"Vary", "Origin"}};
    EXPECT_EQ(guardHeaders(fromPort("GET", {{"origin", "http://evil.example"}}), kAllowed), headers);
    EXPECT_EQ(guardHeaders(fromPort("GET", {}), kAllowed), headers);
}

TEST(Guard, APreflightIsToldMethodsAndHeaders)
{
    const auto headers = guardHeaders(fromPort("OPTIONS", {{"origin", kAllowed.origins.front()}}), kAllowed);
    ASSERT_EQ(headers.size(), 6u);
    EXPECT_EQ(headers[3].second, "GET, HEAD, PUT, PATCH, POST, DELETE, OPTIONS");
    EXPECT_EQ(headers[4].second, "Authorization, Content-Type, If-Match, Last-Event-ID");
}

TEST(Guard, WithTlsTheCamerasOwnPageIsAnHttpsPage)
{
    const Door door = {true, true, {}};
    EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "localhost:8080"}, {"origin", "https://localhost:8080"}}), door), 0);
    EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "localhost:8080"}, {"origin", "http://localhost:8080"}}), door), 403);
}

TEST(Guard, BeyondLoopbackTheHostMayBeAnyAndThePageMustBeOfTheSameHost)
{
    EXPECT_EQ(statusOf(fromPort("GET", {{"host", "camera.example:8080"}}), kBeyond), 0);
    EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "camera.example:8080"}, {"origin", "https://Camera.example:8080"}}),
                       kBeyond),
              0);
    for (const char* origin : {"https://evil.example", "http://camera.example:8080", "https://camera.example", "null"})
    {
        EXPECT_EQ(statusOf(fromPort("PUT", {{"host", "camera.example:8080"}, {"origin", origin}}), kBeyond), 403)
            << origin;
    }
}

TEST(Guard, TlsIsHeldToByTheBrowserAfterwards)
{
    const std::vector<std::pair<std::string, std::string>> headers = {
        {"Vary", "Origin"}, {"Strict-Transport-Security", "max-age=31536000"}};
    EXPECT_EQ(guardHeaders(fromPort("GET", {}), kBeyond), headers);
    const Door loopback = {true, true, {}};
    EXPECT_EQ(guardHeaders(fromPort("GET", {}), loopback).size(), 1u);
    Request local = fromPort("GET", {});
    local.peer.local = true;
    EXPECT_EQ(guardHeaders(local, kBeyond).size(), 1u);
}

TEST(Guard, ARoleMayWhatThoseBeforeItMay)
{
    const Request request = fromPort("GET", {});
    constexpr Role kRoles[] = {Role::none, Role::viewer, Role::operator_, Role::administrator};
    for (const Role has : kRoles)
    {
        for (const Role needed : kRoles)
        {
            const std::optional<Response> refusal = refuse(request, Visitor{"anna", has}, needed);
            EXPECT_EQ(refusal ? refusal->status : 0, has >= needed       ? 0
                                                     : has == Role::none ? 401
                                                                         : 403)
                << roleName(has) << " " << roleName(needed);
        }
    }
}

TEST(Guard, ACookieWithoutAnOriginChangesNothing)
{
    const Visitor byCookie = {"anna", Role::operator_, "token", true};
    const Visitor byHeader = {"anna", Role::operator_, "token", false};
    const auto refused = [](const Request& request, const Visitor& visitor) {
        return refuse(request, visitor, Role::operator_).has_value();
    };
    EXPECT_TRUE(refused(fromPort("PUT", {}), byCookie));
    EXPECT_FALSE(refused(fromPort("PUT", {}), byHeader));
    EXPECT_FALSE(refused(fromPort("PUT", {{"origin", "https://camera.example:8080"}}), byCookie));
    EXPECT_FALSE(refused(fromPort("PUT", {{"sec-fetch-site", "same-origin"}}), byCookie));
    EXPECT_FALSE(refused(fromPort("GET", {}), byCookie));
}

TEST(Guard, WithoutUsersAndOnTheUnixSocketEverybodyIsAnAdministrator)
{
    EXPECT_EQ(visitorOf(fromPort("GET", {}), nullptr).role, Role::administrator);
}

TEST(Guard, LoopbackIsKnownByItsNumbers)
{
    EXPECT_TRUE(isLoopback("127.0.0.1"));
    EXPECT_TRUE(isLoopback("127.9.9.9"));
    EXPECT_TRUE(isLoopback("::1"));
    EXPECT_FALSE(isLoopback("0.0.0.0"));
    EXPECT_FALSE(isLoopback("::"));
    EXPECT_FALSE(isLoopback("192.168.1.2"));
}

}  // namespace
}  // namespace web
