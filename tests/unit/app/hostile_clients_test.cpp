#include <sys/socket.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <random>
#include <thread>

#include "tests/unit/app/ApiFixture.h"
#include "tests/unit/app/web/Connection.h"

namespace web {
namespace {

using app::Json;
using web_tests::Connection;

constexpr char kPath[] = "/tmp/camera.sock";

std::string bodyOf(const std::string& answer)
{
    return answer.substr(answer.find("\r\n\r\n") + 4);
}

int statusOf(const std::string& answer)
{
    return answer.rfind("HTTP/1.1 ", 0) == 0 ? std::atoi(answer.c_str() + std::strlen("HTTP/1.1 ")) : 0;
}

std::string headerOf(const std::string& answer, const std::string& name)
{
    const std::size_t found = answer.find("\r\n" + name + ": ");
    if (found == std::string::npos || found > answer.find("\r\n\r\n"))
    {
        return "";
    }
    const std::size_t begin = found + name.size() + 4;
    return answer.substr(begin, answer.find("\r\n", begin) - begin);
}

// A camera behind a real server, on a port and on a Unix socket.
class HostileClientsTest : public web_tests::ApiFixture
{
protected:
    void SetUp() override
    {
        ApiFixture::SetUp();
        serve();
    }
    void TearDown() override
    {
        server_.reset();
        ApiFixture::TearDown();
    }

    void serve()
    {
        std::vector<ListenSocket> sockets;
        sockets.push_back(ListenSocket::onPort("127.0.0.1", 0));  // another one each time: somebody may have the last
        sockets.push_back(ListenSocket::atPath(kPath, 0600));
        port_ = sockets.front().port();
        server_ = std::make_unique<HttpServer>(std::move(sockets), *api_);
    }

    Connection connect() const { return Connection::toPort(port_); }

    std::string host() const { return "Host: localhost:" + std::to_string(port_) + "\r\n"; }
    std::string get(const std::string& path, const std::string& headers = "") const
    {
        return "GET " + path + " HTTP/1.1\r\n" + host() + headers + "\r\n";
    }
    std::string withBody(const std::string& method, const std::string& path, const std::string& body,
                         const std::string& headers = "") const
    {
        return method + " " + path + " HTTP/1.1\r\n" + host() + "Content-Type: application/json\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    std::string patch(const std::string& body, const std::string& headers = "") const
    {
        return withBody("PATCH", "/api/parameters", body, headers);
    }

    std::string ask(const std::string& request) const
    {
        Connection client = connect();
        client.say(request);
        return client.answer();
    }

    // All that a client could have changed.
    std::string everything()
    {
        std::string all = ask(get("/api/parameters"));
        const std::string revision = headerOf(all, "ETag");
        all = bodyOf(all) + revision;
        for (int scheme = 0; scheme <= c().schemeCount(); ++scheme)
        {
            all += bodyOf(ask(get("/api/schemes/" + std::to_string(scheme))));
        }
        for (const char* path :
             {"/api/schemes", "/api/scheme", "/api/mode", "/api/lens", "/api/world", "/api/diagnostics"})
        {
            all += bodyOf(ask(get(path)));
        }
        for (const std::string& file : support::filesIn(support::kConfigFolder))
        {
            all += file + "\n" + support::readFile(support::kConfigFolder + ("/" + file));
        }
        return all;
    }

    int port_ = 0;
    std::unique_ptr<HttpServer> server_;
};

// ---- clients that take their time --------------------------------------------------------------------------------

TEST_F(HostileClientsTest, AnOrdinaryRequestIsAnsweredBesideSlowClientsAndStreams)
{
    constexpr std::size_t kStreams = 16;
    constexpr std::size_t kSlow = 200;
    std::vector<Connection> streams;
    for (std::size_t i = 0; i < kStreams; ++i)
    {
        streams.push_back(connect());
        streams.back().say(get("/api/events"));
        ASSERT_EQ(statusOf(streams.back().until("\r\n\r\n")), 200);
    }
    const std::string slowly = get("/api/scheme");
    std::vector<Connection> slow;
    for (std::size_t i = 0; i < kSlow; ++i)
    {
        slow.push_back(connect());
    }
    std::size_t said = 0;
    for (; said < 4; ++said)  // a byte of each, then an ordinary request
    {
        for (Connection& client : slow)
        {
            client.say(slowly.substr(said, 1));
        }
        ASSERT_EQ(statusOf(ask(get("/api/parameters/brightness"))), 200);
    }
    ASSERT_EQ(statusOf(ask(patch(R"({"brightness":61})"))), 200);
    for (Connection& stream : streams)
    {
        EXPECT_NE(stream.until("\n\n").find("event: values"), std::string::npos);
    }
    for (Connection& client : slow)
    {
        client.say(slowly.substr(said));
        ASSERT_EQ(statusOf(client.answer()), 200);  // it was there all the time
    }
}

// ---- a service that does not answer ------------------------------------------------------------------------------

// Holds up the first setting of a command until it is let go.
class HeldUp
{
public:
    explicit HeldUp(ia_cmd_e command)
    {
        support::failures().setBeforeCall([this, command](ia_cmd_e cmd, int opt, const void*) {
            if (cmd == command && opt == IA_CMD_OPT_SET)
            {
                std::unique_lock<std::mutex> lock(mutex_);
                inside_ = true;
                changed_.notify_all();
                changed_.wait(lock, [this] { return letGo_; });
            }
        });
    }
    ~HeldUp()
    {
        letGo();
        support::failures().setBeforeCall(nullptr);
    }

    void waitUntilInside()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return inside_; });
    }
    void letGo()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        letGo_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool inside_ = false;
    bool letGo_ = false;
};

TEST_F(HostileClientsTest, WhileTheServiceHoldsUpAChangeStreamsGoOnAndReadersOfTheServerAreAnswered)
{
    HeldUp service(IA_CMD_BRIGHTNESS);
    Connection changer = connect();
    changer.say(patch(R"({"brightness":61})"));
    service.waitUntilInside();
    std::vector<Connection> readers;  // of what only the camera can say: more than there are threads for them
    for (int i = 0; i < 8; ++i)
    {
        readers.push_back(connect());
        readers.back().say(get("/api/parameters/brightness"));
    }
    Connection stream = connect();
    stream.say(get("/api/events"));
    EXPECT_EQ(statusOf(stream.until("\r\n\r\n")), 200);
    for (const char* path : {"/api/languages", "/api/log", "/api/diagnostics", "/api/openapi.json"})
    {
        EXPECT_EQ(statusOf(ask(get(path))), 200) << path;
    }
    EXPECT_EQ(statusOf(ask(get("/api/nowhere"))), 404);
    service.letGo();
    EXPECT_EQ(statusOf(changer.answer()), 200);
    EXPECT_NE(stream.until("\n\n").find("event: values"), std::string::npos);
    for (Connection& reader : readers)
    {
        const std::string answer = reader.answer();
        EXPECT_EQ(statusOf(answer), 200);
        EXPECT_EQ(Json::parse(bodyOf(answer))["value"], 61);
    }
}

TEST_F(HostileClientsTest, TheEndEndsStreamsAndTellsTheClientsOfAServiceThatDoesNotAnswer)
{
    HeldUp service(IA_CMD_BRIGHTNESS);
    Connection changer = connect();
    changer.say(patch(R"({"brightness":61})"));
    service.waitUntilInside();
    Connection stream = connect();
    stream.say(get("/api/events"));
    stream.until("\r\n\r\n");
    std::thread ending([this] { server_.reset(); });
    stream.untilClosed();
    changer.untilClosed();
    service.letGo();
    ending.join();
}

// ---- several clients ---------------------------------------------------------------------------------------------

TEST_F(HostileClientsTest, OfTwoEditsOfTheSameStateOneIsMadeAndOneIsRefused)
{
    for (int round = 0; round < 20; ++round)
    {
        const std::string condition = "If-Match: " + headerOf(ask(get("/api/parameters")), "ETag") + "\r\n";
        Connection clients[] = {connect(), connect()};
        for (int i = 0; i < 2; ++i)
        {
            clients[i].say(patch("{\"brightness\":" + std::to_string(10 + 2 * round + i) + "}", condition));
        }
        const int first = statusOf(clients[0].answer());
        const int second = statusOf(clients[1].answer());
        EXPECT_EQ(first + second, 200 + 412);
        EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 10 + 2 * round + (first == 200 ? 0 : 1));
    }
}

TEST_F(HostileClientsTest, EventsOfAnotherServerForTheSameCameraGoOnWhereTheReaderStopped)
{
    Connection before = connect();
    before.say(get("/api/events"));
    before.until("\r\n\r\n");
    ask(patch(R"({"brightness":61})"));
    const std::string event = before.until("\n\n");
    const std::size_t begin = event.find("id: ") + 4;
    const std::string id = event.substr(begin, event.find('\n', begin) - begin);
    server_.reset();
    before.untilClosed();
    c().apply({{KEY_BRIGHTNESS, 62}});
    serve();
    Connection after = connect();
    after.say(get("/api/events", "Last-Event-ID: " + id + "\r\n"));
    after.until("\r\n\r\n");
    EXPECT_NE(after.until("\n\n").find("62"), std::string::npos);
}

TEST_F(HostileClientsTest, AReaderOfEventsFromBeforeARestartIsToldToReadTheStateAnew)
{
    Connection before = connect();
    before.say(get("/api/events"));
    before.until("\r\n\r\n");
    ask(patch(R"({"brightness":61})"));
    const std::string event = before.until("\n\n");
    const std::size_t begin = event.find("id: ") + 4;
    const std::string id = event.substr(begin, event.find('\n', begin) - begin);
    server_.reset();
    api_.reset();
    start();
    api_ = std::make_unique<Api>(c(), Api::Settings());
    serve();
    Connection after = connect();
    after.say(get("/api/events", "Last-Event-ID: " + id + "\r\n"));
    after.until("\r\n\r\n");
    EXPECT_NE(after.until("\n\n").find("event: state\n"), std::string::npos);
}

// ---- requests that nobody sends by accident ----------------------------------------------------------------------

struct HostileRequest
{
    std::string text;
    // Otherwise the server may wait for its rest, see no request in it, or close before it has read it all.
    bool isWhole;
};

// The same requests in every run.
class HostileRequests
{
public:
    explicit HostileRequests(std::string host) : host_(std::move(host)) {}

    HostileRequest next()
    {
        struct Kind
        {
            std::string (HostileRequests::*make)();
            bool isWhole;
        };
        constexpr Kind kKinds[] = {{&HostileRequests::garbage, false},      {&HostileRequests::badChunks, false},
                                   {&HostileRequests::damaged, false},      {&HostileRequests::badLength, true},
                                   {&HostileRequests::bothLengths, true},   {&HostileRequests::absolute, true},
                                   {&HostileRequests::badPath, true},       {&HostileRequests::deep, true},
                                   {&HostileRequests::wrongType, true},     {&HostileRequests::hugeNumber, true},
                                   {&HostileRequests::badText, true},       {&HostileRequests::foreignHost, true},
                                   {&HostileRequests::foreignOrigin, true}, {&HostileRequests::wrongMethod, true},
                                   {&HostileRequests::longLines, false},    {&HostileRequests::wrongQuery, true}};
        const Kind& kind = kKinds[below(std::size(kKinds))];
        return {(this->*kind.make)(), kind.isWhole};
    }

private:
    std::size_t below(std::size_t end) { return random_() % end; }

    template <std::size_t count>
    std::string oneOf(const char* const (&texts)[count])
    {
        return texts[below(count)];
    }

    std::string bytes(std::size_t most)
    {
        std::string text(1 + below(most), '\0');
        for (char& letter : text)
        {
            letter = static_cast<char>(below(256));
        }
        return text;
    }

    std::string changing()
    {
        return oneOf({"PATCH /api/parameters", "PUT /api/schemes/0", "PUT /api/scheme", "PUT /api/mode",
                      "PUT /api/lens", "PUT /api/world", "PUT /api/diagnostics", "PUT /api/schemes/0/window"});
    }

    std::string request(const std::string& line, const std::string& headers, const std::string& body = "") const
    {
        return line + " HTTP/1.1\r\n" + host_ + headers + "Content-Type: application/json\r\n\r\n" + body;
    }

    std::string json(const std::string& body)
    {
        return request(changing(), "Content-Length: " + std::to_string(body.size()) + "\r\n", body);
    }

    static constexpr char kEdit[] = R"({"brightness":77})";

    std::string garbage() { return bytes(200) + "\r\n\r\n"; }
    std::string badLength()
    {
        return request("PATCH /api/parameters",
                       "Content-Length: " +
                           oneOf({"-1", "+17", "0x11", "17,17", "17 17", "", "99999999999999999999", "17.0", "1e1",
                                  "18446744073709551615", "9223372036854775807", "1048577"}) +
                           "\r\n",
                       kEdit);
    }
    std::string bothLengths()
    {
        return request(
            "PATCH /api/parameters",
            oneOf({"Content-Length: 17\r\nTransfer-Encoding: chunked\r\n",
                   "Transfer-Encoding: chunked\r\nContent-Length: 17\r\n",
                   "Content-Length: 17\r\nContent-Length: 0\r\n", "Content-Length: 0\r\ncontent-length: 17\r\n",
                   "Transfer-Encoding: gzip\r\n", "Transfer-Encoding: identity\r\nContent-Length: 17\r\n",
                   "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n"}),
            "11\r\n" + std::string(kEdit) + "\r\n0\r\n\r\n" + request("PATCH /api/parameters", "", kEdit));
    }
    std::string badChunks()
    {
        return request("PATCH /api/parameters", "Transfer-Encoding: chunked\r\n",
                       oneOf({"zz\r\n", "-1\r\n", "ffffffffffffffffff\r\n", "11", "11\r\n", "\r\n", "11;\r\n"}) +
                           kEdit + "\r\n");
    }
    std::string absolute()
    {
        return request(oneOf({"GET", "POST", "PATCH", "CONNECT", "OPTIONS"}) + " " +
                           oneOf({"http://elsewhere/api/save", "http://localhost/api/parameters", "elsewhere:443", "*",
                                  "//elsewhere/api/save", "api/save", "/api/save#x", "ftp://x/"}),
                       "");
    }
    std::string badPath()
    {
        return request(oneOf({"GET", "POST", "DELETE"}) + " /api/" +
                           oneOf({"%00",
                                  "save%00",
                                  "..%2f..%2fetc/passwd",
                                  "../../etc/passwd",
                                  "%2e%2e/%2e%2e/etc",
                                  "schemes/-1",
                                  "schemes/99999999999",
                                  "schemes/%30%30%30%30x",
                                  "parameters/%ff%fe",
                                  "parameters/99999999999999",
                                  "parameters/-1/default",
                                  "parameters//restore",
                                  "save%0d%0a",
                                  "%",
                                  "%z1",
                                  "lens/../save",
                                  "language/999999999999",
                                  "common/en/../..",
                                  "save/",
                                  "?%",
                                  "save;x",
                                  "parameters/%c0%ae%c0%ae"}),
                       "");
    }
    std::string deep()
    {
        const std::size_t depth = 9 + below(20'000);
        const bool inObjects = below(2) == 0;
        std::string body;
        for (std::size_t i = 0; i < depth; ++i)
        {
            body += inObjects ? "{\"a\":" : "[";
        }
        return json(below(2) == 0 ? "{\"brightness\":" + body : body);
    }
    std::string wrongType()
    {
        return json(oneOf({"[]",
                           "\"\"",
                           "1",
                           "null",
                           "true",
                           "{",
                           "{\"brightness\":null}",
                           "{\"brightness\":[]}",
                           "{\"brightness\":{}}",
                           "{\"brightness\":true}",
                           "{\"brightness\":\"many\"}",
                           "{\"scheme\":\"0\"}",
                           "{\"mode\":0}",
                           "{\"zoom\":\"far\"}",
                           "{\"zoom\":1,\"focus\":1}",
                           "{\"level\":\"9\"}",
                           "{\"light\":[]}",
                           "{\"distance\":\"1\"}",
                           "{\"begin\":1}",
                           "{\"brightness\":77,\"34\":78}",
                           "{\"\":77}",
                           "{\"nothing\":77}",
                           "{\"brightness\":77}}",
                           "{\"brightness\":77,}",
                           "{'brightness':77}"}));
    }
    std::string hugeNumber()
    {
        return json(
            "{\"" + oneOf({"brightness", "contrast", "34"}) + "\":" +
            oneOf({"1e999", "-1e999", "99999999999", "-99999999999", "18446744073709551616", "1e9", "0.5", "NaN",
                   "Infinity", "4294967373", "-4294967219", "2147483647", "-2147483648", "077", "0x4d"}) +
            "}");
    }
    std::string badText()
    {
        return json("{\"bright" +
                    oneOf({"\xff", "\xc3", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xc0\x80", "\\ud800", "\\u0000"}) +
                    "ness\":77}");
    }
    std::string foreignHost()
    {
        const std::string host = "Host: " +
                                 oneOf({"elsewhere", "localhost.elsewhere", "127.0.0.1.elsewhere:80", "localhost:1", "",
                                        "[::1", "localhost@elsewhere", "0.0.0.0", "169.254.1.1"}) +
                                 "\r\n";
        return changing() + " HTTP/1.1\r\n" + host + "Content-Type: application/json\r\nContent-Length: 17\r\n\r\n" +
               kEdit;
    }
    std::string foreignOrigin()
    {
        return request("PATCH /api/parameters",
                       oneOf({"Origin: http://elsewhere\r\n", "Origin: null\r\n", "Origin: https://localhost\r\n",
                              "Origin: http://localhost.elsewhere\r\n", "Sec-Fetch-Site: cross-site\r\n",
                              "Origin: http://localhost:1\r\n", "Sec-Fetch-Site: same-site\r\n"}) +
                           "Content-Length: 17\r\n",
                       kEdit);
    }
    std::string wrongMethod()
    {
        return request(oneOf({"DELETE", "TRACE", "FOO", "get", "PUT", "PROPFIND", "G\xc3\x84T"}) + " /api/" +
                           oneOf({"parameters", "save", "events", "nowhere", "openapi.json"}),
                       "Content-Length: 17\r\n", kEdit);
    }
    std::string longLines()
    {
        const std::string filling(17'000 + below(40'000), 'x');
        return below(2) == 0 ? request("GET /api/" + filling, "") : request("POST /api/save", "X: " + filling + "\r\n");
    }
    // Of a request that would be refused as it stands.
    std::string damaged()
    {
        std::string whole = wrongType();
        for (std::size_t i = 1 + below(8); i > 0; --i)
        {
            whole[below(whole.size())] = static_cast<char>(below(256));
        }
        return whole;
    }
    std::string wrongQuery()
    {
        return request("PATCH /api/parameters?" + oneOf({"keep=maybe", "keep=", "dry-run=1", "keep=true&keep=false",
                                                         "keep=%zz", "keep=%00", "dry-run=TRUE"}),
                       "Content-Length: 17\r\n", kEdit);
    }

    const std::string host_;
    std::mt19937 random_{20260101};
};

// Nothing, or answers of HTTP/1.1, each whole. Behind the answer to a bad length libmicrohttpd sends that again; the
// connection has ended for the client by then.
testing::AssertionResult isRefused(const std::string& answers)
{
    std::size_t begin = 0;
    while (begin < answers.size())
    {
        const std::string rest = answers.substr(begin);
        const std::size_t end = rest.find("\r\n\r\n");
        const std::string length = headerOf(rest, "Content-Length");
        if (end == std::string::npos || statusOf(rest) < 400 || statusOf(rest) > 499 || length.empty())
        {
            return testing::AssertionFailure() << "no whole refusal: " << rest;
        }
        begin += end + 4 + std::stoul(length);
        if (begin > answers.size())
        {
            return testing::AssertionFailure() << "cut: " << rest;
        }
        const bool hasEnded = headerOf(rest, "Connection") == "close";
        if (hasEnded && rest.find("value for <b>Content-Length</b> header") != std::string::npos)
        {
            break;
        }
    }
    return testing::AssertionSuccess();
}

TEST_F(HostileClientsTest, TenThousandHostileRequestsChangeNothingAndKillNothing)
{
    const std::string before = everything();
    support::journal().clearCalls();
    HostileRequests requests(host());
    for (int i = 0; i < 10'000; ++i)
    {
        const HostileRequest request = requests.next();
        Connection client = connect();
        client.say(request.text);
        std::string answers = request.isWhole ? client.answer() : "";
        ASSERT_EQ(answers.empty(), !request.isWhole) << i << ": " << request.text.substr(0, 500);
        client.endSaying();
        answers += client.untilClosed();
        ASSERT_TRUE(isRefused(answers)) << i << ": " << request.text.substr(0, 500);
    }
    for (const services::Call& call : support::journal().calls())
    {
        EXPECT_FALSE(call.opt == IA_CMD_OPT_SET && call.status == SNS_SUCCESS) << call.cmd;
    }
    EXPECT_EQ(everything(), before);
}

}  // namespace
}  // namespace web
