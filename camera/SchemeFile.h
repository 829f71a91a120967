#pragma once

#include <vector>

#include "KeyVal.h"

// The file of one scheme, read and written with the library's own functions. Readers on any thread, since a file is
// replaced as a whole; writers one at a time.
namespace camera {

// All records; empty when the file is missing, is not a whole number of records long, or longer than a scheme can be.
std::vector<KeyVal> readSchemeFile(int scheme);

// True when the file holds exactly these records afterwards.
bool writeSchemeFile(int scheme, std::vector<KeyVal> records);

}  // namespace camera
