#include "KSMutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(KSMutex, KeepsThreadsApart)
{
    KSMutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 5000; ++turn)
            {
                mutex.Lock("KSMutex_test", __LINE__);
                ++count;
                mutex.Unlock("KSMutex_test", __LINE__);
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(count, 20000);
}

TEST(KSMutexDeathTest, LockingAgainOnTheSameThreadSaysWhereAndEnds)
{
    KSMutex mutex;
    mutex.Lock("first", 11);
    EXPECT_DEATH(mutex.Lock("second", 22), "KSMutex: second:22 locks what this thread locked at first:11");
    mutex.Unlock("first", 12);
}

TEST(KSMutexDeathTest, UnlockingWhatIsNotOursSaysWhereAndEnds)
{
    KSMutex mutex;
    EXPECT_DEATH(mutex.Unlock("third", 33), "KSMutex: third:33 unlocks what this thread has not locked");
}

}  // namespace
