#pragma once

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "HostPlatform.h"
#include "sensordll.h"
#include "tests/robust/soak/SoakClock.h"
#include "tests/support/ControllerProbe.h"
#include "tests/support/PrivateTree.h"

namespace soak {

// SOAK_DAYS comes with the build: a year, or two weeks where everything is slower by an order of magnitude.
constexpr int kHours = SOAK_DAYS * 24;
constexpr int kWarmUpHours = 48;
constexpr int kResets = 12;                    // factory resets, and as many restarts between them
constexpr int kResetEvery = kHours / kResets;  // hours; a month of a year
constexpr int kHosts = 8;

struct Model
{
    const char* name;
    std::vector<std::string> windows;  // pair text of scheme 0 and those behind it
    int sendsADay;                     // values that clock, or day and night, make the sensor thread send at least
};

void PrintTo(const Model& model, std::ostream* stream);

// One with windows, and a licence-plate camera.
std::vector<Model> models();

class QuietVideo : public VideoStreamModule
{
public:
    int notifyParam(int cmd, int value) override;
    std::vector<AVStreamParam> getStreamParams() const override;

    std::atomic<long> told{0};
};

// Standard output goes nowhere while it lives: the shutters' choices are printed at every debug level.
class NoOutput
{
public:
    NoOutput();
    ~NoOutput();
    NoOutput(const NoOutput&) = delete;
    NoOutput& operator=(const NoOutput&) = delete;

private:
    const int saved_;
};

// What a process holds of the system.
struct Holdings
{
    std::size_t heap;  // bytes
    long descriptors;
    long threads;
    std::uintmax_t disk;  // bytes of all files of the camera but the error log
    std::uintmax_t log;   // bytes of the error log and its predecessors
};

// What has been done so far.
struct Work
{
    long turns;         // of the sensor thread
    long sends;         // values that it sent
    long serviceCalls;  // by anybody
    int minutes;
    int uinits;  // those of factory resets too
};

// A camera on its shipped documents and the simulator, with eight host threads that each have something else to do
// every hour, factory resets among it, and a restart by the host's main thread now and then.
class YearCamera : public support::PrivateTreeTest, public testing::WithParamInterface<Model>
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Lets the camera live through these hours, numbered on from the ones before. Host threads come and go.
    void live(int hours);

    // Restarts and reads a style first, so that what the last calls happened to leave does not count.
    Holdings settle();

    Work work() const;

    // Of the block that uinit keeps, from what a host can see: the schemes, the default scheme too, times the
    // parameters of each.
    std::size_t schemeBlockBytes();

    const std::shared_ptr<SoakClock> clock_ = std::make_shared<SoakClock>((kWarmUpHours + kHours) * 60);
    QuietVideo video_;
    std::array<std::atomic<long>, kHosts> hoursWorked_{};
    int resets_ = 0;
    int restarts_ = 0;
    std::vector<KeyVal*> kept_;  // a block for each uinit, oldest first

private:
    // While no host thread is at work.
    void layOutWindows();
    void leadHour(class Shift& shift);
    void restart();
    // Threads that hang cannot be joined: there is no going on.
    void require(bool holds, const char* otherwise) const;

    void workHour(int host, int hour);
    void setTexts(int hour);
    void setSingles(int hour);
    void readValues();
    void readDocuments(int hour);
    void save(int hour);
    void changeSchemes(int hour);
    void restoreAndReload(int hour);
    void driveLensAndReset(int hour);

    std::unique_ptr<NoOutput> quiet_;
    std::unique_ptr<ISensorController> controller_;
    std::atomic<long> serviceCalls_{0};
    std::atomic<long> threadSends_{0};
    int hour_ = 0;
};

}  // namespace soak
