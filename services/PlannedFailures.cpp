#include "services/PlannedFailures.h"

#include <algorithm>
#include <utility>

namespace services {

int PlannedFailures::call(ia_cmd_e cmd, int opt, void* data)
{
    std::shared_ptr<const Hook> hook;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        hook = hook_;
    }
    if (hook)
    {
        (*hook)(cmd, opt, data);
    }
    const std::optional<int> failure = judge(cmd, opt);
    return failure ? *failure : inner().call(cmd, opt, data);
}

std::optional<int> PlannedFailures::judge(u32 cmd, int opt)
{
    const std::lock_guard<std::mutex> lock(mutex_);
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

int PlannedFailures::add(const FailureRule& rule)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    rules_.push_back({nextNumber_, rule, 0});
    return nextNumber_++;
}

std::vector<FailureRule> PlannedFailures::rules() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<FailureRule> rules;
    for (const Entry& entry : rules_)
    {
        rules.push_back(entry.rule);
    }
    return rules;
}

bool PlannedFailures::remove(int number)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found =
        std::find_if(rules_.begin(), rules_.end(), [number](const Entry& entry) { return entry.number == number; });
    if (found == rules_.end())
    {
        return false;
    }
    rules_.erase(found);
    return true;
}

void PlannedFailures::clear()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    rules_.clear();
}

void PlannedFailures::setBeforeCall(Hook hook)
{
    auto shared = hook ? std::make_shared<const Hook>(std::move(hook)) : nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    hook_.swap(shared);
}

}  // namespace services
