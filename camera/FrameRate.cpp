#include <algorithm>

#include "KestraTime.h"
#include "SensorKeys.h"
#include "camera/Operation.h"

// The library never sends the sensor's frame rate with a whole scheme: after the start, a switch and a reload the
// sensor would keep the rate of the scheme before. So it is sent here once the scheme is in force.
namespace camera {
namespace {

// As often as the scheduler chooses, and on a slow clock once in a real second: trials end in real time.
constexpr long kLookMicroseconds = 1'000'000;

}  // namespace

void Camera::sendFrameRate(const Change& change)
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
    // What the sensor holds now says nothing: it may have rounded.
    const bool wasSent = std::any_of(change.sets().begin(), change.sets().end(),
                                     [](const Value& set) { return set.key == KEY_SENSOR_FPS; });
    if (!wasSent && own.list().empty())
    {
        frameRateScheme_ = -1;  // a switch was under way: once more at the next look
    }
}

// At what the sensor thread did, whoever's thread this is.
void Camera::look()
{
    const Acting nobody("");
    const Change change(*this);
    if (!up_)
    {
        return;
    }
    tellWhatHappened();
    lookAtDevice();
    endStaleTrials();
    sendOwed();
    if (currentScheme() != frameRateScheme_)
    {
        sendFrameRate(change);
    }
}

// At what moves and is written without a call of the camera.
void Camera::lookAround()
{
    const Change change(*this);
    if (!up_)
    {
        return;
    }
    const std::vector<Value> positions = lensPositions();
    const bool moves = !std::equal(positions.begin(), positions.end(), lensPositions_.begin(), lensPositions_.end(),
                                   [](const Value& now, const Value& before) { return now.value == before.value; });
    lensPositions_ = positions;
    if (lensMoves_.exchange(moves) != moves)
    {
        tellLens(moves);
    }
    for (std::string& line : log_.take())
    {
        Event event{Event::Kind::log};
        event.line = std::move(line);
        tell(event);
    }
}

// A turn of the thread that looks once a second. Returns 0.
int Camera::watch()
{
    KestraTime::wait(KestraTime(0, static_cast<long>(kLookMicroseconds * std::min(1.0, speed()))));
    look();
    lookAround();
    return 0;
}

// A turn of the thread that looks behind a switch of the sensor thread: a device that is plugged in again just then gets
// the frame rate with all else. A switch that sends nothing is seen at the next second. Returns 0.
int Camera::follow()
{
    if (others_.waitForSome())
    {
        look();
    }
    return 0;
}

}  // namespace camera
