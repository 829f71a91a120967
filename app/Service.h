#pragma once

#include "services/Journal.h"

namespace app {

// The image-adjust service that this camera runs on, with its journal; ia_ioctrl goes there from the first call of this
// on. The one place that says which service it is.
services::Journal& service();

}  // namespace app
