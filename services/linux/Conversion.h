#pragma once

#include <cstdint>
#include <optional>
#include <set>

#include "ia_ioctrl.h"
#include "services/linux/Control.h"

// How the word of one command becomes the value of one control, and back. Reentrant.
namespace devices {

enum class Conversion : unsigned char
{
    percent,  // least, middle and greatest word are minimum, default and maximum; a line where the default is an end
    share,    // least and greatest word are minimum and maximum
    list,     // what the entries say
    shutter,  // the index of an exposure time; the control counts tenths of a millisecond
    bit,      // bit number least of the word
    same,     // the value itself
    press,    // 1 presses
};

// Values of entries that each device has where it has them.
enum : std::int64_t
{
    kNone = INT64_MIN,  // no value
    kPass,              // the word is allowed, and leaves the control to the rows below
    kLeast,             // the control's minimum
    kGreatest,          // its maximum
    kDefault,           // its default
};

struct Entry
{
    int word;
    std::int64_t value;
    std::int64_t instead = kNone;  // where the control does not take value
};

struct Row
{
    ia_cmd_e cmd;
    u32 control;
    Conversion conversion;
    int least = 0;
    int middle = 0;
    int greatest = 0;
    const Entry* entries = nullptr;  // of a value that several words mean, the first is the one to read back
    int entryCount = 0;
    u32 with = 0;                // sleeps unless the device has this control too
    u32 unless = 0;              // sleeps if it has this one
    ia_cmd_e only = ia_cmd_e();  // speaks only while the word of this command, 0 for none,
    int is = 0;                  // is this
};

// The value for a word; nothing where the row does not speak, or the device has no such value.
std::optional<std::int64_t> valueOf(const Row& row, int word, const Control& control);

// The word that a value means; the nearest one where the device has finer steps. Nothing where no word means it. Of a
// bit, the bit alone.
std::optional<int> wordOf(const Row& row, std::int64_t value, const Control& control);

// The row takes every word from least to greatest.
bool isRange(const Row& row);

// Of a row that is no range, the words that this device takes.
std::set<int> wordsOf(const Row& row, const Control& control);

}  // namespace devices
