#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "HostClock.h"
#include "HostPlatform.h"
#include "sensordll.h"
#include "services/RecordingVideo.h"
#include "services/sim/Service.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/ShippedModel.h"

namespace support {

// A shipped camera model, as a board would carry it.
struct Model
{
    const char* name;
    int schemes;
};

void PrintTo(const Model& model, std::ostream* stream);

constexpr Model kFixed{"fixed", 4};
constexpr Model kDome{"dome", 8};
constexpr Model kPlate{"lpr", 4};
constexpr Model kFisheye{"fisheye", 2};

// A camera on its shipped documents: the shared library, the simulated service, a video module that records, and
// a clock that only the test moves; noon at first. Everything goes through the public interface.
class SystemCamera : public PrivateTreeTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Power on, with the documents laid out (installModel): the service starts anew, then the library on whatever files there are.
    void start();
    // Power off in order.
    void stop();
    void restart();

    ISensorController& c() { return *controller_; }
    int scheme();
    // The scheme's values by key.
    std::map<int, int> allValues();
    int value(int key);
    // What the service holds for a command.
    int applied(u32 cmd);

    // The library's; whoever records the test learns that what was saved must survive.
    int flush();

    // Stores and saves a scheme's window; leaves the camera in scheduled mode.
    void saveWindow(int scheme, int startHour, int startMinute, int endHour, int endMinute, int enabled = 1);

    // The wall clock says this time, and the sensor thread has made a whole turn since.
    void turnAt(int hour, int minute);
    // The clock moves on, and the sensor thread has made a whole turn since.
    void pass(host::Span span);

    services::RecordingVideo video_;
    std::shared_ptr<host::ManualClock> clock_;
    std::unique_ptr<ISensorController> controller_;
};

}  // namespace support
