#pragma once

#include "SensorTypes.h"

/// One parameter. The record of the scheme files and of the schemes in memory, in machine byte order
/// (little-endian on every supported board).
///
/// on disk: two 32-bit words, never reordered, no padding.
struct KeyVal
{
    u32 key;    ///< KEY_* number of SensorKeys.h
    u32 value;  ///< raw word; a negative value is held in two's complement
};

static_assert(sizeof(KeyVal) == 8, "scheme files hold 8 bytes a parameter");
