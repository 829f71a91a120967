#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <thread>
#include <utility>

#include "services/linux/DeviceWorker.h"
#include "tests/unit/services/linux/Webcam.h"

namespace {

using namespace std::chrono_literals;
using devices::Control;
using devices::Setting;
using News = decltype(std::declval<devices::ControlQueue&>().news(devices::Instant()));

constexpr u32 kBrightness = V4L2_CID_BRIGHTNESS;
constexpr auto kRest = 100ms;  // in which a thread that does not sleep does a thing thousands of times
constexpr int kFew = 20;

// Counts what a worker asks it.
class Counted : public devices::ControlDevice
{
public:
    struct Counts
    {
        std::atomic<int> openings{0};
        std::atomic<int> losses{0};
        std::atomic<int> values{-1};  // that were found at the first opening
        std::atomic<int> sets{0};
        std::atomic<int> error{0};         // of each set
        std::atomic<int> readingError{0};  // of each reading
        std::atomic<bool> isThere{true};
    };

    explicit Counted(Counts& counts) : counts_(counts) {}

    const std::vector<Control>& controls() const override { return controls_; }

    int set(std::vector<Setting>&) override
    {
        ++counts_.sets;
        return counts_.error;
    }

    int get(u32 id, std::int64_t& value) override
    {
        value = 0;
        // The first one only: whoever asks for the others finds them.
        return id == kBrightness ? counts_.readingError.load() : 0;
    }

    int eventDescriptor() const override { return -1; }

    int events(std::vector<devices::ControlEvent>&) override { return 0; }

private:
    const std::vector<Control> controls_ = support::webcam();
    Counts& counts_;
};

class WorkerRest : public testing::Test, public devices::WorkerListener
{
protected:
    void opened(const std::vector<Control>&, const devices::Values& values) override
    {
        counts_.values = static_cast<int>(values.size());
    }
    void lost() override { ++counts_.losses; }
    void told(const News&) override {}

    std::unique_ptr<devices::DeviceWorker> start(std::chrono::milliseconds first, std::chrono::milliseconds most)
    {
        devices::Patience patience;
        patience.first = first;
        patience.most = most;
        return std::make_unique<devices::DeviceWorker>(
            [this]() -> std::unique_ptr<devices::ControlDevice> {
                ++counts_.openings;
                return counts_.isThere ? std::make_unique<Counted>(counts_) : nullptr;
            },
            *this, patience);
    }

    // Within a bound that only a fault reaches.
    template <typename Condition>
    static bool comes(Condition condition)
    {
        const auto end = std::chrono::steady_clock::now() + 60s;
        while (!condition() && std::chrono::steady_clock::now() < end)
        {
            std::this_thread::sleep_for(1ms);
        }
        return condition();
    }

    Counted::Counts counts_;
};

TEST_F(WorkerRest, SleepsWhenNothingIsLeftToDo)
{
    const auto worker = start(1ms, 4ms);
    worker->wish({{kBrightness, 5}});
    ASSERT_TRUE(comes([this] { return counts_.sets == 1; }));
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(3 * kRest);
    EXPECT_LT((std::clock() - before) * 1'000 / CLOCKS_PER_SEC, 50) << "milliseconds of the processor's time";
}

TEST_F(WorkerRest, LooksForADeviceThatIsNotThereWithPauses)
{
    counts_.isThere = false;
    const auto worker = start(1h, 1h);
    ASSERT_TRUE(comes([this] { return counts_.openings > 0; }));
    std::this_thread::sleep_for(kRest);
    EXPECT_EQ(1, counts_.openings);
}

TEST_F(WorkerRest, PausesGrowForADeviceThatIsGoneWithEachSet)
{
    counts_.error = ENODEV;
    const auto worker = start(1ms, 1h);
    worker->wish({{kBrightness, 5}});
    ASSERT_TRUE(comes([this] { return counts_.losses > 2; }));
    std::this_thread::sleep_for(3 * kRest);
    EXPECT_LT(counts_.openings, kFew) << "the pause before the last of them would be minutes";
}

TEST_F(WorkerRest, AsksADeviceThatDoesNotAnswerForNoMoreValues)
{
    counts_.readingError = ETIMEDOUT;
    const auto worker = start(1h, 1h);
    ASSERT_TRUE(comes([this] { return counts_.values >= 0; }));
    EXPECT_EQ(0, counts_.values);
}

TEST_F(WorkerRest, ALookThatFindsTheDeviceGoneTellsSo)
{
    const auto worker = start(1h, 1h);
    worker->wish({{kBrightness, 5}});
    ASSERT_TRUE(comes([this] { return counts_.sets == 1; }));
    counts_.readingError = ENODEV;
    worker->lookAgain();
    EXPECT_TRUE(comes([this] { return counts_.losses == 1; }));
}

}  // namespace
