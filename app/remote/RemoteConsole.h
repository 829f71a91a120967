#pragma once

#include <mutex>

#include "app/box/LibraryOutput.h"
#include "app/cli/Console.h"
#include "app/remote/FrameSocket.h"

namespace remote {

// The console of another process: what it is told to do is done there, on that one's own terminal.
class RemoteConsole : public app::Console, private app::LibraryOutput::Listener
{
public:
    // Both must outlive it.
    RemoteConsole(FrameSocket& socket, app::LibraryOutput& output, bool interactive);
    ~RemoteConsole() override;
    RemoteConsole(const RemoteConsole&) = delete;
    RemoteConsole& operator=(const RemoteConsole&) = delete;

    bool interactive() const override { return interactive_; }
    bool endsCamera() const override { return false; }
    void print(const std::string& text) override { send(Kind::print, {text}); }
    void notice(const std::string& text) override { send(Kind::notice, {text}); }
    int columns() const override { return columns_; }
    void showLibrary() override;
    std::optional<std::deque<std::string>> keptLines() override;
    void writeFile(const std::string& file, const std::string& bytes) override;
    bool pause(std::chrono::microseconds span) override;
    bool takeInterrupt() override;
    bool ended() const override { return gone_ || ended_; }
    bool broken() const override { return gone_; }
    bool readerGone() const override { return gone_; }

    // Waits for what the client wants next, while it is sent what the library prints. Nothing: the client has gone.
    std::optional<Frame> next();

    void send(Kind kind, const std::vector<std::string>& parts = {});

private:
    using Clock = std::chrono::steady_clock;

    std::optional<Frame> ask(Kind kind, const std::vector<std::string>& parts = {});
    void libraryPrinted(const std::string& bytes) override;
    void sendLibrary();
    void waitUntil(Clock::time_point end);
    void takeIn(Frame frame);

    FrameSocket& socket_;
    app::LibraryOutput& output_;
    const bool interactive_;
    const camera::Descriptor woken_;
    int columns_ = 0;
    bool gone_ = false;
    bool ended_ = false;
    bool interrupted_ = false;
    std::optional<Frame> request_;
    std::optional<Frame> answer_;

    std::mutex mutex_;
    std::string library_;  // guarded by mutex_: to be sent
};

}  // namespace remote
