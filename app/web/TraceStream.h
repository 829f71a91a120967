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

    static constexpr std::size_t kKept = 256 << 10;  // bytes of the lines that are kept for those who come later

    // Whole lines, each with its end.
    void take(const std::string& lines);

    // The lines from now on that contain filter. The log must outlive it.
    std::shared_ptr<Source> reader(const std::string& filter);

    // The last that have come, oldest first.
    std::vector<std::string> lines();

private:
    class Reader;

    void keep(const std::vector<std::string>& lines);

    std::mutex mutex_;

    // Guarded by mutex_.
    std::vector<std::weak_ptr<Reader>> readers_;
    std::deque<std::string> kept_;
    std::size_t size_ = 0;  // of those, in bytes
};

}  // namespace web
