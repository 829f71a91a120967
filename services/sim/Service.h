#pragma once

#include "services/sim/DayNight.h"
#include "services/sim/Lens.h"
#include "services/sim/ParameterTable.h"
#include "services/sim/Recorder.h"
#include "services/sim/Status.h"
#include "services/sim/Values.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

// The image-adjust service of a camera that needs no hardware. README.md says what it models.
namespace sim {

// One row for a page or a prompt: what a parameter allows and what it holds now.
struct ParameterState
{
    ia_cmd_e cmd;
    u32 key;  // 0 when no key is sent as this command
    const char* name;
    const char* unit;
    Kind kind;
    AllowedValues allowed;
    int value;
    const char* label;  // of a choice's value, else ""
};

// Brightness of the infrared lamps in per cent; all 0 by day and when they are switched off.
struct Infrared
{
    int near;
    int medium;
    int far;
};

// Thread-safe. Time comes from host::clock(); nothing runs by itself, what moves is worked out when looked at.
class Service
{
public:
    static constexpr int kFirstModule = 1;
    static constexpr double kPowerOnLux = 300;

    Service();

    // What ia_ioctrl does: a Status, or what a failure rule says.
    int call(ia_cmd_e cmd, int opt, void* data);

    // Power-on state: every value, the lens, the registers, 300 lux, an object at 10 m. Keeps the module, the
    // recording, the failure rules and the hook.
    void reset();

    // Fits another sensor and starts it as reset does. False, and nothing changes, when there is no such module.
    bool setModule(int id);
    int module() const;

    // ---- the scene ----

    // Light on the sensor, in lux, from now on; negative counts as 0.
    void setLight(double lux);
    // Light that follows the clock's time of day from now on.
    void setDaylight();
    double light() const;

    // Metres to the object that the lens focuses on, at least 0.01.
    void setDistance(double metres);

    // ---- what cannot be read as a parameter, or not without being recorded ----

    // What command 153 reads.
    bool night() const;
    Infrared infrared() const;
    // The brightest lamp, per cent.
    int infraredStrength() const;
    LensState lens() const;

    // False when the command is unknown or is no single word.
    bool value(ia_cmd_e cmd, int& value) const;
    // Every command that is a single word, in the table's order.
    std::vector<ParameterState> state() const;

    // ---- recording and failures ----

    // The last calls, oldest first.
    std::vector<Call> calls() const;
    // Calls since the service was made, forgotten ones included.
    u32 callCount() const;
    void clearCalls();
    // How many calls are kept; 0 records nothing.
    void setRecordingCapacity(std::size_t calls);

    // A number for removeFailure.
    int addFailure(const FailureRule& rule);
    bool removeFailure(int id);
    void clearFailures();

    // Called at the start of every call, on the caller's thread, without any lock of the service, so it may
    // block or call the service; null for none. A call that has begun may still use the one before.
    using Hook = std::function<void(ia_cmd_e cmd, int opt, const void* data)>;
    void setBeforeCall(Hook hook);

private:
    int perform(ia_cmd_e cmd, int opt, void* data);
    int performRecord(const Parameter& parameter, int opt, void* data);
    int set(const Parameter& parameter, const void* data);
    int setWord(const Parameter& parameter, int value);
    int setWords(const u32* commands, const u32* words, int count);
    void moveOffset(int direction);
    void limitOffsets();
    int word(const Parameter& parameter) const;
    AllowedValues allowedNow(const Parameter& parameter) const;
    void describe(const Parameter& parameter, ia_dynamic_params_attr_st& out) const;
    int correct(const Parameter& parameter, int value) const;
    int check(int opt, ia_sensor_check_st& request);
    void powerOn();
    Infrared lamps() const;
    void catchUp() const;

    mutable std::mutex mutex_;

    // Guarded by mutex_. Time passes in const members too, hence mutable.
    mutable std::shared_ptr<host::Clock> clock_;
    mutable host::Span now_{0};
    mutable double wallAtZero_ = 0;  // seconds of day when the clock's monotonic time was 0
    const SensorModule* module_;
    Values values_;
    Light light_;
    mutable DayNight dayNight_;
    mutable Lens lens_;
    std::map<int, int> registers_;
    Recorder recorder_;
    FailureRules failures_;
    std::shared_ptr<const Hook> hook_;
};

// The one service of the process, behind ia_ioctrl.
Service& service();

}  // namespace sim
