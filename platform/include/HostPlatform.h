#pragma once

/// The whole host framework.

#include "AVStreamParam.h"
#include "DeviceType.h"
#include "GThread.h"
#include "HostClock.h"
#include "KSDeviceTime.h"
#include "KSFile.h"
#include "KSLogger.h"
#include "KSMutex.h"
#include "KestraTime.h"
#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "ModuleConfigureParser.h"
#include "StringHandler.h"
#include "SystemInfoParser.h"
#include "VideoStreamModule.h"
#include "sy_system.h"
