#include "app/web/TraceStream.h"

#include <algorithm>
#include <sstream>

#include "app/json/Json.h"

namespace web {
namespace {

// JSON has no line ends in it.
std::string eventText(const char* name, const app::Json& data)
{
    return std::string("event: ") + name + "\ndata: " + app::jsonLine(data) + "\n";
}

}  // namespace

class TraceLog::Reader : public Source
{
public:
    Reader(TraceLog& log, std::string filter) : log_(log), filter_(std::move(filter)) {}

    std::optional<std::string> next() override
    {
        const std::lock_guard<std::mutex> lock(log_.mutex_);
        std::string text;
        if (lost_ != 0)
        {
            text = eventText("lost", {{"lines", lost_}});
            lost_ = 0;
        }
        for (const std::string& line : waiting_)
        {
            text += eventText("line", {{"line", line}});
        }
        waiting_.clear();
        size_ = 0;
        return text;
    }

    std::string heartbeat() const override { return ":\n\n"; }

    // With the log locked. True when it is of interest.
    bool take(const std::string& line)
    {
        if (line.find(filter_) == std::string::npos)
        {
            return false;
        }
        waiting_.push_back(line);
        size_ += line.size();
        while (size_ > kWaiting)
        {
            size_ -= waiting_.front().size();
            waiting_.pop_front();
            ++lost_;
        }
        return true;
    }

    using Source::wake;

private:
    TraceLog& log_;
    const std::string filter_;

    // Guarded by the log's mutex_.
    std::deque<std::string> waiting_;
    std::size_t size_ = 0;  // of those, in bytes
    std::size_t lost_ = 0;
};

void TraceLog::take(const std::string& lines)
{
    std::vector<std::string> taken;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
    {
        taken.push_back(line.substr(0, kLongest));
    }
    std::vector<std::shared_ptr<Reader>> woken;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        keep(taken);
        for (const std::weak_ptr<Reader>& known : readers_)
        {
            const std::shared_ptr<Reader> reader = known.lock();
            bool takes = false;
            for (std::size_t i = 0; reader && i < taken.size(); ++i)
            {
                takes = reader->take(taken[i]) || takes;
            }
            if (takes)
            {
                woken.push_back(reader);
            }
        }
    }
    for (const std::shared_ptr<Reader>& reader : woken)
    {
        reader->wake();
    }
}

// With mutex_ held.
void TraceLog::keep(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines)
    {
        kept_.push_back(line);
        size_ += line.size() + 1;
    }
    while (size_ > kKept)
    {
        size_ -= kept_.front().size() + 1;
        kept_.pop_front();
    }
}

std::vector<std::string> TraceLog::lines()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return {kept_.begin(), kept_.end()};
}

std::shared_ptr<Source> TraceLog::reader(const std::string& filter)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    readers_.erase(std::remove_if(readers_.begin(), readers_.end(),
                                  [](const std::weak_ptr<Reader>& known) { return known.expired(); }),
                   readers_.end());
    const auto made = std::make_shared<Reader>(*this, filter);
    readers_.push_back(made);
    return made;
}

}  // namespace web
