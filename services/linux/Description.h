#pragma once

#include <string>
#include <vector>

#include "services/linux/Control.h"

// What a camera's devices are and had at first contact, as it is kept beside the documents that were made from it.
namespace devices {

struct Description
{
    std::string name;               // of the camera, printable UTF-8, for people
    std::string version;            // of driver and kernel, at most 49 characters
    std::vector<Control> controls;  // of all devices: words are judged by these ranges
    Values values;                  // of the controls, at first contact
};

// A text, and back; throws std::runtime_error for what is none.
std::string textOf(const Description& description);
Description parseDescription(const std::string& text);

// What makes two descriptions that of one device: the sorted list of control, type and menu items, without ranges.
std::string fingerprint(const Description& description);

}  // namespace devices
