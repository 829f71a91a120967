#pragma once

#include <vector>

// Names and numbers of the parameters, from the one table of the library (SensorKeys.def). Reentrant.
namespace camera {

struct KeyName
{
    int key;
    unsigned command;          // of the image-adjust service; 0 when only stored
    const char* name;          // "KEY_BRIGHTNESS"
    bool onlyStored;           // a schedule key: kept in the schemes, never sent to the sensor
    bool neverInBulk;          // not sent while a scheme is switched, reloaded or reset: one-shots, the frame rate
    bool refusalIsPassedOver;  // what the service says to it is reported, the video module's answer counts
};

// All, in the order of the table.
const std::vector<KeyName>& keyNames();

// Null when the number names no parameter.
const KeyName* findKey(int key);

}  // namespace camera
