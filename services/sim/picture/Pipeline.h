#pragma once

#include "services/sim/picture/Exposure.h"
#include "services/sim/picture/Optics.h"
#include "services/sim/picture/Processing.h"
#include "services/sim/picture/Scene.h"
#include "services/sim/picture/Sensor.h"

namespace sim::picture {

// From the street to a picture, one frame at a time. Reentrant.
class Pipeline
{
public:
    explicit Pipeline(cv::Size frame);

    // The picture at that moment, CV_8UC3. seconds: since any fixed moment, never back; interval: between two frames.
    cv::Mat shoot(const View& view, double seconds, double interval);

    // What the last picture was taken with.
    const Setting& setting() const { return setting_; }

    // Called with the name of each stage when it has ended.
    using Watch = Processing::Watch;
    void setWatch(const Watch& watch)
    {
        processing_.setWatch(watch);
        watch_ = watch;
    }

private:
    void ended(const char* stage) const;

    const cv::Size frame_;
    Scene scene_;
    Optics optics_;
    Exposure exposure_;
    Sensor sensor_;
    Processing processing_;
    Setting setting_;
    cv::Mat linear_;
    Watch watch_;
};

}  // namespace sim::picture
