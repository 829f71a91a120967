#pragma once

#include <array>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "HostClock.h"
#include "services/ImageService.h"

namespace services {

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

// Writes down the calls of the service behind it. Thread-safe.
class Journal : public Wrapper
{
public:
    static constexpr std::size_t kDefaultCapacity = 4096;  // a whole scheme is 87 calls

    using Wrapper::Wrapper;

    int call(ia_cmd_e cmd, int opt, void* data) override;

    // The last calls, oldest first, in the order in which they returned.
    std::vector<Call> calls() const;
    // Calls since the journal was made, dropped ones included.
    u32 callCount() const;
    void clearCalls();
    // How many calls are kept; 0 keeps none.
    void setCapacity(std::size_t calls);

    // Called after every set that was accepted, on the thread that made it, without any lock of the journal: it may
    // call the service. words: those of the call's data that Call keeps.
    using Listener = std::function<void(ia_cmd_e cmd, const Call::Words& words)>;
    // A number for unsubscribe. A call that has begun may still tell a listener that was taken off.
    int subscribe(Listener listener);
    void unsubscribe(int number);

private:
    void keep(const Call& call);
    void tell(const Call& call) const;

    mutable std::mutex mutex_;

    // Guarded by mutex_.
    std::size_t capacity_ = kDefaultCapacity;
    u32 total_ = 0;
    std::deque<Call> calls_;
    std::map<int, std::shared_ptr<const Listener>> listeners_;
    int nextListener_ = 1;
};

// The sets that were refused to the thread that made this object, through any journal, as long as it lives: whoever
// sets something learns its own refusals and nobody else's. When nested, the innermost object receives them.
// Reentrant: one thread.
class OwnRefusals
{
public:
    OwnRefusals();
    ~OwnRefusals();
    OwnRefusals(const OwnRefusals&) = delete;
    OwnRefusals& operator=(const OwnRefusals&) = delete;

    // Oldest first.
    const std::vector<Call>& list() const { return refusals_; }

private:
    friend class Journal;

    OwnRefusals* const outer_;
    std::vector<Call> refusals_;
};

}  // namespace services
