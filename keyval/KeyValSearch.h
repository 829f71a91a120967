#pragma once

#include "KeyVal.h"

// Position of the first record with the key, -1 if there is none.
int findKey(const KeyVal* records, u32 count, u32 key);
