#include "app/EndSignals.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "app/Failure.h"

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

TEST_F(EndSignalsTest, ADescriptorOfZeroIsOneToo)
{
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    {
        app::EndSignals signals;
        pthread_kill(pthread_self(), SIGTERM);
        signals.takeIn();
        EXPECT_EQ(signals.received(), SIGTERM);
    }
    dup2(input, STDIN_FILENO);
    close(input);
}

TEST_F(EndSignalsTest, WithoutADescriptorForThemItFails)
{
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    std::string failure;
    try
    {
        app::EndSignals();
        setrlimit(RLIMIT_NOFILE, &before);
    }
    catch (const app::Failure& thrown)
    {
        setrlimit(RLIMIT_NOFILE, &before);  // before anything else: a sanitizer needs descriptors
        failure = thrown.what();
    }
    EXPECT_EQ(failure, "cannot wait for signals: Too many open files");
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
