#pragma once

#include <string>
#include <string_view>

#include "SensorPaths.h"

// The camera's files inside the private tree. A failure to write ends the program: the input is not to blame.
namespace fuzz {

using namespace sensorpaths;

// Makes the camera's folders, empty.
void emptyCamera();

// Whole files, byte for byte. What is no file reads as empty.
void writeFile(const std::string& path, std::string_view bytes);
std::string readFile(const std::string& path);

}  // namespace fuzz
