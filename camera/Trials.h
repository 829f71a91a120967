#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "HostClock.h"
#include "camera/Results.h"

namespace camera {

// Which trials are open; what becomes of them is Camera's. No key is in two of them. Thread-safe.
class Trials
{
public:
    struct Tried
    {
        Value value;                // as it was asked for
        std::optional<int> before;  // what the sensor held, of a key that the scheme does not keep
    };
    struct Open
    {
        unsigned id = 0;
        std::string by = {};
        int scheme = -1;  // in force when it began
        std::vector<Tried> tried = {};
        host::Span until = {};  // on the host's clock
    };

    // lease: how long a trial lasts after its holder was heard, in the time of the host's clock.
    explicit Trials(host::Span lease);

    std::vector<Open> list() const;
    // Nothing when there is none of this number.
    std::optional<Open> find(unsigned id) const;
    // Of the trial that the key is in.
    std::optional<unsigned> holderOf(int key) const;

    // Of what is left to those that are open the same part is left of the new lease.
    void setLease(host::Span lease, host::Span now);

    // Begins it, or with an id takes the place of the one that has it; its holder has been heard. As it is now.
    Open put(Open open, host::Span now);
    // Its holder has been heard. Nothing when there is none, or its time is over.
    std::optional<Open> hold(unsigned id, host::Span now);
    // Those whose time is over: they are no longer there, and nobody can hold them any more.
    std::vector<Open> takeExpired(host::Span now);
    // The trial as it was, when this was the last of its keys: it is no longer there.
    std::optional<Open> takeOut(int key);
    void erase(unsigned id);

private:
    mutable std::mutex mutex_;

    // Guarded by mutex_.
    std::map<unsigned, Open> open_;
    host::Span lease_;
    unsigned last_;
};

}  // namespace camera
