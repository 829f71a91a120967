#pragma once

#include <opencv2/core.hpp>

namespace sim::picture {

// The street in metres: x to the right, y away from the camera, z up from the ground below it.
using Point = cv::Point3f;

// Where the street lies in the picture. Reentrant.
class Projection
{
public:
    // offset: pixels by which the picture is moved to the right and down; margin: pixels drawn beyond each edge.
    Projection(cv::Size frame, int margin, double zoom, cv::Point2d offset);

    cv::Size canvas() const { return canvas_; }
    float focal() const { return focal_; }          // pixels
    cv::Point2f centre() const { return centre_; }  // where the lens looks, on the canvas

    // Right, down and forward of the camera.
    Point seen(Point street) const;
    Point street(Point seen) const;
    // seen.z must be above 0.
    cv::Point2f pixel(Point seen) const;

private:
    cv::Size canvas_;
    float focal_;
    cv::Point2f centre_;
};

// The least forward distance that is drawn, in metres.
constexpr float kNearest = 0.5f;

}  // namespace sim::picture
