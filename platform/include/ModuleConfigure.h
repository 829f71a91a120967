#pragma once

#include <string>
#include <utility>

#include "sensorplatform_export.h"

/// What the host says about the sensor module. A plain value; reentrant.
class SENSORPLATFORM_API ModuleConfigure
{
public:
    int getModuleId() const { return moduleId_; }
    void setModuleId(int moduleId) { moduleId_ = moduleId; }

    /// Fields "(name=value)" without separators.
    const std::string& getDetail() const { return detail_; }
    void setDetail(std::string detail) { detail_ = std::move(detail); }

    const std::string& getParameters() const { return parameters_; }
    void setParameters(std::string parameters) { parameters_ = std::move(parameters); }

private:
    int moduleId_ = 0;
    std::string detail_;
    std::string parameters_;
};
