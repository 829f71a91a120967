#include "KestraTime.h"
#include "SensorKeys.h"
#include "camera/Operation.h"

// The library never sends the sensor's frame rate with a whole scheme: after the start, a switch and a reload the
// sensor would keep the rate of the scheme before. So it is sent here once the scheme is in force.
namespace camera {
namespace {

constexpr long kLookSeconds = 1;  // as often as the scheduler chooses

}  // namespace

// Called with changing_ held, inside the gate.
void Camera::sendFrameRate()
{
    const int scheme = currentScheme();
    const std::optional<int> wanted = schemeValue(scheme, KEY_SENSOR_FPS);
    frameRateScheme_ = scheme;
    const auto held = parameterOfKey(service_, KEY_SENSOR_FPS);
    if (!wanted || (held && held->value == *wanted))
    {
        return;
    }
    const services::OwnRefusals own;
    controller_.restore(KEY_SENSOR_FPS);
    const auto now = parameterOfKey(service_, KEY_SENSOR_FPS);
    if (own.list().empty() && now && now->value != *wanted)
    {
        frameRateScheme_ = -1;  // a switch was under way: once more at the next look
    }
}

// At what the sensor thread did.
void Camera::look()
{
    const Change change(*this);
    if (!up_)
    {
        return;
    }
    tellWhatHappened();
    if (currentScheme() != frameRateScheme_)
    {
        sendFrameRate();
    }
}

// A turn of the camera's own thread. Returns 0.
int Camera::watch()
{
    KestraTime::wait(KestraTime(kLookSeconds, 0));
    look();
    return 0;
}

}  // namespace camera
