#pragma once

#include <string>
#include <utility>

#include "sensorplatform_export.h"

/// What the factory wrote about the board. A plain value; reentrant.
class SENSORPLATFORM_API MachineInfo
{
public:
    /// As DeviceType::setDeviceTypeId takes it; 0 until a file said otherwise.
    int getDeviceType() const { return deviceType_; }
    void setDeviceType(int deviceType) { deviceType_ = deviceType; }

    const std::string& getHardwareModel() const { return hardwareModel_; }
    void setHardwareModel(std::string model) { hardwareModel_ = std::move(model); }

    const std::string& getHardwareCode() const { return hardwareCode_; }
    void setHardwareCode(std::string code) { hardwareCode_ = std::move(code); }

private:
    int deviceType_ = 0;
    std::string hardwareModel_;
    std::string hardwareCode_;
};
