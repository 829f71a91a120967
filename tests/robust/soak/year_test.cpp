#include <cstdio>

#include "tests/robust/soak/ExactHeap.h"
#include "tests/robust/soak/YearCamera.h"
#include "tests/support/TestName.h"

namespace soak {
namespace {

constexpr std::uintmax_t kLogBytes = 3 * 10240;  // the error log and its two predecessors, at most

class Year : public YearCamera
{
protected:
    // The test cannot pass by doing nothing.
    void expectAWholeYearsWork(const Work& before)
    {
        const Work now = work();
        EXPECT_EQ(kHours * 60, now.minutes - before.minutes);
        EXPECT_EQ((kWarmUpHours + kHours) * 60 + 1, clock_->minutesDecidedIn());
        EXPECT_GE(now.turns - before.turns, kHours * 60L);
        EXPECT_GE(now.sends - before.sends, long{GetParam().sendsADay} * (kHours / 24));
        for (const std::atomic<long>& hours : hoursWorked_)
        {
            EXPECT_EQ(kWarmUpHours + kHours, hours);
        }
        EXPECT_GT(video_.told, kHours / 4);
        EXPECT_GE(resets_, kResets);
        EXPECT_GE(restarts_, kResets);
    }

    // Each uinit keeps the block of all schemes, on purpose, and nothing else is kept. Releases the blocks.
    void expectOnlySchemeBlocksKept(const Holdings& before, const Holdings& after, int firstKept)
    {
        const std::size_t block = schemeBlockBytes();
        const std::size_t count = kept_.size() - static_cast<std::size_t>(firstKept);
        for (const KeyVal* records : kept_)
        {
            EXPECT_EQ(block, blockBytes(records));
        }
        if (heapBytesAreExact())
        {
            EXPECT_EQ(before.heap + count * block, after.heap);
        }
        const std::size_t withBlocks = heapBytes();
        for (std::size_t i = static_cast<std::size_t>(firstKept); i < kept_.size(); ++i)
        {
            delete[] kept_[i];
        }
        EXPECT_EQ(before.heap, after.heap - (withBlocks - heapBytes()));
        for (int i = 0; i < firstKept; ++i)
        {
            delete[] kept_[static_cast<std::size_t>(i)];
        }
    }
};

TEST_P(Year, OfEightCallersAndADecisionAMinuteLeavesMemoryDescriptorsThreadsAndDiskAsTheyWereAndTheLogWithinItsBounds)
{
    kept_.reserve(2 * kResets + 8);
    live(kWarmUpHours);
    const Holdings before = settle();
    const Work workBefore = work();
    live(kHours);
    const Holdings after = settle();

    expectAWholeYearsWork(workBefore);
    const int kept = work().uinits - workBefore.uinits;
    EXPECT_EQ(static_cast<std::size_t>(work().uinits), kept_.size());
    expectOnlySchemeBlocksKept(before, after, workBefore.uinits);
    EXPECT_EQ(before.descriptors, after.descriptors);
    EXPECT_EQ(before.threads, after.threads);
    EXPECT_TRUE(support::fileExists(std::string(support::kErrorLogFile) + ".1"));  // the log was in use, and is full
    EXPECT_EQ(before.disk, after.disk);
    EXPECT_LE(after.log, kLogBytes);

    const Work done = work();
    std::fprintf(stderr,
                 "%s, %d days: %ld turns of the sensor thread, %ld values sent by it, %ld calls of the service, "
                 "%d host threads of %d hours each, %d factory resets, %d restarts, %d blocks of %zu bytes kept, "
                 "heap %zu bytes before and %zu after, disk %ju and %ju, log %ju and %ju, descriptors %ld, "
                 "threads %ld\n",
                 GetParam().name, kHours / 24, done.turns - workBefore.turns, done.sends - workBefore.sends,
                 done.serviceCalls - workBefore.serviceCalls, kHosts, kHours, resets_, restarts_, kept,
                 schemeBlockBytes(), before.heap, after.heap, before.disk, after.disk, before.log, after.log,
                 after.descriptors, after.threads);
}

INSTANTIATE_TEST_SUITE_P(Models, Year, testing::ValuesIn(models()), support::ByName());

}  // namespace
}  // namespace soak
