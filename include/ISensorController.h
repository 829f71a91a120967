#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "KSMutex.h"
#include "KeyVal.h"
#include "SensorTypes.h"
#include "keycmd.h"
#include "sensordll_export.h"

class GThread;
class ModuleConfigure;
class VideoStreamModule;
struct ControllerProbe;  ///< the test suite's view of the members

/// Owner of the camera's image-sensor and lens parameters. The host creates one.
///
/// Order of calls: construct; setVideoStreamModule with a valid module; init; anything else; uinit; destroy.
///
/// Threads, in the words used below:
///   Thread-safe       any host thread at any time between init and uinit, a factory reset included
///   Host thread only  one thread, while no other call is running
///   Unlocked          takes no lock and works on the schemes in memory: safe beside the sensor thread and other
///                     calls, but not while resetParameters, init or uinit run
/// Thread-safe operations that use the parameters are serialised by the one mutex. The sensor thread never takes
/// it: it keeps clear of switches, reloads and resets by the busy bits of m_nFlags. The mutex is not recursive: inside
/// a call, the image-adjust service and the video module may use only those operations of the controller that take no
/// lock (everything under "image-adjust service and video module" and "lens and direct controls", getDNMode,
/// parseSensorParameter and SensorCheck), on any thread. Any other operation would lock the mutex a second time or, on
/// another thread, wait for the very call that is waiting for it.
class SENSORDLL_API ISensorController
{
public:
    /// Creates the sensor thread without starting it.
    ISensorController();
    /// Stops the sensor thread. Does not call uinit.
    ~ISensorController();
    ISensorController(const ISensorController&) = delete;
    ISensorController& operator=(const ISensorController&) = delete;

    // ---- start-up and shut-down: host thread only --------------------------------------------------------

    /// Reads configuration, style documents and scheme files, applies the first scheme and starts the thread;
    /// takes a little over a second. contract: always true; what failed is reported.
    bool init(const ModuleConfigure& p_objModuleConfigure);
    /// Valid only after init. contract: g_stSysConf keeps its fields, though the texts they point to have been freed.
    void uinit();

    // ---- key-command map: unlocked -----------------------------------------------------------------------

    /// Row index of key in the first g_nKeyCmdNum rows, copied to p_stKeyCmd; -1 if there is none.
    int findFromKeyCmdMap(const keycmd* p_pKeyCmdMap, unsigned int p_nKey, keycmd& p_stKeyCmd);

    // ---- applying parameters -----------------------------------------------------------------------------

    /// Applies n records in order. p_bCache true: only what differs from the current scheme, and remembers it
    /// there; false: everything but the schedule keys 8000 to 8004, remembering nothing. 0, or minus the key of
    /// the record that failed: those before it stay applied, those after it are not. A value that a handler changed
    /// (wide dynamic range becomes 0 where it is not offered) is stored back into the array, unless another thread
    /// has stored one there meanwhile; what the array then holds is what is remembered. Unlocked.
    int setParameters(KeyVal* p_pKeyval, unsigned int p_nKeyvalNum, bool p_bCache);
    /// One record, as above. Thread-safe.
    int setParameter(int p_nKey, int p_nVal, bool p_bCache);
    /// Makes p_nScheme current and applies all its parameters (p_bFull) or those that differ from the scheme
    /// before. A value that another thread sets in the scheme meanwhile stays. An index without a scheme becomes
    /// current and applies nothing. contract: always 0. Unlocked.
    int switch_to(int p_nScheme, bool p_bFull);

    // ---- schemes in memory: unlocked ---------------------------------------------------------------------

    /// Index of the record, -1 if the scheme lacks the key, -2 for the default scheme or beyond unless p_bForce.
    int setKeyValToCache(unsigned int p_nScheme, unsigned int p_nKey, unsigned int p_nVal, bool p_bForce);
    /// Index of the record, or -1. The default scheme, index nSchemeSum, can be read.
    int getKeyValFromCache(unsigned int p_nScheme, unsigned int p_nKey, unsigned int& p_nVal);
    /// True if the scheme in force (during a switch: the one before) holds this value.
    bool isKeyValNewest(const KeyVal& p_stKeyVal);

    // ---- saving ------------------------------------------------------------------------------------------

    /// Writes the current scheme to its file. 0; 505, 506 or 507 when its time window is refused (nothing is
    /// written). contract: 0 as well when there is no scheme to write, or the file could not be written (which is
    /// reported and leaves the old file). Thread-safe.
    int flush();
    /// 0, or 505 start above 24:00, 506 end above 24:00, 507 start not before end. Unlocked.
    int paramCheck();

    // ---- sensor thread: unlocked -------------------------------------------------------------------------

    /// One turn: a second's pause, then the switch that the clock or the day/night state asks for. Returns 0.
    int sensorThread();
    /// The scheme that the clock selects; p_nSchedule 1 when one of the windows holds, else 0.
    /// contract: a window over midnight never holds. Always SNS_SUCCESS.
    int judgeCurScheme(int& p_nScheme, int& p_nSchedule);
    /// Switches with KEY_DN_MODE forced to 0 in what is sent; nothing is stored. Always 0.
    int LPR_switch_to(int p_nScheme);
    /// The service's day/night state, 0 = day; untouched and false on failure. Thread-safe.
    bool getDNMode(int& p_nMode);

    // ---- schemes and modes: thread-safe ------------------------------------------------------------------

    /// p_nScheme 0 to nSchemeSum. contract: another value is reported and switched to all the same. Waits while a
    /// switch, reload or reset is running.
    bool setParamScheme(int p_nScheme);
    /// -1 until the first switch.
    bool getParamScheme(int& p_nScheme);
    /// 1 = the clock chooses the scheme, 0 = manual. contract: another value is reported, stored, and acts as 1.
    /// Waits as setParamScheme does.
    bool setParamMode(int p_nMode);
    bool getParamMode(int& p_nMode);

    // ---- restore and reset: thread-safe ------------------------------------------------------------------

    /// Sends the current scheme's stored value of one key again; nothing is stored. As setParameters, or -1 for an
    /// unknown key.
    int restore(int p_nKey);
    /// Restores exposure mode, then focus mode.
    bool restoreAeMode();
    /// Reads the current scheme's file again and applies what differs. False if a parameter failed; true, without
    /// reading, for the default scheme and before the first switch.
    bool resetToLastParameters();
    /// Factory reset: deletes every scheme file and initialises again. contract: always true. The UI file list of
    /// g_stSysConf is empty afterwards, the mode is 1, and the scheme -1 until the thread's next turn.
    /// At debug level 6 and above the module configuration is read again from its file: std::out_of_range if that
    /// names no module for this board; the object is then as after uinit, and g_stSysConf names no texts.
    bool resetParameters();

    // ---- text --------------------------------------------------------------------------------------------

    /// Appends the current scheme as pair text "(34,60)(2337,50)..." after the service has corrected it.
    /// Always true. Thread-safe.
    bool getAllParameters(std::string& p_strPairs);
    /// Answers a key list "(34,2337)" with pair text; a key that cannot be read is left out. False, with the
    /// output untouched, if the list cannot be parsed. Thread-safe, a lock period per key.
    bool getParameters(const std::string& p_strIds, std::string& p_strPairs);
    /// Applies pair text, as setParameters above; pairs beyond the number of parameters are dropped. Thread-safe.
    int setParameters(const std::string& p_strPairs, bool p_bCache);
    /// Splits "(a,b,c)" at the commas. False if the text is no such list. Thread-safe.
    bool parseSensorParameter(const std::string& p_strText, std::vector<std::string>& p_vecItems);
    /// Sensor check request "(a,b,c)"; with b = 2 the answer replaces the text. The service's status.
    /// contract: 0 too for text that cannot be parsed. std::out_of_range for fewer than three items. Thread-safe.
    int SensorCheck(std::string& p_strText);
    /// From the current scheme, or from the service if the scheme lacks the key: of a command with a longer record,
    /// its first word. p_nVal is as the service left it on failure. Thread-safe.
    bool getParameter(int p_nKey, int& p_nVal);
    bool getMirrorValue(int& p_nVal);

    // ---- image-adjust service and video module: thread-safe ----------------------------------------------

    /// Forwards to ia_ioctrl with traces around it; the service's status.
    int doIaCmd(u32 p_nKey, u32 p_nDir, void* p_pVal);
    /// As doIaCmd, but does nothing and returns 0 while parameters are applied in bulk, so that a stored
    /// one-shot action does not run at each switch.
    int doIaCmd_User(u32 p_nKey, u32 p_nDir, void* p_pVal);
    /// False, with status as the service left it, on failure.
    bool getCmdExecStatus(int cmd, int& status);
    /// 0 without a module; otherwise the module's answer.
    int notifyToVideo(int cmd, int value);
    /// Not owned. Calls in progress may still use a module that was replaced: keep it until uinit.
    void setVideoStreamModule(const VideoStreamModule* p_pVideoStreamModule);

    // ---- handlers of the key-command map (see keycmd_handler): unlocked ------------------------------------

    int doHwdr(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doImageAdjust(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doDIS(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doMirror(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doBeaway(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doDNThr(u32 p_nKey, u32 p_nDir, void* p_pVal);
    int doDNTime(u32 p_nKey, u32 p_nDir, void* p_pVal);
    /// contract: "Falg" is the name.
    void setShowWDRFalg(bool p_bShow);

    // ---- lens and direct controls: thread-safe; true when the service accepted ----------------------------

    /// One step; switches to the focus mode (1) that accepts steps first.
    bool focusFar();
    bool focusNear();
    /// One step; switches to the exposure mode (3) that accepts steps first.
    bool irisUp();
    bool irisDown();
    bool zoomIn();
    bool zoomOut();
    /// p_nPosition: motor scale; p_nRatio: optical magnification in thousandths, 1000 to 16000.
    /// contract: beyond the last table position, 31424, the ratio is untouched and the result true.
    bool getZoomValue(int& p_nPosition, int& p_nRatio);
    bool setZoomValue(int p_nPosition);
    bool setPTZRunState(int p_nState);
    bool setFocusValue(int p_nPosition);
    bool getFocusValue(int& p_nPosition);
    bool setFocusMode(int p_nMode);
    bool getFocusMode(int& p_nMode);
    bool getAFStatistic(unsigned& p_nStatistic);
    bool getWDR(int& p_nMode);
    /// The module id that the host configured.
    int getSensorType();
    /// True once init has finished, after uinit too; false while a later init runs, that of a factory reset included.
    bool getSensorStatus();
    /// At most 49 characters; untouched on failure.
    bool getCameraVerInf(std::string& p_strVersion);
    /// contract: does nothing.
    void printDebugMsg();

    // ---- documents for user interfaces: thread-safe --------------------------------------------------------

    /// The style document, adapted to the service on every call.
    std::string getUIStyleFile();
    /// The text for a language, or the first language's when there is none; empty while the list is empty.
    /// std::logic_error when the entry's text is null.
    std::string getUICommonFile(int p_nLanguageId);
    std::string getUILanguageFile(int p_nLanguageId);

private:
    friend struct ControllerProbe;

    /// Helpers of the operations above that need the members: controller/ControllerParts.h.
    struct SENSORDLL_LOCAL Parts;

    KSMutex m_objMutex;

    /// Set by the constructor, constant.
    GThread* m_pSensorThread;

    /// Shared with the sensor thread.
    std::atomic<int> m_nLastScheme;  ///< the scheme before the last switch, -1 for none
    std::atomic<int> m_nCurScheme;   ///< the scheme in force, -1 until the first switch
    std::atomic<int> m_nParamMode;   ///< 1 = the clock chooses, 0 = manual

    // Set by init and uinit; the arrays' values are shared and accessed atomically, word by word.
    KeyVal** m_ppUserKeyVal;  ///< nSchemeSum+1 arrays in one block; the last holds the factory values
    KeyVal* m_pstKeyValTmp;   ///< scratch of the calls that hold the mutex
    KeyVal* m_pFctKeyVal;     ///< the last entry of m_ppUserKeyVal
    u32 m_nKeyValSum;         ///< records in every scheme
    KeyVal* m_pstKeyValBuf;   ///< 100 records: scratch of init, then of LPR_switch_to
    keycmd* m_pKeyCmdMap;
    u32 m_nVersion;  ///< parameter layout, constant; compared with the version file

    std::atomic<VideoStreamModule*> m_pVideoStreamModule;

    std::atomic<unsigned char> m_nFlags;  ///< state bits, controller/ControllerFlags.h
    std::atomic<int> m_nLastSchedule;     ///< 0 or 1: schedule state of the thread's last switch; 255 = none yet
    bool m_bLPR;                          ///< set by init: day/night chooses between schemes 0 and 1
};
