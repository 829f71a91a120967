#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "services/ImageService.h"

namespace services {

// Makes calls fail. A failed call does nothing and touches no data.
struct FailureRule
{
    std::optional<ia_cmd_e> cmd;                            // none: every command
    std::optional<int> opt;                                 // none: every option
    int status = -1;                                        // what the call returns; 0 pretends success
    unsigned after = 0;                                     // matching calls that still pass
    unsigned count = std::numeric_limits<unsigned>::max();  // matching calls that fail then
};

// Refuses calls of the service behind it, or holds them up. Thread-safe.
class PlannedFailures : public Wrapper
{
public:
    using Wrapper::Wrapper;

    // Every matching rule counts the call; the first one due decides.
    int call(ia_cmd_e cmd, int opt, void* data) override;
    PlannedFailures* failures() override { return this; }

    // A number for remove.
    int add(const FailureRule& rule);
    bool remove(int number);
    // As they were added, the oldest first.
    std::vector<FailureRule> rules() const;
    void clear();

    // Called at the start of every call, on the caller's thread, without any lock, so it may block or call the
    // service; null for none. A call that has begun may still use the one before.
    using Hook = std::function<void(ia_cmd_e cmd, int opt, const void* data)>;
    void setBeforeCall(Hook hook);

private:
    struct Entry
    {
        int number;
        FailureRule rule;
        unsigned seen;
    };

    std::optional<int> judge(u32 cmd, int opt);

    mutable std::mutex mutex_;

    // Guarded by mutex_.
    int nextNumber_ = 1;
    std::vector<Entry> rules_;
    std::shared_ptr<const Hook> hook_;
};

}  // namespace services
