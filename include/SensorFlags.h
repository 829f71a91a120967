#pragma once

#include "sensordll_export.h"

/// contract: "Falg" is the name. Whether wide dynamic range is offered on this camera; true until the video
/// streams' frame rates say otherwise. A plain type by contract; the library accesses it atomically.
extern SENSORDLL_API bool g_bShowWDRFalg;

/// Thread-safe.
SENSORDLL_API void setshowWDRFalg(bool p_bShow);
SENSORDLL_API bool getshowWDRFalg();
