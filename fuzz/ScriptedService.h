#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/ServiceDouble.h"

namespace fuzz {

// The image-adjust service of one input, as hostile as its script: a line a call, "status word word ...". What a call
// gives back is written from the words as far as they go: of the list of dynamic commands count and commands, of
// allowed values default, count and items, of the camera version the rest of the line as text (terminated only if it
// is shorter than the record), of anything else one word. Counts may lie. Behind the last line everything succeeds
// and nothing is written. ia_ioctrl goes to the service that was constructed last and still lives; one thread.
class ScriptedService final : public support::ServiceDouble
{
public:
    enum class Mood
    {
        fickle,      ///< every call takes a line
        consistent,  ///< a command asked again with the same option, but to set it, answers as it did the first time
    };
    using Watcher = std::function<void(u32 cmd, int opt, const void* data)>;

    ScriptedService(std::string script, Mood mood);

    /// Calls from here on are answered from these lines.
    void continueWith(std::string script);

    /// Sees every call before it is answered.
    void watch(Watcher watcher) { watcher_ = std::move(watcher); }

    /// How often it was told to set something, and how often it refused.
    std::size_t timesSet() const { return timesSet_; }
    std::size_t timesRefused() const { return timesRefused_; }

    int call(ia_cmd_e cmd, int opt, void* data) override;

private:
    std::string_view lineFor(u32 cmd, int opt);

    std::string script_;
    std::string_view rest_;
    const Mood mood_;
    std::map<std::pair<u32, int>, std::string> given_;
    Watcher watcher_;
    std::size_t timesSet_ = 0;
    std::size_t timesRefused_ = 0;
    const support::InForce inForce_{*this};
};

}  // namespace fuzz
