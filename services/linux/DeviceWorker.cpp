#include "services/linux/DeviceWorker.h"

#include <sys/epoll.h>
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

DeviceWorker::Events::Events(const Wake& wake) : descriptor_(epoll_create1(EPOLL_CLOEXEC))
{
    epoll_event woken = {};
    woken.events = EPOLLIN | EPOLLET;  // so that nobody has to read it
    if (descriptor_ < 0 || epoll_ctl(descriptor_, EPOLL_CTL_ADD, wake.descriptor(), &woken) != 0)
    {
        const int error = errno;
        close(descriptor_);
        throw std::system_error(error, std::generic_category(), "epoll");
    }
}

DeviceWorker::Events::~Events()
{
    close(descriptor_);
}

void DeviceWorker::Events::add(int device) const
{
    epoll_event told = {};
    told.events = EPOLLIN;
    told.data.u32 = 1;
    epoll_ctl(descriptor_, EPOLL_CTL_ADD, device, &told);
}

void DeviceWorker::Events::remove(int device) const
{
    epoll_ctl(descriptor_, EPOLL_CTL_DEL, device, nullptr);
}

bool DeviceWorker::Events::wait(int timeout) const
{
    epoll_event events[2];
    const int count = epoll_wait(descriptor_, events, 2, timeout);
    return std::any_of(events, events + std::max(count, 0),
                       [](const epoll_event& event) { return event.data.u32 != 0; });
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
    change([this] { return isEnding_ = true; });
    thread_.join();
}

// change: false if it gives the thread nothing to do. The thread is woken once, and not while it is awake.
template <typename Change>
void DeviceWorker::change(const Change& change)
{
    bool isWoken = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isWoken = change() && std::exchange(isAsleep_, false);
    }
    if (isWoken)
    {
        wake_.signal();
    }
}

void DeviceWorker::wish(const std::vector<Setting>& settings)
{
    change([&] { return queue_.wish(settings); });
}

void DeviceWorker::press(u32 id)
{
    change([&] { return queue_.press(id), true; });
}

void DeviceWorker::again(u32 id)
{
    change([&] { return queue_.again(id), true; });
}

void DeviceWorker::guard(u32 id, bool isGuarded)
{
    change([&] { return queue_.guard(id, isGuarded), false; });
}

void DeviceWorker::plugged()
{
    change([this] {
        isPlugged_ = true;
        openings_ = 0;
        nextOpening_ = {};
        return true;
    });
}

void DeviceWorker::lookAgain()
{
    change([this] { return queue_.lookAgain(), true; });
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

void DeviceWorker::run()
{
    do
    {
        now_ = now();
        checkDevice();
        if (device_ == nullptr)
        {
            openDevice();
        }
        else
        {
            sendNext();
            look();
        }
        tell();
    }
    while (waitForMore());
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
    events_.add(device_->eventDescriptor());
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

void DeviceWorker::sendNext()
{
    std::vector<Setting> settings;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isAsleep_ = false;
        settings = queue_.next(now_);
    }
    if (settings.empty())
    {
        return;
    }
    const int error = device_->set(settings);
    now_ = now();
    bool isThere;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isThere = queue_.done(error, settings, now_);
    }
    if (!isThere)
    {
        loseDevice();
    }
}

void DeviceWorker::look()
{
    std::optional<u32> id;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        id = queue_.look(now_);
    }
    if (!id)
    {
        return;
    }
    std::int64_t value = 0;
    const int error = device_->get(*id, value);
    now_ = now();
    bool isThere;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isThere = queue_.looked(*id, error, value, now_);
    }
    if (!isThere)
    {
        loseDevice();
    }
}

void DeviceWorker::loseDevice()
{
    events_.remove(device_->eventDescriptor());
    device_.reset();
    listener_.lost();
    const std::lock_guard<std::mutex> lock(mutex_);
    // One that can be opened, and is gone with the first set, is not tried without pause.
    openings_ = now() - opened_ >= patience_.most ? 1 : std::max(openings_, 1);
    nextOpening_ = now() + patience_.after(openings_);
    queue_.lost();
}

// Not at all when there is more to send, but what has come meanwhile is heard. False: it is over.
bool DeviceWorker::waitForMore()
{
    std::optional<Instant> until;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (isEnding_)
        {
            return false;
        }
        isAsleep_ = true;
        until = isPlugged_ ? Instant() : device_ != nullptr ? queue_.due() : nextOpening_;
    }
    int timeout = -1;
    if (until)
    {
        // Rounded up: a millisecond too early would be looked at again at once.
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(*until - now(), Instant::duration(0)));
        timeout = static_cast<int>(std::min<std::int64_t>(left.count(), INT32_MAX));
    }
    if (events_.wait(timeout))
    {
        hear();
    }
    return true;
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
    News news;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        news = queue_.news(now_);
    }
    if (!news.empty())
    {
        listener_.told(news);
    }
}

}  // namespace devices
