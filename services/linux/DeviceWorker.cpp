#include "services/linux/DeviceWorker.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace devices {
namespace {

Instant now()
{
    return std::chrono::steady_clock::now();
}

}  // namespace

DeviceWorker::Wake::Wake() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (descriptor_ < 0)
    {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

DeviceWorker::Wake::~Wake()
{
    close(descriptor_);
}

void DeviceWorker::Wake::signal() const
{
    eventfd_write(descriptor_, 1);
}

void DeviceWorker::Wake::clear() const
{
    eventfd_t count;
    eventfd_read(descriptor_, &count);
}

DeviceWorker::DeviceWorker(Open open, WorkerListener& listener, Patience patience, Others others)
    : open_(std::move(open)),
      listener_(listener),
      patience_(patience),
      queue_(patience, others),
      thread_([this] { run(); })
{
}

DeviceWorker::~DeviceWorker()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    wake_.signal();
    thread_.join();
}

void DeviceWorker::wish(const std::vector<Setting>& settings)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_.wish(settings);
    }
    wake_.signal();
}

void DeviceWorker::press(u32 id)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_.press(id);
    }
    wake_.signal();
}

void DeviceWorker::again(u32 id)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_.again(id);
    }
    wake_.signal();
}

void DeviceWorker::plugged()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isPlugged_ = true;
        openings_ = 0;
        nextOpening_ = {};
    }
    wake_.signal();
}

void DeviceWorker::lookAgain()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_.lookAgain();
    }
    wake_.signal();
}

Report DeviceWorker::report(u32 id) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return queue_.report(id, now());
}

bool DeviceWorker::isStuck() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return queue_.isStuck(now());
}

bool DeviceWorker::isEnding() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return isEnding_;
}

void DeviceWorker::run()
{
    while (!isEnding())
    {
        checkDevice();
        if (device_ == nullptr)
        {
            openDevice();
        }
        else if (!sendNext())
        {
            look();
        }
        tell();
        waitForMore();
    }
    device_.reset();
}

void DeviceWorker::checkDevice()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!std::exchange(isPlugged_, false))
        {
            return;
        }
    }
    if (device_ != nullptr && !device_->isThere())
    {
        loseDevice();
        const std::lock_guard<std::mutex> lock(mutex_);
        nextOpening_ = {};  // the one that was plugged may be it
    }
}

void DeviceWorker::openDevice()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (now() < nextOpening_)
        {
            return;
        }
        nextOpening_ = now() + patience_.after(++openings_);
    }
    device_ = open_();
    if (device_ == nullptr)
    {
        return;
    }
    const std::vector<Control>& controls = device_->controls();
    const Values values = find(controls);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        opened_ = now();
        queue_.opened(controls);
        for (const auto& [id, value] : values)
        {
            queue_.found(id, value, now());
        }
    }
    listener_.opened(controls, values);
}

// What the device has at first contact. Later that is no matter, and to read it costs time.
Values DeviceWorker::find(const std::vector<Control>& controls)
{
    Values values;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (queue_.hasWishes())
        {
            return values;
        }
    }
    for (const Control& control : controls)
    {
        std::int64_t value = 0;
        const int error = control.isReadable ? device_->get(control.id, value) : EACCES;
        if (error == ETIMEDOUT)
        {
            break;  // each of the others would take seconds too
        }
        if (error == 0)
        {
            values[control.id] = value;
        }
    }
    return values;
}

// Once nothing is left to send: what is about to be sent is not there yet.
void DeviceWorker::look()
{
    std::set<u32> ids;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ids = queue_.looks();
    }
    for (const u32 id : ids)
    {
        std::int64_t value = 0;
        const int error = device_->get(id, value);
        if (error == ENODEV)
        {
            return loseDevice();
        }
        if (error == ETIMEDOUT)
        {
            return;  // each of the others would take seconds too
        }
        if (error == 0)
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            queue_.found(id, value, now());
        }
    }
}

// False when there was nothing to send.
bool DeviceWorker::sendNext()
{
    std::vector<Setting> settings;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        settings = queue_.next(now());
    }
    if (settings.empty())
    {
        return false;
    }
    const int error = device_->set(settings);
    bool isThere;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isThere = queue_.done(error, settings, now());
    }
    if (!isThere)
    {
        loseDevice();
    }
    return true;
}

void DeviceWorker::loseDevice()
{
    device_.reset();
    listener_.lost();
    const std::lock_guard<std::mutex> lock(mutex_);
    // One that can be opened, and is gone with the first set, is not tried without pause.
    openings_ = now() - opened_ >= patience_.most ? 1 : std::max(openings_, 1);
    nextOpening_ = now() + patience_.after(openings_);
    queue_.lost();
}

// Not at all when there is more to send, but what has come meanwhile is heard.
void DeviceWorker::waitForMore()
{
    std::optional<Instant> until;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        until = device_ != nullptr ? queue_.due() : nextOpening_;
    }
    int timeout = -1;
    if (until)
    {
        // Rounded up: a millisecond too early would be looked at again at once.
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(*until - now(), Instant::duration(0)));
        timeout = static_cast<int>(std::min<std::int64_t>(left.count(), INT32_MAX));
    }
    pollfd descriptors[] = {{wake_.descriptor(), POLLIN, 0},
                            {device_ != nullptr ? device_->eventDescriptor() : -1, POLLIN, 0}};
    poll(descriptors, 2, timeout);
    wake_.clear();
    if ((descriptors[1].revents & POLLIN) != 0)
    {
        hear();
    }
}

void DeviceWorker::hear()
{
    std::vector<ControlEvent> events;
    if (device_->events(events) != 0)
    {
        return loseDevice();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const ControlEvent& event : events)
    {
        queue_.heard(event, now());
    }
}

void DeviceWorker::tell()
{
    std::map<u32, Report> news;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        news = queue_.news(now());
    }
    if (!news.empty())
    {
        listener_.told(news);
    }
}

}  // namespace devices
