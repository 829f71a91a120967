#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "GThread.h"
#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "camera/DeviceState.h"
#include "camera/Diagnostics.h"
#include "camera/Events.h"
#include "camera/Explain.h"
#include "camera/Gate.h"
#include "camera/NamedControls.h"
#include "camera/OwnSets.h"
#include "camera/Results.h"
#include "camera/Schedule.h"
#include "camera/Transfer.h"
#include "camera/Trials.h"
#include "camera/UiFiles.h"
#include "services/Journal.h"
#include "services/RecordingVideo.h"

// One camera below every front end: operations with plain results, and no text for people, no terminal, no JSON and no
// particular service. A front end calls these and renders what they answer; this layer calls the library, the service
// behind it and the files that the library leaves to its host, and nobody above.
//
//   Camera.cpp         bring-up, what it holds     KeyNames, KeyLimits  the keys, what the sensor allows
//   Applying.cpp       values in force             Schedule             which scheme the clock chooses when
//   SchemeChanges.cpp  schemes, windows, modes     SchemeFile           one scheme's file
//   Saving.cpp         save, reload, reset         Diagnostics          debug level, error log
//   LensControl.cpp    the lens                    UiFiles              texts for user interfaces
//   FrameRate.cpp      what is never sent in bulk  Explain, Events      why it is so, and what happens (Telling.cpp)
//   Trials             values on trial             Transfer             all schemes as data
//   World.cpp          time and surroundings   DeviceState          the real device behind it, where there is one
//   NamedControls      what it has beyond the keys
//
// Threads: all operations may be called from any thread at once, beside the sensor thread. Changes of values, schemes
// and modes run one after the other; reading does not wait for them, but for the call of the library that is under way.
// A factory reset has the camera for itself. Each caller learns the refusals of its own call. The camera has two threads
// of its own: one looks once a second what has happened, one as soon as the sensor thread has switched (FrameRate.cpp).
namespace camera {

class Camera
{
public:
    struct Setup
    {
        std::string model;
        std::string share;                // folder of the documents
        double speed = 1.0;               // camera seconds in a real second, at first
        std::optional<int> startMinutes;  // time of day; nothing: the real one
        bool systemClock = false;         // without speed and start, follow the system's clock as a board does
        // Called once a factory reset has taken the camera down, on the reset's thread.
        std::function<void()> onDown = {};
        std::string texts = {};  // folder with the languages of documents that do not lie in share; empty: in share
    };

    // Takes a second of the camera's time. Throws Failure when the board's files name no camera, when no parameters
    // come out of the style documents, or when the system has no thread for it. One at a time.
    // service: the one in force; must outlive the camera.
    Camera(const Setup& setup, services::Journal& service);
    // No operation may be running.
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    services::ImageService& service() { return service_; }
    const services::ImageService& service() const { return service_; }
    const std::vector<Language>& languages() const { return uiFiles_.languages(); }
    const Setup& setup() const { return setup_; }

    // ---- what the camera holds -----------------------------------------------------------------------------

    // Scheduled schemes; the default scheme's index.
    int schemeCount() const;
    // -1 until the first switch.
    int currentScheme();
    // 0 manual, otherwise the clock chooses. As it was chosen: not what holds the scheduler off for a moment.
    int mode();
    // The scheme's record of this key; nothing when it has none.
    std::optional<int> schemeValue(int scheme, int key);
    // What a factory reset would make of it in the scheme in force; nothing when the schemes do not keep it.
    std::optional<int> factoryValue(int key) { return factoryValue(currentScheme(), key); }
    // The current scheme's value of a key, or what the service holds; nothing when neither knows it. Unlike
    // read it reports nothing and leaves no trace in the recording.
    std::optional<int> peek(int key);
    // As the library answers: asks the sensor for what the scheme lacks.
    std::optional<int> read(int key);
    // The scheme in force as pair text, corrected by the service.
    std::string pairText();
    // What the sensor says; day when it does not tell.
    bool night() const;
    Schedule schedule();
    int sensorModule();
    std::string version();
    std::string style();
    LanguageTexts texts(int language);

    // Minutes since midnight on the camera's clock.
    int minutesOfDay() const;
    // Camera seconds in a real second.
    double speed() const { return speed_; }
    static constexpr double kSlowest = 0.1;
    static constexpr double kFastest = 3600.0;  // an hour a second; the scheduler's turn is then 0.3 ms long
    // All of it or, where part of it cannot be, nothing. What else is around the camera the service's world tells.
    WorldResult changeWorld(const WorldChange& wanted);

    // ---- values of the scheme in force ---------------------------------------------------------------------

    // Applies in order, up to the first that is refused: what came before it stays applied. A schedule key is refused
    // here when no window can have such a part. The scheme in force remembers them until it is saved. text: the same
    // values as pair text, where the caller has it already.
    ApplyResult apply(const std::vector<Value>& values, const std::string& text = "");
    // What apply would answer, as far as the service's limits tell; nothing is sent or changed.
    ApplyResult wouldApply(const std::vector<Value>& values) { return wouldApply(values, true); }
    // Sends the scheme's value to the sensor again.
    RestoreResult restore(int key);

    // ---- trials --------------------------------------------------------------------------------------------

    // A trial is a lease: applied without being remembered, it ends when its holder keeps or undoes it, or was not
    // heard for kTrialLease of real time. Then what is remembered is sent again for each of its keys, and so it is when
    // another scheme comes into force, before a reload, a factory reset and the camera's end. What a scheme does not
    // keep goes back to what the sensor held. A lens position stays, and what only acts is done: they are no part of the
    // trial. Saving saves what is remembered. A key that is set to stay, or sent again, leaves
    // the trial: who decides wins over who tries. Between two who try, the first has the key. What the device does not
    // take back at the end of a trial is sent again each second until it does, or until the key is set.
    static constexpr std::chrono::seconds kTrialLease{15};

    // As apply. trial: one that goes on, and its holder has been heard; nothing begins another.
    TrialResult tryOut(const std::vector<Value>& values, std::optional<unsigned> trial = {});
    // What tryOut would answer, as wouldApply does; no trial begins, and its holder has not been heard.
    TrialResult wouldTryOut(const std::vector<Value>& values, std::optional<unsigned> trial = {});
    // Its holder is there. Nothing when no trial is open by this id, here and below.
    std::optional<Trial> holdTrial(unsigned id);
    // Applies its values to stay. Those that are refused, and those behind, are as remembered. Stays open only when its
    // values are too many at once.
    std::optional<ApplyResult> keepTrial(unsigned id);
    // The keys that the device refused to take back.
    std::optional<std::vector<int>> undoTrial(unsigned id);
    std::vector<Trial> trials() const;

    // ---- a real device -------------------------------------------------------------------------------------

    // What holds a value up there is no error of the set: it is kept as wished, and sent when that is over.
    // Nothing for a camera without one.
    std::optional<DeviceState> device() const;
    // How the key's value stands with it; nothing without one, and for a key that is none of its own.
    std::optional<services::Standing> standing(int key) const;

    // What the device has beyond the keys, with the same operations; empty without a device.
    std::vector<ControlRow> controls(int scheme);
    std::vector<ControlRow> controls() { return controls(currentScheme()); }
    // In order, up to the first that is refused, as apply does.
    ControlsResult applyControls(const std::vector<ControlValue>& values);
    ControlsResult wouldApplyControls(const std::vector<ControlValue>& values);
    // Of any scheme, to its file and to memory, and to the device if it is the one in force: all or nothing.
    ControlsResult setControls(int scheme, const std::vector<ControlValue>& values);
    std::vector<UnsavedControl> unsavedControls();

    // ---- saving --------------------------------------------------------------------------------------------

    SaveResult save();
    // What would be lost if the camera ended now: values of schemes that their files hold otherwise.
    std::vector<UnsavedValue> unsaved();
    // The scheme in force as it was saved last.
    ReloadResult reload();
    // Factory reset; the texts for user interfaces are filled in again, and the scheduler has put a scheme in force: no
    // other change comes before that. It may be -1 when the device takes longer than ten seconds for it.
    // Throws Failure when the board's files no longer name this camera: it is down then and only good for destruction;
    // also when it lacks its parameters or scheme files afterwards, as on a full disk.
    void factoryReset();

    // ---- schemes -------------------------------------------------------------------------------------------

    SchemeResult setScheme(int scheme);
    void setMode(bool automatic);
    // To the scheme's file and to memory. Other values that are not saved yet stay unsaved. The scheduler begins no
    // turn while the window is changed.
    WindowResult setWindow(int scheme, const SchemeWindow& window);
    // Values of any scheme, to its file and to memory, and to the sensor if it is the one in force.
    ValuesResult setValues(int scheme, const std::vector<Value>& values);

    // All schemes as they are in memory, saved or not. Waits for the change that runs.
    Export exported();
    // What import would do; nothing is sent or changed.
    ImportResult wouldImport(const Import& wanted);
    // What fits, a scheme after the other, each to its file and to memory as setValues does; the mode last. It ends at
    // the first scheme that cannot be stored.
    ImportResult import(const Import& wanted);

    // ---- lens ----------------------------------------------------------------------------------------------

    // Nothing when the lens does not answer.
    std::optional<LensState> lens();
    LensMovement lensMovement();
    // None of these is remembered.
    LensResult moveLens(LensStep step);
    LensResult setZoom(int position);
    LensResult setFocus(int position);
    LensResult setFocusMode(int mode);

    // ---- why, and what happens -----------------------------------------------------------------------------

    // Which scheme holds and why, until when, what comes next.
    Explanation explain();
    KeyExplanation explainKey(int key);
    // What the scheduler did, that the lens moves by itself or has come to rest, and lines of the error log are told
    // within a second of the camera's time, all else at once.
    Events& events() { return events_; }

    // No other change begins as long as this lives, and what happened before it has been told: a revision that is
    // compared now still holds at the change. Only the clock may switch the scheme in between.
    class Turn
    {
    public:
        explicit Turn(Camera& camera) : one_(camera.changing_) { camera.look(); }

    private:
        std::lock_guard<std::recursive_mutex> one_;
    };

private:
    class Change;
    class Doing;
    class Manual;

    void shutDown();
    void startClock();
    ModuleConfigure boardConfiguration() const;
    bool hasParameters();
    bool fileHolds(int scheme, std::size_t& count);
    std::optional<int> factoryValue(int scheme, int key);
    std::vector<Value> afterRestart(int scheme);
    bool keepsValues();
    ApplyResult applyNow(const Change& change, const std::vector<Value>& values, bool remember,
                         const std::string& text);
    ApplyResult wouldApply(const std::vector<Value>& values, bool remember);
    std::optional<TrialResult> againstTrying(const std::vector<Value>& values, std::optional<unsigned> trial) const;
    std::vector<KeyResult> asked(const std::vector<Value>& values);
    void judge(ApplyResult& result, const std::vector<Value>& sent, bool remember);
    std::optional<std::size_t> refusedIndex(const ApplyResult& result, int key, const Refusal* refusal);
    std::size_t firstSenseless(const std::vector<KeyResult>& keys) const;
    void refuse(KeyResult& key, int status) const;
    KeyResult expected(KeyResult key, bool remembers) const;
    LensResult outcome(bool accepted, const services::OwnRefusals& own) const;
    bool oneShot(int key);
    void remember(int scheme, const std::vector<Value>& values);
    ValuesResult storable(int scheme, const std::vector<Value>& values);
    ImportResult::Entry wouldImport(int scheme, const Import::Entry& entry);
    ImportResult::Control wouldImportControl(int scheme, const Import::Entry& entry);
    bool importScheme(const Import::Scheme& wanted, ImportResult::Scheme& planned);
    bool importValues(const Import::Scheme& wanted, const std::vector<Value>& values, ImportResult::Scheme& planned);
    bool importControls(const std::vector<ControlValue>& values, ImportResult::Scheme& planned);
    void bringIn(int scheme, ValuesResult& result);
    void sendFrameRate(const Change& change);
    ControlsResult judgeControls(int scheme, const std::vector<ControlValue>& values);
    void sendJudged(ControlsResult& result);
    void loadControls();
    bool saveControls(int scheme);
    void reloadControls(int scheme);
    void resetControls();
    void sendControls();
    void takeOverControls(const std::vector<services::NamedControl>& controls);
    void takeOver(services::Device& device);
    void lookAtDevice();
    static host::Span leaseAt(double speed);
    void resetAlone();
    void waitForFirstScheme();
    Trial told(const Trials::Open& open) const;
    void tellTrial(const Trials::Open& open, TrialState state, std::vector<int> notTakenBack = {});
    std::optional<int> sendRemembered(const Trials::Tried& tried);
    void owe(const Trials::Tried& tried);
    bool isOwed(int key) const;
    std::optional<Trials::Tried> takeOwed(int key);
    void sendOwed();
    std::vector<int> endTrial(const Trials::Open& open, TrialState state);
    void endAllTrials(TrialState state);
    void endStaleTrials();
    void leaveTrials(std::vector<KeyResult>& keys);
    std::vector<Trials::Tried> onSensor(const std::vector<Value>& values);
    void tell(Event event);
    void tellScheme(Why why);
    void tellSaved(int scheme);
    void tellValues(const std::vector<Value>& values, int scheme);
    void tellControls(const std::vector<ControlValue>& values, int scheme);
    void tellRemembered(const std::vector<KeyResult>& keys);
    void tellWhatHappened();
    std::vector<Value> lensPositions() const;
    LensResult begun(const LensResult& result);
    void tellLens(bool moving);
    void look();
    void lookAround();
    int watch();
    int follow();

    const Setup setup_;
    UiFiles uiFiles_;
    services::Journal& service_;
    services::RecordingVideo video_;
    ISensorController controller_;
    bool up_ = false;

    mutable Gate gate_;  // every operation passes; a factory reset is alone
    // One change at a time; taken before the gate. A Turn holds it around the changes of its thread.
    std::recursive_mutex changing_;
    int subscription_ = 0;
    OtherSets others_;
    Events events_;
    NamedControls controls_;  // changed with changing_ held
    Trials trials_;           // changed with changing_ held, but for hold
    std::atomic<double> speed_;

    std::mutex showing_;             // of the mode; readers do not wait for changing_
    std::optional<int> chosenMode_;  // guarded by showing_: while manual mode holds the scheduler off

    // Guarded by changing_.
    std::vector<Trials::Tried> owed_;  // of trials that are over: what the device did not take back
    int frameRateScheme_ = -1;         // the scheme whose frame rate was sent last
    int controlsScheme_ = -1;          // the scheme whose named controls were sent last
    DeviceState toldDevice_;
    int toldScheme_ = -1;
    bool toldNight_ = false;
    std::vector<Value> lensPositions_;  // at the last look
    LogTail log_;

    std::atomic<bool> lensMoves_ = false;

    GThread watcher_;
    GThread follower_;
};

}  // namespace camera
