#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace web {

// Who changed what: a JSON document a line, at the end of a file. When the file is full it becomes "<path>.1", in the
// place of the one before, so that both together are bounded. Thread-safe.
class AuditLog
{
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Entry
    {
        std::string who;   // empty where nobody has to say
        std::string from;  // address, or "socket"
        std::string what;  // "PATCH /api/parameters?keep=false"
        std::string body = {};
        int status = 0;  // of the answer
    };

    static constexpr std::size_t kMostBytes = 1 << 20;
    static constexpr std::size_t kMostOfText = 500;  // bytes of a member as it is written; what is longer is cut

    // report: told when a line cannot be written, once until one can be again.
    AuditLog(std::string path, std::function<void(const std::string&)> report, std::size_t mostBytes = kMostBytes);

    void add(const Entry& entry);
    // What somebody tried who may not. At most one line a minute: "refused" says how many others there were since the
    // line before, or whoever may read could push all changes out of the files.
    void addRefused(const Entry& entry, Time now = std::chrono::steady_clock::now());

private:
    void addLine(const Entry& entry, std::optional<std::size_t> refused);
    bool write(const std::string& line) const;

    const std::string path_;
    const std::function<void(const std::string&)> report_;
    const std::size_t mostBytes_;

    std::mutex mutex_;
    // Guarded by mutex_.
    bool failed_ = false;
    std::size_t refused_ = 0;  // without a line
    std::optional<Time> lastRefused_;
};

}  // namespace web
