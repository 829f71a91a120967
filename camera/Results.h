#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "SchemeWindow.h"
#include "camera/KeyLimits.h"
#include "services/PlannedFailures.h"

// What the operations of a camera answer: plain data, for any front end.
namespace camera {

struct Value
{
    int key;
    int value;
};

// ---- values -------------------------------------------------------------------------------------------------

enum class Outcome
{
    applied,        // the sensor has it and the scheme remembers it; a schedule key is only remembered
    unchanged,      // the scheme in force holds it already: not sent again
    corrected,      // another value than the one that was asked for is in force
    heldBack,       // remembered, but the device refused it: status and allowed say why
    ignoredInBulk,  // remembered, but not sent: a scheme was being switched just then
    notRemembered,  // the sensor has it; the scheme in force keeps no such value
    refused,        // by the device, or with status 0 by the video module; nothing was changed for this key
    notReached,     // behind one that was refused
};

struct KeyResult
{
    int key;
    int asked;
    std::optional<int> before;  // what the scheme in force held; nothing when it lacks the key
    int now;                    // in force afterwards, as far as is known
    Outcome outcome;
    int status;                                       // of a refusal: services::Status, or the service's own
    std::optional<services::ParameterState> allowed;  // of a refusal: what the device allows, where it says so
};

struct ApplyResult
{
    int scheme = -1;                     // in force afterwards
    bool schemeKeepsValues = false;      // false for the default scheme, and for a trial
    std::vector<KeyResult> keys;         // in the order in which they were asked for
    std::optional<std::size_t> refused;  // the one in keys that ended the list
    std::optional<int> refusedKey;       // as the library names it
    std::vector<Refusal> refusals;       // all that the device refused meanwhile, oldest first
    std::size_t tooMany = 0;             // not 0: more were asked for than these at once; nothing was applied

    bool ok() const { return !refusedKey && tooMany == 0; }
};

struct RestoreResult
{
    enum class Kind
    {
        sent,
        notHeld,  // the scheme in force lacks the key
        refused,
    };
    Kind kind;
    int value;   // the scheme's
    int status;  // of a refusal
};

// ---- surroundings -------------------------------------------------------------------------------------------

// What is to be around the camera from now on. What is missing stays as it is.
struct WorldChange
{
    std::optional<int> minutes;      // time of day, since midnight
    std::optional<double> speed;     // camera seconds in a real second, Camera::kSlowest to kFastest
    std::optional<double> lux;       // from 0 on
    bool daylight = false;           // light as the sun gives it
    std::optional<double> distance;  // metres, above 0
    std::optional<int> haze;         // services::Weather
    std::optional<int> wind;
    std::optional<std::vector<services::FailureRule>> faults;  // in place of those that are planned
};

enum class WorldResult
{
    changed,
    isReal,       // the surroundings are what they are
    systemClock,  // the camera follows it: the time is no one's to set
    noFaults,     // the device fails by itself or not at all
};

// ---- trials -------------------------------------------------------------------------------------------------

// Values on the sensor that no scheme remembers, for as long as somebody stands by them.
struct Trial
{
    unsigned id;
    std::string by;             // as Acting says; empty: a caller who said nothing
    int scheme;                 // in force when it began, -1 for none
    std::vector<Value> values;  // in the order in which they were first tried
    std::chrono::milliseconds left;
};

// Why a trial is where it is.
enum class TrialState
{
    begun,
    kept,           // by its holder: the schemes remember its values
    undone,         // by its holder
    expired,        // its holder was not heard
    schemeChanged,  // another scheme is in force
    reloaded,
    reset,
    overtaken,  // all its keys were set to stay, or sent again
    cameraEnds,
};

struct TrialResult
{
    enum class Kind
    {
        applied,   // as result says
        noTrial,   // none is open by this id; nothing was done
        keyTaken,  // a key is in another trial; nothing was done
    };
    struct Taken
    {
        int key;
        unsigned trial;
    };
    Kind kind;
    ApplyResult result;
    std::optional<Trial> trial;  // nothing when none of the values can be taken back
    std::optional<Taken> taken;
};

// ---- schemes ------------------------------------------------------------------------------------------------

struct SchemeResult
{
    bool exists;  // false: nothing was done
    int scheme;
    bool clockChoosesAgain;  // the mode is automatic, so the choice holds for a second at most
};

// Of a change that goes to a scheme's file and to memory, or to neither.
enum class Stored
{
    done,
    noScheme,       // none with a file has this number
    windowRefused,  // check says why
    valueRefused,   // one of the values is not allowed
    noRecord,       // the file is missing, or lacks one of the keys
    notWritten,     // the file is as it was
    sensorRefused,  // stored, but the sensor refused one of the values of the scheme in force
};

struct WindowResult
{
    Stored stored;
    window_check_e check;
    SchemeWindow window;  // of the scheme afterwards
};

struct ValuesResult
{
    Stored stored;
    window_check_e check;
    std::vector<KeyResult> keys;  // what became of them; without done, what stood against it
    SchemeWindow window = {};     // that was judged; none when a value before it was refused
};

struct SaveResult
{
    enum class Kind
    {
        saved,
        noFile,         // the scheme in force has none: the default scheme, or no scheme yet
        windowRefused,  // nothing was written
        notWritten,     // the file is as it was
    };
    Kind kind;
    int scheme;
    int code;                  // as flush returned it
    SchemeWindow window;       // of a refused one
    std::size_t values;        // saved
    std::size_t controls = 0;  // of a device's own, saved
};

struct UnsavedValue
{
    int scheme;
    int key;
    int value;
    int saved;
};

struct ReloadResult
{
    enum class Kind
    {
        reloaded,
        noFile,
        refused,  // read again, but the sensor refused a value; those behind it were not applied
    };
    Kind kind;
    int scheme;
};

// ---- lens ---------------------------------------------------------------------------------------------------

enum class LensStep
{
    zoomIn,
    zoomOut,
    focusFar,
    focusNear,
    focusOnce,
    irisUp,
    irisDown,
    reset,  // both drives to their ends and back
};

struct LensResult
{
    bool accepted;
    std::optional<Refusal> refusal;  // the device's last
};

// What is moving now, as the execution status of the commands says.
struct LensMovement
{
    bool zoom;
    bool focus;
    bool iris;
    bool resetting;

    bool any() const { return zoom || focus || iris || resetting; }
};

// Of what the device has.
struct LensState
{
    std::optional<int> zoom;  // motor scale
    int ratio = 0;            // thousandths; 0 beyond the optical range
    std::optional<int> focus;
    std::optional<int> focusMode;
    std::optional<unsigned> sharpness;
    std::optional<services::ParameterState> iris;
    std::optional<services::ParameterState> irisSize;
    LensMovement moving = {};

    // A lens that moves.
    bool isThere() const { return zoom || focus || iris; }
};

// ---- documents ----------------------------------------------------------------------------------------------

struct LanguageTexts
{
    bool known;  // false: those of the first language
    std::string texts;
    std::string common;
};

}  // namespace camera
