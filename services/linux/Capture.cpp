#include "services/linux/Capture.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "services/SignalsHeld.h"
#include "services/daynight/Engine.h"
#include "services/linux/V4l2Stream.h"

namespace devices {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kRest(20);  // where a driver says that it fails, and says so again at once
constexpr double kMostGain = 60;   // decibels; what a device's whole range is taken for, as by the keys

std::string seconds(milliseconds time)
{
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time).count()) + " s";
}

// What a device says about its exposure, as long as it answers.
class ExposureMeter
{
public:
    explicit ExposureMeter(VideoNode& node)
        : ioctl_([&node](unsigned long request, void* argument) { return node.ioctl(request, argument); }),
          time_(queryControl(ioctl_, V4L2_CID_EXPOSURE_ABSOLUTE)),
          gain_(queryControl(ioctl_, V4L2_CID_GAIN)),
          mode_(queryControl(ioctl_, V4L2_CID_EXPOSURE_AUTO))
    {
    }

    std::optional<Exposure> read()
    {
        const std::optional<std::int64_t> time = valueOf(time_);
        const std::optional<std::int64_t> gain = valueOf(gain_);
        if (!time && !gain)
        {
            return std::nullopt;
        }
        Exposure exposure;
        exposure.seconds = time ? static_cast<double>(*time) / 10'000 : 0;
        if (gain && gain_->maximum > gain_->minimum)
        {
            exposure.gain = kMostGain * static_cast<double>(*gain - gain_->minimum) /
                            static_cast<double>(gain_->maximum - gain_->minimum);
        }
        const std::int64_t mode = valueOf(mode_).value_or(-1);
        exposure.isAutomatic = mode == V4L2_EXPOSURE_AUTO || mode == V4L2_EXPOSURE_APERTURE_PRIORITY;
        return exposure;
    }

private:
    std::optional<std::int64_t> valueOf(std::optional<Control>& control)
    {
        if (!control || !control->isReadable)
        {
            return std::nullopt;
        }
        v4l2_ext_control value = {};
        value.id = control->id;
        v4l2_ext_controls call = {};
        call.which = V4L2_CTRL_WHICH_CUR_VAL;
        call.count = 1;
        call.controls = &value;
        if (ioctl_(VIDIOC_G_EXT_CTRLS, &call) != 0)
        {
            control.reset();  // the next time it may cost seconds again
            return std::nullopt;
        }
        return std::clamp<std::int64_t>(value.value, control->minimum, control->maximum);
    }

    const Ioctl ioctl_;
    std::optional<Control> time_;  // nothing: not to be asked
    std::optional<Control> gain_;
    std::optional<Control> mode_;
};

}  // namespace

std::optional<double> lightOf(const Exposure& exposure)
{
    const auto time = std::chrono::round<host::Span>(std::chrono::duration<double>(exposure.seconds));
    return exposure.isAutomatic ? daynight::lightFromExposure(time, std::pow(10.0, exposure.gain / 20)) : std::nullopt;
}

// What readers and the thread have in common. A session is one stream, from the first reader to the last.
class Capture::Shared
{
public:
    Shared() : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        if (wake_ < 0)
        {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    ~Shared() { ::close(wake_); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    int descriptor() const { return wake_; }

    // ---- readers -----------------------------------------------------------------------------------------------

    // The session's number.
    std::uint64_t join(std::uint64_t& newest)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (over_ == wanted_)
        {
            ++wanted_;
            readers_ = 0;
        }
        ++readers_;
        newest = number_;
        changed_.notify_all();
        return wanted_;
    }

    void leave(std::uint64_t session)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (session == wanted_ && --readers_ == 0)
        {
            signal();
        }
    }

    void awaitStart(std::uint64_t session, milliseconds patience)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, patience, [&] { return begun_ >= session || over_ >= session; }))
        {
            throw std::runtime_error(noPictureReason(ETIMEDOUT));
        }
        if (over_ >= session)
        {
            throw std::runtime_error(reason_);
        }
    }

    // A frame newer than that, or nothing once stopped is set.
    std::shared_ptr<const services::Frame> await(std::uint64_t session, std::uint64_t last, milliseconds patience,
                                                 const bool& stopped)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, patience, [&] { return stopped || over_ >= session || number_ > last; }))
        {
            throw std::runtime_error(noPictureReason(ETIMEDOUT));
        }
        if (stopped)
        {
            return nullptr;
        }
        if (over_ >= session)
        {
            throw std::runtime_error(reason_);
        }
        return newest_;
    }

    void stop(bool& stopped)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped = true;
        changed_.notify_all();
    }

    std::optional<Exposure> exposure() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return exposure_;
    }

    // ---- the thread --------------------------------------------------------------------------------------------

    // False when there will be none.
    bool awaitReader()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isEnding_ || (over_ < wanted_ && readers_ > 0); });
        return !isEnding_;
    }

    void begin()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        begun_ = wanted_;
        changed_.notify_all();
    }

    void show(services::Frame frame, std::uint32_t steps, const std::optional<Exposure>& exposure)
    {
        frame.number = number_ + steps;  // written by this thread alone
        auto shown = std::make_shared<const services::Frame>(std::move(frame));
        const std::lock_guard<std::mutex> lock(mutex_);
        number_ = shown->number;
        newest_ = std::move(shown);
        exposure_ = exposure;
        changed_.notify_all();
    }

    // Ends the session when nobody reads any more.
    bool endUnread()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::uint64_t signalled;
        [[maybe_unused]] const ssize_t got = read(wake_, &signalled, sizeof signalled);
        if (readers_ > 0 && !isEnding_)
        {
            return false;
        }
        finish("the camera is ending");
        return true;
    }

    void end(const std::string& reason)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        finish(reason);
    }

    // Of everything.
    void close()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
        signal();
        changed_.notify_all();
    }

private:
    void signal() const
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);  // it is full: signalled already
    }

    void finish(const std::string& reason)
    {
        over_ = wanted_;
        reason_ = reason;
        newest_ = nullptr;
        exposure_.reset();
        changed_.notify_all();
    }

    const int wake_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    bool isEnding_ = false;
    std::uint64_t wanted_ = 0;  // the last session that somebody asked for
    std::uint64_t begun_ = 0;   // the last one that streams, or did
    std::uint64_t over_ = 0;
    int readers_ = 0;     // of the session wanted
    std::string reason_;  // why the last one is over
    std::uint64_t number_ = 0;
    std::shared_ptr<const services::Frame> newest_;
    std::optional<Exposure> exposure_;
};

class Capture::Reader : public services::PictureSource
{
public:
    Reader(std::shared_ptr<Shared> shared, milliseconds silence)
        : shared_(std::move(shared)),
          silence_(silence),
          session_(shared_->join(first_)),
          last_(first_)
    {
    }
    ~Reader() override { shared_->leave(session_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void awaitStart(milliseconds patience) { shared_->awaitStart(session_, patience); }

    std::optional<services::Frame> next() override
    {
        if (isOver_)
        {
            return std::nullopt;
        }
        isOver_ = true;  // unless it goes well
        const std::shared_ptr<const services::Frame> shown = shared_->await(session_, last_, silence_, stopped_);
        if (shown == nullptr)
        {
            return std::nullopt;
        }
        isOver_ = false;
        last_ = shown->number;
        services::Frame frame = *shown;
        frame.number -= first_;
        return frame;
    }

    void stop() override { shared_->stop(stopped_); }

private:
    const std::shared_ptr<Shared> shared_;
    const milliseconds silence_;
    std::uint64_t first_ = 0;  // number of the frame before the first
    const std::uint64_t session_;
    std::uint64_t last_;  // that was given
    bool isOver_ = false;
    bool stopped_ = false;  // guarded by the mutex of what is shared
};

// The thread's part of a session.
class Capture::Session
{
public:
    Session(const Capture& capture, VideoNode& node)
        : shared_(*capture.shared_),
          look_(capture.look_),
          times_(capture.times_),
          node_(node),
          meter_(node)
    {
    }

    // Until nobody reads. Throws std::runtime_error, with the reason, when there are no more pictures.
    void run()
    {
        do
        {
            rate_ = look_().rate;
            stream_.reset();
            stream_.emplace(node_, rate_);
            shared_.begin();
        }
        while (deliver());
    }

private:
    // True when another rate is wished, false when nobody reads.
    bool deliver()
    {
        lastGood_ = Clock::now();
        while (wait(node_.descriptor(), times_.stall - sinceGood()))
        {
            if (std::optional<V4l2Stream::Picture> picture = stream_->take())
            {
                lastGood_ = Clock::now();
                if (!show(std::move(*picture)))
                {
                    return true;
                }
            }
            else if (isFailing_)
            {
                wait(-1, kRest);
            }
            if (sinceGood() >= times_.stall)
            {
                throw std::runtime_error(stream_->gaveOnlyBroken()
                                             ? "the camera has given only broken pictures for " + seconds(times_.stall)
                                             : "the camera has given no picture for " + seconds(times_.stall));
            }
        }
        return false;
    }

    milliseconds sinceGood() const { return std::chrono::duration_cast<milliseconds>(Clock::now() - lastGood_); }

    // For the descriptor, and no longer than that. False when nobody reads any more.
    bool wait(int descriptor, milliseconds time)
    {
        pollfd watched[] = {{shared_.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}};
        poll(watched, 2, static_cast<int>(std::max<milliseconds::rep>(time.count(), 0)));
        isFailing_ = (watched[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
        return watched[0].revents == 0 || !shared_.endUnread();
    }

    // False when another rate is wished.
    bool show(V4l2Stream::Picture picture)
    {
        const Surroundings around = look_();
        if (around.isStuck)
        {
            exposure_.reset();
        }
        else if (Clock::now() >= nextExposure_)
        {
            exposure_ = meter_.read();
            nextExposure_ = Clock::now() + times_.exposure;
        }
        services::Frame frame;
        frame.time = around.time;
        frame.width = picture.width;
        frame.height = picture.height;
        frame.jpeg = std::move(picture.jpeg);
        frame.exposure = exposure_ ? exposure_->seconds : 0;
        frame.gain = exposure_ ? exposure_->gain : 0;
        frame.rate = stream_->rate();
        frame.light = around.light;
        frame.night = around.night;
        shared_.show(std::move(frame), picture.steps, exposure_);
        return around.rate == rate_;
    }

    Shared& shared_;
    const Look& look_;
    const Times& times_;
    VideoNode& node_;
    ExposureMeter meter_;
    u32 rate_ = 0;  // as wished
    std::optional<V4l2Stream> stream_;
    Clock::time_point lastGood_;
    bool isFailing_ = false;
    std::optional<Exposure> exposure_;
    Clock::time_point nextExposure_;
};

Capture::Capture(Open open, Look look) : Capture(std::move(open), std::move(look), Times()) {}

Capture::Capture(Open open, Look look, Times times)
    : open_(std::move(open)),
      look_(std::move(look)),
      times_(times),
      shared_(std::make_shared<Shared>())
{
}

Capture::~Capture()
{
    shared_->close();
    if (thread_.joinable())
    {
        thread_.join();
    }
}

std::unique_ptr<services::PictureSource> Capture::open()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!thread_.joinable())
        {
            const services::SignalsHeld held;
            thread_ = std::thread([this] { run(); });
        }
    }
    auto reader = std::make_unique<Reader>(shared_, times_.silence);
    reader->awaitStart(times_.start);
    return reader;
}

std::optional<Exposure> Capture::exposure() const
{
    return shared_->exposure();
}

void Capture::run()
{
    while (shared_->awaitReader())
    {
        stream();
    }
}

// What readers are told, they hear before the device is closed, which may take its time.
void Capture::stream()
{
    int error = 0;
    const std::unique_ptr<VideoNode> node = open_(error);
    if (node == nullptr)
    {
        shared_->end(noPictureReason(error));
        return;
    }
    Session session(*this, *node);
    try
    {
        session.run();
    }
    catch (const std::exception& failure)
    {
        shared_->end(failure.what());
    }
}

}  // namespace devices
