#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "HostClock.h"
#include "ModuleConfigure.h"
#include "SensorDebug.h"
#include "SensorFlags.h"
#include "SensorKeys.h"
#include "SysConfig.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ControllerProbe.h"
#include "tests/support/FakeService.h"
#include "tests/support/FakeVideo.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/Reports.h"

namespace support {

constexpr unsigned char kInitialisingBit = 1 << 0;
constexpr unsigned char kStoppingBit = 1 << 1;
constexpr unsigned char kInitialisedBit = 1 << 2;
constexpr unsigned char kResetBit = 1 << 3;
constexpr unsigned char kReloadBit = 1 << 4;
constexpr unsigned char kSwitchingBit = 1 << 5;

// Waits for another thread's effect, in real time; false after half a minute without it.
bool eventually(const std::function<bool()>& condition);

// A controller on a camera of three scheduled schemes, with scripted service and video module, at noon by a clock
// that only the test moves. The default style's window is 08:00 to 18:00, so a new camera comes up in scheme 0.
class ControllerFixture : public PrivateTreeTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Constructs and initialises the controller on files_, and stops the sensor thread: turns are the test's to
    // make. Forgets the calls that start-up made.
    void bringUp();
    // The same with the sensor thread running.
    void bringUpRunning();
    // Constructs without init.
    void construct();
    // init on the files as they are.
    bool initialise();
    void stopThread();
    void startThread();
    // uinit and destruction; harmless when there is nothing.
    void bringDown();

    // What the host configures: detail_, module id 7 and the parameter text "host".
    ModuleConfigure configuration() const;

    ISensorController& c() { return *controller_; }
    unsigned char flags() { return ControllerProbe::flags(*controller_); }
    void setFlags(unsigned char bits) { ControllerProbe::flags(*controller_) = bits; }
    int current() { return ControllerProbe::curScheme(*controller_); }
    int last() { return ControllerProbe::lastScheme(*controller_); }
    int lastSchedule() { return ControllerProbe::lastSchedule(*controller_); }
    void makeCurrent(int scheme) { ControllerProbe::curScheme(*controller_) = scheme; }

    // A scheme's records in memory.
    std::vector<KeyVal> scheme(int index);
    u32 valueOf(int scheme, u32 key);
    // Changes a scheme in memory, bypassing the controller.
    void setValue(int scheme, u32 key, u32 value);
    void setWindow(int scheme, bool enabled, int startHour, int startMinute, int endHour, int endMinute);

    void setTime(int hour, int minute);
    // One turn of the sensor thread, on this thread.
    void turn() { EXPECT_EQ(0, controller_->sensorThread()); }
    // Lets the running sensor thread make one whole turn; false if it does not within half a minute.
    bool threadTurn();

    FakeService service_;
    FakeVideo video_;
    std::shared_ptr<host::ManualClock> clock_;
    CameraFiles files_;
    std::string detail_ = "(max_scheme=3)";
    std::unique_ptr<ISensorController> controller_;
    bool initialised_ = false;
};

// One that is up from the start, in scheme 0.
class UpFixture : public ControllerFixture
{
protected:
    void SetUp() override
    {
        ControllerFixture::SetUp();
        bringUp();
        ASSERT_EQ(0, current());
    }
};

}  // namespace support
