#pragma once

#include <string>
#include <vector>

#include "KeyVal.h"

// The file of one scheme, read and written with the library's own functions. Host thread only.
namespace app {

// "/mnt/mtd/code/config_file/sensor2.cfg", in the camera's tree.
std::string schemeFilePath(int scheme);

// All records; empty when the file is missing, is not a whole number of records long, or longer than a scheme can be.
std::vector<KeyVal> readSchemeFile(int scheme);

// True when the file holds exactly these records afterwards.
bool writeSchemeFile(int scheme, std::vector<KeyVal> records);

}  // namespace app
