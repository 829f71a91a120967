#pragma once

#include "services/sim/picture/Scene.h"

namespace sim::picture {

// What the lens makes of the street: zoom, focus, shake. Reentrant.
class Optics
{
public:
    explicit Optics(cv::Size frame) : frame_(frame) {}

    // Pixels that the street must be drawn beyond each edge of the frame, for the shake.
    static int margin(cv::Size frame);

    static Framing framing(const View& view, cv::Size frame);
    // Of the zoom's optical part, at least 1, and of the digital part.
    static double opticalZoom(int position);
    static double digitalZoom(int position);

    // By how many pixels wind and traffic have moved the picture to the right and down.
    static cv::Point2d shake(const View& view, cv::Size frame, double seconds);

    // Pixels of the frame over which a point is spread, to each side; 0 when sharp.
    static double blur(const View& view, double stop, cv::Size frame);

    // The part of the street that falls on the sensor, as the lens draws it: the same type as street, frame in size.
    // stop: the iris' f-number.
    cv::Mat draw(const cv::Mat& street, const View& view, double stop, cv::Point2d shake);

private:
    void soften(const cv::Mat& picture, double spread);

    const cv::Size frame_;
    cv::Mat blurred_;
};

}  // namespace sim::picture
