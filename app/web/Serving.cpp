#include "app/web/Serving.h"

#include <poll.h>

#include "app/cli/Parsing.h"
#include "app/web/Api.h"

namespace web {
namespace {

// Hands the library's lines to the readers of the trace as long as it lives.
class Tracing
{
public:
    Tracing(app::LibraryOutput& output, TraceLog& trace) : output_(output)
    {
        output_.setListener([&trace](const std::string& lines) { trace.take(lines); });
    }
    ~Tracing() { output_.setListener(nullptr); }
    Tracing(const Tracing&) = delete;
    Tracing& operator=(const Tracing&) = delete;

private:
    app::LibraryOutput& output_;
};

}  // namespace

std::vector<ListenSocket> openSockets(const app::ServeOptions& options)
{
    std::vector<ListenSocket> sockets;
    for (const std::string& text : options.descriptors)
    {
        const std::size_t colon = text.find(':');
        const std::optional<int> descriptor = app::parseInt(text.substr(0, colon));
        const std::optional<int> port = colon < text.size() ? app::parseInt(text.substr(colon + 1)) : std::nullopt;
        if (!descriptor || !port)
        {
            throw std::runtime_error(
                "--descriptor is only for the copy that sensorcam starts in its private file tree");
        }
        sockets.push_back(ListenSocket::inherited(*descriptor, *port));
    }
    if (!sockets.empty())
    {
        return sockets;
    }
    if (options.port)
    {
        sockets.push_back(ListenSocket::onPort(options.address, *options.port));
    }
    if (!options.socket.empty())
    {
        sockets.push_back(ListenSocket::atPath(options.socket, 0600));
    }
    return sockets;
}

std::vector<std::string> descriptorTexts(const std::vector<ListenSocket>& sockets)
{
    std::vector<std::string> texts;
    for (const ListenSocket& socket : sockets)
    {
        texts.push_back(std::to_string(socket.descriptor()) + ":" + std::to_string(socket.port()));
    }
    return texts;
}

void serve(camera::Camera& camera, const app::ServeOptions& options, std::vector<ListenSocket> sockets,
           app::EndSignals& signals, app::LibraryOutput& output)
{
    Api api(camera, {options.origins});
    const Tracing tracing(output, api.trace());
    for (const ListenSocket& socket : sockets)
    {
        output.answers().print(socket.isLocal()
                                   ? "serving on the socket\n"
                                   : "serving on http://localhost:" + std::to_string(socket.port()) + "/\n");
    }
    const HttpServer server(std::move(sockets), api);
    pollfd waits[] = {{signals.descriptor(), POLLIN, 0}, {output.descriptor(), POLLIN, 0}};
    while (signals.received() == 0 && !output.answers().broken())
    {
        poll(waits, 2, -1);
        output.answers().write(output.takeArrived());
    }
}

}  // namespace web
