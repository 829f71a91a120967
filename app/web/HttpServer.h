#pragma once

#include <chrono>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "app/web/Http.h"
#include "app/web/ListenSocket.h"

namespace web {

// What one client, or all together, may take. All limits of the server stand here.
struct Limits
{
    std::size_t head = 16 << 10;                 // bytes of a target and of the names and values of all header lines
    std::size_t headers = 100;                   // lines
    std::size_t body = 1 << 20;                  // bytes
    std::size_t bodies = 32 << 20;               // bytes, of all requests that are not answered yet
    std::size_t portBodies = 24 << 20;           // of those through ports: the rest is the Unix socket's own
    std::size_t bodiesPerAddress = 8 << 20;      // an IPv6 network is one address, here and below
    std::size_t connections = 512;               // of all
    std::size_t portConnections = 448;           // through ports
    std::size_t perAddress = 256;                // the Unix socket has only the limit of all
    std::size_t streams = 64;                    // answers without end
    std::size_t portStreams = 56;                // through ports
    std::size_t streamsPerAddress = 32;          // the Unix socket has only the limit of all
    std::size_t waiting = 256;                   // requests for each lane's threads
    std::size_t unread = 128 << 10;              // bytes that the system keeps for a client that does not read
    std::chrono::milliseconds request{10'000};   // from connecting, or the answer before, to the end of the request
    std::chrono::milliseconds response{30'000};  // for taking an answer with an end
    std::chrono::seconds stalled{10};            // without taking a byte of its answer
    std::chrono::milliseconds heartbeat{5'000};  // after which a stream without news sends a sign of life
};

// What a server answers.
class Handler
{
public:
    // No lane waits for another. Changes run one after the other.
    enum class Lane
    {
        aside,  // needs no call of the camera: goes on while all readers wait for one
        login,  // needs no call of the camera either, but is slow
        frame,  // waits for the picture
        read,
        change,
    };

    virtual ~Handler() = default;
    // On a thread that waits for sockets: must not wait. Reentrant.
    virtual Lane lane(const Request& request) = 0;
    // Bytes that the body may have, whose head alone is there yet; the server's own limit holds too. As lane is called.
    virtual std::size_t mostBody(const Request&) { return std::numeric_limits<std::size_t>::max(); }
    // On a thread of the lane. Reentrant. What it throws is answered with 500.
    virtual Response answer(const Request& request) = 0;
};

// HTTP/1.1 on some sockets: one thread, or with TLS one for its clients and one for the others, waits for all of them,
// so that one that is slow, or never ends, holds nobody up; handlers run on threads of their own. Thread-safe.
class HttpServer
{
public:
    // Throws std::runtime_error when it cannot be started. handler must outlive the server.
    // identity: certificates and key in PEM, with which its ports speak TLS alone; empty: they do without.
    HttpServer(std::vector<ListenSocket> sockets, Handler& handler, const Limits& limits = {},
               const std::string& identity = "");
    // Ends streams and waiting requests at once, then waits for the handlers that run.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace web
