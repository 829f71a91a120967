#pragma once

#include "keycmd.h"

constexpr u32 kKeyCmdRows = 87;

// A new array of at least capacity rows, owned by the caller (delete[]): the table in its first kKeyCmdRows
// rows, zeroes after them.
keycmd* newKeyCmdMap(u32 capacity);
