#pragma once

#include "sensordll_export.h"

/// Messages print when the level is above their threshold: assertion -1, warning 3, error and debug 5,
/// information 6. 1 until a marker file says otherwise.
/// Plain types by contract; the library reads and writes them atomically.
extern SENSORDLL_API int g_nDebugLevel;

/// True: a failed assertion ends the process after it has been reported.
extern SENSORDLL_API bool g_bEnAssert;

/// Reads both from "/mnt/mtd/sign/Debug.sign" (line 1 the level, line 2 the assertion switch). Without the file
/// the level is 1 and the switch off; a file that exists and cannot be opened changes nothing.
/// Called before every message, so a change of the file takes effect at once. Thread-safe.
SENSORDLL_API void updateDebugLevel();
