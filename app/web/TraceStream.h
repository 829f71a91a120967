#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "app/web/Http.h"

namespace web {

// What the library prints, line by line as it comes, for any number of readers of server-sent events. Thread-safe.
class TraceLog
{
public:
    // That wait for one reader, in bytes; then its oldest are dropped, and it is told how many.
    static constexpr std::size_t kWaiting = 64 << 10;
    static constexpr std::size_t kLongest = 4096;  // bytes of a line; more are cut off

    // Whole lines, each with its end.
    void take(const std::string& lines);

    // The lines from now on that contain filter. The log must outlive it.
    std::shared_ptr<Source> reader(const std::string& filter);

private:
    class Reader;

    std::mutex mutex_;
    std::vector<std::weak_ptr<Reader>> readers_;  // guarded by mutex_
};

}  // namespace web
