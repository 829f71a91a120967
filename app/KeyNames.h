#pragma once

#include <optional>
#include <string>
#include <vector>

// Names and numbers of the parameters, from the one table of the library (SensorKeys.def).
namespace app {

struct KeyName
{
    int key;
    unsigned command;  // of the image-adjust service; 0 when only stored
    const char* name;  // "KEY_BRIGHTNESS"
    bool onlyStored;   // a schedule key: kept in the schemes, never sent to the sensor
};

// All 87, in the order of the table.
const std::vector<KeyName>& keyNames();

// Null when the number names no parameter.
const KeyName* findKey(int key);

// "KEY_BRIGHTNESS", or "key 999" for a number without a name.
std::string keyTitle(int key);

// The number that a person means: a name with or without "KEY_", in any case, or any positive number. Nothing,
// with a sentence in error that suggests what is near, when it is neither.
std::optional<int> parseKey(const std::string& text, std::string& error);

}  // namespace app
