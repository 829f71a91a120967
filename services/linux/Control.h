#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "SensorTypes.h"

// What can be set at a device, whatever it is: a camera's control, a lamp, a filter, the frame rate.
namespace devices {

enum class ControlType : unsigned char
{
    number,
    yesNo,   // 0 or 1
    menu,    // one of items
    button,  // 1 presses
};

// As the device describes it. minimum <= defaultValue <= maximum and step > 0; a menu has items.
struct Control
{
    u32 id;
    std::string name;  // printable UTF-8
    ControlType type;
    std::int64_t minimum;
    std::int64_t maximum;
    std::int64_t step;
    std::int64_t defaultValue;
    std::map<std::int64_t, std::string> items;  // a menu's values, with holes
    bool isReadable = true;                     // a button is not
    bool isSettable = true;
    bool isVolatile = false;  // the device changes it by itself
    bool is64Bits = false;    // how its value travels

    // The value that the device would take for this one; of a menu's, itself only.
    std::int64_t nearest(std::int64_t value) const;
    // Whether the device takes exactly this value.
    bool contains(std::int64_t value) const;
};

// Null when there is none.
const Control* findControl(const std::vector<Control>& controls, u32 id);

struct Setting
{
    u32 id;
    std::int64_t value;
};

inline bool operator==(const Setting& a, const Setting& b)
{
    return a.id == b.id && a.value == b.value;
}

using Values = std::map<u32, std::int64_t>;  // by control

// What a device tells unasked.
struct ControlEvent
{
    enum class Kind : unsigned char
    {
        changed,   // somebody else has set it
        freed,     // it may be set again: its automatic went off, a stream ended
        described  // its range or its items are others
    };

    Kind kind;
    u32 id;
    std::int64_t value = 0;          // of changed
    std::optional<Control> control;  // of described
};

// One device that is open. For one thread at a time; a call may hang for seconds.
class ControlDevice
{
public:
    virtual ~ControlDevice() = default;

    // As they were when it was opened, each id once.
    virtual const std::vector<Control>& controls() const = 0;

    // 0, or an error number, and then some may have been set. What was set is replaced by what the device made of it.
    virtual int set(std::vector<Setting>& settings) = 0;

    // 0, or an error number, and then value is unchanged.
    virtual int get(u32 id, std::int64_t& value) = 0;

    // False when it has gone for good: what is there now is another one, though it may have the same name. For a device
    // that tells nothing: the others are gone when events() fails.
    virtual bool isThere() { return true; }

    // Readable, for poll, when events() has something; -1 for a device that tells nothing.
    virtual int eventDescriptor() const { return -1; }
    // Adds those that have come; never waits. 0, or an error number: the device is gone.
    virtual int events(std::vector<ControlEvent>&) { return 0; }
};

}  // namespace devices
