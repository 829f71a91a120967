#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "app/json/Json.h"
#include "app/web/Http.h"
#include "camera/Camera.h"

namespace web {

// What has happened to a camera, for any number of readers of server-sent events. Keeps the last kKept of them, so that
// a reader who comes back is told what it missed. Thread-safe.
class EventLog
{
public:
    // The camera must outlive it.
    explicit EventLog(camera::Camera& camera);
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    // From the event behind lastSeen on, as far as it is kept; everything else begins with the event "state" and what
    // state says then, which is asked for only so. Empty: from now on. The log must outlive it.
    std::shared_ptr<Source> reader(const std::string& lastSeen, const std::function<app::Json()>& state);

    // The number of the last event that changed anything, with a mark of this start of the camera.
    std::string lastChange() const;

private:
    class Reader;

    static constexpr std::size_t kKept = 1000;

    struct Kept
    {
        std::uint64_t number;
        std::string text;
    };

    void add(const camera::Event& event);
    std::string nameOf(std::uint64_t number) const;

    camera::Camera& camera_;
    const std::string start_;  // distinguishes the numbers of one start from another's

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::deque<Kept> kept_;
    std::uint64_t last_ = 0;
    std::uint64_t lastChange_ = 0;
    std::vector<std::weak_ptr<Reader>> readers_;

    int subscription_ = 0;
};

}  // namespace web
