#include "app/web/HttpServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <thread>

#include "tests/unit/app/web/Connection.h"

namespace web {
namespace {

using std::chrono::milliseconds;
using web_tests::Connection;

constexpr char kPath[] = "/tmp/server.sock";

// Text as it is pushed.
class PushedSource : public Source
{
public:
    std::optional<std::string> next() override
    {
        ++asked_;
        const std::lock_guard<std::mutex> lock(mutex_);
        if (pieces_.empty())
        {
            return ended_ ? std::nullopt : std::optional<std::string>("");
        }
        std::string piece = pieces_.front();
        pieces_.pop_front();
        return piece;
    }
    std::string heartbeat() const override { return "beat\n"; }

    void push(const std::string& piece)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            pieces_.push_back(piece);
        }
        wake();
    }
    void end()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ended_ = true;
        }
        wake();
    }

    std::atomic<int> asked_{0};

private:
    std::mutex mutex_;
    std::deque<std::string> pieces_;
    bool ended_ = false;
};

// More than any client takes.
class EndlessSource : public Source
{
public:
    std::optional<std::string> next() override { return std::string(64 << 10, 'e'); }
    std::string heartbeat() const override { return "beat\n"; }
};

// Tells what it was asked; /wait waits until it is let go, /stream gives out the test's own source, /large is more than
// the system keeps for a client that does not read.
class Echo : public Handler
{
public:
    Lane lane(const Request& request) override
    {
        ++looked_;
        if (request.path == "/aside")
        {
            return Lane::aside;
        }
        if (request.path == "/login" || request.query.count("login") != 0)
        {
            return Lane::login;
        }
        return request.method == "GET" || request.method == "HEAD" ? Lane::read : Lane::change;
    }

    std::size_t mostBody(const Request& request) override
    {
        return request.path == "/short" ? 4 : Handler::mostBody(request);
    }

    Response answer(const Request& request) override
    {
        ++calls_;
        if (request.path == "/wait")
        {
            std::unique_lock<std::mutex> lock(mutex_);
            ++inside_;
            changed_.notify_all();
            changed_.wait(lock, [this] { return letGo_; });
        }
        if (request.path == "/throw")
        {
            throw std::runtime_error("broken");
        }
        if (request.path == "/stream")
        {
            return {200, "text/plain", "", {}, source_};
        }
        if (request.path == "/endless")
        {
            return {200, "text/plain", "", {}, std::make_shared<EndlessSource>()};
        }
        if (request.path == "/large")
        {
            return {200, "text/plain", std::string(kLarge, 'l')};
        }
        if (request.path == "/nothing")
        {
            return {204, "", ""};
        }
        return {200, "text/plain",
                request.method + " " + request.path + " " + request.body +
                    (request.peer.local ? " local" : " from " + request.peer.address)};
    }

    void waitUntilInside(int count)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return inside_ >= count; });
    }
    void letGo()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        letGo_ = true;
        changed_.notify_all();
    }

    static constexpr std::size_t kLarge = 8 << 20;

    std::atomic<int> looked_{0};
    std::atomic<int> calls_{0};
    const std::shared_ptr<PushedSource> source_ = std::make_shared<PushedSource>();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int inside_ = 0;
    bool letGo_ = false;
};

class HttpServerTest : public testing::Test
{
protected:
    ~HttpServerTest() override { echo_.letGo(); }

    void start(const Limits& limits = {})
    {
        std::vector<ListenSocket> sockets;
        sockets.push_back(ListenSocket::onPort("127.0.0.1", 0));
        sockets.push_back(ListenSocket::atPath(kPath, 0600));
        port_ = sockets.front().port();
        server_ = std::make_unique<HttpServer>(std::move(sockets), echo_, limits);
    }

    // The whole answer to a request of its own; again as long as the server is full.
    std::string answerWhenThereIsRoom(const std::string& request) const
    {
        std::string answer;
        do
        {
            Connection client = connect();
            client.say(request);
            answer = client.until("\r\n\r\n");
        }
        while (statusOf(answer) != "HTTP/1.1 200 OK");
        return answer;
    }

    Connection connect() const { return Connection::toPort(port_); }

    static std::string get(const std::string& path) { return "GET " + path + " HTTP/1.1\r\nHost: camera\r\n\r\n"; }
    static std::string put(const std::string& path, const std::string& body)
    {
        return "PUT " + path + " HTTP/1.1\r\nHost: camera\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\n\r\n" + body;
    }
    static std::string bodyOf(const std::string& answer) { return answer.substr(answer.find("\r\n\r\n") + 4); }
    static std::string statusOf(const std::string& answer) { return answer.substr(0, answer.find("\r\n")); }

    Echo echo_;
    int port_ = 0;
    std::unique_ptr<HttpServer> server_;
};

TEST_F(HttpServerTest, AnswersOnThePortAndOnTheUnixSocket)
{
    start();
    Connection port = connect();
    port.say(get("/a"));
    EXPECT_EQ(bodyOf(port.answer()), "GET /a  from 127.0.0.1");
    Connection local = Connection::toPath(kPath);
    local.say(get("/b"));
    EXPECT_EQ(bodyOf(local.answer()), "GET /b  local");
}

TEST_F(HttpServerTest, ManyRequestsFollowOneAnotherOnAConnection)
{
    start();
    Connection client = connect();
    client.say(get("/1") + put("/2", "body") + get("/3"));
    EXPECT_EQ(bodyOf(client.answer()), "GET /1  from 127.0.0.1");
    EXPECT_EQ(bodyOf(client.answer()), "PUT /2 body from 127.0.0.1");
    EXPECT_EQ(bodyOf(client.answer()), "GET /3  from 127.0.0.1");
}

TEST_F(HttpServerTest, HeadIsAnsweredWithoutABody)
{
    start();
    Connection client = connect();
    client.say("HEAD /a HTTP/1.1\r\nHost: camera\r\nConnection: close\r\n\r\n");
    const std::string answer = client.untilClosed();
    EXPECT_EQ(statusOf(answer), "HTTP/1.1 200 OK");
    EXPECT_NE(answer.find("Content-Length: 23\r\n"), std::string::npos) << answer;
    EXPECT_EQ(bodyOf(answer), "");
}

TEST_F(HttpServerTest, AClientOnALongPathOfItsOwnIsServed)
{
    start();
    const std::string own = "/tmp/" + std::string(102, 'c');
    std::filesystem::remove(own);
    Connection client = Connection::toPath(kPath, own);
    client.say(get("/a"));
    EXPECT_EQ(bodyOf(client.answer()), "GET /a  local");
}

TEST_F(HttpServerTest, WhatAHandlerThrowsIsAnswered)
{
    start();
    Connection client = connect();
    client.say(get("/throw"));
    const std::string answer = client.answer();
    EXPECT_EQ(statusOf(answer), "HTTP/1.1 500 Internal Server Error");
    EXPECT_EQ(
        bodyOf(answer),
        R"({"code":"internal","detail":"broken","hint":"this is a mistake in the program: report it","status":500})");
}

std::set<std::string> threads()
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
    {
        names.insert(entry.path());
    }
    return names;
}

TEST_F(HttpServerTest, OnlyWhatAcceptsAndWhatWaitsHaveAThreadUntilARequestNeedsOne)
{
    std::thread([] {}).join();  // with the first one a sanitizer starts one of its own
    const std::set<std::string> before = threads();
    const auto own = [&before] {
        std::set<std::string> now = threads();
        for (const std::string& name : before)
        {
            now.erase(name);
        }
        return now.size();
    };
    start();
    EXPECT_EQ(own(), 2u);
    Connection client = connect();
    client.say(get("/nowhere%00"));
    client.untilClosed();
    EXPECT_EQ(own(), 2u);
    std::vector<Connection> waiting;
    for (int count = 1; count <= 4; ++count)
    {
        waiting.push_back(connect());
        waiting.back().say(get("/wait"));
        echo_.waitUntilInside(count);
        EXPECT_EQ(own(), 2u + static_cast<std::size_t>(count));
    }
    waiting.push_back(connect());
    waiting.back().say(get("/a"));
    while (echo_.looked_ < 5)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(own(), 6u);
    echo_.letGo();
    EXPECT_EQ(statusOf(waiting.back().answer()), "HTTP/1.1 200 OK");
}

TEST_F(HttpServerTest, AReaderIsAnsweredWhileAChangeWaits)
{
    start();
    Connection changer = connect();
    changer.say(put("/wait", ""));
    echo_.waitUntilInside(1);
    Connection reader = connect();
    reader.say(get("/a"));
    EXPECT_EQ(statusOf(reader.answer()), "HTTP/1.1 200 OK");
    echo_.letGo();
    EXPECT_EQ(statusOf(changer.answer()), "HTTP/1.1 200 OK");
}

TEST_F(HttpServerTest, WhatNeedsNoCameraIsAnsweredWhileAllReadersAndAChangeWait)
{
    start();
    std::vector<Connection> readers;
    for (int i = 0; i < 8; ++i)  // more than there are threads
    {
        readers.push_back(connect());
        readers.back().say(get("/wait"));
    }
    Connection changer = connect();
    changer.say(put("/wait", ""));
    Connection stream = connect();
    stream.say("GET /aside HTTP/1.1\r\nHost: camera\r\n\r\n");
    EXPECT_EQ(statusOf(stream.answer()), "HTTP/1.1 200 OK");
    echo_.letGo();
    for (Connection& reader : readers)
    {
        EXPECT_EQ(statusOf(reader.answer()), "HTTP/1.1 200 OK");
    }
    EXPECT_EQ(statusOf(changer.answer()), "HTTP/1.1 200 OK");
}

TEST_F(HttpServerTest, AnAnswerWithoutContentHasNoLengthAndTheNextOneFollows)
{
    start();
    Connection client = connect();
    client.say(get("/nothing") + get("/a"));
    const std::string answer = client.until("\r\n\r\n");
    EXPECT_EQ(statusOf(answer), "HTTP/1.1 204 No Content");
    EXPECT_EQ(answer.find("Content-Length"), std::string::npos) << answer;
    EXPECT_EQ(answer.find("Transfer-Encoding"), std::string::npos) << answer;
    EXPECT_EQ(bodyOf(client.answer()), "GET /a  from 127.0.0.1");
}

TEST_F(HttpServerTest, TheHeadOfAStreamHasNoBodyAndKeepsNoPlaceOfAStream)
{
    Limits limits;
    limits.streams = 1;
    start(limits);
    Connection client = connect();
    client.say("HEAD /stream HTTP/1.1\r\nHost: camera\r\n\r\n");
    const std::string answer = client.untilClosed();
    EXPECT_EQ(statusOf(answer), "HTTP/1.1 200 OK");
    EXPECT_EQ(bodyOf(answer), "");
    answerWhenThereIsRoom(get("/stream"));
}

TEST_F(HttpServerTest, AClientThatAsksWhetherToGoOnIsToldSo)
{
    Limits limits;
    limits.body = 10;
    start(limits);
    Connection client = connect();
    client.say("PUT /a HTTP/1.1\r\nHost: camera\r\nContent-Length: 4\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(statusOf(client.until("\r\n\r\n")), "HTTP/1.1 100 Continue");
    client.say("body");
    EXPECT_EQ(bodyOf(client.answer()), "PUT /a body from 127.0.0.1");
    Connection refused = connect();
    refused.say("PUT /a HTTP/1.1\r\nHost: camera\r\nContent-Length: 11\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(statusOf(refused.untilClosed()), "HTTP/1.1 413 Content Too Large");
}

TEST_F(HttpServerTest, MoreWaitingChangesThanAllowedAreToldToComeAgain)
{
    Limits limits;
    limits.waiting = 1;
    start(limits);
    Connection first = connect();
    first.say(put("/wait", ""));
    echo_.waitUntilInside(1);
    Connection second = connect();
    second.say(put("/2", ""));
    Connection third = connect();
    third.say(put("/3", ""));
    Connection fourth = connect();
    fourth.say(put("/4", ""));
    while (echo_.looked_ < 4)  // so two of these three have been taken in or refused
    {
        std::this_thread::yield();
    }
    echo_.letGo();
    const std::string answers = second.answer() + third.answer() + fourth.answer();
    EXPECT_NE(answers.find("HTTP/1.1 503"), std::string::npos) << answers;
    EXPECT_NE(answers.find("Retry-After: 1"), std::string::npos) << answers;
}

// ---- what is too much ------------------------------------------------------------------------------------------

TEST_F(HttpServerTest, ABodyThatIsTooLongByItsLengthIsNotRead)
{
    Limits limits;
    limits.body = 10;
    start(limits);
    Connection client = connect();
    client.say("PUT /a HTTP/1.1\r\nHost: camera\r\nContent-Length: 11\r\n\r\n");
    EXPECT_EQ(statusOf(client.untilClosed()), "HTTP/1.1 413 Content Too Large");
    EXPECT_EQ(echo_.calls_, 0);
    Connection longest = connect();
    longest.say(put("/a", "1234567890"));
    EXPECT_EQ(bodyOf(longest.answer()), "PUT /a 1234567890 from 127.0.0.1");
}

TEST_F(HttpServerTest, ABodyInChunksThatIsTooLongIsRefused)
{
    const std::string head = "PUT /a HTTP/1.1\r\nHost: camera\r\nTransfer-Encoding: chunked\r\n\r\n6\r\n123456\r\n";
    Limits limits;
    limits.body = 10;
    start(limits);
    Connection longest = connect();
    longest.say(head + "4\r\n7890\r\n0\r\n\r\n");
    EXPECT_EQ(bodyOf(longest.answer()), "PUT /a 1234567890 from 127.0.0.1");
    Connection client = connect();
    client.say(head + "5\r\n7890+\r\n0\r\n\r\n");
    EXPECT_EQ(statusOf(client.untilClosed()), "HTTP/1.1 413 Content Too Large");
    EXPECT_EQ(echo_.calls_, 1);
}

TEST_F(HttpServerTest, BodiesTogetherAreLimited)
{
    Limits limits;
    limits.bodies = 10;
    start(limits);
    Connection first = connect();
    first.say(put("/wait", "123456"));
    echo_.waitUntilInside(1);
    Connection tooMany = connect();
    tooMany.say(put("/a", "12345"));
    const std::string answer = tooMany.untilClosed();
    EXPECT_EQ(statusOf(answer), "HTTP/1.1 503 Service Unavailable");
    EXPECT_NE(answer.find("Retry-After: 1\r\n"), std::string::npos) << answer;
    EXPECT_NE(answer.find("Connection: close\r\n"), std::string::npos) << answer;
    Connection fits = connect();
    fits.say("GET /a HTTP/1.1\r\nHost: camera\r\nContent-Length: 4\r\n\r\n1234");
    EXPECT_EQ(bodyOf(fits.answer()), "GET /a 1234 from 127.0.0.1");
    echo_.letGo();
    first.answer();
    first.say(put("/a", "1234567890"));  // what has been answered is no longer held
    EXPECT_EQ(bodyOf(first.answer()), "PUT /a 1234567890 from 127.0.0.1");
}

TEST_F(HttpServerTest, BytesOfAHeadAreLimited)
{
    Limits limits;
    limits.head = 1000;
    start(limits);
    const std::size_t rest = limits.head - std::strlen("/a?Host"
                                                       "camera"
                                                       "X");
    for (const bool inTarget : {false, true})
    {
        for (const std::size_t more : {0, 1})
        {
            const std::string filling(rest + more, 'x');
            Connection client = connect();
            client.say("GET /a?" + (inTarget ? filling : "") +
                       " HTTP/1.1\r\nHost: camera\r\nX: " + (inTarget ? "" : filling) + "\r\n\r\n");
            EXPECT_EQ(statusOf(client.until("\r\n")),
                      more == 0 ? "HTTP/1.1 200 OK" : "HTTP/1.1 431 Request Header Fields Too Large");
        }
    }
    EXPECT_EQ(echo_.calls_, 2);
}

TEST_F(HttpServerTest, HeaderLinesAreLimited)
{
    Limits limits;
    limits.headers = 5;
    start(limits);
    for (const int lines : {5, 6})
    {
        std::string request = "GET /a HTTP/1.1\r\nHost: camera\r\n";
        for (int i = 1; i < lines; ++i)
        {
            request += "X: y\r\n";
        }
        Connection client = connect();
        client.say(request + "\r\n");
        EXPECT_EQ(statusOf(client.until("\r\n")),
                  lines == 5 ? "HTTP/1.1 200 OK" : "HTTP/1.1 431 Request Header Fields Too Large");
    }
    EXPECT_EQ(echo_.calls_, 1);
}

TEST_F(HttpServerTest, TheLongestHeadAndTheMostHeaderLinesAreRead)
{
    const Limits limits;
    start(limits);
    std::string request = "GET /a HTTP/1.1\r\nHost: camera\r\n";
    std::size_t left = limits.head - std::strlen("/aHostcamera");
    for (std::size_t i = 1; i < limits.headers; ++i)
    {
        const std::size_t size = i + 1 < limits.headers ? 100 : left;
        request += "X: " + std::string(size - 1, 'y') + "\r\n";
        left -= size;
    }
    Connection client = connect();
    client.say(request + "\r\n");
    EXPECT_EQ(statusOf(client.answer()), "HTTP/1.1 200 OK");
}

// The number of a server's own end of the client's connection: the one with the client's address at the other end.
int serversEnd(const Connection& client)
{
    sockaddr_in own = {};
    socklen_t length = sizeof own;
    getsockname(client.descriptor(), reinterpret_cast<sockaddr*>(&own), &length);
    for (int number = 3; number < 1000; ++number)
    {
        sockaddr_in peer = {};
        length = sizeof peer;
        if (getpeername(number, reinterpret_cast<sockaddr*>(&peer), &length) == 0 && peer.sin_family == AF_INET &&
            peer.sin_port == own.sin_port)
        {
            return number;
        }
    }
    return -1;
}

TEST_F(HttpServerTest, WhatTheSystemKeepsForAClientThatDoesNotReadIsLimited)
{
    const Limits limits;
    start(limits);
    Connection client = connect();
    client.say(get("/a"));
    client.answer();
    int kept = 0;
    socklen_t length = sizeof kept;
    ASSERT_EQ(getsockopt(serversEnd(client), SOL_SOCKET, SO_SNDBUF, &kept, &length), 0) << std::strerror(errno);
    EXPECT_EQ(static_cast<std::size_t>(kept), 2 * limits.unread);  // the system doubles it, for its own accounting
}

TEST_F(HttpServerTest, AnAnswerThatIsNotTakenInTimeIsCut)
{
    Limits limits;
    limits.connections = 1;
    limits.response = milliseconds(50);
    start(limits);
    Connection client = connect();
    client.say(get("/large"));
    client.until("\r\n\r\n");
    answerWhenThereIsRoom(get("/a"));
    EXPECT_LT(client.untilClosed().size(), Echo::kLarge);
}

TEST_F(HttpServerTest, AStreamThatItsClientDoesNotTakeIsCut)
{
    Limits limits;
    limits.streams = 1;
    limits.stalled = std::chrono::seconds(1);
    start(limits);
    Connection client = connect();
    client.say(get("/endless"));
    client.until("\r\n\r\n");
    answerWhenThereIsRoom(get("/stream"));
    client.untilClosed();
}

TEST_F(HttpServerTest, AClientWaitsForADescriptorAndTheOthersAreServed)
{
    start();
    Connection served = connect();
    served.say(get("/1"));
    served.answer();
    Connection waiting = Connection::unconnected();  // the test itself needs no descriptor below
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const int lowest = dup(0);  // that is free
    close(lowest);
    const rlimit none = {static_cast<rlim_t>(lowest), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    waiting.connectTo(port_);
    waiting.say(get("/2"));
    served.say(get("/3"));
    EXPECT_EQ(bodyOf(served.answer()), "GET /3  from 127.0.0.1");
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(bodyOf(waiting.answer()), "GET /2  from 127.0.0.1");
}

TEST_F(HttpServerTest, ABodyInChunksIsPutTogether)
{
    start();
    Connection client = connect();
    client.say("PUT /a HTTP/1.1\r\nHost: camera\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");
    EXPECT_EQ(bodyOf(client.answer()), "PUT /a abcde from 127.0.0.1");
}

TEST_F(HttpServerTest, TheBodiesOfOneAddressAndOfAllPortsLeaveRoomForTheUnixSocket)
{
    for (const bool isAddress : {true, false})
    {
        Limits limits;
        limits.bodies = 20;
        (isAddress ? limits.bodiesPerAddress : limits.portBodies) = 10;
        start(limits);
        Connection slow = connect();
        slow.say("PUT /1 HTTP/1.1\r\nHost: camera\r\nContent-Length: 9\r\nExpect: 100-continue\r\n\r\n");
        slow.until("100 Continue\r\n\r\n");
        slow.say("12345678");
        std::string answer;
        do  // until the server has read what the first client said
        {
            Connection other = connect();
            other.say(put("/2", "12345678"));
            answer = other.answer();
        }
        while (statusOf(answer) == "HTTP/1.1 200 OK");
        EXPECT_EQ(statusOf(answer), "HTTP/1.1 503 Service Unavailable");
        Connection local = Connection::toPath(kPath);
        local.say(put("/3", "12345678"));
        EXPECT_EQ(bodyOf(local.answer()), "PUT /3 12345678 local");
        slow.say("9");
        EXPECT_EQ(bodyOf(slow.answer()), "PUT /1 123456789 from 127.0.0.1");
        server_.reset();
    }
}

TEST_F(HttpServerTest, TheBodyOfAClientThatLeftIsNotHeld)
{
    Limits limits;
    limits.bodies = 10;
    start(limits);
    const auto answerTo = [this](const std::string& body) {
        Connection client = connect();
        client.say(put("/a", body));
        return statusOf(client.answer());
    };
    {
        Connection leaving = connect();
        leaving.say("PUT /a HTTP/1.1\r\nHost: camera\r\nContent-Length: 9\r\n\r\n12345678");
        while (answerTo("123") == "HTTP/1.1 200 OK")  // not read yet
        {
        }
    }
    while (answerTo("1234567890") != "HTTP/1.1 200 OK")
    {
    }
}

TEST_F(HttpServerTest, TheHandlerSaysByTheHeadHowMuchBodyThereMayBe)
{
    start();
    Connection fits = connect();
    fits.say(put("/short", "1234"));
    EXPECT_EQ(bodyOf(fits.answer()), "PUT /short 1234 from 127.0.0.1");
    Connection announced = connect();
    announced.say("PUT /short HTTP/1.1\r\nHost: camera\r\nContent-Length: 5\r\n\r\n");
    std::string answer = announced.untilClosed();
    EXPECT_EQ(statusOf(answer), "HTTP/1.1 413 Content Too Large");
    EXPECT_NE(answer.find("a body may have 4 bytes"), std::string::npos) << answer;
    Connection chunked = connect();
    chunked.say("PUT /short HTTP/1.1\r\nHost: camera\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n12345\r\n0\r\n\r\n");
    EXPECT_EQ(statusOf(chunked.answer()), "HTTP/1.1 413 Content Too Large");
    EXPECT_EQ(echo_.calls_, 1);
}

TEST_F(HttpServerTest, BehindAHeadThatOthersReadOnTheConnectionEnds)
{
    start();
    const std::string smuggled = "POST /b HTTP/1.1\r\nHost: camera\r\n\r\n";
    const std::string zero(1, '\0');
    for (const std::string& head :
         {"GET /a HTTP/1.1\r\nHost: camera\r\n: x\r\n" + smuggled,
          "GET /a HTTP/1.1\r\nHost: camera\r\n:\r\n" + smuggled,
          "GET /a" + zero + "/b HTTP/1.1\r\nHost: camera\r\n\r\n" + smuggled,
          "GET /a HTTP/1.1\r\nHost: camera\r\nX: y\nZ: z\r\n\r\n" + smuggled,
          "GET /a HTTP/1.1\nHost: camera\n\n" + smuggled, "GET /a HTTP/1.1\r\nHost:camera\r\n\r\n" + smuggled})
    {
        Connection client = connect();
        client.say(head);
        const std::string answer = client.untilClosed();
        EXPECT_EQ(bodyOf(answer), "GET /a  from 127.0.0.1") << head;
        EXPECT_EQ(answer.find("HTTP/1.1", 1), std::string::npos) << answer;
    }
    EXPECT_EQ(echo_.calls_, 6);
    Connection usual = connect();  // the size is that of each request
    std::string lines = "X: \r\n";
    for (int i = 0; i < 90; ++i)
    {
        lines += "X-Line-" + std::to_string(i) + ": " + std::string(100, 'x') + "\r\n";
    }
    usual.say("GET /a?b=c HTTP/1.1\r\nHost: camera\r\n" + lines + "\r\n" + put("/d", "body") + get("/e"));
    EXPECT_EQ(bodyOf(usual.answer()), "GET /a  from 127.0.0.1");
    EXPECT_EQ(bodyOf(usual.answer()), "PUT /d body from 127.0.0.1");
    EXPECT_EQ(bodyOf(usual.answer()), "GET /e  from 127.0.0.1");
}

TEST_F(HttpServerTest, LoginsGoOnWhileAllReadersWaitAndOthersWhileAllLoginsDo)
{
    start();
    std::vector<Connection> waiting;
    for (int i = 0; i < 4; ++i)
    {
        waiting.push_back(connect());
        waiting.back().say(get("/wait"));
    }
    echo_.waitUntilInside(4);
    Connection login = connect();
    login.say(put("/login", ""));
    EXPECT_EQ(bodyOf(login.answer()), "PUT /login  from 127.0.0.1");
    for (int i = 0; i < 3; ++i)
    {
        waiting.push_back(connect());
        waiting.back().say(get("/wait?login"));
    }
    echo_.waitUntilInside(7);
    Connection aside = connect();
    aside.say(get("/aside"));
    EXPECT_EQ(bodyOf(aside.answer()), "GET /aside  from 127.0.0.1");
}

TEST_F(HttpServerTest, WhatIsNotWellFormedIsRefusedAndTheConnectionEnds)
{
    const std::string smuggled = get("/smuggled");
    const std::string body = " HTTP/1.1\r\nHost: camera\r\nContent-Length";
    start();
    for (const auto& [request, status] :
         {std::pair("GET /a HTTP/1.1\r\nHost: camera\r\nX: " + std::string(40'000, 'x') + "\r\n\r\n",
                    "431 Request Header Fields Too Large"),
          std::pair("PUT /a" + body + ": 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + smuggled,
                    "400 Bad Request"),
          std::pair("PUT /a" + body + " : " + std::to_string(smuggled.size()) + "\r\n\r\n" + smuggled,
                    "400 Bad Request"),
          std::pair(get("/a%00b"), "400 Bad Request")})
    {
        Connection client = connect();
        client.say(request);
        const std::string answer = client.untilClosed();
        EXPECT_EQ(statusOf(answer), std::string("HTTP/1.1 ") + status) << request;
        EXPECT_EQ(answer.find("smuggled"), std::string::npos) << answer;
    }
    EXPECT_EQ(echo_.calls_, 0);
}

TEST_F(HttpServerTest, ConnectionsBeyondALimitAreToldToComeAgain)
{
    for (const auto limit : {&Limits::connections, &Limits::portConnections, &Limits::perAddress})
    {
        Limits limits;
        limits.*limit = 2;
        start(limits);
        Connection first = connect();
        first.say(get("/1"));
        EXPECT_EQ(statusOf(first.answer()), "HTTP/1.1 200 OK");
        Connection second = connect();
        second.say(get("/2"));
        EXPECT_EQ(statusOf(second.answer()), "HTTP/1.1 200 OK");
        const std::string answer = connect().untilClosed();
        EXPECT_EQ(statusOf(answer), "HTTP/1.1 503 Service Unavailable");
        EXPECT_NE(answer.find("Retry-After: 1\r\n"), std::string::npos) << answer;
        first.say(get("/3"));
        EXPECT_EQ(statusOf(first.answer()), "HTTP/1.1 200 OK");
        if (limit != &Limits::connections)
        {
            Connection local = Connection::toPath(kPath);
            local.say(get("/4"));
            EXPECT_EQ(statusOf(local.answer()), "HTTP/1.1 200 OK");
        }
        server_.reset();
    }
}

TEST_F(HttpServerTest, ARequestThatDoesNotEndInTimeIsCutHoweverManyBytesCome)
{
    Limits limits;
    limits.request = milliseconds(50);
    start(limits);
    Connection begun = connect();
    begun.say("GET /a HTTP/1.1\r\nHo");
    EXPECT_TRUE(begun.isClosed());
    Connection silent = connect();
    EXPECT_TRUE(silent.isClosed());
    Connection body = connect();
    body.say("PUT /a HTTP/1.1\r\nHost: camera\r\nContent-Length: 5\r\n\r\nab");
    EXPECT_TRUE(body.isClosed());
    EXPECT_EQ(echo_.calls_, 0);
}

TEST_F(HttpServerTest, ARequestThatWaitsForTheCameraIsNotCut)
{
    Limits limits;
    limits.request = milliseconds(500);
    start(limits);
    Connection client = connect();
    client.say(put("/wait", ""));
    echo_.waitUntilInside(1);
    Connection silent = connect();
    EXPECT_TRUE(silent.isClosed());  // it came later, and its time is over
    echo_.letGo();
    EXPECT_EQ(statusOf(client.answer()), "HTTP/1.1 200 OK");
}

TEST_F(HttpServerTest, AClientThatLeavesInTheMiddleOfARequestMakesRoom)
{
    Limits limits;
    limits.connections = 2;
    start(limits);
    for (int i = 0; i < 40; ++i)
    {
        connect().say("GET /half HTTP/1.1\r\nHo");
    }
    std::string answer;
    do
    {
        Connection client = connect();
        client.say(get("/whole"));
        answer = client.answer();
    }
    while (statusOf(answer) != "HTTP/1.1 200 OK");
    EXPECT_EQ(bodyOf(answer), "GET /whole  from 127.0.0.1");
}

// ---- streams ---------------------------------------------------------------------------------------------------

TEST_F(HttpServerTest, AStreamSendsWhatIsPushed)
{
    start();
    Connection client = connect();
    client.say(get("/stream"));
    EXPECT_EQ(statusOf(client.until("\r\n\r\n")), "HTTP/1.1 200 OK");
    echo_.source_->push("one\n");
    client.until("one\n");
    echo_.source_->push("two\n");
    client.until("two\n");
    echo_.source_->end();
    client.until("0\r\n\r\n");
}

TEST_F(HttpServerTest, APieceLargerThanABufferArrivesWhole)
{
    start();
    const std::string piece(1'000'000, 'p');
    Connection client = connect();
    client.say("GET /stream HTTP/1.0\r\nHost: camera\r\n\r\n");
    echo_.source_->push(piece);
    echo_.source_->end();
    EXPECT_EQ(bodyOf(client.untilClosed()), piece);
}

TEST_F(HttpServerTest, AStreamWithoutNewsSendsSignsOfLife)
{
    Limits limits;
    limits.heartbeat = milliseconds(1);
    start(limits);
    Connection client = connect();
    client.say(get("/stream"));
    client.until("beat\n");
    client.until("beat\n");
}

TEST_F(HttpServerTest, StreamsBeyondALimitAreToldToComeAgain)
{
    for (const auto limit : {&Limits::streams, &Limits::portStreams, &Limits::streamsPerAddress})
    {
        Limits limits;
        limits.*limit = 1;
        start(limits);
        Connection first = connect();
        first.say(get("/endless"));
        EXPECT_EQ(statusOf(first.until("\r\n\r\n")), "HTTP/1.1 200 OK");
        Connection second = connect();
        second.say(get("/endless"));
        const std::string answer = second.answer();
        EXPECT_EQ(statusOf(answer), "HTTP/1.1 503 Service Unavailable");
        EXPECT_NE(answer.find("Retry-After: 5\r\n"), std::string::npos) << answer;
        for (int i = 0; i < 2; ++i)
        {
            Connection local = Connection::toPath(kPath);
            local.say(get("/endless"));
            EXPECT_EQ(statusOf(local.until("\r\n\r\n")),
                      limit == &Limits::streams ? "HTTP/1.1 503 Service Unavailable" : "HTTP/1.1 200 OK");
        }
        server_.reset();
    }
}

TEST_F(HttpServerTest, AStreamWithoutNewsIsNotAskedAgainAndAgain)
{
    start();
    Connection stream = connect();
    stream.say(get("/stream"));
    stream.until("\r\n\r\n");
    Connection client = connect();
    for (int i = 0; i < 200; ++i)  // each is a turn of the thread that waits
    {
        client.say(get("/a"));
        client.answer();
    }
    EXPECT_LT(echo_.source_->asked_, 50);
}

TEST_F(HttpServerTest, AStreamGoesOnWhileAllHandlersWait)
{
    start();
    Connection stream = connect();
    stream.say(get("/stream"));
    stream.until("\r\n\r\n");
    std::vector<Connection> waiting;
    for (int i = 0; i < 8; ++i)
    {
        waiting.push_back(connect());
        waiting.back().say(i % 2 == 0 ? get("/wait") : put("/wait", ""));
    }
    echo_.waitUntilInside(5);  // all readers and the changer
    echo_.source_->push("one\n");
    stream.until("one\n");
    echo_.letGo();
    for (Connection& client : waiting)
    {
        EXPECT_EQ(statusOf(client.answer()), "HTTP/1.1 200 OK");
    }
}

TEST_F(HttpServerTest, AStreamThatItsClientLeftMakesRoom)
{
    Limits limits;
    limits.streams = 1;
    limits.heartbeat = milliseconds(1);
    start(limits);
    {
        Connection first = connect();
        first.say(get("/stream"));
        first.until("\r\n\r\n");
    }
    std::string status;
    do
    {
        Connection second = connect();
        second.say(get("/stream"));
        status = statusOf(second.until("\r\n\r\n"));
    }
    while (status != "HTTP/1.1 200 OK");
}

// ---- the end ---------------------------------------------------------------------------------------------------

TEST_F(HttpServerTest, TheEndEndsStreamsIdleClientsAndHalfRequests)
{
    start();
    Connection stream = connect();
    stream.say(get("/stream"));
    stream.until("\r\n\r\n");
    Connection idle = connect();
    Connection half = connect();
    half.say("PUT /a HTTP/1.1\r\nHost: camera\r\nContent-Length: 5\r\n\r\nab");
    Connection served = connect();
    served.say(get("/a"));
    served.answer();
    server_.reset();
    stream.untilClosed();
    EXPECT_TRUE(idle.isClosed());
    EXPECT_TRUE(half.isClosed());
    EXPECT_TRUE(served.isClosed());
}

int openDescriptors()
{
    int count = 0;
    for (int number = 0; number < 1000; ++number)
    {
        count += fcntl(number, F_GETFD) >= 0 ? 1 : 0;
    }
    return count;
}

TEST_F(HttpServerTest, TheEndLeavesNoDescriptorOpen)
{
    const int before = openDescriptors();
    Limits limits;
    limits.connections = 8;
    limits.streams = 1;
    start(limits);
    {
        std::vector<Connection> clients;
        for (const std::string& request :
             {get("/a"), get("/stream"), get("/endless"), get("/%00"), std::string("\xff\r\n\r\n"),
              std::string("GET /half"), put("/throw", "body"), get("/large"), get("/a")})
        {
            clients.push_back(connect());
            clients.back().say(request);
        }
        clients[1].until("\r\n\r\n");
        clients[2].until("\r\n\r\n");
    }
    Connection last = connect();
    server_.reset();
    last.untilClosed();
    EXPECT_EQ(openDescriptors(), before + 1);  // the last client's own
}

// With deadlines that no test outlasts: only the end itself can end these.
TEST_F(HttpServerTest, TheEndWaitsForNoClient)
{
    constexpr auto kNever = std::chrono::hours(24);
    Limits limits;
    limits.request = limits.response = limits.heartbeat = kNever;
    limits.stalled = kNever;
    start(limits);
    std::vector<Connection> clients;
    for (int i = 0; i < 4; ++i)
    {
        for (const std::string& request :
             {get("/endless"), get("/stream"), get("/large"), put("/a", "whole").substr(0, 54), std::string("GET /h")})
        {
            clients.push_back(i % 2 == 0 ? connect() : Connection::toPath(kPath));
            clients.back().say(request);
        }
        for (const std::size_t answered : {5, 4, 3})
        {
            clients[clients.size() - answered].until("\r\n\r\n");  // and reads no further
        }
    }
    server_.reset();
    for (Connection& client : clients)
    {
        client.untilClosed();
    }
}

TEST_F(HttpServerTest, TheEndDoesNotWaitForADescriptor)
{
    start();
    server_.reset();  // a sanitizer needs descriptors for the first thread of a kind that ends, and keeps what it saw
    start();
    Connection waiting = Connection::unconnected();  // the test itself needs no descriptor below
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const int lowest = dup(0);
    close(lowest);
    const rlimit none = {static_cast<rlim_t>(lowest), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    waiting.connectTo(port_);
    server_.reset();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(waiting.isClosed());
}

TEST_F(HttpServerTest, TheEndWaitsForAHandlerThatRuns)
{
    start();
    Connection client = connect();
    client.say(put("/wait", ""));
    echo_.waitUntilInside(1);
    std::thread ending([this] { server_.reset(); });
    client.untilClosed();  // told, or cut, before its handler has ended
    echo_.letGo();
    ending.join();
}

}  // namespace
}  // namespace web
