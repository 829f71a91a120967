#pragma once

#include "keycmd.h"

#define SNS_KEY(key, number, command, commandNumber, handler) +1
#define SNS_STORED_KEY(key, number) +1
constexpr u32 kKeyCmdRows = 0
#include "SensorKeys.def"
    ;

// A new array of at least capacity rows, owned by the caller (delete[]): the table in its first kKeyCmdRows
// rows, zeroes after them.
keycmd* newKeyCmdMap(u32 capacity);
