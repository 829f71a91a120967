#include "app/web/Guard.h"

#include <gtest/gtest.h>

namespace web {
namespace {

const std::vector<std::string> kNone;
const std::vector<std::string> kAllowed = {"http://dev.example:5173"};

Request fromPort(const std::string& method, std::map<std::string, std::string> headers)
{
    Request request;
    request.method = method;
    request.headers = std::move(headers);
    request.peer = {false, "127.0.0.1"};
    request.port = 8080;
    return request;
}

int statusOf(const Request& request, const std::vector<std::string>& allowed = kNone)
{
    const std::optional<Response> refusal = refuse(request, allowed);
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
    const Request request = fromPort("PUT", {{"host", "localhost:8080"}, {"origin", kAllowed.front()}});
    EXPECT_EQ(statusOf(request, kAllowed), 0);
    const std::vector<std::pair<std::string, std::string>> headers = {
        {"Vary", "Origin"},
        {"Access-Control-Allow-Origin", "http://dev.example:5173"},
        {"Access-Control-Expose-Headers", "ETag, Location"}};
    EXPECT_EQ(sharingHeaders(request, kAllowed), headers);
}

TEST(Guard, NobodyElseMayReadTheAnswer)
{
    const std::vector<std::pair<std::string, std::string>> headers = {{"Vary", "Origin"}};
    EXPECT_EQ(sharingHeaders(fromPort("GET", {{"origin", "http://evil.example"}}), kAllowed), headers);
    EXPECT_EQ(sharingHeaders(fromPort("GET", {}), kAllowed), headers);
}

TEST(Guard, APreflightIsToldMethodsAndHeaders)
{
    const auto headers = sharingHeaders(fromPort("OPTIONS", {{"origin", kAllowed.front()}}), kAllowed);
    ASSERT_EQ(headers.size(), 6u);
    EXPECT_EQ(headers[3].second, "GET, HEAD, PUT, PATCH, POST, OPTIONS");
    EXPECT_EQ(headers[4].second, "Content-Type, If-Match, Last-Event-ID");
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
