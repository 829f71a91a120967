#include "app/box/KeptLines.h"

namespace app {
namespace {

constexpr std::size_t kLinesMax = 1000;

// How the first line of a report begins; it says where, and the second one what.
bool beginsReport(const std::string& line)
{
    for (const char* beginning : {"[sensor assert]", "[sensor warn]", "[sensor err]"})
    {
        if (line.rfind(beginning, 0) == 0)
        {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string KeptLines::take(const std::string& lines)
{
    std::string shown;
    std::size_t begin = 0;
    for (std::size_t end = lines.find('\n'); end != std::string::npos; end = lines.find('\n', begin))
    {
        shown += takeLine(lines.substr(begin + mark_.size(), end - begin - mark_.size()));
        begin = end + 1;
    }
    return shown;
}

std::string KeptLines::takeLine(const std::string& line)
{
    lines_.push_back(line);
    if (lines_.size() > kLinesMax)
    {
        lines_.pop_front();
    }
    const bool begins = beginsReport(line);
    const std::string shown = report_.empty() ? "" : mark_ + report_ + (begins ? "" : " " + line) + "\n";
    report_ = begins ? line : "";
    return shown;
}

}  // namespace app
