#include "Lens.h"

#include "Status.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace sim {
namespace {

using host::Span;
using namespace std::chrono_literals;

constexpr int kFocusEnd = 20000;       // the nearest position that the drive reaches
constexpr int kFocusStep = 100;        // motor steps of one focus step
constexpr int kFocusSpeed = 8000;      // motor steps a second
constexpr int kZoomPerSpeed = 1000;    // positions a second for each unit of command 1571
constexpr int kZoomStepPerSpeed = 80;  // positions of one zoom step for each unit of it
constexpr int kIrisOpen = 96;
constexpr int kIrisStop = 12;     // motor steps of one stop
constexpr int kIrisClosed = 8;    // the size that is no stop any more
constexpr Span kSeekMark = 2s;    // a reset: to the reference marks, and as long for the way back
constexpr int kOvershoot = 600;   // motor steps that a hunt goes past the sharp position

enum FocusMode : int
{
    kAutomatic = 0,
    kManual = 1,
    kAfterZoom = 2,
};

constexpr int kIrisPriority = 2;
constexpr int kManualExposure = 3;

Span travel(int from, int to, int perSecond)
{
    return Span{std::abs(static_cast<long long>(to) - from) * 1'000'000 / perSecond};
}

// Metres of command 1537's values.
double nearLimit(int index)
{
    constexpr double kMetres[] = {0.1, 0.3, 1, 1.5, 3, 6, 10, 20};
    return kMetres[std::clamp(index, 0, 7)];
}

// How long a scene must hold still before the lens focuses by itself, for command 1538's values.
Span patience(int sensitivity)
{
    constexpr Span kSpans[] = {1000ms, 500ms, 200ms};
    return kSpans[std::clamp(sensitivity, 0, 2)];
}

// Where an object is sharp. Far objects move the focus with the zoom, near ones move it the more the longer the
// lens; the nearest may need more than the drive reaches.
int sharpPosition(int zoom, double metres)
{
    const double reach = double(std::min(zoom, Lens::kOpticalTele) - Lens::kWide) / (Lens::kOpticalTele - Lens::kWide);
    const double infinity = 2000 + 9000 * reach * reach;
    return static_cast<int>(std::lround(std::min(infinity + (900 + 5100 * reach) / metres, 1e6)));
}

}  // namespace

Lens::Lens(const Values& values) : values_(values)
{
    reset();
}

void Lens::reset()
{
    distance_ = kPowerOnDistance;
    zoom_.place(findParameter(IA_CMD_MZ_POSITION)->defaultValue);
    focus_.place(findParameter(IA_CMD_MF_POSITION)->defaultValue);
    iris_.place(findParameter(IA_CMD_IRIS_POSITION)->defaultValue);
    resetEnd_ = Span{0};
    once_ = onceFailed_ = false;
}

void Lens::settle()
{
    for (Drive* drive : {&zoom_, &focus_, &iris_})
    {
        drive->place(drive->target());
    }
    resetEnd_ = Span{0};
}

void Lens::setDistance(double metres, Span now)
{
    distance_ = metres > kNearestObject ? metres : kNearestObject;
    if (values_.get(IA_CMD_AUTO_FOCUS_MODE) == kAutomatic)
    {
        focusByItself(now);
    }
}

bool Lens::moves(u32 cmd)
{
    switch (cmd)
    {
    case IA_CMD_MF_POSITION:
    case IA_CMD_FOCUS_NEAR:
    case IA_CMD_FOCUS_FAR:
    case IA_CMD_AUTO_FOCUS_ONCE:
    case IA_CMD_MZ_POSITION:
    case IA_CMD_ZOOM_IN:
    case IA_CMD_ZOOM_OUT:
    case IA_CMD_IRIS_POSITION:
    case IA_CMD_IRIS_SIZE:
    case IA_CMD_IRIS_UP:
    case IA_CMD_IRIS_DOWN:
    case IA_CMD_LENS_RESET:
        return true;
    default:
        return false;
    }
}

int Lens::command(u32 cmd, int value, Span now)
{
    if (resetting(now))
    {
        return kLensBusy;
    }
    switch (cmd)
    {
    case IA_CMD_MF_POSITION:
        return moveFocus(value, now);
    case IA_CMD_MZ_POSITION:
        return moveZoom(value, now);
    case IA_CMD_IRIS_POSITION:
        return moveIris(value, now);
    case IA_CMD_IRIS_SIZE:
        return moveIris((kIrisClosed - value) * kIrisStop, now);
    default:
        return value == 0 ? kDone : step(cmd, now);
    }
}

int Lens::step(u32 cmd, Span now)
{
    const int zoomStep = kZoomStepPerSpeed * values_.get(IA_CMD_MZOOM_SPEED);
    const int exposure = values_.get(IA_CMD_EXPOSE_MODE);
    const bool manualFocus = values_.get(IA_CMD_AUTO_FOCUS_MODE) == kManual;
    const bool manualIris = exposure == kManualExposure || exposure == kIrisPriority;
    switch (cmd)
    {
    case IA_CMD_FOCUS_NEAR:
        return manualFocus ? moveFocus(focus_.target() + kFocusStep, now) : kWrongMode;
    case IA_CMD_FOCUS_FAR:
        return manualFocus ? moveFocus(focus_.target() - kFocusStep, now) : kWrongMode;
    case IA_CMD_ZOOM_IN:
        return moveZoom(zoom_.target() + zoomStep, now);
    case IA_CMD_ZOOM_OUT:
        return moveZoom(zoom_.target() - zoomStep, now);
    case IA_CMD_IRIS_UP:
        return manualIris ? moveIris(iris_.target() + kIrisStop, now) : kWrongMode;
    case IA_CMD_IRIS_DOWN:
        return manualIris ? moveIris(iris_.target() - kIrisStop, now) : kWrongMode;
    case IA_CMD_AUTO_FOCUS_ONCE:
        focusOnce(now);
        return kDone;
    case IA_CMD_LENS_RESET:
        resetDrives(now);
        return kDone;
    default:
        return kUnknownCommand;
    }
}

int Lens::moveZoom(int target, Span now)
{
    zoom_.begin(now);
    const int to = std::clamp(target, kWide, zoomLimit());
    zoom_.then(to, travel(zoom_.target(), to, kZoomPerSpeed * std::max(1, values_.get(IA_CMD_MZOOM_SPEED))));
    if (zoom_.moving(now) && values_.get(IA_CMD_AUTO_FOCUS_MODE) != kManual)
    {
        focusByItself(now);
    }
    return kDone;
}

int Lens::moveFocus(int target, Span now)
{
    once_ = onceFailed_ = false;
    focus_.begin(now);
    const int to = std::clamp(target, 0, kFocusEnd);
    focus_.then(to, travel(focus_.target(), to, kFocusSpeed));
    if (values_.get(IA_CMD_AUTO_FOCUS_MODE) == kAutomatic && values_.get(IA_CMD_PTZ_RUN_STATE) == 0)
    {
        focus_.pauseUntil(focus_.end() + patience(values_.get(IA_CMD_AUTO_FOCUS_SENSITIVITY)));
        hunt();
    }
    return kDone;
}

int Lens::moveIris(int target, Span now)
{
    iris_.begin(now);
    const int to = std::clamp(target, 0, kIrisOpen);
    const int perSecond = 4 + values_.get(IA_CMD_IRIS_SPEED) * 2 / 5;
    iris_.then(to, travel(iris_.target(), to, perSecond));
    return kDone;
}

void Lens::resetDrives(Span now)
{
    const auto seekMark = [now](Drive& drive, int mark) {
        const int back = drive.target();
        drive.begin(now);
        drive.then(mark, kSeekMark);
        drive.then(back, kSeekMark);
    };
    seekMark(zoom_, kWide);
    seekMark(focus_, 0);
    seekMark(iris_, 0);
    once_ = onceFailed_ = false;
    resetEnd_ = now + 2 * kSeekMark;
    if (values_.get(IA_CMD_AUTO_FOCUS_MODE) == kAutomatic)
    {
        hunt();
    }
}

// The movements of a search: past the sharp position, back past it by less, then to it.
void Lens::hunt()
{
    const double nearest = nearLimit(values_.get(IA_CMD_AUTO_FOCUS_NEAR_LIMIT));
    const int goal = sharpPosition(zoom_.target(), std::max(distance_, nearest));
    const int side = focus_.target() <= goal ? 1 : -1;
    for (const int past : {side * kOvershoot, -side * kOvershoot / 3, 0})
    {
        const int to = std::clamp(goal + past, 0, kFocusEnd);
        focus_.then(to, travel(focus_.target(), to, kFocusSpeed));
    }
}

bool Lens::sharpWithinReach() const
{
    return distance_ >= nearLimit(values_.get(IA_CMD_AUTO_FOCUS_NEAR_LIMIT)) &&
           sharpPosition(zoom_.target(), distance_) <= kFocusEnd;
}

void Lens::focusOnce(Span now)
{
    focus_.begin(now);
    focus_.pauseUntil(zoom_.end());
    hunt();
    once_ = true;
    onceFailed_ = !sharpWithinReach();
}

void Lens::focusByItself(Span now)
{
    if (values_.get(IA_CMD_PTZ_RUN_STATE) != 0 || resetting(now))
    {
        return;
    }
    once_ = onceFailed_ = false;
    focus_.begin(now);
    focus_.pauseUntil(std::max(now, zoom_.end()) + patience(values_.get(IA_CMD_AUTO_FOCUS_SENSITIVITY)));
    hunt();
}

void Lens::changed(u32 cmd, int old, Span now)
{
    const int value = values_.get(cmd);
    const bool automatic = values_.get(IA_CMD_AUTO_FOCUS_MODE) == kAutomatic;
    switch (cmd)
    {
    case IA_CMD_AUTO_FOCUS_MODE:
    case IA_CMD_AUTO_FOCUS_NEAR_LIMIT:
        if (automatic && value != old)
        {
            focusByItself(now);
        }
        else if (cmd == IA_CMD_AUTO_FOCUS_MODE && value == kManual && !resetting(now))
        {
            focus_.begin(now);
            once_ = onceFailed_ = false;
        }
        break;
    case IA_CMD_PTZ_RUN_STATE:
        if (value == 0 && old != 0 && values_.get(IA_CMD_AUTO_FOCUS_MODE) != kManual)
        {
            focusByItself(now);
        }
        break;
    case IA_CMD_DIGITAL_ZOOM:
        if (zoom_.target() > zoomLimit())
        {
            leaveDigitalZoom(now);
        }
        break;
    default:
        break;
    }
}

void Lens::leaveDigitalZoom(Span now)
{
    if (resetting(now))
    {
        zoom_.then(zoomLimit(), travel(zoom_.target(), zoomLimit(), kZoomPerSpeed));
        return;
    }
    moveZoom(zoomLimit(), now);
}

void Lens::dayNightChanged(Span now)
{
    // Infrared light focuses elsewhere than daylight, so the picture is searched again.
    if (values_.get(IA_CMD_DN_AF_MODE) == 1 && !resetting(now))
    {
        focusOnce(now);
    }
}

int Lens::position(u32 cmd, Span now) const
{
    switch (cmd)
    {
    case IA_CMD_MF_POSITION:
        return focus_.position(now);
    case IA_CMD_MZ_POSITION:
        return zoom_.position(now);
    case IA_CMD_IRIS_POSITION:
        return iris_.position(now);
    case IA_CMD_IRIS_SIZE:
        return kIrisClosed - (iris_.position(now) + kIrisStop / 2) / kIrisStop;
    case IA_CMD_AF_STATISTIC:
        return contrast(now);
    default:
        return 0;
    }
}

int Lens::execStatus(u32 cmd, Span now) const
{
    const auto running = [now](const Drive& drive) { return drive.moving(now) ? kRunning : kIdle; };
    switch (cmd)
    {
    case IA_CMD_MF_POSITION:
    case IA_CMD_FOCUS_NEAR:
    case IA_CMD_FOCUS_FAR:
        return running(focus_);
    case IA_CMD_AUTO_FOCUS_ONCE:
        return once_ && focus_.moving(now) ? kRunning : onceFailed_ ? kFailed : kIdle;
    case IA_CMD_MZ_POSITION:
    case IA_CMD_ZOOM_IN:
    case IA_CMD_ZOOM_OUT:
        return running(zoom_);
    case IA_CMD_IRIS_POSITION:
    case IA_CMD_IRIS_SIZE:
    case IA_CMD_IRIS_UP:
    case IA_CMD_IRIS_DOWN:
        return running(iris_);
    case IA_CMD_LENS_RESET:
        return resetting(now) ? kRunning : kIdle;
    default:
        return kIdle;
    }
}

int Lens::zoomLimit() const
{
    return values_.get(IA_CMD_DIGITAL_ZOOM) == 0 ? kOpticalTele : kDigitalTele;
}

// Peaks where the object is sharp; the longer the lens, the narrower.
int Lens::contrast(Span now) const
{
    const int zoom = zoom_.position(now);
    const double width = 1200.0 - 800.0 * (std::min(zoom, kOpticalTele) - kWide) / (kOpticalTele - kWide);
    const double off = (focus_.position(now) - sharpPosition(zoom, distance_)) / width;
    return static_cast<int>(std::lround(1000 + 60000 / (1 + off * off)));
}

LensState Lens::state(Span now) const
{
    const int zoom = zoom_.position(now);
    return {zoom,
            focus_.position(now),
            iris_.position(now),
            std::min(sharpPosition(zoom, distance_), kFocusEnd),
            contrast(now),
            zoom_.moving(now),
            focus_.moving(now),
            iris_.moving(now),
            resetting(now)};
}

}  // namespace sim
