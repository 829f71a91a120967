#include "app/web/PictureStream.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "app/web/Answers.h"
#include "app/web/RequestHead.h"

namespace web {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kStreamType[] = "multipart/x-mixed-replace; boundary=frame";
constexpr char kBoundary[] = "--frame\r\n";

// Of a part that is sent because there is no picture now: an image, since a browser shows nothing more behind another
// part.
constexpr char kProblemHeader[] = "X-Frame-Problem";

Response noPicture(const std::string& why)
{
    Response refusal = problem(503, "no-picture", why);
    refusal.headers.emplace_back("Retry-After", "1");
    return refusal;
}

// In any locale.
std::string text(double number)
{
    char digits[400];  // the longest has 342
    return {digits, std::to_chars(std::begin(digits), std::end(digits), number, std::chars_format::fixed).ptr};
}

std::string text(bool flag)
{
    return flag ? "true" : "false";
}

Response answerOf(services::Frame frame)
{
    return {200,
            "image/jpeg",
            std::move(frame.jpeg),
            {{"X-Frame-Number", std::to_string(frame.number)},
             {"X-Frame-Time", text(frame.time)},
             {"X-Frame-Width", std::to_string(frame.width)},
             {"X-Frame-Height", std::to_string(frame.height)},
             {"X-Frame-Exposure", text(frame.exposure)},
             {"X-Frame-Gain", text(frame.gain)},
             {"X-Frame-Rate", text(frame.rate)},
             {"X-Frame-Light", text(frame.light)},
             {"X-Frame-Night", text(frame.night)},
             {"X-Frame-Frozen", text(frame.frozen)}}};
}

// Ends with the next part's boundary: browsers show a picture when they have seen where it ends.
std::string partOf(const Response& frame)
{
    std::string head =
        "Content-Type: " + frame.type + "\r\nContent-Length: " + std::to_string(frame.body.size()) + "\r\n";
    for (const auto& [name, value] : frame.headers)
    {
        head += name + ": " + value + "\r\n";
    }
    std::string part;
    part.reserve(head.size() + frame.body.size() + sizeof kBoundary + 4);
    return part.append(head).append("\r\n").append(frame.body).append("\r\n").append(kBoundary);
}

}  // namespace

// Somebody looks as long as it lives.
class Pictures::Look
{
public:
    explicit Look(Pictures& pictures) : pictures_(pictures) { pictures_.arrive(); }
    ~Look() { pictures_.leave(); }
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;

private:
    Pictures& pictures_;
};

class Pictures::Viewer : public Source
{
public:
    explicit Viewer(Pictures& pictures) : pictures_(pictures), look_(pictures) {}

    std::optional<std::string> next() override
    {
        Shared told;
        {
            const std::lock_guard<std::mutex> lock(pictures_.mutex_);
            if (pictures_.ending_)
            {
                return std::nullopt;
            }
            told = pictures_.told_;
        }
        if (told == last_)
        {
            return "";
        }
        const bool isFirst = last_ == nullptr;
        last_ = std::move(told);
        return (isFirst ? kBoundary : "") + partOf(*last_);
    }

    // The same again: nothing else may stand between two parts.
    std::string heartbeat() const override { return partOf(*last_); }

    using Source::wake;

private:
    Pictures& pictures_;
    const Look look_;
    Shared last_;  // that was sent
};

// A source that can be stopped, as long as it lives.
class Pictures::Reading
{
public:
    Reading(Pictures& pictures, services::PictureSource& source) : pictures_(pictures)
    {
        const std::lock_guard<std::mutex> lock(pictures_.mutex_);
        if (pictures_.left_ || pictures_.ending_)
        {
            source.stop();
            return;
        }
        pictures_.source_ = &source;
        pictures_.opening_ = false;
        pictures_.refusal_.reset();
    }
    ~Reading()
    {
        const std::lock_guard<std::mutex> lock(pictures_.mutex_);
        pictures_.source_ = nullptr;
    }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

private:
    Pictures& pictures_;
};

Pictures::Pictures(Open open, Times times) : open_(std::move(open)), times_(times) {}

Pictures::~Pictures()
{
    end();
    if (thread_.joinable())
    {
        thread_.join();
    }
}

void Pictures::end()
{
    Lock lock(mutex_);
    ending_ = true;
    if (source_ != nullptr)
    {
        source_->stop();
    }
    wakeViewers(lock);
}

// ---- those who look ------------------------------------------------------------------------------------------

Response Pictures::stream()
{
    const auto viewer = std::make_shared<Viewer>(*this);
    Lock lock(mutex_);
    if (std::optional<Response> refusal = waitForFrame(lock))
    {
        return std::move(*refusal);
    }
    viewers_.erase(std::remove_if(viewers_.begin(), viewers_.end(),
                                  [](const std::weak_ptr<Viewer>& known) { return known.expired(); }),
                   viewers_.end());
    viewers_.push_back(viewer);
    return {200, kStreamType, "", {}, viewer};
}

Response Pictures::snapshot()
{
    const Look look(*this);
    Lock lock(mutex_);
    if (std::optional<Response> refusal = waitForFrame(lock))
    {
        return std::move(*refusal);
    }
    return *newest_;
}

// What is answered instead when none comes.
std::optional<Response> Pictures::waitForFrame(Lock& lock)
{
    // From when opening began: of a device that hangs, those who come later hear at once.
    if (!changed_.wait_until(lock, since_ + times_.patience,
                             [this] { return ending_ || refusal_ || newest_ != nullptr; }))
    {
        return noPicture("the picture does not come");
    }
    return ending_ ? std::optional(problem(503, "ending", "the camera is ending")) : refusal_;
}

void Pictures::arrive()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!running_ && !ending_)
    {
        if (thread_.joinable())
        {
            thread_.join();  // it has nothing left to do
        }
        since_ = Clock::now();
        thread_ = std::thread([this] { run(); });
        running_ = true;
    }
    ++looking_;
}

void Pictures::leave()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (--looking_ > 0)
    {
        return;
    }
    left_ = true;
    if (source_ != nullptr)
    {
        source_->stop();
    }
    if (!opening_)
    {
        since_ = Clock::now();
    }
    refusal_.reset();
    newest_ = nullptr;
    told_ = nullptr;
    changed_.notify_all();
}

// ---- the thread that reads -----------------------------------------------------------------------------------

void Pictures::run()
{
    Lock lock(mutex_);
    while (looking_ > 0 && !ending_)
    {
        left_ = false;
        opening_ = true;
        since_ = Clock::now();
        lock.unlock();
        Response refusal = read();
        lock.lock();
        opening_ = false;
        if (!left_ && !ending_)
        {
            refuse(lock, std::move(refusal));
            changed_.wait_for(lock, times_.pause, [this] { return left_ || ending_; });
        }
    }
    running_ = false;
}

// Until the picture ends: why it did.
Response Pictures::read()
{
    try
    {
        const std::unique_ptr<services::PictureSource> source = open_();
        if (source == nullptr)
        {
            return errorResponse({app::ErrorCode::notOnDevice, "this camera has no picture"});
        }
        const Reading reading(*this, *source);
        while (std::optional<services::Frame> frame = source->next())
        {
            if (frame->jpeg.size() > kLargest)
            {
                throw std::runtime_error("a frame has " + std::to_string(frame->jpeg.size()) + " bytes, and may have " +
                                         std::to_string(kLargest));
            }
            Response answer = answerOf(std::move(*frame));
            Lock lock(mutex_);
            show(lock, std::move(answer));
        }
    }
    catch (const std::exception& error)
    {
        return noPicture(error.what());
    }
    return noPicture("the picture has ended");
}

void Pictures::refuse(Lock& lock, Response refusal)
{
    newest_ = nullptr;
    if (told_ != nullptr)
    {
        Response last = *told_;
        if (last.headers.back().first != kProblemHeader)
        {
            last.headers.emplace_back(kProblemHeader, "");
        }
        last.headers.back().second = refusal.body;
        told_ = std::make_shared<const Response>(std::move(last));
    }
    refusal_ = std::move(refusal);
    wakeViewers(lock);
}

void Pictures::show(Lock& lock, Response frame)
{
    if (!left_)
    {
        newest_ = std::make_shared<const Response>(std::move(frame));
        told_ = newest_;
        wakeViewers(lock);
    }
}

void Pictures::wakeViewers(Lock& lock)
{
    changed_.notify_all();
    const std::vector<std::weak_ptr<Viewer>> viewers = viewers_;
    lock.unlock();  // whoever is woken may be the last who looked
    for (const std::weak_ptr<Viewer>& known : viewers)
    {
        if (const std::shared_ptr<Viewer> viewer = known.lock())
        {
            viewer->wake();
        }
    }
    lock.lock();
}

}  // namespace web
