#pragma once

#include <vector>

#include "services/sim/picture/Layers.h"
#include "services/sim/picture/Traffic.h"
#include "services/sim/picture/View.h"

namespace sim::picture {

// What the lens is directed at: changes of it draw the street anew.
struct Framing
{
    double zoom = 1;
    cv::Point offset;  // pixels to the right and down

    bool operator==(const Framing& other) const { return zoom == other.zoom && offset == other.offset; }
};

// A street: by day, under street lamps, in infrared light. Reentrant.
class Scene
{
public:
    // margin: pixels that are drawn beyond each edge of the frame, an even number.
    Scene(cv::Size frame, int margin);

    // What falls on the sensor for each lux of light that a white surface would give back: CV_32FC3, blue, green, red.
    // seconds: since any fixed moment; what moves is where it is then. It holds until the next call. While the lens
    // zooms, all of it is new in each frame, and drawn half as fine.
    const cv::Mat& look(const View& view, const Framing& framing, double seconds);

private:
    struct Light;

    const cv::Mat& lookCoarsely(const View& view, const Framing& framing, double seconds);
    static Light lightOf(const View& view);
    void shine(const Light& light, const std::vector<cv::Rect>& areas);
    void dazzle(const Light& light, const Flare& flare, std::vector<cv::Rect>& touched);
    void spread(const Projection& projection);

    const cv::Size frame_;
    const int margin_;
    Framing framing_;
    Layers street_;  // at rest
    Layers layers_;  // with what moves
    cv::Mat radiance_;
    cv::Mat resting_;  // radiance of the street at rest
    Traffic traffic_;
    std::vector<cv::Rect> moved_;  // differs from the street at rest
    std::shared_ptr<const Light> lit_;
    std::vector<float> beamAcross_[3];  // each infrared lamp's beam over the columns
    std::vector<float> beamDown_[3];    // and rows
    float focal_ = 1;
    std::unique_ptr<Scene> coarse_;  // of half the size
    cv::Mat enlarged_;
};

}  // namespace sim::picture
