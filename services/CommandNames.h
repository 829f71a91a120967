#pragma once

#include "SensorTypes.h"

// Names and keys of the image-adjust commands, from the library's one table of keys. Reentrant.
namespace services {

// For printing: "IA_CMD_BRIGHTNESS", "IA_CMD_OPT_SET"; "unknown" for numbers without a name.
const char* commandName(u32 cmd);
const char* optionName(int opt);

// The number of the key that the key-command map sends as this command; 0 when there is none.
u32 keyOfCommand(u32 cmd);

}  // namespace services
