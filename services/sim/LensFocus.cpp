#include "services/sim/Lens.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

// How the lens finds the sharp position.
namespace sim {
namespace {

using host::Span;
using namespace std::chrono_literals;

constexpr int kSpeed = 8000;     // motor steps a second
constexpr int kOvershoot = 600;  // motor steps that a hunt goes past the sharp position

// 0 wide to 1 at the end of the glass.
double reachOf(int zoom)
{
    const int wide = leastOf(IA_CMD_MZ_POSITION);
    return double(std::min(zoom, Lens::kOpticalTele) - wide) / (Lens::kOpticalTele - wide);
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
    const double reach = reachOf(zoom);
    const double infinity = 2000 + 9000 * reach * reach;
    return static_cast<int>(std::lround(std::min(infinity + (900 + 5100 * reach) / metres, 1e6)));
}

}  // namespace

// Drops what the focus was to do, but a reset runs to its end.
void Lens::beginFocus(Span now)
{
    once_ = onceFailed_ = onceHeld_ = false;
    if (resetting(now))
    {
        focus_.endAt(resetEnd_);
    }
    else
    {
        focus_.begin(now);
    }
    toldEnd_ = focus_.end();
}

// Where it was told to go it still goes.
void Lens::stopSearch(Span now)
{
    once_ = onceFailed_ = onceHeld_ = false;
    if (now < toldEnd_)
    {
        focus_.endAt(toldEnd_);
    }
    else
    {
        focus_.begin(now);
    }
}

bool Lens::onceRunning(Span now) const
{
    return onceHeld_ || (once_ && focus_.moving(now));
}

bool Lens::sharpWithinReach() const
{
    return distance_ >= nearLimitMetres(values_.get(IA_CMD_AUTO_FOCUS_NEAR_LIMIT)) &&
           sharpPosition(zoom_.target(), distance_) <= greatestOf(IA_CMD_MF_POSITION);
}

void Lens::focusOnce(Span now)
{
    if (held())
    {
        stopSearch(now);
        onceHeld_ = true;
        return;
    }
    beginFocus(now);
    focus_.pauseUntil(zoom_.end());
    hunt();
    once_ = true;
    onceFailed_ = !sharpWithinReach();
}

void Lens::focusByItself(Span now)
{
    if (held())
    {
        return;  // release searches
    }
    beginFocus(now);
    waitAndHunt();
}

void Lens::waitAndHunt()
{
    const Span still = patience(values_.get(IA_CMD_AUTO_FOCUS_SENSITIVITY));
    focus_.pauseUntil(std::max(toldEnd_, zoom_.end()) + still);
    hunt();
}

// What is sharp changed. byItself: the focus mode asks for a search.
void Lens::searchAnew(bool byItself, Span now)
{
    if (onceRunning(now))
    {
        focusOnce(now);
    }
    else if (byItself)
    {
        focusByItself(now);
    }
}

// Pan, tilt or zoom began to run.
void Lens::hold(Span now)
{
    const bool once = onceRunning(now);
    if (focus_.moving(now))
    {
        const bool failed = onceFailed_ && !once;
        stopSearch(now);
        onceFailed_ = failed;
        onceHeld_ = once;
    }
}

void Lens::release(Span now)
{
    if (onceHeld_)
    {
        focusOnce(now);
    }
    else if (focusMode() != kManualFocus)
    {
        focusByItself(now);
    }
}

// The movements of a search: past the sharp position, back past it by less, then to it.
void Lens::hunt()
{
    const double nearest = nearLimitMetres(values_.get(IA_CMD_AUTO_FOCUS_NEAR_LIMIT));
    const int goal = sharpPosition(zoom_.target(), std::max(distance_, nearest));
    const int side = focus_.target() <= goal ? 1 : -1;
    for (const int past : {side * kOvershoot, -side * kOvershoot / 3, 0})
    {
        driveFocus(goal + past);
    }
}

void Lens::driveFocus(int target)
{
    const int to = std::clamp(target, leastOf(IA_CMD_MF_POSITION), greatestOf(IA_CMD_MF_POSITION));
    focus_.then(to, Span{std::abs(to - focus_.target()) * 1'000'000LL / kSpeed});
}

int Lens::sharpAt(int zoom) const
{
    return sharpPosition(zoom, distance_);
}

void Lens::dayNightChanged(Span now)
{
    // Infrared light focuses elsewhere than daylight, so the picture is searched again.
    if (values_.get(IA_CMD_DN_AF_MODE) == 1)
    {
        focusOnce(now);
    }
}

// Peaks where the object is sharp; the longer the lens, the narrower.
int Lens::contrast(Span now) const
{
    const int zoom = zoom_.position(now);
    const double width = 1200.0 - 800.0 * reachOf(zoom);
    const double off = (focus_.position(now) - sharpPosition(zoom, distance_)) / width;
    return static_cast<int>(std::lround(1000 + 60000 / (1 + off * off)));
}

}  // namespace sim
