#pragma once

#include <vector>

#include "services/ImageService.h"
#include "services/linux/ControlTable.h"
#include "services/linux/Description.h"

namespace devices {

struct Named
{
    u32 id;
    services::NamedControl control;
};

// The controls that can be set and are behind no command. Those are left out whose values are longer than a word, and
// those that the device changes by itself. Reentrant.
std::vector<Named> namedControlsOf(const Description& description, const ControlTable& table);

}  // namespace devices
