#include "tests/robust/hostile/BlockingFixture.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

// Threads meet here: each goes on when all of them have come.
class MeetingPoint
{
public:
    explicit MeetingPoint(int threads) : threads_(threads) {}

    // False if the others have not come within half a minute.
    bool meet()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        return changed_.wait_for(lock, 30s, [this] { return arrived_ >= threads_; });
    }

    int arrived()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return arrived_;
    }

private:
    const int threads_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int arrived_ = 0;
};

class CallBack : public BlockingFixture
{
protected:
    void SetUp() override
    {
        BlockingFixture::SetUp();
        bringUpHostile();
    }
};

TEST_F(CallBack, LibraryKeepsNoThreadOutOfTheServiceWhileOthersAreInIt)
{
    constexpr int kDirectCallers = 6;
    MeetingPoint point(kDirectCallers + 2);  // and a locked call, and the sensor thread
    std::atomic<int> met{0};
    service_.intercept([&](u32, int opt, void*) -> std::optional<int> {
        if (opt == IA_CMD_OPT_SET)
        {
            met += point.meet() ? 1 : 0;
        }
        return std::nullopt;
    });
    std::vector<std::unique_ptr<WaitingCall>> calls;
    calls.push_back(std::make_unique<WaitingCall>([this] { c().setParameter(KEY_CONTRAST, 99, false); }));
    for (int i = 0; i < kDirectCallers; ++i)
    {
        calls.push_back(std::make_unique<WaitingCall>([this, i] { c().setZoomValue(20000 + i); }));
    }
    ASSERT_TRUE(clock_->waitForSleepers(1, 30s));
    // A parameter that comes while the sensor thread is switching would be turned away.
    ASSERT_TRUE(eventually([&] { return point.arrived() == kDirectCallers + 1; }));
    setTime(18, 0);
    clock_->advance(1s);  // the sensor thread's switch sends the brightness
    for (const auto& call : calls)
    {
        EXPECT_TRUE(call->ends());
    }
    EXPECT_TRUE(eventually([&] { return met == kDirectCallers + 2; }));
    EXPECT_TRUE(threadIsThrough());
    expectWorks();
}

// Whatever takes no lock may be used from inside a call.
class CallBackFrom : public CallBack
{
protected:
    // On the thread of the call, and on another one that the call waits for. What this calls asks the service too
    // and is not called back again.
    void callBack()
    {
        if (inside_.exchange(true))
        {
            return;
        }
        for (const HostCall& call : callsWithoutLock())
        {
            call.call(c());
            WaitingCall other([&] { call.call(c()); });
            EXPECT_TRUE(other.ends()) << call.name;
        }
        ++calledBack_;
        inside_ = false;
    }

    void callBackFrom(u32 cmd, int opt)
    {
        service_.intercept([=](u32 called, int with, void*) -> std::optional<int> {
            if (called == cmd && with == opt)
            {
                callBack();
            }
            return std::nullopt;
        });
    }

    CapturedOutput quiet_;
    std::atomic<bool> inside_{false};
    std::atomic<int> calledBack_{0};
};

TEST_F(CallBackFrom, ALockedCallReachesTheController)
{
    callBackFrom(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    WaitingCall call([this] { EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 99, true)); });
    EXPECT_TRUE(call.ends());
    EXPECT_EQ(1, calledBack_);
    expectWorks();
}

TEST_F(CallBackFrom, ASwitchOfTheHostReachesTheController)
{
    callBackFrom(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    WaitingCall call([this] { EXPECT_TRUE(c().setParamScheme(2)); });
    EXPECT_TRUE(call.ends());
    EXPECT_EQ(1, calledBack_);
    expectWorks();
}

TEST_F(CallBackFrom, ASwitchOfTheClockReachesTheController)
{
    callBackFrom(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET);
    setTime(18, 0);
    EXPECT_TRUE(threadTurn());
    EXPECT_EQ(1, calledBack_);
    EXPECT_EQ(1, current());
    expectWorks();
}

TEST_F(CallBackFrom, AStyleReadReachesTheController)
{
    callBackFrom(50, IA_CMD_OPT_GET_PARAM_RNAGE);
    WaitingCall call([this] { c().getUIStyleFile(); });
    EXPECT_TRUE(call.ends());
    EXPECT_EQ(1, calledBack_);
    expectWorks();
}

TEST_F(CallBackFrom, TheVideoModuleReachesTheController)
{
    video_.onNotify([this](int cmd, int) {
        if (cmd == IA_CMD_UI_MIRROR)
        {
            callBack();
        }
    });
    WaitingCall call([this] { EXPECT_EQ(0, c().setParameter(KEY_MIRROR, 2, true)); });
    EXPECT_TRUE(call.ends());
    EXPECT_EQ(1, calledBack_);
    video_.onNotify(nullptr);
    expectWorks();
}

}  // namespace
