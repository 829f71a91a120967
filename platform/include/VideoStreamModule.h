#pragma once

#include <vector>

#include "AVStreamParam.h"
#include "sensorplatform_export.h"

/// The host's video module, told of what changes the picture's geometry. Implementations are thread-safe: the
/// host's threads and the sensor thread call at the same time.
class SENSORPLATFORM_API VideoStreamModule
{
public:
    virtual ~VideoStreamModule() = default;

    /// cmd: image-adjust command (ia_ioctrl.h). 0 on success; anything else is handed on as the failure of the
    /// parameter that caused the call.
    virtual int notifyParam(int cmd, int value) = 0;

    virtual std::vector<AVStreamParam> getStreamParams() const = 0;
};
