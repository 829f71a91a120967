#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "camera/DeviceState.h"
#include "camera/Explain.h"
#include "camera/NamedControls.h"
#include "camera/Results.h"

namespace camera {

struct Event
{
    enum class Kind
    {
        values,     // values: what the sensor took, or a scheme remembers
        scheme,     // scheme is in force; why
        mode,       // automatic
        night,      // night
        saved,      // scheme has been written to its file
        reset,      // factory values are in force
        lens,       // it has begun to move, or is at rest: moving; values are its positions
        log,        // line has come to the error log
        trial,      // trial has begun or ended: trialState; values are those tried
        device,     // the device is lost or back, or came back with other controls
        standings,  // how values stand with the device: those that have changed
        controls,   // named controls: what the device is to take, or a scheme remembers
        world,      // somebody has changed what is around the camera, its time or how fast that passes
    };
    Kind kind;
    std::string by = {};  // as Acting says; empty: the camera's scheduler, or a caller who said nothing
    int scheme = -1;
    std::vector<Value> values = {};  // in the order in which they were taken
    Why why = Why::manual;
    bool automatic = false;
    bool night = false;
    bool moving = false;
    std::string line = {};
    unsigned trial = 0;
    TrialState trialState = TrialState::begun;
    std::vector<int> notTakenBack = {};  // keys of a trial that is over: they are sent again each second
    std::vector<ControlValue> controls = {};
    DeviceState device = {};
    unsigned long number = 0;  // counts from 1
};

// Whoever acts on this thread as long as this lives: the events of what it does carry the name. Reentrant: one thread.
class Acting
{
public:
    explicit Acting(std::string who) : before_(std::move(current_)) { current_ = std::move(who); }
    ~Acting() { current_ = std::move(before_); }
    Acting(const Acting&) = delete;
    Acting& operator=(const Acting&) = delete;

    static const std::string& who() { return current_; }

private:
    static inline thread_local std::string current_;

    std::string before_;
};

// Tells what happens to whoever wants to know. Thread-safe.
class Events
{
public:
    // Called on the thread that caused the event, in the order of the numbers, while the camera and this are locked: it
    // hands the event on, calls neither and does not throw. Take it off before what it refers to ends.
    using Listener = std::function<void(const Event&)>;
    int subscribe(Listener listener);
    // No call of the listener is running afterwards.
    void unsubscribe(int number);

    void tell(Event event);

private:
    std::mutex mutex_;

    // Guarded by mutex_.
    std::map<int, Listener> listeners_;
    int nextListener_ = 1;
    unsigned long told_ = 0;
};

}  // namespace camera
