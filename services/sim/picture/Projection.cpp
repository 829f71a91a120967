#include "services/sim/picture/Projection.h"

#include <cmath>

namespace sim::picture {
namespace {

// On a pole above the parking strip; the lens looks at the number plate of the car that is parked there.
constexpr float kHeight = 5.5f;
constexpr float kAimAhead = 35;
constexpr float kAimHeight = 0.62f;

constexpr double kFocalPerWidth = 0.87;  // 60 degrees across the widest picture

const float kPitch = std::atan2(kHeight - kAimHeight, kAimAhead);
const float kSin = std::sin(kPitch);
const float kCos = std::cos(kPitch);

}  // namespace

Projection::Projection(cv::Size frame, int margin, double zoom, cv::Point2d offset)
    : canvas_(frame.width + 2 * margin, frame.height + 2 * margin),
      focal_(static_cast<float>(frame.width * kFocalPerWidth * zoom)),
      centre_(static_cast<float>(canvas_.width / 2.0 + offset.x), static_cast<float>(canvas_.height / 2.0 + offset.y))
{
}

Point Projection::seen(Point street) const
{
    const float up = street.z - kHeight;
    return {street.x, -(street.y * kSin + up * kCos), street.y * kCos - up * kSin};
}

Point Projection::street(Point seen) const
{
    return {seen.x, seen.z * kCos - seen.y * kSin, kHeight - seen.z * kSin - seen.y * kCos};
}

cv::Point2f Projection::pixel(Point seen) const
{
    return {centre_.x + focal_ * seen.x / seen.z, centre_.y + focal_ * seen.y / seen.z};
}

}  // namespace sim::picture
