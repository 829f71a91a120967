#pragma once

#include "SensorTypes.h"
#include "sensordll_export.h"

class ISensorController;

/// A handler applies one parameter. cmd is the row's command number, dir an IA_CMD_OPT_* option (0, set),
/// data points at the parameter's 32-bit value. Returns SNS_SUCCESS or the service's or video module's status.
typedef int (ISensorController::*keycmd_handler)(u32 cmd, u32 dir, void* data);

/// One row of the key-command map.
struct keycmd
{
    u32 key;                 ///< key number, as in KeyVal
    u32 cmd;                 ///< image-adjust command; 0 for keys without a handler
    keycmd_handler handler;  ///< null for keys that are only stored
    char szKeyName[32];      // "KEY_BRIGHTNESS"
    char szHandlerName[64];  // "&ISensorController::doIaCmd"; "NULL" without a handler
};

/// The map of the controller that was initialised last: the controller's own array, rows 0 to g_nKeyCmdNum-1.
/// Null before the first init. contract: not cleared by uinit, and must not be followed after it.
extern SENSORDLL_API keycmd* g_pKeyCmdMap;

/// Rows in the map: 100 (its capacity) until the first init, 87 from then on.
extern SENSORDLL_API u32 g_nKeyCmdNum;
