#pragma once

#include <vector>

#include "services/ImageService.h"
#include "services/linux/Board.h"
#include "services/linux/Description.h"

namespace devices {

// What a camera has of the commands, in the order of a page. The values are those of first contact; the defaults are the
// devices' own, and the known ones of what no device has by itself. Reentrant.
std::vector<services::ParameterState> parametersOf(const Description& description, const Board& board);

}  // namespace devices
