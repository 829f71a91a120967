#pragma once

#include "SensorTypes.h"

// The table of the keys as tests read it.
namespace support {

struct KeyRow
{
    u32 key;
    u32 cmd;  // 0 of a key that is only stored
    const char* handler;
};

inline constexpr KeyRow kKeyRows[] = {
#define SNS_KEY(name, key, ia, cmd, handler) {key, cmd, #handler},
#define SNS_STORED_KEY(name, key) {key, 0, ""},
#include "SensorKeys.def"
};

// nullptr when no row has it.
inline const KeyRow* findKeyRow(u32 key)
{
    for (const KeyRow& row : kKeyRows)
    {
        if (row.key == key)
        {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace support
