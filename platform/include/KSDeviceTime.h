#pragma once

#include "sensorplatform_export.h"

/// Local wall-clock time of the device, taken from host::clock. Reentrant.
class SENSORPLATFORM_API KSDeviceTime
{
public:
    /// Thread-safe.
    static KSDeviceTime getCurrentTime();

    /// 0 to 23.
    int getHour() const;
    /// 0 to 59.
    int getMinute() const;

private:
    KSDeviceTime(int hour, int minute);

    int hour_;
    int minute_;
};
