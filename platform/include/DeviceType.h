#pragma once

#include "sensorplatform_export.h"

/// The kind of camera: 1 camera, 4 dome, 8 licence plate, 9 fisheye. Any number is kept. Reentrant.
class SENSORPLATFORM_API DeviceType
{
public:
    int getDeviceTypeId() const { return deviceTypeId_; }
    void setDeviceTypeId(int deviceTypeId) { deviceTypeId_ = deviceTypeId; }

private:
    int deviceTypeId_ = 0;
};
