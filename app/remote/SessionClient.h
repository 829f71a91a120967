#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "app/Failure.h"
#include "app/cli/CommandRunner.h"
#include "app/cli/Terminal.h"
#include "app/remote/FrameSocket.h"

namespace remote {

// Runs command lines on the camera of another process, and does on this one's terminal what its console is told to.
class SessionClient : public app::CommandRunner
{
public:
    // A session with the camera that listens at path. Nothing when none answers within the limit. Throws app::Failure
    // when it gives none.
    static std::unique_ptr<FrameSocket> open(const std::string& path, bool json, bool interactive,
                                             std::chrono::milliseconds limit);

    // The camera has gone before it answered anything, as one does that was about to end.
    class Unanswered : public app::Failure
    {
    public:
        Unanswered() : Failure("the camera has ended") {}
    };

    // socket: of open.
    // mayStartAnew: the first line throws Unanswered when that happens; otherwise it fails.
    SessionClient(std::unique_ptr<FrameSocket> socket, app::Terminal& terminal, bool json, bool mayStartAnew);
    ~SessionClient() override;

    bool run(const std::string& line) override;
    app::Vocabulary vocabulary() override;

    // A signal has come: the camera is told what it means for what runs. Thread-safe.
    void tellSignal();

    // The exit status of a client that would otherwise end with this one. When the camera has gone before all was run,
    // that is said.
    int statusOr(int otherwise);

private:
    void readAll();
    void act(const Frame& frame);
    std::vector<std::string> keptAnswer() const;
    bool isNamed(const std::string& file);
    std::string whyNotWritten(const Frame& file);
    void tellLoss(const std::string& command);
    std::optional<Frame> ask(Kind kind, const std::vector<std::string>& parts);

    app::Terminal& terminal_;
    const std::unique_ptr<FrameSocket> socket_;
    const bool mayStartAnew_;
    bool lossIsTold_ = false;
    std::atomic<bool> isAnswered_{false};

    std::mutex mutex_;
    std::condition_variable changed_;
    // Guarded by mutex_.
    bool isLost_ = false;
    std::string line_;  // that runs
    std::optional<Frame> answer_;

    std::thread reader_;
};

}  // namespace remote
