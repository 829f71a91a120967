#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/ServiceDouble.h"

namespace support {

// One call of ia_ioctrl as it arrived.
struct ServiceCall
{
    u32 cmd;
    int opt;
    std::vector<u32> words;  // the data before the call: a word, or the words of the command's record
    std::thread::id thread;

    u32 value() const { return words.empty() ? 0 : words.front(); }
};

// For exact comparisons: {command, option, first word}.
struct Sent
{
    u32 cmd;
    int opt;
    u32 value;
};

bool operator==(const Sent& left, const Sent& right);
void PrintTo(const Sent& sent, std::ostream* stream);

// The image-adjust service that a test scripts; ia_ioctrl goes to the one that was constructed last and still
// lives. Unscripted calls succeed: a set is remembered and a get returns what was set, 0 before; a correction
// changes nothing; a status is 0. Calls are kept as they arrive, so that a test sees one that is still held up; a
// journal keeps what has returned.
// Thread-safe.
class FakeService final : public ServiceDouble
{
public:
    // Runs in place of the built-in behaviour, outside the lock; the result is the status.
    using Answer = std::function<int(u32 cmd, int opt, void* data)>;
    // Runs before the answer, outside the lock.
    using Hook = std::function<void(const ServiceCall& call)>;
    // Runs before answer and built-in behaviour, outside the lock; a status ends the call, none lets it go on.
    using Interceptor = std::function<std::optional<int>(u32 cmd, int opt, void* data)>;

    void answer(u32 cmd, int opt, Answer answer);
    void answerStatus(u32 cmd, int opt, int status);
    // Writes one word and returns the status.
    void answerValue(u32 cmd, int opt, u32 value, int status = 0);
    // The built-in behaviour again.
    void forget(u32 cmd, int opt);

    // The list of sensor-dependent commands and their allowed values. A list of more than 16 claims its real
    // count and fills the 16 entries that there are.
    void setDynamicCommands(std::vector<u32> cmds);
    void setAllowedValues(u32 cmd, int defaultValue, std::vector<int> items);
    void setCameraVersion(std::string text);

    void onCall(Hook hook);
    void intercept(Interceptor interceptor);

    // What the service holds for a command.
    u32 stored(u32 cmd) const;
    void store(u32 cmd, u32 value);

    std::vector<ServiceCall> calls() const;
    // The calls with option set, in order.
    std::vector<Sent> sets() const;
    // The calls with this option, in order.
    std::vector<Sent> sent(int opt) const;
    std::vector<Sent> all() const;
    size_t count(u32 cmd, int opt) const;
    void clearCalls();

    int call(ia_cmd_e cmd, int opt, void* data) override;

private:
    int builtIn(u32 cmd, int opt, void* data);
    int writeDynamicCommands(void* data) const;
    int writeAllowedValues(u32 cmd, void* data) const;

    mutable std::mutex mutex_;
    std::map<std::pair<u32, int>, Answer> answers_;
    std::map<u32, u32> values_;
    std::vector<u32> dynamicCommands_;
    std::map<u32, std::pair<int, std::vector<int>>> allowed_;
    std::string cameraVersion_ = "fake camera";
    Hook hook_;
    Interceptor interceptor_;
    std::vector<ServiceCall> calls_;
    const InForce inForce_{*this};
};

}  // namespace support
