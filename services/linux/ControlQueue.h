#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "services/linux/Control.h"
#include "services/linux/ControlOrder.h"

namespace devices {

using Instant = std::chrono::steady_clock::time_point;

// How a wish stands with the device.
enum class ControlState : unsigned char
{
    absent,     // the device has no such control
    applied,    // the device has it, or nothing is wished
    waiting,    // will be sent
    held,       // an automatic is on; will be sent when it is off
    busy,       // not while the device is used; tried again
    stalled,    // the device failed, or does not answer; tried again
    refused,    // the device does not take this value, or a press failed
    overruled,  // somebody else has set another value
    lost,       // the device is gone; will be sent when it is back
};

// What to do when another program sets what is wished otherwise.
enum class Others : unsigned char
{
    putBack,
    takeOver,  // what they set is wished from then on
    leave,
};

struct Patience
{
    std::chrono::milliseconds first{100};  // until a failure is tried again, doubled each time
    std::chrono::milliseconds most{30'000};
    std::chrono::milliseconds longCall{1'000};  // after that a call under way counts as stalled
    int putBacks = 6;                           // of one control
    std::chrono::milliseconds within{60'000};   // in this time

    // Of the try with that number, from 1.
    std::chrono::milliseconds after(int tries) const;
};

struct Report
{
    ControlState state = ControlState::absent;
    std::optional<std::int64_t> wished;
    std::optional<std::int64_t> actual;  // what the device has, as far as it is known
    bool isTheirs = false;               // taken over
};

using News = std::vector<std::pair<u32, Report>>;  // by control

// What is wished of one device's controls, and what to send next: no thread, no clock, no device. The newest wish of a
// control counts; one batch at a time is under way. Reentrant.
class ControlQueue
{
public:
    explicit ControlQueue(Patience patience = {}, Others others = Others::putBack);

    // ---- from those who wish ----

    // In the order in which they are to be sent, but automatics go first. False if that leaves nothing more to do.
    bool wish(const std::vector<Setting>& settings);
    // A button, once; forgotten when the device is lost, because later nobody means it. One that fails is not tried again
    // and stays refused until the next.
    void press(u32 id);
    // As if the device had lost what it was sent.
    void again(u32 id);
    bool hasWishes() const { return !order_.empty(); }
    // Whether what others set of this control is put back, also where it is taken over.
    void guard(u32 id, bool isGuarded);
    // Another program may have set something without a word of the device's.
    void lookAgain();
    Report report(u32 id, Instant now) const;
    // The device does not answer, or did not when it was last sent something.
    bool isStuck(Instant now) const;
    // What has changed since the last call, each control once; not what time alone changes in a report.
    News news(Instant now);

    // ---- from the device ----

    void opened(const std::vector<Control>& controls);
    void lost();
    bool isOpen() const { return isOpen_; }
    // An automatic and its manual values, or one control. Empty when nothing is to be sent now.
    std::vector<Setting> next(Instant now);
    // How the batch that next gave ended; answer: what the device made of it. False: the device is lost.
    bool done(int error, const std::vector<Setting>& answer, Instant now);
    // What somebody else set is not believed: it may have been before our own value came.
    void heard(const ControlEvent& event, Instant now);
    // What is to be read instead now, one after the other; not what is about to be sent.
    std::optional<u32> look(Instant now);
    // How that reading ended. A failure is tried again, with the pauses of sets until they are the longest. False: the
    // device is lost.
    bool looked(u32 id, int error, std::int64_t value, Instant now);
    // What the device has now.
    void found(u32 id, std::int64_t value, Instant now);
    // When next or look may have something; nothing until something else happens.
    std::optional<Instant> due() const;

private:
    struct Slot
    {
        std::optional<Control> control;  // as the device has it now
        const Hold* hold = nullptr;      // whose automatic the device has; null for a control that nothing holds
        std::optional<std::int64_t> wished;
        std::optional<std::int64_t> sent;    // what the wish was for the device, when it took it
        std::optional<std::int64_t> flying;  // on its way
        std::optional<std::int64_t> actual;
        ControlState state = ControlState::applied;
        bool isPress = false;
        bool isAlone = false;   // together with others it failed
        bool isTheirs = false;  // told once
        int tries = 0;
        int looks = 0;  // that failed
        Instant notBefore{};
        std::deque<Instant> putBacks;
    };

    Slot& slotToWish(u32 id);
    void become(u32 id, Slot& slot, ControlState state);
    void wait(u32 id, Slot& slot);
    void holdBack(u32 id, Slot& slot);
    const Hold* holdOf(u32 id) const;
    bool isHeld(const Slot& slot) const;
    bool isDue(const Slot& slot, Instant now) const;
    std::vector<u32> groupOf(u32 id, Instant now) const;
    bool fly(u32 id, Instant now);
    void succeeded(u32 id, std::int64_t value);
    void failed(u32 id, int error, Instant now);
    void pause(Instant now);
    void freeManual(u32 automatic);
    bool canBeOverruled(const Slot& slot) const;
    void overrule(u32 id, Slot& slot, std::int64_t value, Instant now);
    std::int64_t target(const Slot& slot) const;

    const Patience patience_;
    const Others others_;
    bool isOpen_ = false;
    std::map<u32, Slot> slots_;
    std::vector<u32> order_;        // of what is wished
    std::vector<u32> batch_;        // under way
    bool isReading_ = false;        // a control is read
    Instant begun_{};               // one of both
    int pauses_ = 0;                // one after the other
    Instant pausedUntil_{};         // the whole device
    std::map<u32, Instant> looks_;  // not before
    std::set<u32> guarded_;
    std::vector<u32> news_;
};

}  // namespace devices
