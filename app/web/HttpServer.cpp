#include "app/web/HttpServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <set>
#include <stdexcept>
#include <thread>

#include "app/web/LoginLimits.h"
#include "app/web/RequestHead.h"
#include "app/web/Tls.h"
#include "app/web/Workers.h"

namespace web {
namespace {

using Clock = std::chrono::steady_clock;

// Threads of each lane but that for changes, which has one.
constexpr std::size_t kAside = 2;
constexpr std::size_t kLogins = 3;  // two may take long, and one refuses others
constexpr std::size_t kFrames = 2;
constexpr std::size_t kReaders = 4;

constexpr int kAtOnce = 64;                             // clients, before deadlines are looked at again
constexpr std::size_t kStreamPiece = 64 << 10;          // asked of a stream at once
constexpr auto kLook = std::chrono::milliseconds(250);  // for deadlines, while anybody is connected

// Refused before it is anybody's request.
constexpr char kFull[] =
    "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nRetry-After: 1\r\nContent-Length: 0\r\n\r\n";

std::string addressText(const sockaddr_storage& address)
{
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET)
    {
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in&>(address).sin_addr, text, sizeof text);
    }
    else if (address.ss_family == AF_INET6)
    {
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr, text, sizeof text);
    }
    return text;
}

Response tooLarge(std::size_t most)
{
    return problem(413, "too-large", "a body may have " + std::to_string(most) + " bytes");
}

// Of the lines as they are usually written, and the end. MHD ends a head at a line without a name, a value at a zero
// byte and a line at a bare line feed, where others go on: that shows only in the size of the whole.
std::size_t headSize(const std::vector<HeaderLine>& lines)
{
    std::size_t size = std::strlen("\r\n");
    for (const HeaderLine& line : lines)
    {
        size += line.name.size() + std::strlen(": ") + line.value.size() + std::strlen("\r\n");
    }
    return size;
}

std::vector<HeaderLine> headerLines(MHD_Connection* connection)
{
    std::vector<HeaderLine> lines;
    MHD_get_connection_values_n(
        connection, MHD_HEADER_KIND,
        [](void* into, MHD_ValueKind, const char* name, std::size_t nameSize, const char* value,
           std::size_t valueSize) -> MHD_Result {
            static_cast<std::vector<HeaderLine>*>(into)->push_back(
                {{name, nameSize}, value == nullptr ? std::string() : std::string(value, valueSize)});
            return MHD_YES;
        },
        &lines);
    return lines;
}

// What comes from one place. Empty for the Unix socket.
std::string groupOf(const Peer& peer)
{
    return peer.local ? "" : addressGroup(peer.address);
}

// How many of all, through ports, and of one address there may be.
struct Share
{
    std::size_t all;
    std::size_t ports;
    std::size_t perAddress;
};

// Something that clients take of what there is for all. Guarded by its owner's mutex.
class Taken
{
public:
    explicit Taken(const Share& most) : most_(most) {}

    bool take(const std::string& group, std::size_t count)
    {
        const bool isPort = !group.empty();
        const auto known = groups_.find(group);
        const std::size_t ofGroup = known == groups_.end() ? 0 : known->second;
        if (all_ + count > most_.all ||
            (isPort && (ports_ + count > most_.ports || ofGroup + count > most_.perAddress)))
        {
            return false;
        }
        all_ += count;
        if (isPort && count > 0)
        {
            ports_ += count;
            groups_[group] += count;
        }
        return true;
    }

    void giveBack(const std::string& group, std::size_t count)
    {
        all_ -= count;
        const auto known = groups_.find(group);
        if (known != groups_.end())
        {
            ports_ -= count;
            known->second -= count;
            if (known->second == 0)
            {
                groups_.erase(known);
            }
        }
    }

private:
    const Share most_;
    std::size_t all_ = 0;
    std::size_t ports_ = 0;
    std::map<std::string, std::size_t> groups_;
};

}  // namespace

class HttpServer::Implementation
{
public:
    Implementation(std::vector<ListenSocket> sockets, Handler& handler, const Limits& limits,
                   const std::string& identity);
    ~Implementation();

private:
    // A client, from accept to close.
    struct Client
    {
        Peer peer;
        std::string group;
        int port = 0;
        std::optional<Clock::time_point> deadline;  // for what is expected of it now
    };

    // A request and its answer.
    struct Exchange
    {
        ~Exchange() { dropBody(); }

        // Before its client can know, and send the next one.
        void dropBody()
        {
            explicit_bzero(request.body.data(), request.body.size());  // it may be a password
            std::string().swap(request.body);
            const std::lock_guard<std::mutex> lock(server->bodiesMutex_);
            server->bodies_.giveBack(group, std::exchange(held, 0));
        }

        Implementation* server = nullptr;
        MHD_Connection* connection = nullptr;
        Request request;
        std::string group;         // of the client
        std::size_t target = 0;    // bytes
        std::size_t mostBody = 0;  // bytes
        std::size_t held = 0;      // bytes of its body, as they count for all
        bool tooMany = false;      // bytes are held for others: its own were dropped
        bool targetIsWell = false;
        bool isLast = false;  // others may read more requests in it: the connection ends behind its answer
        bool begun = false;
        bool asked = false;

        // Guarded by mutex_.
        std::optional<Response> answer;
    };
    using SharedExchange = std::shared_ptr<Exchange>;

    // An answer without end.
    struct Stream
    {
        Implementation* server = nullptr;
        MHD_Connection* connection = nullptr;
        std::shared_ptr<Source> source;
        std::string group;     // of the client
        std::string left;      // a piece that is not sent yet
        std::size_t sent = 0;  // bytes of it

        // Guarded by mutex_.
        bool suspended = false;
        bool woken = false;  // since next was called
        bool beat = false;   // a sign of life is due
        Clock::time_point last = Clock::now();
    };

    static void* onTarget(void* self, const char* target, MHD_Connection* connection);
    static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* url, const char* method,
                                const char* version, const char* body, std::size_t* size, void** exchange);
    static void onCompleted(void* self, MHD_Connection* connection, void** exchange, MHD_RequestTerminationCode why);
    static void onConnection(void* self, MHD_Connection* connection, void** context,
                             MHD_ConnectionNotificationCode what);
    static ssize_t onStream(void* stream, uint64_t position, char* buffer, std::size_t room);
    static void onStreamEnd(void* stream);

    using Daemon = std::unique_ptr<MHD_Daemon, decltype(&MHD_stop_daemon)>;

    Daemon startDaemon(unsigned flags, const std::vector<MHD_OptionItem>& options);
    MHD_Daemon* daemonOf(const Peer& peer) const;
    MHD_Result begin(Exchange& exchange);
    std::optional<Response> takeHead(Exchange& exchange) const;
    std::optional<Response> limitBody(Exchange& exchange) const;
    void take(Exchange& exchange, const char* body, std::size_t size);
    MHD_Result ask(const SharedExchange& exchange);
    MHD_Result queue(Exchange& exchange, const Response& response);
    MHD_Response* streamResponse(const Exchange& exchange, const std::shared_ptr<Source>& source);
    void answer(const SharedExchange& exchange, Response response);
    void acceptAll();
    bool accept(const ListenSocket& socket);
    void forget(int descriptor);
    void setDeadline(MHD_Connection* connection, std::optional<Clock::time_point> deadline);
    void cutLate();
    void beat();

    const std::vector<ListenSocket> sockets_;
    Handler& handler_;
    const Limits limits_;
    const camera::Descriptor ending_;

    std::mutex bodiesMutex_;  // locked inside of mutex_
    Taken bodies_;            // bytes held; guarded by bodiesMutex_

    std::mutex mutex_;
    // Guarded by mutex_.
    bool stopping_ = false;
    std::map<int, Client> clients_;  // by descriptor
    Taken taken_;                    // connections
    Taken takenStreams_;
    std::set<SharedExchange> asked_;  // suspended until their answer is there
    std::set<Stream*> streams_;

    // What runs, in the order in which it begins; it ends in the other one.
    std::array<Workers, 5> lanes_;  // by Handler::Lane
    Daemon daemon_{nullptr, MHD_stop_daemon};
    Daemon tlsDaemon_{nullptr, MHD_stop_daemon};  // of the ports, where they speak TLS
    std::thread accepting_;
};

HttpServer::Implementation::Implementation(std::vector<ListenSocket> sockets, Handler& handler, const Limits& limits,
                                           const std::string& identity)
    : sockets_(std::move(sockets)),
      handler_(handler),
      limits_(limits),
      ending_(eventfd(0, EFD_CLOEXEC)),
      bodies_({limits.bodies, limits.portBodies, limits.bodiesPerAddress}),
      taken_({limits.connections, limits.portConnections, limits.perAddress}),
      takenStreams_({limits.streams, limits.portStreams, limits.streamsPerAddress}),
      lanes_{{{kAside, limits.waiting},
              {kLogins, limits.waiting},
              {kFrames, limits.waiting},
              {kReaders, limits.waiting},
              {1, limits.waiting}}}
{
    if (ending_.number() < 0)
    {
        throw std::runtime_error("the HTTP server cannot be started");
    }
    daemon_ = startDaemon(0, {{MHD_OPTION_END, 0, nullptr}});
    if (!identity.empty())
    {
        char* const text = const_cast<char*>(identity.c_str());  // read while it starts
        tlsDaemon_ = startDaemon(MHD_USE_TLS, {{MHD_OPTION_HTTPS_MEM_CERT, 0, text},
                                               {MHD_OPTION_HTTPS_MEM_KEY, 0, text},
                                               {MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(kTlsPriorities)},
                                               {MHD_OPTION_END, 0, nullptr}});
    }
    accepting_ = std::thread([this] { acceptAll(); });
}

// poll and not epoll, which misses the end of a client that leaves in the middle of a request. Connections are accepted
// here: a long address of a Unix client would be read beyond its end, and limits are ours. A connection's memory has room
// for what MHD makes of the head, and for a piece of the body.
HttpServer::Implementation::Daemon HttpServer::Implementation::startDaemon(unsigned flags,
                                                                           const std::vector<MHD_OptionItem>& options)
{
    Daemon daemon(MHD_start_daemon(flags | MHD_USE_POLL_INTERNAL_THREAD | MHD_USE_NO_LISTEN_SOCKET | MHD_USE_ITC |
                                       MHD_ALLOW_SUSPEND_RESUME,
                                   0, nullptr, nullptr, onRequest, this, MHD_OPTION_URI_LOG_CALLBACK, onTarget, this,
                                   MHD_OPTION_NOTIFY_COMPLETED, onCompleted, this, MHD_OPTION_NOTIFY_CONNECTION,
                                   onConnection, this, MHD_OPTION_CONNECTION_MEMORY_LIMIT, 2 * limits_.head,
                                   MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(limits_.connections + 16),
                                   MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(limits_.stalled.count()),
                                   MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END),
                  MHD_stop_daemon);
    if (daemon == nullptr)
    {
        throw std::runtime_error("the HTTP server cannot be started");
    }
    return daemon;
}

MHD_Daemon* HttpServer::Implementation::daemonOf(const Peer& peer) const
{
    return peer.local || tlsDaemon_ == nullptr ? daemon_.get() : tlsDaemon_.get();
}

HttpServer::Implementation::~Implementation()
{
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(ending_.number(), &one, sizeof one);
    accepting_.join();
    // A connection that is still suspended would end the process: each is woken, and sees that it is over.
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    for (const SharedExchange& exchange : asked_)
    {
        exchange->answer = problem(503, "ending", "the camera is ending");
        MHD_resume_connection(exchange->connection);
    }
    asked_.clear();
    for (Stream* const stream : streams_)
    {
        if (std::exchange(stream->suspended, false))
        {
            MHD_resume_connection(stream->connection);
        }
    }
}

// ---- clients -------------------------------------------------------------------------------------------------

void HttpServer::Implementation::acceptAll()
{
    std::vector<pollfd> waits = {{ending_.number(), POLLIN, 0}};
    for (const ListenSocket& socket : sockets_)
    {
        waits.push_back({socket.descriptor(), POLLIN, 0});
    }
    while (true)
    {
        bool anybody = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            anybody = !clients_.empty();
        }
        poll(waits.data(), waits.size(), anybody ? static_cast<int>(kLook.count()) : -1);
        if (waits[0].revents != 0)
        {
            return;
        }
        for (std::size_t i = 0; i < sockets_.size(); ++i)
        {
            for (int accepted = 0; waits[i + 1].revents != 0 && accepted < kAtOnce && accept(sockets_[i]); ++accepted)
            {
            }
        }
        cutLate();
        beat();
    }
}

// False when nobody waits.
bool HttpServer::Implementation::accept(const ListenSocket& socket)
{
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    const int descriptor =
        accept4(socket.descriptor(), reinterpret_cast<sockaddr*>(&address), &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0)
    {
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS)
        {
            // The client goes on waiting, and so does its readiness.
            pollfd wait = {ending_.number(), POLLIN, 0};
            poll(&wait, 1, static_cast<int>(kLook.count()));
        }
        return false;
    }
    const Peer peer = {socket.isLocal(), socket.isLocal() ? "" : addressText(address)};
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::string group = groupOf(peer);
        if (!taken_.take(group, 1))
        {
            if (peer.local || tlsDaemon_ == nullptr)  // with TLS it could not be read
            {
                send(descriptor, kFull, sizeof kFull - 1, MSG_NOSIGNAL | MSG_DONTWAIT);
            }
            close(descriptor);
            return true;
        }
        clients_[descriptor] = {peer, group, socket.port(), Clock::now() + limits_.request};
    }
    const int unread = static_cast<int>(limits_.unread);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &unread, sizeof unread);
    if (!peer.local)
    {
        const int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        // What a client does not take is not kept for it.
        const auto stalled = static_cast<unsigned>(std::chrono::milliseconds(limits_.stalled).count());
        setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &stalled, sizeof stalled);
    }
    // A Unix client's own path tells nothing, and may be longer than what MHD keeps of it.
    sockaddr local = {};
    local.sa_family = AF_UNIX;
    const MHD_Result added =
        MHD_add_connection(daemonOf(peer), descriptor, peer.local ? &local : reinterpret_cast<sockaddr*>(&address),
                           peer.local ? sizeof(sa_family_t) : length);
    if (added != MHD_YES)  // closed already
    {
        forget(descriptor);
    }
    return true;
}

void HttpServer::Implementation::onConnection(void* self, MHD_Connection* connection, void**,
                                              MHD_ConnectionNotificationCode what)
{
    if (what == MHD_CONNECTION_NOTIFY_CLOSED)  // the descriptor is still open
    {
        auto& server = *static_cast<Implementation*>(self);
        server.forget(MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd);
    }
}

void HttpServer::Implementation::forget(int descriptor)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto client = clients_.find(descriptor);
    if (client != clients_.end())
    {
        taken_.giveBack(client->second.group, 1);
        clients_.erase(client);
    }
}

void HttpServer::Implementation::setDeadline(MHD_Connection* connection, std::optional<Clock::time_point> deadline)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto client =
        clients_.find(MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd);
    if (client != clients_.end())
    {
        client->second.deadline = deadline;
    }
}

// MHD's own timeout starts again with each byte.
void HttpServer::Implementation::cutLate()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto now = Clock::now();
    for (auto& [descriptor, client] : clients_)
    {
        if (client.deadline && *client.deadline <= now)
        {
            client.deadline.reset();
            shutdown(descriptor, SHUT_RDWR);  // closed by MHD, which cannot close it before it has this lock
        }
    }
}

// ---- requests ------------------------------------------------------------------------------------------------

void* HttpServer::Implementation::onTarget(void* self, const char* target, MHD_Connection* connection)
{
    auto exchange = std::make_shared<Exchange>();
    exchange->server = static_cast<Implementation*>(self);
    exchange->connection = connection;
    exchange->target = std::strlen(target);
    exchange->targetIsWell = readTarget(target, exchange->request);
    return new SharedExchange(std::move(exchange));
}

void HttpServer::Implementation::onCompleted(void* self, MHD_Connection* connection, void** exchange,
                                             MHD_RequestTerminationCode)
{
    delete static_cast<SharedExchange*>(*exchange);
    *exchange = nullptr;
    auto& server = *static_cast<Implementation*>(self);
    server.setDeadline(connection, Clock::now() + server.limits_.request);
}

MHD_Result HttpServer::Implementation::onRequest(void* self, MHD_Connection*, const char*, const char* method,
                                                 const char*, const char* body, std::size_t* size, void** context)
{
    auto& server = *static_cast<Implementation*>(self);
    const SharedExchange exchange = *static_cast<SharedExchange*>(*context);
    if (!exchange->begun)
    {
        exchange->begun = true;
        exchange->request.method = method;
        return server.begin(*exchange);
    }
    if (*size > 0)
    {
        server.take(*exchange, body, *size);
        *size = 0;
        return MHD_YES;
    }
    if (!exchange->asked)
    {
        exchange->asked = true;
        return server.ask(exchange);
    }
    std::optional<Response> answer;
    {
        const std::lock_guard<std::mutex> lock(server.mutex_);
        answer = std::move(exchange->answer);
    }
    return answer ? server.queue(*exchange, *answer) : MHD_NO;
}

// All but the body is there. An answer that is given here ends the connection without reading one.
MHD_Result HttpServer::Implementation::begin(Exchange& exchange)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto client =
            clients_.find(MHD_get_connection_info(exchange.connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd);
        if (client == clients_.end())
        {
            return MHD_NO;
        }
        exchange.request.peer = client->second.peer;
        exchange.request.port = client->second.port;
        exchange.group = client->second.group;
    }
    std::optional<Response> refusal = takeHead(exchange);
    if (!refusal)
    {
        refusal = limitBody(exchange);
    }
    if (refusal)
    {
        exchange.isLast = true;
        return queue(exchange, *refusal);
    }
    return MHD_YES;
}

// Of its head. Nothing when it may go on.
std::optional<Response> HttpServer::Implementation::takeHead(Exchange& exchange) const
{
    const std::vector<HeaderLine> lines = headerLines(exchange.connection);
    const std::size_t size =
        MHD_get_connection_info(exchange.connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size;
    exchange.isLast =
        size != exchange.request.method.size() + exchange.target + std::strlen("  HTTP/1.1\r\n") + headSize(lines);
    std::size_t bytes = exchange.target;
    for (const HeaderLine& line : lines)
    {
        bytes += line.name.size() + line.value.size();
    }
    if (bytes > limits_.head || lines.size() > limits_.headers)
    {
        return problem(431, "too-large",
                       "a request may have " + std::to_string(limits_.headers) + " headers, and " +
                           std::to_string(limits_.head) + " bytes in them and its target");
    }
    if (!exchange.targetIsWell)
    {
        return problem(400, "bad-request", "the path or the query is not well formed");
    }
    return readHead(lines, limits_.body, exchange.request);
}

std::optional<Response> HttpServer::Implementation::limitBody(Exchange& exchange) const
{
    exchange.mostBody = std::min(limits_.body, handler_.mostBody(exchange.request));
    const std::string length = exchange.request.header("content-length");
    return length.empty() || std::stoull(length) <= exchange.mostBody ? std::nullopt
                                                                      : std::optional(tooLarge(exchange.mostBody));
}

void HttpServer::Implementation::take(Exchange& exchange, const char* body, std::size_t size)
{
    std::string& held = exchange.request.body;
    const std::size_t room = exchange.mostBody + 1 - held.size();  // one too many tells that it was too long
    const std::size_t count = exchange.tooMany ? 0 : std::min(size, room);
    bool fits = false;
    {
        const std::lock_guard<std::mutex> lock(bodiesMutex_);
        fits = bodies_.take(exchange.group, count);
    }
    if (!fits)
    {
        exchange.tooMany = true;
        exchange.dropBody();
        return;
    }
    held.append(body, count);
    exchange.held += count;
}

// The request is whole: its handler runs on another thread, and the connection sleeps until the answer is there.
MHD_Result HttpServer::Implementation::ask(const SharedExchange& exchange)
{
    if (exchange->tooMany)
    {
        Response busy = problem(503, "busy", "too many requests have a body");
        busy.headers = {{"Retry-After", "1"}, {"Connection", "close"}};
        return queue(*exchange, busy);
    }
    if (exchange->request.body.size() > exchange->mostBody)
    {
        Response refusal = tooLarge(exchange->mostBody);
        refusal.headers.emplace_back("Connection", "close");
        return queue(*exchange, refusal);
    }
    setDeadline(exchange->connection, std::nullopt);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_)
        {
            return MHD_NO;
        }
        asked_.insert(exchange);
        MHD_suspend_connection(exchange->connection);
    }
    const bool taken = lanes_.at(static_cast<std::size_t>(handler_.lane(exchange->request))).add([this, exchange] {
        Response response;
        try
        {
            response = handler_.answer(exchange->request);
        }
        catch (const std::exception& error)
        {
            response = problem(500, "internal", error.what());
        }
        answer(exchange, std::move(response));
    });
    if (!taken)
    {
        Response busy = problem(503, "busy", "too many requests wait for the camera");
        busy.headers.emplace_back("Retry-After", "1");
        answer(exchange, std::move(busy));
    }
    return MHD_YES;
}

void HttpServer::Implementation::answer(const SharedExchange& exchange, Response response)
{
    exchange->dropBody();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (asked_.erase(exchange) != 0)  // otherwise the server is ending, and has answered for it
    {
        exchange->answer = std::move(response);
        MHD_resume_connection(exchange->connection);
    }
}

MHD_Result HttpServer::Implementation::queue(Exchange& exchange, const Response& response)
{
    setDeadline(exchange.connection,
                response.source ? std::optional<Clock::time_point>() : Clock::now() + limits_.response);
    MHD_Response* const made =
        response.source ? streamResponse(exchange, response.source)
                        : MHD_create_response_from_buffer(response.body.size(), const_cast<char*>(response.body.data()),
                                                          MHD_RESPMEM_MUST_COPY);
    if (made == nullptr)
    {
        Response busy = problem(503, "busy", "too many streams are open");
        busy.headers.emplace_back("Retry-After", "5");
        return response.source ? queue(exchange, busy) : MHD_NO;
    }
    if (!response.type.empty())
    {
        MHD_add_response_header(made, MHD_HTTP_HEADER_CONTENT_TYPE, response.type.c_str());
    }
    for (const auto& [name, value] : response.headers)
    {
        MHD_add_response_header(made, name.c_str(), value.c_str());
    }
    if (exchange.isLast)
    {
        MHD_add_response_header(made, MHD_HTTP_HEADER_CONNECTION, "close");
    }
    if (response.source && exchange.request.method == "HEAD")
    {
        // Otherwise MHD would send the end of a body in chunks.
        MHD_set_response_options(made, MHD_RF_HTTP_VERSION_1_0_ONLY, MHD_RO_END);
    }
    const MHD_Result queued = MHD_queue_response(exchange.connection, static_cast<unsigned>(response.status), made);
    MHD_destroy_response(made);
    return queued;
}

// ---- answers without end -------------------------------------------------------------------------------------

MHD_Response* HttpServer::Implementation::streamResponse(const Exchange& exchange,
                                                         const std::shared_ptr<Source>& source)
{
    auto stream = std::make_unique<Stream>();
    stream->server = this;
    stream->connection = exchange.connection;
    stream->source = source;
    stream->group = exchange.group;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!takenStreams_.take(stream->group, 1))
        {
            return nullptr;
        }
        streams_.insert(stream.get());
    }
    source->onWake([this, woken = stream.get()] {
        const std::lock_guard<std::mutex> lock(mutex_);
        woken->woken = true;
        if (std::exchange(woken->suspended, false))
        {
            MHD_resume_connection(woken->connection);
        }
    });
    MHD_Response* const made =
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kStreamPiece, onStream, stream.get(), onStreamEnd);
    if (made == nullptr)
    {
        onStreamEnd(stream.release());
        return nullptr;
    }
    stream.release();
    return made;
}

// What comes next is asked for without the lock: it may look at the users' file.
ssize_t HttpServer::Implementation::onStream(void* context, uint64_t, char* buffer, std::size_t room)
{
    auto& stream = *static_cast<Stream*>(context);
    std::unique_lock<std::mutex> lock(stream.server->mutex_);
    do
    {
        if (stream.server->stopping_)
        {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        if (stream.left.empty())
        {
            stream.woken = false;
            lock.unlock();
            std::optional<std::string> piece = stream.source->next();
            lock.lock();
            if (!piece)
            {
                return MHD_CONTENT_READER_END_OF_STREAM;
            }
            stream.left = std::move(*piece);
        }
        if (stream.left.empty() && std::exchange(stream.beat, false))
        {
            stream.left = stream.source->heartbeat();
        }
    }
    while (stream.left.empty() && (stream.woken || stream.server->stopping_));
    if (stream.left.empty())
    {
        stream.suspended = true;
        MHD_suspend_connection(stream.connection);
        return 0;
    }
    const std::size_t count = std::min(room, stream.left.size() - stream.sent);
    std::memcpy(buffer, stream.left.data() + stream.sent, count);
    stream.sent += count;
    if (stream.sent == stream.left.size())
    {
        stream.left.clear();
        stream.sent = 0;
    }
    stream.last = Clock::now();
    return static_cast<ssize_t>(count);
}

void HttpServer::Implementation::onStreamEnd(void* context)
{
    const std::unique_ptr<Stream> stream(static_cast<Stream*>(context));
    stream->source->onWake(nullptr);  // first: who wakes holds the source's lock and waits for the server's
    const std::lock_guard<std::mutex> lock(stream->server->mutex_);
    stream->server->streams_.erase(stream.get());
    stream->server->takenStreams_.giveBack(stream->group, 1);
}

// A client that has gone is noticed only when something is sent to it.
void HttpServer::Implementation::beat()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto now = Clock::now();
    for (Stream* const stream : streams_)
    {
        if (stream->suspended && now - stream->last >= limits_.heartbeat)
        {
            stream->beat = true;
            stream->suspended = false;
            MHD_resume_connection(stream->connection);
        }
    }
}

HttpServer::HttpServer(std::vector<ListenSocket> sockets, Handler& handler, const Limits& limits,
                       const std::string& identity)
    : implementation_(std::make_unique<Implementation>(std::move(sockets), handler, limits, identity))
{
}

HttpServer::~HttpServer() = default;

}  // namespace web
