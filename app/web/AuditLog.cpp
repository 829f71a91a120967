#include "app/web/AuditLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "camera/Descriptor.h"

namespace web {
namespace {

std::string now()
{
    const std::time_t seconds = std::time(nullptr);
    std::tm parts = {};
    char text[sizeof "2000-01-01T00:00:00Z"];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &parts));
    return text;
}

// Everything beyond printable ASCII is escaped.
std::string written(const nlohmann::ordered_json& json)
{
    return json.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

// An escaped byte may take six.
std::string shortened(const std::string& text)
{
    constexpr std::size_t kMost = AuditLog::kMostOfText + 2;  // with its quotes
    constexpr std::size_t kLongestEscape = 6;
    std::string cut = text.substr(0, AuditLog::kMostOfText);
    for (std::size_t size = written(cut).size(); size > kMost; size = written(cut).size())
    {
        cut.resize(cut.size() - (size - kMost + kLongestEscape - 1) / kLongestEscape);
    }
    return cut.size() == text.size() ? text : cut + "...";
}

}  // namespace

AuditLog::AuditLog(std::string path, std::function<void(const std::string&)> report, std::size_t mostBytes)
    : path_(std::move(path)),
      report_(std::move(report)),
      mostBytes_(mostBytes)
{
}

void AuditLog::add(const Entry& entry)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    addLine(entry, std::nullopt);
}

void AuditLog::addRefused(const Entry& entry, Time now)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (lastRefused_ && now - *lastRefused_ < std::chrono::minutes(1))
    {
        ++refused_;
        return;
    }
    lastRefused_ = now;
    addLine(entry, std::exchange(refused_, 0));
}

// Under mutex_.
void AuditLog::addLine(const Entry& entry, std::optional<std::size_t> refused)
{
    nlohmann::ordered_json document = {
        {"time", now()}, {"who", shortened(entry.who)}, {"from", entry.from}, {"what", shortened(entry.what)}};
    if (!entry.body.empty())
    {
        document["body"] = shortened(entry.body);
    }
    document["status"] = entry.status;
    if (refused)
    {
        document["refused"] = *refused;
    }
    const bool isWritten = write(written(document) + "\n");
    if (!isWritten && !failed_)
    {
        const std::string reason = std::strerror(errno);
        // Its path in the camera's private tree says nothing to whoever reads this outside.
        report_("changes cannot be noted in " + path_.substr(path_.rfind('/') + 1) + " in the state folder: " + reason);
    }
    failed_ = !isWritten;
}

bool AuditLog::write(const std::string& line) const
{
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    camera::Descriptor file(open(path_.c_str(), kFlags, 0600));
    struct stat facts = {};
    if (file.number() < 0 || fstat(file.number(), &facts) != 0)
    {
        return false;
    }
    if (facts.st_size > 0 && static_cast<std::size_t>(facts.st_size) + line.size() > mostBytes_)
    {
        if (rename(path_.c_str(), (path_ + ".1").c_str()) != 0)
        {
            return false;
        }
        facts.st_size = 0;
        file = camera::Descriptor(open(path_.c_str(), kFlags, 0600));
    }
    const ssize_t count = ::write(file.number(), line.data(), line.size());
    if (count == static_cast<ssize_t>(line.size()))
    {
        return true;
    }
    const int error = count < 0 ? errno : ENOSPC;
    [[maybe_unused]] const int cut = ftruncate(file.number(), facts.st_size);  // half a line would spoil the next
    errno = error;
    return false;
}

}  // namespace web
