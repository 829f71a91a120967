#include "services/Journal.h"

#include <cstring>
#include <utility>

#include "services/CommandNames.h"

namespace services {
namespace {

thread_local OwnRefusals* listening = nullptr;

// How many words of the caller's data a call keeps.
int keptWords(u32 cmd, int opt, const void* data)
{
    if (data == nullptr)
    {
        return 0;
    }
    switch (opt)
    {
    case IA_CMD_OPT_SET:
        return static_cast<int>(wordsToSet(cmd));
    case IA_CMD_OPT_GET:
        return cmd == IA_CMD_CAMERA_VERSION                                          ? 0
               : cmd == IA_CMD_SENSOR_CHECK || cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET ? Call::kWordsMax
                                                                                     : 1;
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return Call::kWordsMax;
    default:
        return 1;
    }
}

// What receives an answer may hold anything before the call, so it is not looked at.
bool readsData(u32 cmd, int opt)
{
    return opt == IA_CMD_OPT_SET || opt == IA_CMD_OPT_CORRECT_PARAM ||
           (cmd == IA_CMD_SENSOR_CHECK && opt == IA_CMD_OPT_GET);
}

}  // namespace

int Journal::call(ia_cmd_e cmd, int opt, void* data)
{
    Call entry{0, {}, cmd, opt, keptWords(cmd, opt, data), {}, {}, kDone};
    const std::size_t bytes = sizeof(u32) * static_cast<std::size_t>(entry.words);
    const bool isRead = bytes != 0 && readsData(cmd, opt);
    if (isRead)
    {
        std::memcpy(entry.in.data(), data, bytes);
    }
    entry.status = inner().call(cmd, opt, data);
    if (isRead || (bytes != 0 && entry.status == kDone))
    {
        std::memcpy(entry.out.data(), data, bytes);
    }
    entry.time = host::clock()->monotonic();
    keep(entry);
    if (opt == IA_CMD_OPT_SET && entry.status == kDone)
    {
        tell(entry);
    }
    else if (opt == IA_CMD_OPT_SET && listening != nullptr)
    {
        listening->refusals_.push_back(entry);
    }
    return entry.status;
}

void Journal::keep(const Call& call)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    ++total_;
    if (capacity_ == 0)
    {
        return;
    }
    if (calls_.size() == capacity_)
    {
        calls_.pop_front();
    }
    calls_.push_back(call);
    calls_.back().number = total_;
}

void Journal::tell(const Call& call) const
{
    std::vector<std::shared_ptr<const Listener>> listeners;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [number, listener] : listeners_)
        {
            listeners.push_back(listener);
        }
    }
    for (const std::shared_ptr<const Listener>& listener : listeners)
    {
        (*listener)(call.cmd, call.in);
    }
}

std::vector<Call> Journal::calls() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return {calls_.begin(), calls_.end()};
}

u32 Journal::callCount() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return total_;
}

void Journal::clearCalls()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
}

void Journal::setCapacity(std::size_t calls)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    capacity_ = calls;
    while (calls_.size() > capacity_)
    {
        calls_.pop_front();
    }
}

int Journal::subscribe(Listener listener)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    listeners_[nextListener_] = std::make_shared<const Listener>(std::move(listener));
    return nextListener_++;
}

void Journal::unsubscribe(int number)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    listeners_.erase(number);
}

OwnRefusals::OwnRefusals() : outer_(listening)
{
    listening = this;
}

OwnRefusals::~OwnRefusals()
{
    listening = outer_;
}

}  // namespace services
