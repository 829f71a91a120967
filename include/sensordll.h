#pragma once

/// Everything that libsensordll.so exports.

#include "ISensorController.h"
#include "KeyVal.h"
#include "SensorDebug.h"
#include "SensorFile.h"
#include "SensorFlags.h"
#include "SensorKeyVal.h"
#include "SensorKeys.h"
#include "SensorTypes.h"
#include "SysConfig.h"
#include "ia_ioctrl.h"
#include "keycmd.h"
#include "sensordll_export.h"
