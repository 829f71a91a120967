#include "app/remote/SessionClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "app/Failure.h"
#include "app/Options.h"
#include "app/web/ListenSocket.h"

namespace remote {
namespace {

constexpr std::size_t kMostOfKept = kMostOfRequest / 2;  // bytes; there are no more lines than fit beside them

int milliseconds(std::chrono::milliseconds limit)
{
    return static_cast<int>(limit.count());
}

}  // namespace

std::unique_ptr<FrameSocket> SessionClient::open(const std::string& path, bool json, bool interactive,
                                                 std::chrono::milliseconds limit)
{
    camera::Descriptor connected = web::connectTo(path);
    if (connected.number() < 0)
    {
        return nullptr;
    }
    auto socket = std::make_unique<FrameSocket>(std::move(connected));
    socket->send(Kind::hello, {kVersion, json ? "json" : "", interactive ? "prompt" : ""});
    std::optional<Frame> first;
    pollfd wait = {socket->descriptor(), POLLIN, 0};
    while (!first)
    {
        if (poll(&wait, 1, milliseconds(limit)) <= 0 || !socket->receive())
        {
            return nullptr;
        }
        first = socket->take();
    }
    if (first->kind != Kind::welcome)
    {
        throw app::Failure(first->kind == Kind::refused ? first->part(0) : "what answers is no camera: " + path);
    }
    return socket;
}

SessionClient::SessionClient(std::unique_ptr<FrameSocket> socket, app::Terminal& terminal, bool json, bool mayStartAnew)
    : CommandRunner(terminal, json),
      terminal_(terminal),
      socket_(std::move(socket)),
      mayStartAnew_(mayStartAnew),
      reader_([this] { readAll(); })
{
}

SessionClient::~SessionClient()
{
    socket_->shut();
    reader_.join();
}

bool SessionClient::run(const std::string& line)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        line_ = line;
    }
    const std::optional<Frame> done = ask(Kind::run, {line, std::to_string(terminal_.columns())});
    if (!done)
    {
        if (mayStartAnew_ && !isAnswered_)
        {
            throw Unanswered();
        }
        tellLoss(app::commandOf(line));
        return false;
    }
    if (done->part(1) == "quit")
    {
        quit();
    }
    return done->part(0) == "ok";
}

app::Vocabulary SessionClient::vocabulary()
{
    const auto choices = [this](Kind kind, const app::Words& parts) {
        const std::optional<Frame> answer = ask(kind, parts);
        return answer ? answer->parts : app::Words();
    };
    return {[choices](const app::Words& before) { return choices(Kind::words, before); },
            [choices](const std::string& key) { return choices(Kind::values, {key}); }};
}

void SessionClient::tellSignal()
{
    socket_->send(terminal_.ended() ? Kind::end : Kind::interrupt);
}

int SessionClient::statusOr(int otherwise)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!isLost_ || !isCutShort())
        {
            return otherwise;
        }
    }
    tellLoss("");
    return app::kExitCommandFailed;
}

void SessionClient::tellLoss(const std::string& command)
{
    if (!std::exchange(lossIsTold_, true))
    {
        printAnswer(command, app::Answer::failure({app::ErrorCode::noCamera, "the camera has ended"}));
    }
}

std::optional<Frame> SessionClient::ask(Kind kind, const std::vector<std::string>& parts)
{
    socket_->send(kind, parts);
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return isLost_ || answer_; });
    return std::exchange(answer_, std::nullopt);
}

void SessionClient::readAll()
{
    while (socket_->receive())
    {
        while (const std::optional<Frame> frame = socket_->take())
        {
            act(*frame);
        }
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isLost_ = true;
    }
    changed_.notify_all();
    terminal_.hangUp();
}

// The newest lines of them that a frame has room for.
std::vector<std::string> SessionClient::keptAnswer() const
{
    const auto kept = terminal_.keptLines();
    if (!kept)
    {
        return {"none"};
    }
    std::size_t room = kMostOfKept;
    auto first = kept->end();
    while (first != kept->begin() && std::prev(first)->size() <= room)
    {
        room -= (--first)->size();
    }
    std::vector<std::string> parts = {"kept"};
    parts.insert(parts.end(), first, kept->end());
    return parts;
}

// By the line that runs: what answers may be no camera.
bool SessionClient::isNamed(const std::string& file)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string error;
    const app::Words words = app::splitWords(line_, error).value_or(app::Words());
    return std::find(words.begin(), words.end(), file) != words.end();
}

std::string SessionClient::whyNotWritten(const Frame& file)
{
    if (!isNamed(file.part(0)))
    {
        return "nobody named the file " + file.part(0);
    }
    try
    {
        terminal_.writeFile(file.part(0), file.part(1));
        return "";
    }
    catch (const app::Failure& failure)
    {
        return failure.what();
    }
}

void SessionClient::act(const Frame& frame)
{
    isAnswered_ = isAnswered_ || (frame.kind != Kind::library && frame.kind != Kind::showLibrary);
    switch (frame.kind)
    {
    case Kind::print:
        terminal_.print(frame.part(0));
        break;
    case Kind::notice:
        terminal_.notice(frame.part(0));
        break;
    case Kind::library:
        app::writeAll(STDOUT_FILENO, frame.part(0));
        break;
    case Kind::showLibrary:
        terminal_.showLibrary();
        break;
    case Kind::keptLines:
        socket_->send(Kind::answer, keptAnswer());
        break;
    case Kind::file:
        socket_->send(Kind::answer, {whyNotWritten(frame)});
        break;
    default:
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        answer_ = frame;
        changed_.notify_all();
    }
    }
    if (terminal_.broken())
    {
        socket_->send(Kind::end);  // nobody reads what it prints
    }
}

}  // namespace remote
