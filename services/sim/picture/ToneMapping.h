#pragma once

#include "services/sim/picture/Planes.h"

namespace sim::picture {

// What differs from place to place in how light the picture is made: wide dynamic range, highlight compensation, defog.
// clip: the greatest value of the linear picture. Reentrant.
void mapTones(Planes& planes, int clip, const View& view);

// What is the same everywhere: gamma, brightness, contrast and saturation. To eight bits: brightness 16 to 235, colour
// around 128. Reentrant.
class ToneCurve
{
public:
    // colour: the part of it that is shown, 0 to 1, before saturation.
    void apply(const Planes& planes, double colour, const View& view, cv::Mat& y, cv::Mat& cb, cv::Mat& cr);

private:
    struct Setting
    {
        int gamma;
        int brightness;
        int contrast;
        bool operator==(const Setting& other) const
        {
            return gamma == other.gamma && brightness == other.brightness && contrast == other.contrast;
        }
    };

    void prepare(const Setting& setting);

    Setting made_ = {-1, -1, -1};
    std::vector<uchar> brightness_;  // by value of a plane
    std::vector<float> colour_;      // what colour is multiplied by, by brightness before
};

}  // namespace sim::picture
