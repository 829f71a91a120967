#include "app/EndSignals.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace {

class EndSignalsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGINT);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGHUP);
        ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &set, &before_), 0);
    }

    // Takes in what waits, or it would end the program.
    void TearDown() override
    {
        app::EndSignals().takeIn();
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    static void raiseFor(app::EndSignals& signals, int signal)
    {
        pthread_kill(pthread_self(), signal);
        signals.takeIn();
    }

    sigset_t before_;
};

TEST_F(EndSignalsTest, NothingIsReceivedBeforeASignal)
{
    app::EndSignals signals;
    signals.takeIn();
    EXPECT_EQ(signals.received(), 0);
    EXPECT_FALSE(signals.takeInterrupt());
}

TEST_F(EndSignalsTest, AnInterruptThatIsTakenIsForgotten)
{
    app::EndSignals signals;
    raiseFor(signals, SIGINT);
    EXPECT_EQ(signals.received(), SIGINT);
    EXPECT_TRUE(signals.takeInterrupt());
    EXPECT_EQ(signals.received(), 0);
    EXPECT_FALSE(signals.takeInterrupt());
}

TEST_F(EndSignalsTest, AnInterruptGivesWayToTheOthersAndTheyStand)
{
    for (const int signal : {SIGTERM, SIGHUP})
    {
        app::EndSignals signals;
        raiseFor(signals, SIGINT);
        EXPECT_EQ(signals.received(), SIGINT);
        raiseFor(signals, signal);
        EXPECT_EQ(signals.received(), signal);
        raiseFor(signals, SIGINT);
        EXPECT_EQ(signals.received(), signal);
        EXPECT_FALSE(signals.takeInterrupt());
        EXPECT_EQ(signals.received(), signal);
    }
}

}  // namespace
