#pragma once

#include "HostClock.h"
#include "services/sim/Values.h"

#include <vector>

namespace sim {

// A motor: where it is at any time, given where it was told to go. Reentrant.
class Drive
{
public:
    // At once, without movement.
    void place(int position);
    // From where it is at this time; what it was to do else is dropped.
    void begin(host::Span now);
    // Drops what was to begin at that time, the end of something it was told to do, or later.
    void endAt(host::Span time);
    // Afterwards: to the target in that span, or a wait.
    void then(int target, host::Span duration);
    void pauseUntil(host::Span time);

    int position(host::Span now) const;
    int target() const;
    bool moving(host::Span now) const { return now < end_; }
    host::Span end() const { return end_; }

private:
    struct Leg
    {
        host::Span start;
        host::Span duration;
        int from;
        int to;
    };

    int rest_ = 0;
    host::Span end_{0};
    std::vector<Leg> legs_;
};

struct LensState
{
    int zoom;      // 16384 = 1x, 31424 = 16x, beyond that digital
    int focus;     // motor steps, 0 = the farthest
    int iris;      // motor steps, 0 = closed; its commands read what was set
    int inFocus;   // the focus position that would be sharp now, within what the lens reaches
    int contrast;  // what command 1648 reads
    bool zoomMoving;
    bool focusMoving;
    bool irisMoving;
    bool resetting;
};

// Zoom, focus and iris. Reentrant; the service guards it. Times must not go back between calls, except after settle.
class Lens
{
public:
    static constexpr int kOpticalTele = 31424;      // where the glass ends; the table has the ends of the drives
    static constexpr double kPowerOnDistance = 10;  // metres
    static constexpr double kNearestObject = 0.01;  // metres

    // values: the modes, speeds and limits that others set; must outlive the lens.
    explicit Lens(const Values& values);

    // Power-on positions, at rest.
    void reset();
    // Every movement is over at once: the clock was replaced.
    void settle();

    // Below kNearestObject counts as kNearestObject.
    void setDistance(double metres, host::Span now);
    double distance() const { return distance_; }

    // Commands that move or read the drives.
    static bool moves(u32 cmd);
    // value is allowed. kDone, kLensBusy or kWrongMode.
    int command(u32 cmd, int value, host::Span now);
    int position(u32 cmd, host::Span now) const;
    int execStatus(u32 cmd, host::Span now) const;

    // A value that the lens depends on was set from old to its present value.
    void changed(u32 cmd, int old, host::Span now);
    // Day became night or the other way round.
    void dayNightChanged(host::Span now);

    int zoomLimit() const;
    LensState state(host::Span now) const;

private:
    int moveZoom(int target, host::Span now);
    void driveZoom(int to);
    int moveFocus(int target, host::Span now);
    void moveIris(host::Span now);
    int setIris(u32 cmd, int value, host::Span now);
    int step(u32 cmd, host::Span now);
    void resetDrives(host::Span now);
    bool sizeGoverns() const;
    void leaveDigitalZoom(host::Span now);
    bool resetting(host::Span now) const { return now < resetEnd_; }
    int contrast(host::Span now) const;

    // Searches: LensFocus.cpp.
    int focusMode() const { return values_.get(IA_CMD_AUTO_FOCUS_MODE); }
    bool held() const { return values_.get(IA_CMD_PTZ_RUN_STATE) != 0; }
    bool onceRunning(host::Span now) const;
    bool sharpWithinReach() const;
    void beginFocus(host::Span now);
    void stopSearch(host::Span now);
    void focusOnce(host::Span now);
    void focusByItself(host::Span now);
    void searchAnew(bool byItself, host::Span now);
    void hold(host::Span now);
    void release(host::Span now);
    void waitAndHunt();
    void hunt();
    void driveFocus(int target);
    int sharpAt(int zoom) const;

    const Values& values_;
    double distance_ = kPowerOnDistance;
    Drive zoom_;
    Drive focus_;
    Drive iris_;
    int irisPosition_ = 0;  // as set; one of the two says where the drive goes
    int irisSize_ = 0;
    host::Span resetEnd_{0};
    host::Span toldEnd_{0};    // the focus goes where it was told until then; what follows is a search
    bool once_ = false;        // the focus movement is that of command 1539
    bool onceFailed_ = false;  // and cannot reach a sharp picture
    bool onceHeld_ = false;    // it waits until pan, tilt and zoom rest
};

// The ends of a drive, from the table.
int leastOf(u32 cmd);
int greatestOf(u32 cmd);

}  // namespace sim
