#pragma once

#include "services/Descriptor.h"

namespace camera {

using services::Descriptor;

}  // namespace camera
