#include "services/sim/Lens.h"

#include "services/Status.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace sim {
namespace {

using host::Span;
using namespace std::chrono_literals;

constexpr int kFocusStep = 100;        // motor steps of one focus step
constexpr int kZoomPerSpeed = 1000;    // positions a second for each unit of command 1571
constexpr int kZoomStepPerSpeed = 80;  // positions of one zoom step for each unit of it
constexpr Span kSeekMark = 2s;         // a reset: to the reference marks, and as long for the way back

Span travel(int from, int to, int perSecond)
{
    return Span{std::abs(static_cast<long long>(to) - from) * 1'000'000 / perSecond};
}

// Motor steps of command 85's values: the greatest is closed, the others are whole stops.
int stepsOfSize(int size)
{
    const int closed = greatestOf(IA_CMD_IRIS_SIZE);
    return (closed - size) * greatestOf(IA_CMD_IRIS_POSITION) / closed;
}

}  // namespace

int leastOf(u32 cmd)
{
    return findParameter(cmd)->minimum;
}

int greatestOf(u32 cmd)
{
    return findParameter(cmd)->maximum;
}

Lens::Lens(const Values& values) : values_(values)
{
    reset();
}

void Lens::reset()
{
    distance_ = kPowerOnDistance;
    zoom_.place(findParameter(IA_CMD_MZ_POSITION)->defaultValue);
    focus_.place(findParameter(IA_CMD_MF_POSITION)->defaultValue);
    irisPosition_ = findParameter(IA_CMD_IRIS_POSITION)->defaultValue;
    irisSize_ = findParameter(IA_CMD_IRIS_SIZE)->defaultValue;
    iris_.place(sizeGoverns() ? stepsOfSize(irisSize_) : irisPosition_);
    resetEnd_ = toldEnd_ = Span{0};
    once_ = onceFailed_ = onceHeld_ = false;
}

void Lens::settle()
{
    for (Drive* drive : {&zoom_, &focus_, &iris_})
    {
        drive->place(drive->target());
    }
    resetEnd_ = toldEnd_ = Span{0};
}

void Lens::setDistance(double metres, Span now)
{
    distance_ = metres > kNearestObject ? metres : kNearestObject;
    searchAnew(focusMode() == kAutomaticFocus, now);
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
    case IA_CMD_IRIS_SIZE:
        return setIris(cmd, value, now);
    default:
        return value == 0 ? kDone : step(cmd, now);
    }
}

int Lens::step(u32 cmd, Span now)
{
    const int zoomStep = kZoomStepPerSpeed * values_.get(IA_CMD_MZOOM_SPEED);
    const bool manualFocus = focusMode() == kManualFocus;
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
        return sizeGoverns() ? setIris(IA_CMD_IRIS_SIZE, irisSize_ - 1, now) : kWrongMode;
    case IA_CMD_IRIS_DOWN:
        return sizeGoverns() ? setIris(IA_CMD_IRIS_SIZE, irisSize_ + 1, now) : kWrongMode;
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
    const int to = std::clamp(target, leastOf(IA_CMD_MZ_POSITION), zoomLimit());
    driveZoom(to);
    if (zoom_.moving(now))
    {
        searchAnew(focusMode() != kManualFocus, now);
    }
    return kDone;
}

void Lens::driveZoom(int to)
{
    zoom_.then(to, travel(zoom_.target(), to, kZoomPerSpeed * std::max(1, values_.get(IA_CMD_MZOOM_SPEED))));
}

int Lens::moveFocus(int target, Span now)
{
    beginFocus(now);
    driveFocus(target);
    toldEnd_ = focus_.end();
    if (focusMode() == kAutomaticFocus && !held())
    {
        waitAndHunt();
    }
    return kDone;
}

bool Lens::sizeGoverns() const
{
    const int exposure = values_.get(IA_CMD_EXPOSE_MODE);
    return exposure == kManualExposure || exposure == kIrisPriority;
}

int Lens::setIris(u32 cmd, int value, Span now)
{
    int& kept = cmd == IA_CMD_IRIS_SIZE ? irisSize_ : irisPosition_;
    kept = std::clamp(value, leastOf(cmd), greatestOf(cmd));
    if (sizeGoverns() == (cmd == IA_CMD_IRIS_SIZE))
    {
        moveIris(now);
    }
    return kDone;
}

// To where the exposure mode wants it; during a reset afterwards.
void Lens::moveIris(Span now)
{
    if (resetting(now))
    {
        iris_.endAt(resetEnd_);
    }
    else
    {
        iris_.begin(now);
    }
    const int to = sizeGoverns() ? stepsOfSize(irisSize_) : irisPosition_;
    const int perSecond = 4 + values_.get(IA_CMD_IRIS_SPEED) * 2 / 5;
    iris_.then(to, travel(iris_.target(), to, perSecond));
}

void Lens::resetDrives(Span now)
{
    const auto seekMark = [now](Drive& drive, u32 cmd) {
        const int back = drive.target();
        drive.begin(now);
        drive.then(leastOf(cmd), kSeekMark);
        drive.then(back, kSeekMark);
    };
    seekMark(zoom_, IA_CMD_MZ_POSITION);
    seekMark(focus_, IA_CMD_MF_POSITION);
    seekMark(iris_, IA_CMD_IRIS_POSITION);
    once_ = onceFailed_ = onceHeld_ = false;
    resetEnd_ = toldEnd_ = now + 2 * kSeekMark;
    if (focusMode() == kAutomaticFocus)
    {
        focusByItself(now);
    }
}

void Lens::changed(u32 cmd, int old, Span now)
{
    const int value = values_.get(cmd);
    if (value == old)
    {
        return;
    }
    switch (cmd)
    {
    case IA_CMD_AUTO_FOCUS_MODE:
        if (value == kManualFocus)
        {
            stopSearch(now);
        }
        else if (value == kAutomaticFocus)
        {
            searchAnew(true, now);
        }
        break;
    case IA_CMD_AUTO_FOCUS_NEAR_LIMIT:
        searchAnew(focusMode() == kAutomaticFocus, now);
        break;
    case IA_CMD_PTZ_RUN_STATE:
        if (old == 0)
        {
            hold(now);
        }
        else if (value == 0)
        {
            release(now);
        }
        break;
    case IA_CMD_EXPOSE_MODE:
        moveIris(now);
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
        driveZoom(zoomLimit());
        searchAnew(focusMode() != kManualFocus, now);
        return;
    }
    moveZoom(zoomLimit(), now);
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
        return irisPosition_;
    case IA_CMD_IRIS_SIZE:
        return irisSize_;
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
        return onceRunning(now) ? kRunning : onceFailed_ ? kFailed : kIdle;
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
    return values_.get(IA_CMD_DIGITAL_ZOOM) == 0 ? kOpticalTele : greatestOf(IA_CMD_MZ_POSITION);
}

LensState Lens::state(Span now) const
{
    const int zoom = zoom_.position(now);
    return {zoom,
            focus_.position(now),
            iris_.position(now),
            std::min(sharpAt(zoom), greatestOf(IA_CMD_MF_POSITION)),
            contrast(now),
            zoom_.moving(now),
            focus_.moving(now),
            iris_.moving(now),
            resetting(now)};
}

}  // namespace sim
