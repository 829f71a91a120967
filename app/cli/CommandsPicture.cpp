#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "app/Failure.h"
#include "app/cli/Commands.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"

namespace app {
namespace {

constexpr auto kPatience = std::chrono::seconds(30);  // for the first frame, for which much is drawn
constexpr auto kLook = std::chrono::milliseconds(10);

// The first frame of a picture, which is waited for on a thread of its own: a device may never give one.
class FirstFrame
{
public:
    explicit FirstFrame(services::ImageService& service) : thread_([this, &service] { read(service); }) {}
    ~FirstFrame()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isOver_ = true;
            if (source_ != nullptr)
            {
                source_->stop();
            }
        }
        thread_.join();
    }
    FirstFrame(const FirstFrame&) = delete;
    FirstFrame& operator=(const FirstFrame&) = delete;

    // It is there, or known not to come.
    bool isDone() const { return isDone_; }

    // Once that is so.
    const std::optional<services::Frame>& frame() const { return frame_; }
    const Error& error() const { return error_; }  // without a frame

private:
    void read(services::ImageService& service)
    {
        try
        {
            if (services::PictureSource* const source = open(service))
            {
                frame_ = source->next();
            }
        }
        catch (const std::exception& error)
        {
            error_ = {ErrorCode::noPicture, error.what()};
        }
        isDone_ = true;
    }

    services::PictureSource* open(services::ImageService& service)
    {
        std::unique_ptr<services::PictureSource> opened = service.openPicture();
        if (opened == nullptr)
        {
            error_ = {ErrorCode::notOnDevice, "this camera has no picture"};
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        source_ = std::move(opened);
        return isOver_ ? nullptr : source_.get();
    }

    std::mutex mutex_;
    // Guarded by mutex_.
    bool isOver_ = false;
    std::unique_ptr<services::PictureSource> source_;

    // The thread's until it is done.
    std::optional<services::Frame> frame_;
    Error error_ = {ErrorCode::noPicture, "the picture has ended"};
    std::atomic<bool> isDone_{false};

    std::thread thread_;
};

}  // namespace

Answer runSnapshot(Session& session, const Words& arguments)
{
    if (arguments.size() != 1 || arguments[0].empty())
    {
        return wrongUsage("snapshot");
    }
    const FirstFrame first(session.camera().service());
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!first.isDone())
    {
        if (!session.console().pause(kLook))
        {
            session.console().takeInterrupt();
            return Answer::failure({ErrorCode::interrupted, "the picture was not waited for"});
        }
        if (std::chrono::steady_clock::now() >= end)
        {
            return Answer::failure({ErrorCode::noPicture, "the picture does not come"});
        }
    }
    if (!first.frame())
    {
        return Answer::failure(first.error());
    }
    const services::Frame& frame = *first.frame();
    const std::string& file = arguments[0];
    try
    {
        session.console().writeFile(file, frame.jpeg);
    }
    catch (const Failure& failure)
    {
        return Answer::failure({ErrorCode::notWritten, failure.what()});
    }
    Answer answer;
    answer.text = file + ": " + std::to_string(frame.width) + " x " + std::to_string(frame.height) + ", frame " +
                  std::to_string(frame.number) + "\n";
    answer.data = toJson(frame, file);
    return answer;
}

}  // namespace app
