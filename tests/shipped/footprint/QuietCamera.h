#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "HostPlatform.h"
#include "sensordll.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/ServiceDouble.h"

// A camera on its shipped documents whose surroundings allocate nothing while it runs: what is counted then is the
// library's.
namespace footprint {

// The image-adjust service: accepts what it is sent, or answers with status. Thread-safe.
class QuietService final : public support::ServiceDouble
{
public:
    int call(ia_cmd_e cmd, int opt, void* data) override;

    std::atomic<int> status{0};    // of every call with option set
    std::atomic<int> dayNight{0};  // what it says about day and night, 0 = day
    std::atomic<int> sets{0};      // calls with option set

private:
    const support::InForce inForce_{*this};
};

class QuietVideo : public VideoStreamModule
{
public:
    int notifyParam(int cmd, int value) override;
    std::vector<AVStreamParam> getStreamParams() const override;
};

// Stands still. The sensor thread waits on it until a turn is asked for; the thread that made it never waits.
class QuietClock : public host::Clock
{
public:
    std::tm localTime() const override;
    host::Span monotonic() const override;
    void wait(host::Span span) override;
    void wake() override;

    // Hour times 100 plus minute.
    void setTimeOfDay(int time);

    // The sensor thread makes one whole turn and waits again. False when it has not come that far within the bound.
    bool passTurn();

private:
    const std::thread::id creator_ = std::this_thread::get_id();
    std::atomic<int> time_{1200};

    std::mutex mutex_;
    std::condition_variable changed_;

    /// Guarded by mutex_.
    bool isWaiting_ = false;
    bool isReleased_ = false;
};

class QuietCamera : public support::PrivateTreeTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Lays out a shipped model's documents, starts and lets the sensor thread come to its wait.
    void start(const std::string& model);

    ISensorController& c() { return *controller_; }
    int scheme();

    std::shared_ptr<QuietClock> clock_;
    QuietService service_;
    QuietVideo video_;
    std::unique_ptr<ISensorController> controller_;
};

}  // namespace footprint
