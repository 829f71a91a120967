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
        app::EndSignals().received();
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    sigset_t before_;
};

TEST_F(EndSignalsTest, NothingIsReceivedBeforeASignal)
{
    app::EndSignals signals;
    EXPECT_EQ(signals.received(), 0);
    EXPECT_FALSE(signals.takeInterrupt());
}

TEST_F(EndSignalsTest, AnInterruptThatIsTakenIsForgotten)
{
    app::EndSignals signals;
    pthread_kill(pthread_self(), SIGINT);
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
        pthread_kill(pthread_self(), SIGINT);
        EXPECT_EQ(signals.received(), SIGINT);
        pthread_kill(pthread_self(), signal);
        EXPECT_EQ(signals.received(), signal);
        pthread_kill(pthread_self(), SIGINT);
        EXPECT_EQ(signals.received(), signal);
        EXPECT_FALSE(signals.takeInterrupt());
        EXPECT_EQ(signals.received(), signal);
    }
}

}  // namespace
