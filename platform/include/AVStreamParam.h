#pragma once

#include "sensorplatform_export.h"

/// One video stream of the camera. A plain value; reentrant.
class SENSORPLATFORM_API AVStreamParam
{
public:
    /// Frames per second.
    int getFrameRate() const { return frameRate_; }
    void setFrameRate(int frameRate) { frameRate_ = frameRate; }

private:
    int frameRate_ = 25;
};
