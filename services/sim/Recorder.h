#pragma once

#include "HostClock.h"
#include "ia_ioctrl.h"

#include <array>
#include <deque>
#include <limits>
#include <optional>
#include <vector>

namespace sim {

// One call of ia_ioctrl.
struct Call
{
    static constexpr int kWordsMax = 4;
    using Words = std::array<u32, kWordsMax>;

    u32 number;  // counts from 1, also over calls that have been dropped
    host::Span time;
    ia_cmd_e cmd;
    int opt;
    int words;  // valid entries of in and out: 1, a record's length if that is less than kWordsMax, 0 without data
    Words in;   // the caller's data before the call
    Words out;  // and after it
    int status;
};

// The last calls, oldest first. Reentrant; the service guards it.
class Recorder
{
public:
    static constexpr std::size_t kDefaultCapacity = 4096;  // a whole scheme is 87 calls

    // Drops the oldest calls that no longer fit; 0 records nothing.
    void setCapacity(std::size_t capacity);
    void add(Call call);
    void clear() { calls_.clear(); }
    std::vector<Call> calls() const { return {calls_.begin(), calls_.end()}; }
    u32 total() const { return total_; }

private:
    std::size_t capacity_ = kDefaultCapacity;
    u32 total_ = 0;
    std::deque<Call> calls_;
};

// Makes calls fail. A failed call does nothing and touches no data.
struct FailureRule
{
    std::optional<ia_cmd_e> cmd;                            // none: every command
    std::optional<int> opt;                                 // none: every option
    int status = -1;                                        // what the call returns; 0 pretends success
    unsigned after = 0;                                     // matching calls that still pass
    unsigned count = std::numeric_limits<unsigned>::max();  // matching calls that fail then
};

// Reentrant; the service guards it.
class FailureRules
{
public:
    // A number for remove.
    int add(const FailureRule& rule);
    bool remove(int id);
    void clear() { rules_.clear(); }

    // The status that the call must fail with. Every matching rule counts the call; the first one due decides.
    std::optional<int> judge(u32 cmd, int opt);

private:
    struct Entry
    {
        int id;
        FailureRule rule;
        unsigned seen;
    };

    int nextId_ = 1;
    std::vector<Entry> rules_;
};

}  // namespace sim
