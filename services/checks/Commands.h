#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "ia_ioctrl.h"
#include "services/checks/Report.h"

// The commands that the library sends, and calls of them that notice when an answer is longer than its record.
namespace portcheck {

// What a set of the command carries.
enum class Data : unsigned char
{
    word,
    thresholds,  // dn_thr_st
    times,       // dn_time_st
};

struct Command
{
    u32 key;
    ia_cmd_e cmd;
    const char* name;  // "IA_CMD_BRIGHTNESS"
    Data data;
    bool movesLens;

    std::size_t words() const { return data == Data::word ? 1 : data == Data::thresholds ? 2 : 4; }
};

// Numbers that no command has.
inline constexpr u32 kUnknownCommands[] = {0, 0x7FFFFFFF, 0xFFFFFFFF};

// Those of the key-command map, in its order.
const std::vector<Command>& commands();
// Null for a key that is only stored, or unknown.
const Command* commandOfKey(u32 key);

// "IA_CMD_BRIGHTNESS"; the number of a command that no key has.
std::string nameOf(u32 cmd);

// Bytes for a record, zeroed, with bytes behind it that nobody may write.
template <std::size_t Size>
class Guarded
{
public:
    Guarded() { std::memset(bytes_ + Size, kPattern, kGuard); }

    void* data() { return bytes_; }

    bool isIntact() const
    {
        for (std::size_t i = Size; i < Size + kGuard; ++i)
        {
            if (bytes_[i] != kPattern)
            {
                return false;
            }
        }
        return true;
    }

    template <typename Record>
    Record get() const
    {
        static_assert(sizeof(Record) <= Size);
        Record record;
        std::memcpy(&record, bytes_, sizeof record);
        return record;
    }

    template <typename Record>
    void set(const Record& record)
    {
        static_assert(sizeof(Record) <= Size);
        std::memcpy(bytes_, &record, sizeof record);
    }

private:
    static constexpr unsigned char kPattern = 0xA5;
    static constexpr std::size_t kGuard = 512;  // longer than any record

    alignas(8) unsigned char bytes_[Size + kGuard] = {};
};

using GuardedWord = Guarded<sizeof(int)>;
using GuardedAllowed = Guarded<sizeof(ia_dynamic_params_attr_st)>;
using GuardedList = Guarded<sizeof(ia_dynamic_params_cmds_st)>;
using GuardedVersion = Guarded<kCameraVersionSize>;

// "the set of IA_CMD_BRIGHTNESS".
std::string describe(u32 cmd, int opt);

// ia_ioctrl, watched.
int ask(Watch& watch, u32 cmd, int opt, void* data);

// The value, corrected. False, with value untouched, when the service refused.
bool correct(Watch& watch, u32 cmd, int& value);

// The sensor-dependent commands, as many as may be listed; none when the service refused.
std::vector<ia_cmd_e> dynamicCommands(Watch& watch);

// At most the items that the record holds.
std::vector<int> itemsOf(const ia_dynamic_params_attr_st& allowed);

}  // namespace portcheck
