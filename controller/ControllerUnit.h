#pragma once

#include "KSMutex.h"
#include "KeyVal.h"
#include "SensorKeys.h"
#include "SensorPaths.h"
#include "config/ConfigUnit.h"
#include "diag/SensorTrace.h"

// What the controller's source files share.

// All of them report under this unit.
constexpr char kControllerUnit[] = "ISensorController";

// contract: wide on purpose, every file that begins with "sensor" in every folder that begins with "config".
constexpr char kRemoveSchemeFiles[] = "rm -rf /mnt/mtd/code/config*/sensor*";
constexpr int kRemoveLimitSeconds = 30;

constexpr int kNoScheme = -1;
constexpr int kScheduledMode = 1;  // the clock chooses the scheme; 0 is manual

using config::kKeyValCapacity;
using sensorpaths::kMachineInfoFile;
using sensorpaths::kSchemeFile;

// The first five records of every scheme, found by position and never by key.
// on disk: never renumber.
enum schedule_record_e : u32
{
    kRecordEnable,
    kRecordStartHour,
    kRecordStartMinute,
    kRecordEndHour,
    kRecordEndMinute,
    kScheduleRecords,
};

// Keys that are stored in the schemes and never sent.
inline bool isScheduleKey(u32 key)
{
    return key - KEY_SCHEME_ENABLE < kScheduleRecords;
}

// Holds the controller's mutex for a scope.
class ControllerLock
{
public:
    ControllerLock(KSMutex& mutex, int line) : m_objMutex(mutex), m_nLine(line)
    {
        m_objMutex.Lock(kControllerUnit, m_nLine);
    }
    ~ControllerLock() { m_objMutex.Unlock(kControllerUnit, m_nLine); }
    ControllerLock(const ControllerLock&) = delete;
    ControllerLock& operator=(const ControllerLock&) = delete;

private:
    KSMutex& m_objMutex;
    int m_nLine;
};

#define CONTROLLER_PLACE DIAG_PLACE(kControllerUnit)
