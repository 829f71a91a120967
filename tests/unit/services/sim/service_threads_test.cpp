#include "services/Journal.h"
#include "services/PlannedFailures.h"
#include "services/RecordingVideo.h"
#include "tests/unit/services/sim/SimCamera.h"

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr int kRounds = 300;

// Joins at the end of its scope, however that is left; release lets the thread come to its end.
class Joined
{
public:
    Joined(std::function<void()> body, std::function<void()> release)
        : release_(std::move(release)),
          thread_(std::move(body))
    {
    }
    Joined(const Joined&) = delete;
    Joined& operator=(const Joined&) = delete;
    ~Joined() { join(); }

    void join()
    {
        if (thread_.joinable())
        {
            release_();
            thread_.join();
        }
    }

private:
    const std::function<void()> release_;
    std::thread thread_;
};

void runTogether(const std::vector<std::function<void(int)>>& bodies)
{
    std::vector<std::thread> threads;
    for (const auto& body : bodies)
    {
        threads.emplace_back([&body] {
            for (int i = 0; i < kRounds; ++i)
            {
                body(i);
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

class ManyThreads : public SimCamera
{
protected:
    ManyThreads() { front_ = &journal_; }

    services::PlannedFailures failures_{*service_};
    services::Journal journal_{failures_};
};

TEST_F(ManyThreads, SettersReadersAndTheSceneMeetWithoutHarm)
{
    failures_.setBeforeCall([](ia_cmd_e, int, const void*) {});
    std::atomic<int> refused{0};
    runTogether({
        [this](int i) { EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, i % 101)); },
        [this](int i) { EXPECT_EQ(0, set(IA_CMD_MZ_POSITION, 16384 + i)); },
        [this](int i) { EXPECT_EQ(0, setThresholds(u32(i) % 100, 100)); },
        [this](int) {
            const int value = get(IA_CMD_BRIGHTNESS);
            EXPECT_TRUE(value >= 0 && value <= 100) << value;
            status(IA_CMD_MZ_POSITION);
        },
        [this](int i) {
            service_->setLight(i % 2 == 0 ? 1 : 1000);
            service_->setDistance(1 + i % 5);
            service_->infrared();
        },
        [this](int) { pass(50ms); },
        [this, &refused](int) { refused += set(IA_CMD_BRIGHTNESS, 200) == services::kOutOfRange; },
        [this](int i) {
            journal_.calls();
            if (i % 50 == 0)
            {
                journal_.clearCalls();
                failures_.setBeforeCall([](ia_cmd_e, int, const void*) {});
                service_->parameters();
            }
        },
    });
    EXPECT_EQ(kRounds, refused);
}

TEST_F(ManyThreads, ModuleChangesKeepEveryAnswerConsistent)
{
    runTogether({
        [this](int i) { EXPECT_TRUE(service_->setModule(1 + i % 2)); },
        [this](int) {
            const ia_dynamic_params_attr_st attr = describe(IA_CMD_SENSOR_FPS);
            ASSERT_EQ(2, attr.items_cnt);
            EXPECT_EQ(attr.item[0] * 2, attr.item[1]);
            EXPECT_EQ(attr.item[0], attr.default_value);
        },
        [this](int) {
            char text[kCameraVersionSize] = {};
            EXPECT_EQ(0, service_->call(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, text));
            EXPECT_EQ(0u, std::string(text).find("virtual sensor "));
        },
    });
}

TEST_F(ManyThreads, EveryCallIsCounted)
{
    journal_.setCapacity(10);
    const auto call = [this](int i) { set(IA_CMD_CONTRAST, i % 100); };
    runTogether({call, call, call, call});
    EXPECT_EQ(u32(4 * kRounds), journal_.callCount());
    EXPECT_EQ(10u, journal_.calls().size());
}

TEST_F(ManyThreads, ABlockedHookHoldsUpNobodyElse)
{
    std::promise<void> held;
    std::promise<void> go;
    const auto reached = held.get_future();
    const auto released = go.get_future().share();
    failures_.setBeforeCall([&held, released](ia_cmd_e cmd, int opt, const void*) {
        if (cmd == IA_CMD_FREEZE && opt == IA_CMD_OPT_SET)
        {
            held.set_value();
            released.wait();
        }
    });
    Joined blocked([this] { EXPECT_EQ(0, set(IA_CMD_FREEZE, 1)); }, [&go] { go.set_value(); });
    ASSERT_EQ(std::future_status::ready, reached.wait_for(30s));
    EXPECT_EQ(0, set(IA_CMD_BRIGHTNESS, 3));
    EXPECT_EQ(0, get(IA_CMD_FREEZE));
    blocked.join();
    EXPECT_EQ(1, get(IA_CMD_FREEZE));
}

TEST_F(ManyThreads, VideoNoticesFromManyThreadsAreAllKept)
{
    services::RecordingVideo video;
    const auto notify = [&video](int i) {
        video.notifyParam(IA_CMD_UI_MIRROR, i % 4);
        video.getStreamParams();
        EXPECT_LT(video.mirror(), 4);
    };
    runTogether({notify, notify, [&video](int i) { video.setFrameRates({i}); }});
    EXPECT_EQ(std::size_t(2 * kRounds), video.notices().size());
}

}  // namespace
