#pragma once

#include <cstddef>

#include "SensorTypes.h"

// What is known of every image-adjust command. Reentrant.
namespace services {

// For printing: "IA_CMD_BRIGHTNESS", "IA_CMD_OPT_SET"; "unknown" for numbers without a name.
const char* commandName(u32 cmd);
const char* optionName(int opt);

// The number of the key that the key-command map sends as this command; 0 when there is none.
u32 keyOfCommand(u32 cmd);

// How many words the data of a set has: 1, or those of the command's record.
std::size_t wordsToSet(u32 cmd);

}  // namespace services
