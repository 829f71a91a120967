#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>

#include "app/box/DeviceBroker.h"

namespace {

// Says whether it would still tell of use.
class TellingSource : public devices::DeviceSource
{
public:
    int open(devices::Role, const std::string&) override { return -ENODEV; }
    void listen(std::function<void()>) override {}

    void listenToUse(std::function<void()> used) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        used_ = std::move(used);
    }

    bool isHeard()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return static_cast<bool>(used_);
    }

private:
    std::mutex mutex_;
    std::function<void()> used_;
};

TEST(DeviceBrokerEnd, TheUseByOthersIsToldToNoneWhoHasEnded)
{
    TellingSource source;
    app::BrokerLine line;
    app::DeviceBroker broker(source, std::move(line.brokers));
    {
        app::RemoteDevices remote(std::move(line.copys));
        remote.listenToUse([] {});
        EXPECT_TRUE(source.isHeard());
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (source.isHeard() && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::yield();
    }
    EXPECT_FALSE(source.isHeard());
}

}  // namespace
