#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// A request and its answer as plain data: what handlers see of HTTP.
namespace web {

struct Peer
{
    bool local = false;   // on the Unix socket
    std::string address;  // numeric; empty on the Unix socket
};

struct Request
{
    std::string method;
    std::string path;                            // decoded, from its slash on
    std::map<std::string, std::string> query;    // decoded
    std::map<std::string, std::string> headers;  // names in lower case; of a name that comes twice all, with ", "
    std::string body;
    Peer peer;
    int port = 0;  // the one that it came in by; 0 on the Unix socket

    // Empty when there is none.
    std::string header(const std::string& lowerCaseName) const
    {
        const auto found = headers.find(lowerCaseName);
        return found == headers.end() ? std::string() : found->second;
    }
};

// A body without end, made piece by piece: events, pictures. Thread-safe.
class Source
{
public:
    virtual ~Source() = default;

    // What is next; empty: nothing yet, and wake is called when there is. Never waits. Nothing: the end.
    virtual std::optional<std::string> next() = 0;

    // What is sent when there has been no news for long, so that a client that has gone is noticed.
    virtual std::string heartbeat() const = 0;

    // The server's, set before the first next.
    void onWake(std::function<void()> wake)
    {
        const std::lock_guard<std::mutex> lock(wakeMutex_);
        wake_ = std::move(wake);
    }

protected:
    void wake()
    {
        const std::lock_guard<std::mutex> lock(wakeMutex_);
        if (wake_)
        {
            wake_();
        }
    }

private:
    std::mutex wakeMutex_;
    std::function<void()> wake_;
};

struct Response
{
    int status = 200;
    std::string type;  // of the content; empty: no content
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};
    std::shared_ptr<Source> source = nullptr;  // instead of body
};

}  // namespace web
