#include "services/sim/Recorder.h"

#include <algorithm>

namespace sim {

void Recorder::setCapacity(std::size_t capacity)
{
    capacity_ = capacity;
    while (calls_.size() > capacity_)
    {
        calls_.pop_front();
    }
}

void Recorder::add(Call call)
{
    call.number = ++total_;
    if (capacity_ == 0)
    {
        return;
    }
    if (calls_.size() == capacity_)
    {
        calls_.pop_front();
    }
    calls_.push_back(call);
}

int FailureRules::add(const FailureRule& rule)
{
    rules_.push_back({nextId_, rule, 0});
    return nextId_++;
}

bool FailureRules::remove(int id)
{
    const auto found = std::find_if(rules_.begin(), rules_.end(), [id](const Entry& entry) { return entry.id == id; });
    if (found == rules_.end())
    {
        return false;
    }
    rules_.erase(found);
    return true;
}

std::optional<int> FailureRules::judge(u32 cmd, int opt)
{
    std::optional<int> status;
    for (Entry& entry : rules_)
    {
        const FailureRule& rule = entry.rule;
        if ((rule.cmd && *rule.cmd != cmd) || (rule.opt && *rule.opt != opt))
        {
            continue;
        }
        if (entry.seen < rule.after)
        {
            ++entry.seen;
            continue;
        }
        if (entry.seen - rule.after < rule.count)
        {
            ++entry.seen;
            status = status.value_or(rule.status);
        }
    }
    return status;
}

}  // namespace sim
