#include "camera/Events.h"

namespace camera {

int Events::subscribe(Listener listener)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    listeners_[nextListener_] = std::move(listener);
    return nextListener_++;
}

void Events::unsubscribe(int number)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    listeners_.erase(number);
}

void Events::tell(Event event)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    event.number = ++told_;
    for (const auto& [number, listener] : listeners_)
    {
        listener(event);
    }
}

}  // namespace camera
