#include "app/web/RequestHead.h"

#include <gtest/gtest.h>

namespace web {
namespace {

constexpr std::size_t kMost = 100;

std::optional<Response> headOf(const std::vector<HeaderLine>& lines)
{
    Request request;
    return readHead(lines, kMost, request);
}

TEST(RequestTarget, PathAndQueryAreDecoded)
{
    Request request;
    ASSERT_TRUE(readTarget("/api/language/two%20words?keep=false&name=a+b%26c&empty", request));
    EXPECT_EQ(request.path, "/api/language/two words");
    const std::map<std::string, std::string> query = {{"keep", "false"}, {"name", "a b&c"}, {"empty", ""}};
    EXPECT_EQ(request.query, query);
}

TEST(RequestTarget, AnEmptyQueryIsNoneAndSoIsAnEmptyPair)
{
    Request request;
    ASSERT_TRUE(readTarget("/?", request));
    EXPECT_EQ(request.path, "/");
    EXPECT_TRUE(request.query.empty());
    ASSERT_TRUE(readTarget("/?&a=1&&b=2&", request));
    const std::map<std::string, std::string> query = {{"a", "1"}, {"b", "2"}};
    EXPECT_EQ(request.query, query);
}

TEST(RequestTarget, WhatIsNoPathIsRefused)
{
    for (const char* target : {"", "*", "api", "http://camera/api", "/a#b"})
    {
        Request request;
        EXPECT_FALSE(readTarget(target, request)) << target;
    }
}

TEST(RequestTarget, BadEscapesAreRefused)
{
    for (const char* target : {"/%", "/%4", "/%4g", "/a?b=%", "/a?%zz=1"})
    {
        Request request;
        EXPECT_FALSE(readTarget(target, request)) << target;
    }
}

TEST(RequestTarget, AnEscapedSlashDividesNoPath)
{
    Request request;
    EXPECT_FALSE(readTarget("/api/parameters/34%2Frestore", request));
    EXPECT_FALSE(readTarget("/api/parameters/34%2frestore", request));
    EXPECT_TRUE(readTarget("/api/trace?filter=%2F", request));
}

TEST(RequestTarget, ControlCharactersAreRefused)
{
    for (const char* target : {"/%00", "/save%0d%0aX: y", "/\x1b", "/a?b=%7f"})
    {
        Request request;
        EXPECT_FALSE(readTarget(target, request)) << target;
    }
}

TEST(RequestTarget, AQueryThatSaysSomethingTwiceIsRefused)
{
    Request request;
    EXPECT_FALSE(readTarget("/a?keep=true&keep=false", request));
}

TEST(RequestHead, NamesAreHeldInLowerCase)
{
    Request request;
    ASSERT_FALSE(readHead({{"HOST", "Camera:8080"}, {"If-Match", "\"7\""}}, kMost, request));
    EXPECT_EQ(request.header("host"), "Camera:8080");
    EXPECT_EQ(request.header("if-match"), "\"7\"");
    EXPECT_EQ(request.header("origin"), "");
}

TEST(RequestHead, OneHostIsNeeded)
{
    EXPECT_EQ(headOf({})->status, 400);
    EXPECT_EQ(headOf({{"Host", "a"}, {"host", "b"}})->status, 400);
    EXPECT_FALSE(headOf({{"Host", "a"}}));
}

TEST(RequestHead, ANameThatSomeServersReadAsAnotherIsRefused)
{
    for (const std::string name :
         {"", "Content-Length ", " Content-Length", "Content-Length\t", "X\x01", "X\xff", "X Y", "X@"})
    {
        EXPECT_EQ(headOf({{"Host", "a"}, {name, "3"}})->status, 400) << name;
    }
    EXPECT_FALSE(headOf({{"Host", "a"}, {"X-a_9!#$%&'*+-.^_`|~", "3"}}));
}

TEST(RequestHead, TwoLengthsAreRefusedAlsoWhenTheyAgree)
{
    EXPECT_EQ(headOf({{"Host", "a"}, {"Content-Length", "3"}, {"Content-Length", "5"}})->status, 400);
    EXPECT_EQ(headOf({{"Host", "a"}, {"Content-Length", "3"}, {"content-length", "3"}})->status, 400);
    EXPECT_EQ(headOf({{"Host", "a"}, {"Content-Length", "3, 3"}})->status, 400);
}

TEST(RequestHead, ALengthIsANumber)
{
    for (const char* length : {"", "-1", "+3", "3 ", "0x3", "99999999999999999999"})
    {
        EXPECT_EQ(headOf({{"Host", "a"}, {"Content-Length", length}})->status, 400) << length;
    }
}

TEST(RequestHead, ALengthBesideATransferEncodingIsRefused)
{
    EXPECT_EQ(headOf({{"Host", "a"}, {"Content-Length", "3"}, {"Transfer-Encoding", "chunked"}})->status, 400);
    EXPECT_EQ(headOf({{"Host", "a"}, {"Transfer-Encoding", "gzip, chunked"}})->status, 400);
    EXPECT_EQ(headOf({{"Host", "a"}, {"Transfer-Encoding", "chunked"}, {"Transfer-Encoding", "x"}})->status, 400);
    EXPECT_FALSE(headOf({{"Host", "a"}, {"Transfer-Encoding", "Chunked"}}));
}

TEST(RequestHead, ABodyBeyondTheLimitIsRefusedByItsLength)
{
    EXPECT_FALSE(headOf({{"Host", "a"}, {"Content-Length", "100"}}));
    const std::optional<Response> refusal = headOf({{"Host", "a"}, {"Content-Length", "101"}});
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->status, 413);
    EXPECT_EQ(refusal->type, "application/problem+json");
    EXPECT_EQ(
        refusal->body,
        R"({"code":"too-large","detail":"a body may have 100 bytes","hint":"send less in one request","status":413})");
}

}  // namespace
}  // namespace web
