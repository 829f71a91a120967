#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fuzz/CameraUnderTest.h"
#include "fuzz/ScriptedService.h"

namespace fuzz {

// Makes the calls of a script on a camera and requires after each what its header promises.
class Session
{
public:
    Session(CameraUnderTest& camera, ScriptedService& service) : camera_(camera), service_(service) {}

    // A line a call: a letter and what it takes, see kCalls. Stops when the camera is down.
    void run(std::string_view calls);

    void applyText(std::string_view text, bool isCached);
    void applyOne(std::string_view words, bool isCached);
    void applyArray(std::string_view words, bool isCached);
    void getAll(std::string_view);
    void getSome(std::string_view text);
    void getOne(std::string_view words);
    void checkSensor(std::string_view text);
    void chooseScheme(std::string_view words);
    void chooseMode(std::string_view words);
    void switchScheme(std::string_view words, bool isFull);
    void switchDayNight(std::string_view words);
    void restoreOne(std::string_view words);
    void restoreAeMode(std::string_view);
    void reload(std::string_view);
    void factoryReset(std::string_view);
    void restart(std::string_view);
    void flush(std::string_view);
    void setClock(std::string_view words);
    void turns(std::string_view words);
    void readDocuments(std::string_view words);
    void driveLens(std::string_view words);
    void scriptService(std::string_view words);
    void setRefusals(std::string_view words);
    void setDebugLevel(std::string_view words);
    void damageFile(std::string_view words);

private:
    ISensorController& controller() { return camera_.controller(); }
    void requireApplied(const std::vector<KeyVal>& list, bool isCached, int result, const Memory& before);
    void requireStored(const std::vector<KeyVal>& list, bool isWhole, const Memory& before);
    void requireNothingSent();
    void requireSwitchSent(const Memory& before, bool isFull);
    void requireNothingChanged(const Memory& before);
    void requireOnlyCurrentChanged(const Memory& before);
    void turn();
    void requireTurned(const Memory& before);
    u32 now() const;

    CameraUnderTest& camera_;
    ScriptedService& service_;
    bool mayWriteConfiguration_ = false;  // set by calls that do
    std::size_t timesSetBefore_ = 0;      // of the service, when the call began
    std::size_t timesRefusedBefore_ = 0;
};

// The first record with the key, or null.
const KeyVal* firstWith(const std::vector<KeyVal>& records, u32 key);

// True when the scheme with this index has this value.
bool isHeld(const KeyVal& record, const Memory& memory, int scheme);
bool areHeld(const std::vector<KeyVal>& records, const Memory& memory, int scheme);

}  // namespace fuzz
