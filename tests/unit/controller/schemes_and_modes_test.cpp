#include "tests/support/ControllerFixture.h"

#include <sys/resource.h>

#include "GThread.h"
#include "tests/support/WaitingCall.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr char kSchemeExpression[] = "p_nScheme >= 0 && (u32)p_nScheme <= g_stSysConf.nSchemeSum";
constexpr char kModeExpression[] = "0 == p_nMode || 1 == p_nMode";

// The system's time. Knows of the one thread that waits on it how often it waited and how often it gave up the
// processor by itself meanwhile.
class ObservingClock : public host::RealClock
{
public:
    void wait(host::Span span) override
    {
        rusage usage = {};
        getrusage(RUSAGE_THREAD, &usage);
        slept_ = usage.ru_nvcsw;
        ++waits_;
        RealClock::wait(span);
    }

    long waits() const { return waits_; }
    long slept() const { return slept_; }

private:
    std::atomic<long> waits_{0};
    std::atomic<long> slept_{0};
};

class SchemesAndModes : public UpFixture
{
protected:
    // Runs call on a thread of its own while the busy bit is up, and checks that it waits in half seconds.
    void expectWaitsInHalfSeconds(unsigned char bit, const std::function<void()>& call,
                                  const std::function<bool()>& happened)
    {
        setFlags(kInitialisedBit | bit);
        std::atomic<bool> done{false};
        std::thread caller([&] {
            call();
            done = true;
        });
        for (int i = 0; i < 3; ++i)
        {
            EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
            clock_->advance(499999us);
            EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
            clock_->advance(1us);
        }
        EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
        EXPECT_FALSE(done);
        EXPECT_FALSE(happened());
        setFlags(kInitialisedBit);
        clock_->advance(500ms);
        caller.join();
        EXPECT_TRUE(happened());
    }
};

TEST_F(SchemesAndModes, SchemeIsSwitchedByDifference)
{
    setValue(2, KEY_BRIGHTNESS, 72);
    EXPECT_TRUE(c().setParamScheme(2));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 72}}), service_.all());
    int scheme = -5;
    EXPECT_TRUE(c().getParamScheme(scheme));
    EXPECT_EQ(2, scheme);
    EXPECT_EQ(0, last());
}

TEST_F(SchemesAndModes, DefaultSchemeIsValid)
{
    EXPECT_EQ("", outputOf([&] { EXPECT_TRUE(c().setParamScheme(3)); }));
    EXPECT_EQ(3, current());
}

TEST_F(SchemesAndModes, FirstSchemeIsValid)
{
    EXPECT_EQ("", outputOf([&] { EXPECT_TRUE(c().setParamScheme(0)); }));
}

TEST_F(SchemesAndModes, OtherSchemesAreReportedAndSwitchedToAllTheSame)
{
    for (const int scheme : {-1, 4, INT32_MAX, INT32_MIN})
    {
        const std::string output = outputOf([&] { EXPECT_TRUE(c().setParamScheme(scheme)); });
        EXPECT_TRUE(saysOnly(output, asserted(kController, "setParamScheme", kSchemeExpression,
                                              "p_nScheme(" + std::to_string(scheme) + ")\n")));
        EXPECT_EQ(scheme, current());
    }
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(SchemesAndModes, FailureWhileSwitchingIsStillSuccess)
{
    setValue(2, KEY_BRIGHTNESS, 72);
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -7);
    outputOf([&] { EXPECT_TRUE(c().setParamScheme(2)); });
    EXPECT_EQ(2, current());
}

TEST_F(SchemesAndModes, SchemeBeforeTheFirstSwitchIsMinusOne)
{
    construct();
    int scheme = 5;
    EXPECT_TRUE(c().getParamScheme(scheme));
    EXPECT_EQ(-1, scheme);
}

TEST_F(SchemesAndModes, ModeIsScheduledAtFirst)
{
    int mode = 5;
    EXPECT_TRUE(c().getParamMode(mode));
    EXPECT_EQ(1, mode);
}

TEST_F(SchemesAndModes, ModeIsStoredWithoutSwitching)
{
    setTime(20, 0);
    EXPECT_EQ("", outputOf([&] {
                  EXPECT_TRUE(c().setParamMode(0));
                  EXPECT_TRUE(c().setParamMode(1));
              }));
    EXPECT_EQ(0, current());
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(SchemesAndModes, OtherModesAreReportedAndStoredAndActAsScheduled)
{
    for (const int mode : {2, -1})
    {
        const std::string output = outputOf([&] { EXPECT_TRUE(c().setParamMode(mode)); });
        EXPECT_TRUE(saysOnly(
            output, asserted(kController, "setParamMode", kModeExpression, "p_nMode(" + std::to_string(mode) + ")\n")));
        int stored = 0;
        EXPECT_TRUE(c().getParamMode(stored));
        EXPECT_EQ(mode, stored);
        setTime(20, 0);
        turn();
        EXPECT_EQ(3, current());
        setTime(12, 0);
        turn();
        EXPECT_EQ(0, current());
    }
}

TEST_F(SchemesAndModes, HandPickedSchemeLastsInManualMode)
{
    c().setParamMode(0);
    c().setParamScheme(2);
    turn();
    EXPECT_EQ(2, current());
}

TEST_F(SchemesAndModes, HandPickedSchemeIsUndoneByTheNextTurnInScheduledMode)
{
    c().setParamScheme(2);
    turn();
    EXPECT_EQ(0, current());
    EXPECT_EQ(2, last());
}

TEST_F(SchemesAndModes, SchemeWaitsInHalfSecondsWhileAnyBusyBitIsUp)
{
    for (const unsigned char bit : {kResetBit, kReloadBit, kSwitchingBit})
    {
        makeCurrent(0);
        expectWaitsInHalfSeconds(
            bit, [&] { c().setParamScheme(2); }, [&] { return current() == 2; });
    }
}

TEST_F(SchemesAndModes, ModeWaitsInHalfSecondsWhileAnyBusyBitIsUp)
{
    for (const unsigned char bit : {kResetBit, kReloadBit, kSwitchingBit})
    {
        ControllerProbe::paramMode(c()) = 1;
        expectWaitsInHalfSeconds(
            bit, [&] { c().setParamMode(0); }, [&] { return ControllerProbe::paramMode(c()) == 0; });
    }
}

TEST_F(SchemesAndModes, OtherBitsAreNotWaitedFor)
{
    setFlags(kInitialisingBit | kStoppingBit | kInitialisedBit);
    const host::Span before = clock_->monotonic();
    EXPECT_TRUE(c().setParamScheme(2));
    EXPECT_TRUE(c().setParamMode(0));
    EXPECT_EQ(before, clock_->monotonic());
    setFlags(kInitialisedBit);
}

TEST_F(SchemesAndModes, ReportComesBeforeTheWait)
{
    CapturedOutput output;
    const auto expectReportWhileWaiting = [&](const std::function<void()>& call, const std::string& report) {
        setFlags(kInitialisedBit | kReloadBit);
        WaitingCall waiting(call);
        EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
        EXPECT_TRUE(saysOnly(output.take(), report));
        setFlags(kInitialisedBit);
        clock_->advance(500ms);
        waiting.join();
        EXPECT_EQ("", output.take());
    };
    expectReportWhileWaiting([&] { c().setParamScheme(4); },
                             asserted(kController, "setParamScheme", kSchemeExpression, "p_nScheme(4)\n"));
    expectReportWhileWaiting([&] { c().setParamMode(2); },
                             asserted(kController, "setParamMode", kModeExpression, "p_nMode(2)\n"));
}

// A host's own thread, whose every wait returns at once then.
TEST_F(SchemesAndModes, WaitOnAThreadThatIsBeingStoppedDoesNotSpin)
{
    const std::function<void()> calls[] = {[&] { c().setParamScheme(2); }, [&] { c().setParamMode(0); }};
    for (const auto& call : calls)
    {
        const auto clock = std::make_shared<ObservingClock>();
        host::setClock(clock);
        setFlags(kInitialisedBit | kSwitchingBit);
        GThread host(
            [&] {
                call();
                return 0;
            },
            "host", &GThread::emptyFun, &GThread::emptyFun);
        ASSERT_TRUE(host.start());
        EXPECT_TRUE(eventually([&] { return clock->waits() > 0; }));
        WaitingCall stopping([&] { EXPECT_TRUE(host.stop()); });
        EXPECT_TRUE(eventually([&] { return clock->waits() > 20; }));
        setFlags(kInitialisedBit);
        EXPECT_TRUE(stopping.ends());
        EXPECT_GE(clock->slept(), clock->waits() / 2);  // not each: a busy machine may take the processor first
    }
    EXPECT_EQ(2, current());
    EXPECT_EQ(0, ControllerProbe::paramMode(c()));
}

TEST_F(SchemesAndModes, WaitHoldsTheMutexAgainstOtherCalls)
{
    setFlags(kInitialisedBit | kReloadBit);
    WaitingCall setting([&] { c().setParamScheme(2); });
    EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
    int seen = -5;
    WaitingCall asking([&] { c().getParamScheme(seen); });
    EXPECT_TRUE(asking.waitsFor(ControllerProbe::mutex(c())));
    for (int i = 0; i < 5; ++i)
    {
        clock_->advance(500ms);
        EXPECT_TRUE(clock_->waitForSleepers(1, 30s));
        EXPECT_TRUE(isHeld(ControllerProbe::mutex(c())));
        EXPECT_FALSE(asking.done());
    }
    setFlags(kInitialisedBit);
    clock_->advance(500ms);
    setting.join();
    asking.join();
    EXPECT_EQ(2, seen);
}

}  // namespace
