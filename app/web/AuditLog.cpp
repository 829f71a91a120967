#include "app/web/AuditLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>

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

std::string shortened(const std::string& text)
{
    return text.size() <= AuditLog::kMostOfText ? text : text.substr(0, AuditLog::kMostOfText) + "...";
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
    nlohmann::ordered_json document = {
        {"time", now()}, {"who", shortened(entry.who)}, {"from", entry.from}, {"what", shortened(entry.what)}};
    if (!entry.body.empty())
    {
        document["body"] = shortened(entry.body);
    }
    document["status"] = entry.status;
    // Everything beyond printable ASCII is escaped.
    const std::string line = document.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n";
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool written = write(line);
    if (!written && !failed_)
    {
        report_("changes cannot be noted in " + path_ + ": " + std::strerror(errno));
    }
    failed_ = !written;
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
