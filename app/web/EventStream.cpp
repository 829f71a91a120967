#include "app/web/EventStream.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "app/json/Results.h"

namespace web {
namespace {

// As it goes over the line. JSON has no line ends in it.
std::string eventText(const std::string& id, const std::string& name, const app::Json& data)
{
    return "id: " + id + "\nevent: " + name + "\ndata: " + app::jsonLine(data) + "\n";
}

// No two starts of a camera have the same one.
std::string markOfStart()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(now).count()) + "." +
           std::to_string(getpid());
}

}  // namespace

// Which events a client has been sent.
class EventLog::Reader : public Source
{
public:
    // state: what it is sent first, with the number seen.
    Reader(EventLog& log, std::uint64_t seen, std::string state) : log_(log), seen_(seen), state_(std::move(state)) {}

    // A reader who has fallen behind what is kept ends: it comes again, with its last number, and gets the state.
    std::optional<std::string> next() override
    {
        const std::lock_guard<std::mutex> lock(log_.mutex_);
        if (!log_.kept_.empty() && log_.kept_.front().number > seen_ + 1)
        {
            return std::nullopt;
        }
        std::string text = std::exchange(state_, {});
        for (const Kept& kept : log_.kept_)
        {
            if (kept.number > seen_)
            {
                text += kept.text;
                seen_ = kept.number;
            }
        }
        return text;
    }

    std::string heartbeat() const override { return ":\n\n"; }

    using Source::wake;

private:
    EventLog& log_;

    // Guarded by the log's mutex_.
    std::uint64_t seen_;
    std::string state_;
};

EventLog::EventLog(camera::Camera& camera)
    : camera_(camera),
      start_(markOfStart()),
      subscription_(camera.events().subscribe([this](const camera::Event& event) { add(event); }))
{
}

EventLog::~EventLog()
{
    camera_.events().unsubscribe(subscription_);
}

void EventLog::add(const camera::Event& event)
{
    const app::Json json = app::toJson(event);
    std::vector<std::shared_ptr<Reader>> readers;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++last_;
        using Kind = camera::Event::Kind;
        if (event.kind != Kind::lens && event.kind != Kind::log && event.kind != Kind::device &&
            event.kind != Kind::standings)
        {
            lastChange_ = last_;
        }
        kept_.push_back({last_, eventText(nameOf(last_), json["event"], json)});
        if (kept_.size() > kKept)
        {
            kept_.pop_front();
        }
        for (const std::weak_ptr<Reader>& known : readers_)
        {
            readers.push_back(known.lock());
        }
    }
    for (const std::shared_ptr<Reader>& reader : readers)
    {
        if (reader != nullptr)
        {
            reader->wake();
        }
    }
}

std::shared_ptr<Source> EventLog::reader(const std::string& lastSeen, const std::function<app::Json()>& state)
{
    std::unique_lock<std::mutex> lock(mutex_);
    std::uint64_t seen = last_;
    std::string first;
    if (!lastSeen.empty() && lastSeen != nameOf(last_))
    {
        const auto found =
            std::find_if(kept_.begin(), kept_.end(), [&](const Kept& kept) { return nameOf(kept.number) == lastSeen; });
        if (found != kept_.end())
        {
            seen = found->number;
        }
        else
        {
            lock.unlock();  // the camera may tell while it is asked; that comes behind the state
            first = eventText(nameOf(seen), "state", state());
            lock.lock();
        }
    }
    const auto made = std::make_shared<Reader>(*this, seen, std::move(first));
    readers_.erase(std::remove_if(readers_.begin(), readers_.end(),
                                  [](const std::weak_ptr<Reader>& known) { return known.expired(); }),
                   readers_.end());
    readers_.push_back(made);
    return made;
}

std::string EventLog::lastChange() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return nameOf(lastChange_);
}

std::string EventLog::nameOf(std::uint64_t number) const
{
    return start_ + "-" + std::to_string(number);
}

}  // namespace web
