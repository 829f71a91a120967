#pragma once

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "AVStreamParam.h"
#include "HostClock.h"
#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "VideoStreamModule.h"
#include "fuzz/CameraTree.h"

inline bool operator==(const KeyVal& left, const KeyVal& right)
{
    return left.key == right.key && left.value == right.value;
}

namespace fuzz {

// More than 16 schemes cost time, 65535 of them half a minute for each start, and show nothing new.
bool asksForTooManySchemes(const std::string& detail);

// The whole records of a scheme file, as many as there are.
std::vector<KeyVal> recordsOnDisk(const std::string& file);

// The video module: refuses what it is told to refuse.
class FuzzedVideo : public VideoStreamModule
{
public:
    int notifyParam(int, int) override { return status; }
    std::vector<AVStreamParam> getStreamParams() const override;

    int status = 0;
    int frameRate = 25;
};

// The schemes as they stand in memory.
struct Memory
{
    int current = -1;
    int mode = 1;
    std::vector<std::vector<KeyVal>> schemes;  // the default scheme last

    u32 scheduled() const { return static_cast<u32>(schemes.size() - 1); }
    bool hasCurrent() const { return static_cast<u32>(current) < schemes.size(); }
};

// The configuration folder without its contents: what was written anew differs.
using Disk = std::map<std::string, std::tuple<unsigned long, long, long, long>>;

Disk diskNow();

// A name in that folder that a writer uses while it writes.
bool isStaged(const std::string& name);

// A controller on the camera's files, with the sensor thread's turns made by hand. Releases the scheme block that the
// controller keeps.
class CameraUnderTest
{
public:
    explicit CameraUnderTest(ModuleConfigure module);
    ~CameraUnderTest();

    void bringUp();
    // Requires that what uinit leaves is as it should be.
    void bringDown();
    // A factory reset; the camera is down if it says that no module is configured. Nothing where the module on the disk,
    // which a reset may read, asks for too many schemes.
    void factoryReset();

    bool isUp() const { return isUp_; }
    ISensorController& controller() { return *controller_; }
    FuzzedVideo& video() { return video_; }
    host::ManualClock& clock() { return *clock_; }

    Memory memory() const;
    bool isLpr() const;

    // What holds between any two calls.
    void requireSound() const;

private:
    void fillUiFiles() const;
    void requireStarted(const Disk& before, bool keepsFiles) const;
    void requireNothingLost(const Disk& before, const Disk& now, bool keepsFiles) const;

    const ModuleConfigure module_;
    FuzzedVideo video_;
    const std::shared_ptr<host::ManualClock> clock_ = std::make_shared<host::ManualClock>(12, 0);
    std::unique_ptr<ISensorController> controller_;
    KeyVal* block_ = nullptr;
    bool isUp_ = false;
};

}  // namespace fuzz
